// Disks through the driver: the map of disk numbers, RAID status, the stored configuration, shutdown.

#include "status/disks.h"

#include <array>

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

std::string debug(int line, const std::string& text) {
  return "debug nas1api.c:" + std::to_string(line) + ":parsePollingDisks, " + text;
}

std::string unknown(int line, const std::string& word) {
  return "warning nas1api.c:" + std::to_string(line) + ":parsePollingDisks, unknown disk= (" + word + ") ";
}

std::string kept(int index, const std::string& name) {
  return debug(2988, "g_p_hdDeviceName[" + std::to_string(index) + "].name = (" + name + ") ");
}

std::string counted(const std::string& name) { return debug(2966, "disk= (" + name + ") "); }

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
      {"shorter than a letter", "disks /dev/hda /dev/x\n", {2, 1}},
      {"the last line wins", "disks /dev/hdb /dev/hda\ndisks /dev/hdc /dev/hdb /dev/hda\n", {3, 2, 1}},
      {"an empty last line", "disks /dev/hdb /dev/hda\ndisks\n", {1, 2}},
      {"nothing behind the key", "disks", {1}},
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
  writeFile(kHotSwap, "disks /dev/hdb foo /dev/hda\n");
  initDiskNumMap();
  Lines expected = {counted("/dev/hdb"), unknown(2969, "foo"), counted("/dev/hda"), kept(0, "/dev/hdb"),
                    unknown(2990, "foo")};
  EXPECT_EQ(expected, systemLog());

  const std::string longName = "/dev/" + std::string(150, 'x');  // a list and a name have their limits
  parsePollingDisks((longName + " /dev/hda").c_str());
  parsePollingDisks("foo");
  parsePollingDisks(nullptr);
  expected = expected + Lines{counted(longName.substr(0, 128)), kept(0, longName.substr(0, 127)), unknown(2969, "foo"),
                              debug(2999, "i_disk_count =0")};
  EXPECT_EQ(expected, systemLog());

  (void)unlink("/var/log/appliance/syslog");
  (void)unlink(kHotSwap);
  std::fill_n(DiskNumMap, DISK_COUNT, -7);
  initDiskNumMap();
  (void)numbers(0);  // every one its index and one
  EXPECT_EQ(Lines{"err nas1api.c:3047:parseConfig, open file (/etc/hotswap.conf) error : No such file or directory"},
            systemLog());
}

TEST_F(Disks, TheConfigurationComesFromItsKeysAndTheStoredRecord) {
  const struct {
    int level;
    std::array<int, 3> words;  // level, file system, flag
  } cases[] = {{5, {5, 3, 0}}, {6, {5, 3, 1}}, {7, {-1, 3, 0}}, {8, {8, 3, 0}}};
  const auto firstWords = [](const DiskConfig& c) { return std::array<int, 3>{c.raidLevel, c.fileSystem, c.flag}; };
  for (const auto& c : cases) {
    setDefaults("RAID_LEVEL " + std::to_string(c.level) + "\nFILE_SYSTEM 3\n");
    (void)unlink("/etc/admin/system.gdbm");
    DiskConfig config;
    std::fill_n(reinterpret_cast<char*>(&config), sizeof config, '\x55');
    EXPECT_EQ(0, Nas1GetDiskConfig(&config));
    EXPECT_EQ(c.words, firstWords(config)) << c.level;
    EXPECT_EQ(std::string(164, '\0'), bytesOf(config.callers)) << c.level;
  }

  // A shorter record, as an older release may have stored it, lies over as much as it has.
  storeRecord("system.gdbm", "DISK_CONFIG", bytesOf(9) + "ab");
  DiskConfig config;
  EXPECT_EQ(0, Nas1GetDiskConfig(&config));
  EXPECT_EQ((std::array<int, 3>{9, 'a' + 'b' * 256, 0}), firstWords(config));

  for (std::size_t i = 0; i < sizeof config; ++i)
    reinterpret_cast<unsigned char*>(&config)[i] = static_cast<unsigned char>(255 - i);
  EXPECT_EQ(0, Nas1SetDiskConfig(&config));
  EXPECT_EQ(bytesOf(config), storedRecord("system.gdbm", "DISK_CONFIG"));
  // The handlers take part of it, too.
  std::string part(8, 'x');
  int length = 0;
  EXPECT_EQ(0, get_DISK_CONFIG(6, part.data(), &length));
  EXPECT_EQ(bytesOf(config).substr(0, 6) + "xx", part);
  EXPECT_EQ(6, length);
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
  refuseDriverRequest(0x480B);
  EXPECT_EQ(-1, Nas1Shutdown());
  descriptorsLeftByRule = 2;  // the system is going down
  EXPECT_EQ(Lines{}, applianceLog());
  const MovedAway driver("/dev/nas1");
  EXPECT_EQ(-1, Nas1Shutdown());
  EXPECT_EQ(Lines{"<ERR>  [HD]   Error : Can't open nas1 device!"}, applianceMessages());
}
