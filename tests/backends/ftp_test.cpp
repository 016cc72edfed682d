#include "backends/ftp.h"

#include "frame/appliance.h"

using Ftp = ApplianceTest;

TEST_F(Ftp, ModesRunTheirCommands) {
  EXPECT_EQ((Lines{"/usr/sbin/ftpshut now", "/usr/sbin/ftprestart"}), commandsOf([] { EXPECT_EQ(0, ftpRestart(2)); }));
  EXPECT_EQ(Lines{"/usr/sbin/ftprestart"}, commandsOf([] { EXPECT_EQ(0, ftpRestart(0)); }));
  setExitStatus("ftprestart", 127);
  EXPECT_EQ((Results{-1, -1, -1}), (Results{ftpRestart(3), ftpRestart(-1), ftpRestart(0)}));
}

TEST_F(Ftp, WhatItsSwitchDoesNotHaveCountsAsZero) {
  std::uint32_t high = 0x01000000;
  EXPECT_EQ(Lines{"/usr/sbin/ftpshut now"}, commandsOf([&] { EXPECT_EQ(0, ftpSetConfig(59, 3, &high)); }));
  setExitStatus("ftpshut", 127);
  EXPECT_EQ(-1, ftpSetConfig(59, 3, &high)) << "the result is that of the command";
}
