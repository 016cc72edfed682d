#include "backends/afp.h"

#include "frame/appliance.h"

using Afp = ApplianceTest;

static constexpr char kVolumeList[] = "/etc/atalk/AppleVolumes.default";

static int addShare(std::string name, const std::string& path) { return Nas1ShareAdd(name.data(), "", path.c_str()); }

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
