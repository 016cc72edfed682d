// Disks through the driver: the map of disk numbers, RAID status, the stored configuration, shutdown.

#include "status/disks.h"

#include <numeric>

#include "frame/appliance.h"

namespace {

constexpr char kHotSwap[] = "/etc/hotswap.conf";
// The first numbers of the map, as many as asked for; all behind them must be their index and one.
std::vector<int> numbers(std::size_t count) {
  std::vector<int> all(DiskNumMap, DiskNumMap + DISK_COUNT);
  for (std::size_t i = count; i < all.size(); ++i) EXPECT_EQ(static_cast<int>(i) + 1, all[i]) << i;
  all.resize(count);
  return all;
}

}  // namespace

using Disks = ApplianceTest;

TEST_F(Disks, NumbersFollowTheDriveLetters) {
  const struct {
    const char* name;
    std::string file;
    std::vector<int> numbers;
  } cases[] = {
      {"other lines, other separator", "# disks\nports 4\ndisks=/dev/hdb /dev/hda /dev/hdc\nled 1\n", {2, 1, 3}},
      {"the same letter", "disks /dev/hdb /dev/hdb1 /dev/hda\n", {2, 2, 1}},
      {"an unknown word drops the last disk", "disks /dev/hda foo /dev/hdb\n", {2, 1}},
      {"letters are signed", "disks /dev/hda /dev/hd\xE1\n", {2, 1}},
      {"the last line wins", "disks /dev/hdb /dev/hda\ndisks /dev/hdc /dev/hdb /dev/hda\n", {3, 2, 1}},
      {"an empty last line", "disks /dev/hdb /dev/hda\ndisks\n", {1, 2}},
      {"more than a line takes", "disks /dev/hdb /dev/hda" + std::string(200, ' ') + "/dev/hdc\n", {2, 1, 3}},
  };
  for (const auto& c : cases) {
    writeFile(kHotSwap, c.file);
    std::fill_n(DiskNumMap, DISK_COUNT, -7);
    initDiskNumMap();
    EXPECT_EQ(c.numbers, numbers(c.numbers.size())) << c.name;
  }
}

TEST_F(Disks, WhatWasReadIsInTheSystemLog) {
  const std::string at = "nas1api.c:", function = ":parsePollingDisks, ";
  writeFile(kHotSwap, "disks /dev/hdb foo\n");
  initDiskNumMap();
  parsePollingDisks("foo");
  EXPECT_EQ((Lines{"debug " + at + "2966" + function + "disk= (/dev/hdb) ",
                   "warning " + at + "2969" + function + "unknown disk= (foo) ",
                   "debug " + at + "2988" + function + "g_p_hdDeviceName[0].name = (/dev/hdb) ",
                   "warning " + at + "2969" + function + "unknown disk= (foo) ",
                   "debug " + at + "2999" + function + "i_disk_count =0"}),
            systemLog());
  (void)unlink(kHotSwap);
  std::fill_n(DiskNumMap, DISK_COUNT, -7);
  initDiskNumMap();
  (void)numbers(0);  // every one its index and one
  EXPECT_EQ("err nas1api.c:3047:parseConfig, open file (/etc/hotswap.conf) error : No such file or directory",
            systemLog().back());
}

TEST_F(Disks, TheConfigurationComesFromItsKeysAndTheStoredRecord) {
  const auto firstWords = [](const DiskConfig& c) { return Results{c.raidLevel, c.fileSystem, c.flag}; };
  DiskConfig config;
  for (const Results& words : {Results{5, 5, 0}, {6, 5, 1}, {7, -1, 0}, {8, 8, 0}}) {
    setDefaults("RAID_LEVEL " + std::to_string(words[0]) + "\nFILE_SYSTEM 3\n");
    (void)unlink("/etc/admin/system.gdbm");
    std::fill_n(reinterpret_cast<char*>(&config), sizeof config, '\x55');
    EXPECT_EQ(0, Nas1GetDiskConfig(&config));
    EXPECT_EQ((Results{words[1], 3, words[2]}), firstWords(config)) << words[0];
    EXPECT_EQ(std::string(164, '\0'), bytesOf(config.callers)) << words[0];
  }

  // A shorter record, as an older release may have stored it, lies over as much as it has.
  storeRecord("system.gdbm", "DISK_CONFIG", bytesOf(9) + "ab");
  EXPECT_EQ(0, Nas1GetDiskConfig(&config));
  EXPECT_EQ((Results{9, 'a' + 'b' * 256, 0}), firstWords(config));

  std::iota(reinterpret_cast<unsigned char*>(&config), reinterpret_cast<unsigned char*>(&config + 1), '\1');
  EXPECT_EQ(0, Nas1SetDiskConfig(&config));
  EXPECT_EQ(bytesOf(config), storedRecord("system.gdbm", "DISK_CONFIG"));
  std::string part(8, 'x');
  EXPECT_EQ(0, get_DISK_CONFIG(6, part.data(), nullptr));
  EXPECT_EQ(bytesOf(config).substr(0, 6) + "xx", part);
  EXPECT_EQ(-1, set_DISK_CONFIG(175, &config));
  // The log names the program, cut at 79 bytes.
  const std::string program = readFile("/proc/self/cmdline").value_or("").substr(0, 79);
  EXPECT_EQ(Lines{"<INFO> [SW]   issued by " + std::string(program.c_str())}, applianceMessages());
  blockFile("/etc/admin/system.gdbm");
  EXPECT_EQ(-1, Nas1SetDiskConfig(&config));
}

TEST_F(Disks, RaidStatusIsTheDriversWithTwoWordsOfTheConfiguration) {
  setDefaults("RAID_LEVEL 6\n");
  std::string fromDriver(RAID_STATUS_SIZE, 'd');
  writeFile("/run/nas1-driver/raid", fromDriver);
  const std::string words = bytesOf(5) + bytesOf(1);
  std::string status(RAID_STATUS_SIZE + 8, 's');

  EXPECT_EQ(0, Nas1GetRaidStatus(status.data()));
  EXPECT_EQ(words + fromDriver.substr(8) + "ssssssss", status);
  refuseDriverRequest(0x480A);
  status.assign(status.size(), 's');
  EXPECT_EQ(-2, Nas1GetRaidStatus(status.data()));
  EXPECT_EQ(words + std::string(RAID_STATUS_SIZE, 's'), status);
  const MovedAway driver("/dev/nas1");
  status.assign(status.size(), 's');
  EXPECT_EQ(-1, Nas1GetRaidStatus(status.data()));
  EXPECT_EQ(std::string(RAID_STATUS_SIZE + 8, 's'), status);
}

TEST_F(Disks, ShutdownIsOneRequest) {
  EXPECT_EQ(0, Nas1Shutdown());
  EXPECT_EQ(Lines{"0x480B 0"}, driverRequests());
  descriptorsLeftByRule = 1;  // the system is going down
  const MovedAway driver("/dev/nas1");
  EXPECT_EQ(-1, Nas1Shutdown());
  EXPECT_EQ(Lines{"<ERR>  [HD]   Error : Can't open nas1 device!"}, applianceMessages());
}
