// Shell commands as the library runs them, and the small checks that entries make on texts.

#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "api/nas1api.h"
#include "frame/appliance.h"

using Shell = ApplianceTest;

TEST_F(Shell, ACommandsExitCodeIsTheResult) {
  const struct {
    const char* command;
    int result;
  } cases[] = {
      {"true", 0},       {"exit 3", 3}, {"exit 255", 255}, {"/no/such/program 2>/dev/null", 127},
      {"kill -9 $$", 0},  // no exit code at all
      {"", 0},           {nullptr, -1},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, Nas1System(c.command)) << (c.command == nullptr ? "" : c.command);
  EXPECT_EQ(7, Nas1System(("true " + std::string(100'000, 'x') + "; exit 7").c_str())) << "a long one";
}

TEST_F(Shell, OnlyStandardErrorIsHeard) {
  EXPECT_EQ("heard\n", inChild([] { EXPECT_EQ(0, Nas1System("echo heard >&2; echo unheard")); }).output);
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

TEST_F(Shell, ASignalDoesNotEndTheWait) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  struct sigaction before;
  ASSERT_EQ(0, sigaction(SIGUSR1, &action, &before));
  EXPECT_EQ(5, Nas1System("for i in 1 2 3; do kill -USR1 $PPID; sleep 0.01; done; exit 5"));
  (void)sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Shell, AServiceIsInstalledWhenItsLineSaysYes) {
  writeFile("/etc/service.zelmar", "nfs=yes\nlvm=no\nxftp=yes\nafpd=really yes\nsnmp yes\nweb=no=yes\n");
  const struct {
    const char* service;
    int installed;
  } cases[] = {{"nfs", 1}, {"lvm", 0}, {"ftp", 0}, {"xftp", 1}, {"afp", 1}, {"snmp", 0}, {"web", 0}, {"none", 0}};
  for (const auto& c : cases) EXPECT_EQ(c.installed, NasGetServiceInstall(c.service)) << c.service;
  EXPECT_EQ(0, NasGetServiceInstall(std::string(511, 's').c_str()));
  for (const std::string& tooLong : {std::string(512, 's'), std::string()}) {
    const ChildResult child = inChild([&] { (void)NasGetServiceInstall(tooLong.empty() ? nullptr : tooLong.c_str()); });
    EXPECT_EQ(SIGABRT, child.signal);
    EXPECT_EQ(0U, child.output.find("nas1api.c:")) << child.output;
  }
  (void)unlink("/etc/service.zelmar");
  EXPECT_EQ(0, inChild([] { EXPECT_EQ(0, NasGetServiceInstall("nfs")); }).exitCode) << "no list";
}

TEST(TextChecks, LengthsIncludeTheNul) {
  const std::string text(32, 'x');
  EXPECT_EQ(0U, Nas1CheckLength(text.c_str() + 1, 32));
  EXPECT_EQ(1U, Nas1CheckLength(text.c_str(), 32));
  EXPECT_EQ(0U, Nas1CheckLength("", 1));
  EXPECT_EQ(1U, Nas1CheckLength("", 0));
  EXPECT_EQ(~0U, Nas1CheckLength(nullptr, 32));
}

TEST(TextChecks, OnlyBlanksAreTrimmed) {
  const struct {
    const char* text;
    const char* trimmed;
  } cases[] = {{"  a b  ", "a b"}, {"    ", ""}, {"", ""}, {"a", "a"}, {" a", "a"}, {"a ", "a"}, {"\t a\t ", "\t a\t"}};
  for (const auto& c : cases) {
    char buffer[16];
    std::strcpy(buffer, c.text);
    Nas1Remove_ht_space(buffer);
    EXPECT_STREQ(c.trimmed, buffer);
  }
}

TEST_F(Shell, TheVersionIsZeroPointOne) {
  int major = 9;
  int minor = 9;
  EXPECT_EQ(0, Nas1ApiVersion(&major, nullptr));
  EXPECT_EQ(0, Nas1ApiVersion(nullptr, &minor));
  EXPECT_EQ(0, major);
  EXPECT_EQ(1, minor);
}

// The code page that was chosen, and whether names are converted on their way to clients.
TEST_F(Shell, TheTextFunctionsFollowTheConfiguration) {
  const struct {
    const char* defaults;
    int codePage;
    bool converts;
  } cases[] = {
      {"", 860, false},
      {"CIFS_CODE_PAGE=437\n", 437, false},
      {"CIFS_CODE_PAGE=932\nCODING_SYSTEM=0\n", 932, true},
      {"CIFS_CODE_PAGE=932\nCODING_SYSTEM=1\n", 932, false},
      {"CIFS_CODE_PAGE=932\n", 932, true},  // reads as 0
      {"CIFS_CODE_PAGE=950\nCODING_SYSTEM=0\n", 950, false},
      {nullptr, 860, false},
  };
  for (const auto& c : cases) {
    (void)unlink("/etc/admin/system.gdbm");
    (void)unlink("/etc/default.zelmar");
    if (c.defaults != nullptr) setDefaults(c.defaults);
    EXPECT_EQ(0, NasApiInit());
    EXPECT_EQ(c.codePage, g_codepage);
    char name[] = "\xA4\xA2";
    EXPECT_STREQ(c.converts ? "\x82\xA0" : "\xA4\xA2", NasStrServerToClient(name)) << c.codePage;
  }
  (void)NasLangInit(860, -1);
}

TEST_F(Shell, ANewCodePageCountsAtOnce) {
  const auto set = [](auto setter, int value) {
    EXPECT_EQ(0, setter(value));
    return g_codepage;
  };
  const auto byName = [](int value) { return NasSetConfig("CIFS_CODE_PAGE", sizeof value, &value); };
  const auto byNumber = [](int value) { return Nas1SetConfig(5, sizeof value, &value); };
  EXPECT_EQ(950, set(byName, 950));
  EXPECT_EQ(932, set(byNumber, 932));
  char name[] = "\xA4\xA2";
  const auto codingByName = [](int value) { return NasSetConfig("CODING_SYSTEM", sizeof value, &value); };
  const auto codingByNumber = [](int value) { return Nas1SetConfig(78, sizeof value, &value); };
  (void)set(codingByName, 1);
  EXPECT_STREQ("\xA4\xA2", NasStrServerToClient(name));
  (void)set(codingByNumber, 0);
  EXPECT_STREQ("\x82\xA0", NasStrServerToClient(name));
  (void)NasLangInit(860, -1);
}
