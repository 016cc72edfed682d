#include "backends/afp.h"

#include <algorithm>

#include <sys/stat.h>

#include "api/nas1api.h"
#include "backends/back_end.h"

using Afp = ApplianceTest;

static constexpr char kVolumeList[] = "/etc/atalk/AppleVolumes.default";

static int addShare(std::string name, const std::string& path) { return Nas1ShareAdd(name.data(), "", path.c_str()); }

static Lines sortedVolumes() {
  Lines lines = readLines(kVolumeList);
  std::sort(lines.begin(), lines.end());
  return lines;
}

TEST_F(Afp, ModesRunTheInitScript) {
  expectRestarts(afpRestart, "atalk",
                 {{0, 0, "/etc/init.d/atalk start"},
                  {1, 0, "/etc/init.d/atalk stop"},
                  {2, 0, "/etc/init.d/atalk restart"},
                  {3, 0, "/etc/init.d/atalk reload"}});
}

TEST_F(Afp, EverySharesChangeRewritesTheListAndReloadsNothing) {
  ASSERT_EQ(0, addShare("pub", "/volume/v1/pub"));
  EXPECT_EQ("\"/volume/v1/pub\" \"pub\" options:usedots\n", readFile(kVolumeList));

  ASSERT_EQ(0, addShare("two words", "/volume/v1/two words"));
  ASSERT_EQ(0, addShare("\x83\x5c", "/volume/v2/\x83\x5c"));
  ASSERT_EQ(0, Nas1ShareMod("pub", "", "/volume/v2/a much longer path than before"));
  EXPECT_EQ((Lines{"\"/volume/v1/two words\" \"two words\" options:usedots",
                   "\"/volume/v2/a much longer path than before\" \"pub\" options:usedots",
                   "\"/volume/v2/\x83\x5c\" \"\x83\x5c\" options:usedots"}),
            sortedVolumes());

  ASSERT_EQ(0, Nas1ShareDel("two words"));
  ASSERT_EQ(0, Nas1ShareDel("\x83\x5c"));
  const std::string last = "\"/volume/v2/a much longer path than before\" \"pub\" options:usedots\n";
  EXPECT_EQ(last, readFile(kVolumeList)) << "nothing of the longer list may stay behind";
  ASSERT_EQ(0, Nas1ShareDel("pub"));
  EXPECT_EQ(last, readFile(kVolumeList)) << "without shares the old list stays";
  for (const std::string& command : commands()) EXPECT_EQ(std::string::npos, command.find("atalk")) << command;
}

TEST_F(Afp, ABatchWritesTheListOnce) {
  EXPECT_EQ(0, afpDbUpdate());
  EXPECT_FALSE(exists(kVolumeList)) << "no shares, no list";
  (void)EnableNas1ShareBatch(1);
  ASSERT_EQ(0, addShare("pub", "/volume/v1/pub"));
  EXPECT_FALSE(exists(kVolumeList));
  (void)EnableNas1ShareBatch(0);
  EXPECT_EQ("\"/volume/v1/pub\" \"pub\" options:usedots\n", readFile(kVolumeList));
}

TEST_F(Afp, AListThatCannotBeWrittenFailsTheBackEndOnly) {
  ASSERT_EQ(0, mkdir(kVolumeList, 0755));
  EXPECT_EQ(0, addShare("pub", "/volume/v1/pub"));
  EXPECT_EQ(-1, afpUpdateAppleVolumes());
  EXPECT_EQ(-1, afpShareAdd(nullptr, nullptr, nullptr));
  EXPECT_EQ(-1, afpShareMod(nullptr, nullptr, nullptr));
  EXPECT_EQ(-1, afpShareDel(nullptr));
  EXPECT_EQ(Lines{"/etc/init.d/atalk reload"}, commandsOf([] { EXPECT_EQ(0, afpSetConfig(21, 0, nullptr)); }));
  EXPECT_EQ(Lines{}, applianceLog());
}

TEST_F(Afp, SettingsReloadOrRestartIt) {
  for (const std::uint32_t value : {0U, 1U}) {
    EXPECT_EQ((Lines{"0: /etc/init.d/atalk reload", "2: /etc/init.d/atalk reload", "9: /etc/init.d/atalk reload",
                     "21: /etc/init.d/atalk reload", "33: /etc/init.d/atalk restart"}),
              reactionsOf(afpSetConfig, value));
  }
  ASSERT_EQ(0, addShare("pub", "/volume/v1/pub"));
  const struct {
    int id;
    bool rewrites;
  } cases[] = {{0, false}, {2, false}, {9, false}, {21, true}, {33, false}};
  for (const auto& [id, rewrites] : cases) {
    writeFile(kVolumeList, "");
    EXPECT_EQ(0, afpSetConfig(id, 0, nullptr));
    EXPECT_EQ(rewrites, readFile(kVolumeList) != "") << id;
  }

  // By name, the row's number arrives: 2 is both row and id, 24 and 34 are no ids of AFP's.
  char name[NAS_NAME_SIZE] = "OFFICE";
  int mode = 1;
  EXPECT_EQ(Lines{"/etc/init.d/atalk reload"},
            commandsOf([&] { EXPECT_EQ(0, NasSetConfig("AFP_SERVER_NAME", 32, name)); }));
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(0, NasSetConfig("AFP_SHARE_MODE", 4, &mode)); }));
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(0, NasSetConfig("AFP_ENABLED", 4, &mode)); }));
}

TEST_F(Afp, EndingASessionKillsOneProcess) {
  pid_t ended = 0;
  EXPECT_EQ(SIGKILL, signalThatEnds([&](pid_t pid) {
              const ConnectionRecord record = {.pid = pid, .time = 0, .data = {}};
              EXPECT_EQ(0, Nas1AddConnection(PROTO_AFP, &record));
              EXPECT_EQ(0, Nas1NetDisconnect(PROTO_AFP, 0, pid));
              EXPECT_EQ(0, Nas1ConnectionCount(PROTO_AFP));
              ended = pid;
            }));
  const Lines log = systemLog();
  ASSERT_FALSE(log.empty());
  EXPECT_TRUE(log.back().starts_with("err afp.cpp:")) << log.back();
  EXPECT_TRUE(log.back().ends_with(" kill -9 " + std::to_string(ended))) << log.back();
  EXPECT_EQ(-1, afpNetDisconnect(0, ended)) << "the process is gone";
  for (const int group : {0, -1}) EXPECT_EQ(-1, afpNetDisconnect(0, group)) << "no process";
}
