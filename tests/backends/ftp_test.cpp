#include "backends/ftp.h"

#include "backends/back_end.h"

using Ftp = ApplianceTest;

TEST_F(Ftp, ModesRunTheirCommands) {
  EXPECT_EQ((Lines{"/usr/sbin/ftpshut now", "/usr/sbin/ftprestart"}), commandsOf([] { EXPECT_EQ(0, ftpRestart(2)); }));
  EXPECT_EQ(Lines{"/usr/sbin/ftprestart"}, commandsOf([] { EXPECT_EQ(0, ftpRestart(0)); }));
  setExitStatus("ftprestart", 127);
  EXPECT_EQ((Results{-1, -1, -1}), (Results{ftpRestart(3), ftpRestart(-1), ftpRestart(0)}));
}

TEST_F(Ftp, OnlyItsSwitchStartsAndStopsItByNumber) {
  expectReactions(ftpSetConfig, 0x80000000, {59}, "/usr/sbin/ftprestart");  // not 0
  int on = 1;
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(0, NasSetConfig("FTP_ENABLED", sizeof on, &on)); }));
  // What the value does not have counts as 0; the result is that of the command.
  std::uint32_t high = 0x01000000;
  EXPECT_EQ(Lines{"/usr/sbin/ftpshut now"}, commandsOf([&] { EXPECT_EQ(0, ftpSetConfig(59, 3, &high)); }));
  setExitStatus("ftpshut", 127);
  EXPECT_EQ(-1, ftpSetConfig(59, 3, &high));
}
