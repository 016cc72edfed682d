#include "backends/afp.h"

#include "backends/back_end.h"

using Afp = ApplianceTest;

static constexpr char kVolumeList[] = "/etc/atalk/AppleVolumes.default";

static int addShare(std::string name, const std::string& path) { return Nas1ShareAdd(name.data(), "", path.c_str()); }

TEST_F(Afp, ModesRunTheInitScript) {
  expectRestarts(
      afpRestart, "atalk",
      {"/etc/init.d/atalk start", "/etc/init.d/atalk stop", "/etc/init.d/atalk restart", "/etc/init.d/atalk reload"});
}

TEST_F(Afp, EverySharesChangeRewritesTheListAndReloadsNothing) {
  ASSERT_EQ(0, addShare("pub", "/volume/v1/pub"));
  ASSERT_EQ(0, addShare("\x83\x5c", "/volume/v2/two words"));
  ASSERT_EQ(0, Nas1ShareMod("pub", "", "/volume/v2/a much longer path than before"));
  const std::string last = "\"/volume/v2/a much longer path than before\" \"pub\" options:usedots";
  Lines lines = readLines(kVolumeList);
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ((Lines{last, "\"/volume/v2/two words\" \"\x83\x5c\" options:usedots"}), lines);
  ASSERT_EQ(0, Nas1ShareDel("\x83\x5c"));
  EXPECT_EQ(last + "\n", readFile(kVolumeList)) << "nothing of the longer list may stay behind";
  ASSERT_EQ(0, Nas1ShareDel("pub"));
  EXPECT_EQ(last + "\n", readFile(kVolumeList)) << "without shares the old list stays";
  for (const std::string& command : commands()) EXPECT_EQ(std::string::npos, command.find("atalk")) << command;
}

TEST_F(Afp, AListThatCannotBeWrittenFailsTheBackEndOnly) {
  blockFile(kVolumeList);
  EXPECT_EQ((Results{0, -1, -1}),
            (Results{addShare("pub", "/volume/v1/pub"), afpUpdateAppleVolumes(), afpShareDel(nullptr)}));
  EXPECT_EQ(Lines{"/etc/init.d/atalk reload"}, commandsOf([] { EXPECT_EQ(0, afpSetConfig(21, 0, nullptr)); }));
  EXPECT_EQ(Lines{}, applianceLog());
}

TEST_F(Afp, SettingsReloadOrRestartIt) {
  const std::string reload = "/etc/init.d/atalk reload";
  const auto withoutSwitch = [](int id, int size, void* value) { return id == 33 ? 0 : afpSetConfig(id, size, value); };
  expectReactions(withoutSwitch, 1, {0, 2, 9, 21}, reload);
  EXPECT_EQ(Lines{"/etc/init.d/atalk restart"}, commandsOf([] { EXPECT_EQ(0, afpSetConfig(33, 0, nullptr)); }));
  // By name, the row's number arrives: 2 is both row and id, 34 is no id of AFP's.
  EXPECT_EQ(Lines{reload}, commandsOf([] { (void)NasSetConfig("AFP_SERVER_NAME", 4, "ABC"); }));
  EXPECT_EQ(Lines{}, commandsOf([] { (void)NasSetConfig("AFP_ENABLED", 4, "ABC"); }));
}

TEST_F(Afp, EndingASessionSparesProcessGroups) {
  for (const int none : {0, -1}) EXPECT_EQ(-1, afpNetDisconnect(0, none)) << none << " is no process";
}
