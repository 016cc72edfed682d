// Settings that act on the system: the files they write, the commands they run, what the driver hears.

#include <cstdio>
#include <filesystem>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

constexpr char kRecords[] = "system.gdbm";

enum { IP_DNS = 16, TIME_ZONE = 26, PING = 34, NTP = 38, NTP_1 = 39, NTP_2 = 40, PASSWORD = 41, ETHERNET = 114 };

// A setting changed by its number or by its name.
struct Setting {
  int number;
  const char* name;

  int byNumber(std::string value) const { return Nas1SetConfig(number, static_cast<int>(value.size()), value.data()); }
  int byName(const std::string& value) const {
    return NasSetConfig(name, static_cast<int>(value.size()), value.data());
  }
};

constexpr Setting timeZone = {TIME_ZONE, "TIME_ZONE"};
constexpr Setting ping = {PING, "DIRECT_PING_ENABLED"};
constexpr Setting ntp = {NTP, "NTP_ENABLED"};
constexpr Setting ntpServer1 = {NTP_1, "NTP_SERVER_1"};
constexpr Setting ntpServer2 = {NTP_2, "NTP_SERVER_2"};
constexpr Setting password = {PASSWORD, "ADMIN_PASSWORD"};
constexpr Setting ethernet = {ETHERNET, "NIC_DISABLED"};
constexpr Setting nameServer = {IP_DNS, "IP_DNS"};

std::string text(const std::string& value) { return value + '\0'; }

class SideEffects : public ApplianceTest {
 protected:
  void TearDown() override {
    (void)std::rename("/dev/nas1.away", "/dev/nas1");
    ApplianceTest::TearDown();
  }
};

void takeDriverAway() { ASSERT_EQ(0, std::rename("/dev/nas1", "/dev/nas1.away")); }

// Nothing can be stored from here on.
void breakRecords() {
  std::filesystem::remove("/etc/admin/system.gdbm");
  std::filesystem::create_directory("/etc/admin/system.gdbm");
}

// The commands that were run since the last time.
Lines newCommands() {
  static std::size_t seen = 0;
  Lines all = commands();
  if (all.size() < seen) seen = 0;
  Lines fresh(all.begin() + static_cast<std::ptrdiff_t>(seen), all.end());
  seen = all.size();
  return fresh;
}

std::string ntpFile(const std::string& servers) {
  return "server 127.127.1.0\n" + servers + "\nfudge 127.127.1.0 stratum 10\n\ndriftfile /mnt/param/misc/drift\n";
}

}  // namespace

TEST_F(SideEffects, TheTimeZoneToolRunsOnlyForAStoredZone) {
  EXPECT_EQ(0, timeZone.byNumber(text("Asia/Taipei")));
  EXPECT_EQ(Lines{"/usr/sbin/timeconfig Asia/Taipei"}, commands());
  EXPECT_EQ(text("Asia/Taipei"), storedRecord(kRecords, "TIME_ZONE"));
  setExitStatus("timeconfig", 1);
  EXPECT_EQ(0, timeZone.byNumber(text("UTC")));
  EXPECT_EQ(0, timeZone.byName(text("Europe/Paris")));
  EXPECT_EQ(2U, commands().size()) << "not by name";
  breakRecords();
  EXPECT_EQ(-1, timeZone.byNumber(text("UTC")));
  EXPECT_EQ(2U, commands().size());
}

