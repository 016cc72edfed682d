// The throw-away appliance itself: other tests can only find what its stand-ins record truly.

#include <cstdlib>

#include <sys/ipc.h>
#include <sys/wait.h>

#include "frame/appliance.h"

using StandIns = ApplianceTest;

TEST_F(StandIns, HelpersRecordTheirCallAndEndAsTold) {
  EXPECT_EQ(0, std::system("/sbin/setled 2 1 2; /etc/rc.d/init.d/nfs restart; setquota -u \"a b\""));
  setExitStatus("probepdc", 3);
  EXPECT_EQ(3, WEXITSTATUS(std::system("/bin/probepdc \"PDC\" >/dev/null")));
  setOutput("quota", "none\n");
  EXPECT_EQ(0, std::system("quota -v 7 | grep -q none"));
  EXPECT_EQ((Lines{"/sbin/setled 2 1 2", "/etc/rc.d/init.d/nfs restart", "/usr/sbin/setquota -u a b",
                   "/bin/probepdc PDC", "/usr/bin/quota -v 7"}),
            commands());
}

TEST_F(StandIns, ShellIsBashAndOrphansAreReaped) {
  // The library's own commands say [ -a FILE ], which other shells do not know.
  EXPECT_EQ(0, std::system("[ -a /etc/admin ]"));
  EXPECT_EQ(0, std::system("(sleep 0.01 & echo $! >/tmp/orphan)"));
  const pid_t orphan = std::atoi(readFile("/tmp/orphan").value_or("0").c_str());
  ASSERT_GT(orphan, 0);
  for (int waitedMs = 0; waitedMs < 2000 && getpgid(orphan) >= 0; ++waitedMs) (void)usleep(1000);
  EXPECT_EQ(-1, getpgid(orphan)) << "a dead orphan still counts as a living process";
}

TEST_F(StandIns, KeysOfSystemVObjectsOutliveChangesOfTheirFolders) {
  for (const std::string path : {"/etc/admin", "/etc/samba", "/etc/nfs", "/etc/atalk"}) {
    const key_t before = ftok(path.c_str(), 'S');
    writeFile(path + "/file", "content");
    EXPECT_EQ(0, rename((path + "/file").c_str(), (path + "/file2").c_str()));
    EXPECT_EQ(0, unlink((path + "/file2").c_str()));
    EXPECT_NE(-1, before) << path;
    EXPECT_EQ(before, ftok(path.c_str(), 'S')) << path;
  }
}
