// Shell commands as the library runs them, and the start-up.

#include <fcntl.h>

#include "frame/appliance.h"

using Shell = ApplianceTest;

TEST_F(Shell, ACommandsExitCodeIsTheResult) {
  EXPECT_EQ((Results{255, 127, 0, 0, -1}),  // killed: no exit code at all
            (Results{Nas1System("exit 255"), Nas1System("/no/such/program 2>/dev/null"), Nas1System("kill -9 $$"),
                     Nas1System(""), Nas1System(nullptr)}));
  EXPECT_EQ(7, Nas1System(("true " + std::string(100'000, 'x') + "; exit 7").c_str())) << "a long one";
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  struct sigaction before;
  ASSERT_EQ(0, sigaction(SIGUSR1, &action, &before));
  EXPECT_EQ(5, Nas1System("for i in 1 2 3; do kill -USR1 $PPID; sleep 0.01; done; exit 5"));
  (void)sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Shell, ACommandInheritsTheEnvironmentButNoRecordFiles) {
  (void)setenv("OF_THE_CALLER", "yes", 1);
  int opened[30];
  int count = 0;
  // Descriptors up to 25, all to be inherited as far as they themselves are concerned.
  while (count == 0 || opened[count - 1] < 25) opened[count++] = open("/dev/null", O_RDONLY);
  EXPECT_EQ(0, Nas1System("exec >/run/inherited; echo $OF_THE_CALLER;"
                          "for n in {0..25}; do [ -e /proc/$$/fd/$n ] && echo $n; done; true"));
  while (count > 0) (void)close(opened[--count]);
  (void)unsetenv("OF_THE_CALLER");
  EXPECT_EQ((Lines{"yes", "0", "1", "2", "20", "21", "22", "23", "24", "25"}), readLines("/run/inherited"));
}

TEST_F(Shell, AServiceIsInstalledWhenItsLineSaysYes) {
  writeFile("/etc/service.zelmar", "xftp=yes\nafpd=really yes\nsnmp yes\n");
  EXPECT_EQ((Results{0, 1, 0}),
            (Results{NasGetServiceInstall("ftp"), NasGetServiceInstall("afp"), NasGetServiceInstall("snmp")}));
  const ChildResult child = inChild([] { (void)NasGetServiceInstall(std::string(512, 's').c_str()); });
  EXPECT_EQ(SIGABRT, child.signal);
  EXPECT_EQ(0U, child.output.find("nas1api.c:")) << child.output;
}

TEST_F(Shell, TheTextFunctionsFollowTheConfiguration) {
  const auto converts = [] {  // names on their way to clients
    char name[] = "\xA4\xA2";
    return std::strcmp("\x82\xA0", NasStrServerToClient(name)) == 0;
  };
  EXPECT_EQ(0, NasApiInit());
  EXPECT_EQ(860, g_codepage) << "nothing is known";
  for (const std::string coding : {"0", "1"}) {
    (void)unlink("/etc/admin/system.gdbm");
    setDefaults("CIFS_CODE_PAGE=932\nCODING_SYSTEM=" + coding + "\n");
    EXPECT_EQ(0, NasApiInit());
    EXPECT_EQ(932, g_codepage);
    EXPECT_EQ(coding == "0", converts());
  }

  // A change counts at once, by name and by number.
  int page = 950, coding = 0;
  EXPECT_EQ(0, NasSetConfig("CIFS_CODE_PAGE", sizeof page, &page));
  EXPECT_EQ(950, g_codepage);
  page = 932;
  EXPECT_EQ(0, Nas1SetConfig(5, sizeof page, &page));
  EXPECT_FALSE(converts());
  EXPECT_EQ(0, Nas1SetConfig(78, sizeof coding, &coding));
  EXPECT_TRUE(converts());
  (void)NasLangInit(860, -1);
}