TEST_F(SideEffects, TheNtpDaemonFollowsTheSwitch) {
  const Lines none;
  const Lines restart = {"/etc/init.d/ntpd restart"};
  const Lines stop = {"/etc/init.d/ntpd stop"};
  (void)newCommands();
  const struct {
    int stored;  // -1 for never
    int value;
    Lines byNumber;
    Lines byName;
  } cases[] = {
      {-1, 1, restart, restart}, {-1, 0, none, none},   {0, 1, restart, restart},
      {0, 0, none, none},        {1, 1, none, restart}, {1, 0, stop, none},
      {0, 2, none, none},        {2, 0, none, none},    {2, 1, none, restart},
  };
  for (const auto& c : cases) {
    for (const bool byName : {false, true}) {
      (void)unlink("/etc/admin/system.gdbm");
      if (c.stored >= 0) storeRecord(kRecords, "NTP_ENABLED", bytesOf(c.stored));
      EXPECT_EQ(0, byName ? ntp.byName(bytesOf(c.value)) : ntp.byNumber(bytesOf(c.value)));
      EXPECT_EQ(byName ? c.byName : c.byNumber, newCommands()) << c.stored << " to " << c.value << ", " << byName;
      EXPECT_EQ(bytesOf(c.value), storedRecord(kRecords, "NTP_ENABLED"));
    }
  }
  EXPECT_EQ(-1, ntp.byNumber("\1"));
  EXPECT_EQ(Lines{}, newCommands());
}

TEST_F(SideEffects, TheNtpFileHoldsBothServers) {
  const auto file = [] { return readFile("/etc/ntp.conf").value_or("none"); };
  EXPECT_EQ(0, ntpServer1.byNumber(text("one")));
  EXPECT_EQ(ntpFile("server one\n"), file());
  EXPECT_EQ(0, ntpServer2.byNumber(text("two")));
  EXPECT_EQ(ntpFile("server one\nserver two\n"), file());
  EXPECT_EQ(0, ntpServer1.byNumber(text("1.one")));
  EXPECT_EQ(ntpFile("server 1.one\nserver two\n"), file());
  EXPECT_EQ(0, ntpServer1.byNumber(text("")));
  EXPECT_EQ(ntpFile("server two\n"), file());

  // By name only the second server is told from the first.
  EXPECT_EQ(0, ntpServer1.byName(text("named")));
  EXPECT_EQ(ntpFile("server named\nserver named\n"), file());
  EXPECT_EQ(0, ntpServer2.byName(text("second")));
  EXPECT_EQ(ntpFile("server named\nserver second\n"), file());
  EXPECT_EQ(0, ntpServer2.byName("unended"));
  EXPECT_EQ(ntpFile("server named\nserver unended\n"), file());
  EXPECT_EQ(Lines{}, commands()) << "NTP is off";

  storeRecord(kRecords, "NTP_ENABLED", bytesOf(1));
  (void)newCommands();
  EXPECT_EQ(0, ntpServer1.byNumber(text("one")));
  EXPECT_EQ(0, ntpServer2.byName(text("two")));
  EXPECT_EQ(Lines(2, "/etc/init.d/ntpd restart"), newCommands());

  (void)unlink("/etc/ntp.conf");
  writeFile("/etc/ntp.conf/in the way", "");
  EXPECT_EQ(-1, ntpServer1.byNumber(text("three")));
  EXPECT_EQ(0, ntpServer1.byName(text("four")));
  EXPECT_EQ(Lines(2, "/etc/init.d/ntpd restart"), newCommands()) << "the daemon follows all the same";
  EXPECT_EQ(Lines(2, "<ERR>  [SW]   Can't modify ntp.conf to save the NTP server"), applianceMessages());
  std::filesystem::remove_all("/etc/ntp.conf");

  breakRecords();
  EXPECT_EQ(-1, ntpServer2.byNumber(text("five")));
  EXPECT_FALSE(exists("/etc/ntp.conf")) << "nothing stored, nothing written";
}

