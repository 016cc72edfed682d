// The throw-away appliance itself: other tests can only find what its stand-ins record truly.

#include <csignal>
#include <cstdlib>
#include <cstring>

#include <sys/ipc.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "frame/appliance.h"
#include "platform/driver_wire.h"

namespace {

struct Answer {
  DriverWireReply head;
  std::string record;
};

Answer askDriver(std::uint32_t request, std::uint32_t argument, std::uint32_t replySize) {
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  const sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = "/dev/nas1"};
  EXPECT_EQ(0, connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  const DriverWireRequest packet = {.request = request, .argument = argument, .replySize = replySize};
  EXPECT_EQ(static_cast<ssize_t>(sizeof packet), send(fd, &packet, sizeof packet, 0));
  char reply[256];
  const ssize_t got = recv(fd, reply, sizeof reply, 0);
  (void)close(fd);
  Answer answer = {.head = {.result = -99, .error = 0}, .record = ""};
  if (got < static_cast<ssize_t>(sizeof answer.head)) return answer;
  std::memcpy(&answer.head, reply, sizeof answer.head);
  answer.record.assign(reply + sizeof answer.head, static_cast<std::size_t>(got) - sizeof answer.head);
  return answer;
}

}  // namespace

using StandIns = ApplianceTest;

TEST_F(StandIns, DriverAnswersAsToldAndRecordsEveryRequest) {
  EXPECT_EQ(bytesOf(0), askDriver(0x4809, 0, 4).record) << "no monitor daemon";
  setMonitorDaemon(4711);
  EXPECT_EQ(bytesOf(4711), askDriver(0x4809, 0, 4).record);
  writeFile("/run/nas1-driver/raid", "0123456789");
  EXPECT_EQ("01234567", askDriver(0x480A, 0, 8).record) << "never more than the caller takes";
  EXPECT_EQ("", askDriver(0x4804, 0, 3).record) << "no version given";
  EXPECT_EQ(0, askDriver(0x480D, 1, 0).head.result);
  refuseDriverRequest(0x480D);
  EXPECT_EQ(-1, askDriver(0x480D, 1, 0).head.result);
  EXPECT_EQ((Lines{"0x4809", "0x4809", "0x480A", "0x4804", "0x480D 1", "0x480D 1"}), driverRequests());
}

TEST_F(StandIns, SystemLogKeepsSeverityTextAndOrder) {
  syslog(LOG_ERR, "first: %d", 1);
  syslog(LOG_INFO, "second\n");
  EXPECT_EQ(0, std::system("logger -p user.debug -t anyone third"));
  EXPECT_EQ((Lines{"err first: 1", "info second", "debug third"}), systemLog());
}

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
  for (const char* path :
       {"/etc/admin", "/etc/samba", "/etc/nfs", "/etc/nwserv.conf", "/etc/atalk", "/etc/syslog.conf"}) {
    const key_t before = ftok(path, 83);
    const std::string inside = std::string(path) + "/file";
    if (std::string_view(path).ends_with(".conf")) {
      writeFile(path, "changed");
    } else {
      writeFile(inside, "content");
      EXPECT_EQ(0, rename(inside.c_str(), (inside + "2").c_str()));
      EXPECT_EQ(0, unlink((inside + "2").c_str()));
    }
    EXPECT_NE(-1, before) << path;
    EXPECT_EQ(before, ftok(path, 83)) << path;
  }
}

TEST_F(StandIns, AChildsEndAndWordsAreTold) {
  const ChildResult quiet = inChild([] {});
  EXPECT_EQ(0, quiet.exitCode);
  const ChildResult aborted = inChild([] {
    (void)!write(STDOUT_FILENO, "last words", 10);
    std::abort();
  });
  EXPECT_EQ(SIGABRT, aborted.signal);
  EXPECT_EQ("last words", aborted.output);
}
