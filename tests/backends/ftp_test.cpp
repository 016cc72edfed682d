#include "backends/ftp.h"

#include "api/nas1api.h"
#include "backends/back_end.h"

using Ftp = ApplianceTest;

TEST_F(Ftp, ModesRunTheirCommands) {
  EXPECT_EQ((Lines{"/usr/sbin/ftpshut now", "/usr/sbin/ftprestart"}), commandsOf([] { EXPECT_EQ(0, ftpRestart(2)); }));
  expectRestarts(ftpRestart, "ftprestart",
                 {{0, 0, "/usr/sbin/ftprestart"}, {1, 0, "/usr/sbin/ftpshut now"}, {3, -1, ""}});
}

TEST_F(Ftp, OnlyItsSwitchStartsAndStopsIt) {
  EXPECT_EQ(Lines{"59: /usr/sbin/ftprestart"}, reactionsOf(ftpSetConfig, 1));
  EXPECT_EQ(Lines{"59: /usr/sbin/ftprestart"}, reactionsOf(ftpSetConfig, 0x80000000)) << "not 0";
  EXPECT_EQ(Lines{"59: /usr/sbin/ftpshut now"}, reactionsOf(ftpSetConfig, 0));

  // What the value does not have counts as 0; the result is that of the command.
  std::uint32_t high = 0x01000000;
  EXPECT_EQ(Lines{"/usr/sbin/ftpshut now"}, commandsOf([&] { EXPECT_EQ(0, ftpSetConfig(59, 3, &high)); }));
  setExitStatus("ftpshut", 127);
  EXPECT_EQ(-1, ftpSetConfig(59, 3, &high));
}

TEST_F(Ftp, TheSwitchReachesItByNumberOnly) {
  int on = 1;
  EXPECT_EQ(Lines{"/usr/sbin/ftprestart"}, commandsOf([&] { EXPECT_EQ(0, Nas1SetConfig(59, sizeof on, &on)); }));
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(0, NasSetConfig("FTP_ENABLED", sizeof on, &on)); }));
}
