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
  EXPECT_EQ(0, afpDbUpdate());
  EXPECT_FALSE(exists(kVolumeList)) << "no shares, no list";
  (void)EnableNas1ShareBatch(1);
  ASSERT_EQ(0, addShare("pub", "/volume/v1/pub"));
  EXPECT_FALSE(exists(kVolumeList));
  (void)EnableNas1ShareBatch(0);
  EXPECT_EQ("\"/volume/v1/pub\" \"pub\" options:usedots\n", readFile(kVolumeList));

  ASSERT_EQ(0, addShare("two words", "/volume/v1/two words"));
  ASSERT_EQ(0, addShare("\x83\x5c", "/volume/v2/\x83\x5c"));
  ASSERT_EQ(0, Nas1ShareMod("pub", "", "/volume/v2/a much longer path than before"));
  const std::string last = "\"/volume/v2/a much longer path than before\" \"pub\" options:usedots";
  Lines lines = readLines(kVolumeList);
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ((Lines{"\"/volume/v1/two words\" \"two words\" options:usedots", last,
                   "\"/volume/v2/\x83\x5c\" \"\x83\x5c\" options:usedots"}),
            lines);
  ASSERT_EQ(0, Nas1ShareDel("two words"));
  ASSERT_EQ(0, Nas1ShareDel("\x83\x5c"));
  EXPECT_EQ(last + "\n", readFile(kVolumeList)) << "nothing of the longer list may stay behind";
  ASSERT_EQ(0, Nas1ShareDel("pub"));
  EXPECT_EQ(last + "\n", readFile(kVolumeList)) << "without shares the old list stays";
  for (const std::string& command : commands()) EXPECT_EQ(std::string::npos, command.find("atalk")) << command;
}

TEST_F(Afp, AListThatCannotBeWrittenFailsTheBackEndOnly) {
  ASSERT_EQ(0, mkdir(kVolumeList, 0755));
  EXPECT_EQ(0, addShare("pub", "/volume/v1/pub"));
  EXPECT_EQ(Results(4, -1), (Results{afpUpdateAppleVolumes(), afpShareAdd(nullptr, nullptr, nullptr),
                                     afpShareMod(nullptr, nullptr, nullptr), afpShareDel(nullptr)}));
  EXPECT_EQ(Lines{"/etc/init.d/atalk reload"}, commandsOf([] { EXPECT_EQ(0, afpSetConfig(21, 0, nullptr)); }));
  EXPECT_EQ(Lines{}, applianceLog());
}

TEST_F(Afp, SettingsReloadOrRestartIt) {
  const std::string reload = "/etc/init.d/atalk reload";
  const auto withoutSwitch = [](int id, int size, void* value) { return id == 33 ? 0 : afpSetConfig(id, size, value); };
  for (const std::uint32_t value : {0U, 1U}) expectReactions(withoutSwitch, value, {0, 2, 9, 21}, reload);
  EXPECT_EQ(Lines{"/etc/init.d/atalk restart"}, commandsOf([] { EXPECT_EQ(0, afpSetConfig(33, 0, nullptr)); }));
  ASSERT_EQ(0, addShare("pub", "/volume/v1/pub"));
  for (const int id : {0, 2, 9, 21, 33}) {
    writeFile(kVolumeList, "");
    EXPECT_EQ(0, afpSetConfig(id, 0, nullptr));
    EXPECT_EQ(id == 21, readFile(kVolumeList) != "") << id << " rewrites the list";
  }

  // By name, the row's number arrives: 2 is both row and id, 24 and 34 are no ids of AFP's.
  const std::pair<const char*, bool> named[] = {
      {"AFP_SERVER_NAME", true}, {"AFP_SHARE_MODE", false}, {"AFP_ENABLED", false}};
  for (const auto& [name, acts] : named)
    EXPECT_EQ(acts ? Lines{reload} : Lines{}, commandsOf([&, key = name] { (void)NasSetConfig(key, 4, "ABC"); }))
        << name;
}

TEST_F(Afp, EndingASessionKillsOneProcess) {
  expectDisconnectEnds(PROTO_AFP, SIGKILL);
  pid_t ended = 0;
  EXPECT_EQ(SIGKILL, signalThatEnds([&](pid_t pid) { EXPECT_EQ(0, afpNetDisconnect(0, ended = pid)); }));
  const Lines log = systemLog();
  ASSERT_FALSE(log.empty());
  EXPECT_TRUE(log.back().starts_with("err afp.cpp:")) << log.back();
  EXPECT_TRUE(log.back().ends_with(" kill -9 " + std::to_string(ended))) << log.back();
  for (const int none : {ended, 0, -1}) EXPECT_EQ(-1, afpNetDisconnect(0, none)) << none << " is no process";
}
