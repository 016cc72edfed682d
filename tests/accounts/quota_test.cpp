#include "accounts/quota.h"

#include "frame/appliance.h"

using Quota = ApplianceTest;

TEST_F(Quota, FiguresComeFromTheReportsLine) {
  setOutput("quota",
            "Disk quotas for user ALICE (uid 32768): \n"
            "     Filesystem  blocks   quota   limit   grace   files   quota   limit   grace\n"
            "      /dev/md0    1023    2047    1024               1       0       0        \n"
            "      /dev/md1*   -2047   4398046511104 x\n");
  const struct {
    int id;
    const char* device;
    int which, figure;  // 0 soft limit, 1 in use, 2 hard limit
  } cases[] = {{32768, "/dev/md0", 0, 1},      {32768, "/dev/md0", 1, 0}, {32768, "/dev/md0", 2, 1},
               {32768, "/dev/md2", 0, 0},      {-5, "/dev/md1", 1, -1},  // rounded towards zero
               {-5, "/dev/md1", 0, INT32_MAX},                           // as much as fits
               {-5, "/dev/md1", 2, 0}};                                  // not a number
  for (const auto& c : cases)
    EXPECT_EQ(Lines{"/usr/bin/quota -v " + std::to_string(c.id)}, commandsOf([&] {
                EXPECT_EQ(c.figure, Nas1GetQuota(0, c.id, c.device, c.which)) << c.device << c.which;
              }));
}

TEST_F(Quota, NothingRunsForOtherFigures) {
  for (const int which : {3, 8, -1, INT32_MIN, INT32_MAX}) EXPECT_EQ(0, sysGetQuota(0, 32768, "md0", which)) << which;
  EXPECT_EQ(0, Nas1GetQuota(0, 32768, "", 0));
  EXPECT_EQ(0, Nas1GetQuota(0, 32768, nullptr, 0));
  EXPECT_EQ(0, Nas1SetQuota());
  EXPECT_EQ(Lines(), commands());
  // A command that is cut at its 256 bytes is run as far as it goes.
  EXPECT_EQ(0, inChild([] { EXPECT_EQ(0, sysGetQuota(0, 1, std::string(400, 'f').c_str(), 0)); }).exitCode);
  EXPECT_EQ((Lines{"/usr/bin/quota -v 1"}), commands());
}
