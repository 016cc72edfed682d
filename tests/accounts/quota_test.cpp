#include "accounts/quota.h"

#include <climits>

#include "api/nas1api.h"
#include "frame/appliance.h"

using Quota = ApplianceTest;

TEST_F(Quota, FiguresComeFromTheReportsLine) {
  setOutput("quota",
            "Disk quotas for user ALICE (uid 32768): \n"
            "     Filesystem  blocks   quota   limit   grace   files   quota   limit   grace\n"
            "      /dev/md0    1023    2047    1024               1       0       0        \n"
            "      /dev/md1*   -2047   4398046511104 x\n");
  EXPECT_EQ(1, Nas1GetQuota(0, 32768, "/dev/md0", 0)) << "soft limit";
  EXPECT_EQ(0, Nas1GetQuota(0, 32768, "/dev/md0", 1)) << "in use";
  EXPECT_EQ(1, Nas1GetQuota(0, 32768, "/dev/md0", 2)) << "hard limit";
  EXPECT_EQ(-1, sysGetQuota(0, -5, "/dev/md1", 1)) << "rounded towards zero";
  EXPECT_EQ(INT_MAX, sysGetQuota(0, -5, "/dev/md1", 0)) << "as much as fits";
  EXPECT_EQ(0, sysGetQuota(0, -5, "/dev/md1", 2)) << "not a number";
  EXPECT_EQ(0, Nas1GetQuota(0, 32768, "/dev/md2", 0)) << "no such line";
  EXPECT_EQ((Lines{"/usr/bin/quota -v 32768", "/usr/bin/quota -v 32768", "/usr/bin/quota -v 32768",
                   "/usr/bin/quota -v -5", "/usr/bin/quota -v -5", "/usr/bin/quota -v -5", "/usr/bin/quota -v 32768"}),
            commands());
}

TEST_F(Quota, NothingRunsForOtherFigures) {
  for (const int which : {3, 8, -1, INT_MIN, INT_MAX}) EXPECT_EQ(0, sysGetQuota(0, 32768, "md0", which)) << which;
  EXPECT_EQ(0, Nas1GetQuota(0, 32768, "", 0));
  EXPECT_EQ(0, Nas1GetQuota(0, 32768, nullptr, 0));
  EXPECT_EQ(0, Nas1SetQuota());
  EXPECT_EQ(Lines(), commands());
  // A command that is cut at its 256 bytes is run as far as it goes.
  EXPECT_EQ(0, inChild([] { EXPECT_EQ(0, sysGetQuota(0, 1, std::string(400, 'f').c_str(), 0)); }).exitCode);
  EXPECT_EQ((Lines{"/usr/bin/quota -v 1"}), commands());
}