TEST_F(SideEffects, TheDriverHearsWhetherThereIsAPassword) {
  EXPECT_EQ(0, password.byNumber(text("secret")));
  EXPECT_EQ(0, password.byNumber(text("")));
  EXPECT_EQ(0, password.byName(text("other")));
  EXPECT_EQ(0, password.byName(text("")));
  EXPECT_EQ(Lines(4, "/bin/syncpasswd"), commands());
  EXPECT_EQ((Lines{"0x480F 1", "0x480F 0", "0x480F 1", "0x480F 0"}), driverRequests());
  refuseDriverRequest(0x480F);
  EXPECT_EQ(0, password.byNumber(text("refused")));
  EXPECT_EQ(Lines{}, applianceMessages());

  takeDriverAway();
  EXPECT_EQ(-1, password.byNumber(text("stored")));
  EXPECT_EQ(text("stored"), storedRecord(kRecords, "ADMIN_PASSWORD"));
  EXPECT_EQ(0, password.byName(text("again")));
  EXPECT_EQ(Lines(2, "<ERR>  [SW]   open device error! /dev/nas1"), applianceMessages());
  EXPECT_EQ(7U, commands().size());
  breakRecords();
  EXPECT_EQ(-1, password.byNumber(text("lost")));
  EXPECT_EQ(7U, commands().size()) << "only what is stored is passed on";
}

TEST_F(SideEffects, DirectPingKeepsTheDeviceOpen) {
  descriptorsLeftByRule = 3;
  EXPECT_EQ(0, ping.byNumber(bytesOf(1)));
  EXPECT_EQ(0, ping.byName(bytesOf(0x01020304)));
  EXPECT_EQ((Lines{"0x4807 1", "0x4807 16909060"}), driverRequests());
  refuseDriverRequest(0x4807);
  EXPECT_EQ(0, ping.byNumber(bytesOf(2))) << "a refusal does not keep it from being stored";
  EXPECT_EQ(bytesOf(2), storedRecord(kRecords, "DIRECT_PING_ENABLED"));
  EXPECT_EQ(-1, ping.byNumber("\1\0"));

  takeDriverAway();
  EXPECT_EQ(-1, ping.byNumber(bytesOf(3)));
  EXPECT_EQ(bytesOf(2), storedRecord(kRecords, "DIRECT_PING_ENABLED")) << "the driver comes first by number";
  EXPECT_EQ(0, ping.byName(bytesOf(4)));
  EXPECT_EQ(bytesOf(4), storedRecord(kRecords, "DIRECT_PING_ENABLED"));
  EXPECT_EQ(Lines(2, "<ERR>  [SW]   open device error! /dev/nas1"), applianceMessages());
}

TEST_F(SideEffects, DriverSwitchesAreSilentWithoutADriver) {
  const int value = 5;
  EXPECT_EQ(0, NasSetConfig("SKIP_RAID_SYNC", sizeof value, &value));
  EXPECT_EQ(0, NasSetConfig("USE_SNAP_SPACE_THRESHOLD", sizeof value, &value));
  EXPECT_EQ(0, NasSetConfig("USE_SNAP_SPACE_THRESHOLD", 1, "\7"));
  EXPECT_EQ((Lines{"0x4814 5", "0x4813 5", "0x4813 7"}), driverRequests());
  refuseDriverRequest(0x4814);
  EXPECT_EQ(0, NasSetConfig("SKIP_RAID_SYNC", sizeof value, &value));
  takeDriverAway();
  EXPECT_EQ(0, NasSetConfig("SKIP_RAID_SYNC", sizeof value, &value));
  EXPECT_EQ(Lines{}, applianceMessages());
}

TEST_F(SideEffects, TheNetworkRestartsWhateverBecameOfTheStore) {
  const Lines restart = {"/sbin/nscript", "/etc/init.d/network restart"};
  (void)newCommands();
  EXPECT_EQ(0, ethernet.byNumber(bytesOf(2)));
  EXPECT_EQ(restart, newCommands());
  EXPECT_EQ(0, ethernet.byName(bytesOf(3)));
  EXPECT_EQ(-1, ethernet.byNumber("\1"));
  EXPECT_EQ(Lines{}, newCommands()) << "neither by name nor for half a value";
  breakRecords();
  EXPECT_EQ(-1, ethernet.byNumber(bytesOf(4)));
  EXPECT_EQ(restart, newCommands());
}

TEST_F(SideEffects, TheNameServerLivesInItsFileAlone) {
  constexpr char kFile[] = "/etc/resolv.conf";
  EXPECT_EQ(0, nameServer.byNumber(text("192.0.2.1")));
  EXPECT_EQ("nameserver 192.0.2.1\n", readFile(kFile));
  EXPECT_EQ(0, nameServer.byName(text("192.0.2.22")));
  EXPECT_EQ("nameserver 192.0.2.22\n", readFile(kFile));
  EXPECT_EQ(Lines{}, storedKeys(kRecords));

  const struct {
    const char* file;
    const char* address;
  } cases[] = {
      {"nameserver 192.0.2.1\nnameserver 192.0.2.2\n", "192.0.2.1"},
      {"search example.com\nnameserver 192.0.2.1\n", "192.0.2.1"},
      {"# a comment of more than thirty-one characters, nameserver 9.9.9.9\nnameserver 192.0.2.1\n", "192.0.2.1"},
      {"domain x\n\nnameserver\t192.0.2.1\n", "192.0.2.1"},
      {"names\nnameserver 192.0.2.1", "192.0.2.1"},
      {"search example.com\n", ""},
      {"", ""},
      {"nameserver 0123456789012345678901234567890123456789\n", "0123456789012345678901234567890"},
  };
  for (const auto& c : cases) {
    writeFile(kFile, c.file);
    char address[33];
    int length = -99;
    EXPECT_EQ(0, NasGetConfig("IP_DNS", 32, address, &length)) << c.file;
    EXPECT_STREQ(c.address, address) << c.file;
    EXPECT_EQ(static_cast<int>(std::string(c.address).size()) + 1, length) << c.file;
  }
  char cut[5];
  int length = 0;
  writeFile(kFile, "nameserver 192.0.2.1\n");
  EXPECT_EQ(0, Nas1GetConfig(IP_DNS, 5, cut, &length));
  EXPECT_STREQ("192.", cut);
  EXPECT_EQ(5, length);
  (void)unlink(kFile);
  EXPECT_EQ(0, Nas1GetConfig(IP_DNS, 5, cut, &length));
  EXPECT_STREQ("", cut);
  EXPECT_EQ(1, length);
  writeFile(std::string(kFile) + "/in the way", "");
  EXPECT_EQ(-1, nameServer.byNumber(text("192.0.2.1")));
  EXPECT_EQ(-1, nameServer.byName(text("192.0.2.1")));
  std::filesystem::remove_all(kFile);
}

// A named change hands its row number to the back-end, which takes it for a numeric id.
TEST_F(SideEffects, ABackEndReactsToANameOnlyWhereRowAndNumberAgree) {
  for (const char* daemon : {"smbd", "nmbd"}) {
    writeFile(std::string("/var/lock/samba/locks/") + daemon + ".pid", "4711\n");
  }
  const Lines restart = {"/etc/init.d/smb restart"};
  const struct {
    Setting setting;
    std::string value;
    bool agrees;
  } cases[] = {
      {{3, "CIFS_GROUP_NAME"}, text("GROUP"), true},       {{5, "CIFS_CODE_PAGE"}, bytesOf(860), true},
      {{6, "CIFS_SERVER_COMMENT"}, text("comment"), true}, {{19, "CIFS_SHARE_MODE"}, bytesOf(1), false},
      {{30, "CIFS_ENABLED"}, bytesOf(1), false},           {{101, "CIFS_PDC_NAME"}, text("PDC"), false},
  };
  (void)newCommands();
  for (const auto& c : cases) {
    EXPECT_EQ(0, c.setting.byNumber(c.value));
    EXPECT_EQ(restart, newCommands()) << c.setting.name;
    EXPECT_EQ(0, c.setting.byName(c.value));
    EXPECT_EQ(c.agrees ? restart : Lines{}, newCommands()) << c.setting.name;
  }
}
