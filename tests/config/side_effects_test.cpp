// Settings that act on the system: the files they write, the commands they run, what the driver hears.

#include <cstdio>
#include <filesystem>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

constexpr char kRecords[] = "system.gdbm";

// A setting changed by its number or by its name.
struct Setting {
  int number;
  const char* name;

  int byNumber(std::string value) const { return Nas1SetConfig(number, static_cast<int>(value.size()), value.data()); }
  int byName(const std::string& value) const {
    return NasSetConfig(name, static_cast<int>(value.size()), value.data());
  }
};

constexpr Setting nameServer = {16, "IP_DNS"};
constexpr Setting timeZone = {26, "TIME_ZONE"};
constexpr Setting ping = {34, "DIRECT_PING_ENABLED"};
constexpr Setting ntp = {38, "NTP_ENABLED"};
constexpr Setting ntpServer1 = {39, "NTP_SERVER_1"};
constexpr Setting ntpServer2 = {40, "NTP_SERVER_2"};
constexpr Setting password = {41, "ADMIN_PASSWORD"};
constexpr Setting raidSync = {-1, "SKIP_RAID_SYNC"};
constexpr Setting snapshots = {-1, "USE_SNAP_SPACE_THRESHOLD"};
constexpr Setting ethernet = {114, "NIC_DISABLED"};

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

}  // namespace

TEST_F(SideEffects, TheTimeZoneToolRunsOnlyForAStoredZone) {
  EXPECT_EQ(0, timeZone.byNumber(text("Asia/Taipei")));
  EXPECT_EQ(text("Asia/Taipei"), storedRecord(kRecords, "TIME_ZONE"));
  setExitStatus("timeconfig", 1);
  EXPECT_EQ(0, timeZone.byNumber(text("UTC")));
  EXPECT_EQ(0, timeZone.byName(text("not by name")));
  breakRecords();
  EXPECT_EQ(-1, timeZone.byNumber(text("not stored")));
  EXPECT_EQ((Lines{"/usr/sbin/timeconfig Asia/Taipei", "/usr/sbin/timeconfig UTC"}), commands());
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
      {-1, 1, restart, restart}, {-1, 0, none, none}, {0, 1, restart, restart}, {1, 1, none, restart},
      {1, 0, stop, none},        {0, 2, none, none},  {2, 1, none, restart},    {2, 0, none, none},
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
}

TEST_F(SideEffects, TheNtpFileHoldsBothServers) {
  const auto expectFile = [](int result, const std::string& servers) {
    EXPECT_EQ(0, result);
    EXPECT_EQ("server 127.127.1.0\n" + servers + "\nfudge 127.127.1.0 stratum 10\n\ndriftfile /mnt/param/misc/drift\n",
              readFile("/etc/ntp.conf"));
  };
  expectFile(ntpServer1.byNumber(text("one")), "server one\n");
  expectFile(ntpServer2.byNumber(text("two")), "server one\nserver two\n");
  expectFile(ntpServer1.byNumber(text("")), "server two\n");
  // By name only the second server is told from the first.
  expectFile(ntpServer1.byName(text("named")), "server named\nserver named\n");
  expectFile(ntpServer2.byName("unended"), "server named\nserver unended\n");
  EXPECT_EQ(Lines{}, commands()) << "NTP is off";

  storeRecord(kRecords, "NTP_ENABLED", bytesOf(1));
  std::filesystem::remove("/etc/ntp.conf");
  std::filesystem::create_directory("/etc/ntp.conf");
  EXPECT_EQ(-1, ntpServer1.byNumber(text("three")));
  EXPECT_EQ(0, ntpServer2.byName(text("four")));
  std::filesystem::remove("/etc/ntp.conf");
  EXPECT_EQ(Lines(2, "/etc/init.d/ntpd restart"), commands()) << "the daemon follows all the same";
  EXPECT_EQ(Lines(2, "<ERR>  [SW]   Can't modify ntp.conf to save the NTP server"), applianceMessages());
  breakRecords();
  EXPECT_EQ(-1, ntpServer2.byNumber(text("five")));
  EXPECT_FALSE(exists("/etc/ntp.conf")) << "nothing stored, nothing written";
}

TEST_F(SideEffects, TheDriverHearsWhetherThereIsAPassword) {
  EXPECT_EQ(0, password.byNumber(text("secret")));
  EXPECT_EQ(0, password.byNumber(text("")));
  EXPECT_EQ(0, password.byName(text("other")));
  EXPECT_EQ(0, password.byName(text("")));
  EXPECT_EQ((Lines{"0x480F 1", "0x480F 0", "0x480F 1", "0x480F 0"}), driverRequests());
  refuseDriverRequest(0x480F);
  EXPECT_EQ(0, password.byNumber(text("refused")));
  takeDriverAway();
  EXPECT_EQ(-1, password.byNumber(text("stored")));
  EXPECT_EQ(text("stored"), storedRecord(kRecords, "ADMIN_PASSWORD"));
  EXPECT_EQ(0, password.byName(text("again")));
  EXPECT_EQ(Lines(2, "<ERR>  [SW]   open device error! /dev/nas1"), applianceMessages());
  breakRecords();
  EXPECT_EQ(-1, password.byNumber(text("lost")));
  EXPECT_EQ(Lines(7, "/bin/syncpasswd"), commands()) << "only what is stored is passed on";
}

TEST_F(SideEffects, SwitchesOfTheDriver) {
  descriptorsLeftByRule = 3;
  EXPECT_EQ(0, ping.byNumber(bytesOf(1)));
  EXPECT_EQ(0, ping.byName(bytesOf(2)));
  EXPECT_EQ(0, raidSync.byName(bytesOf(5)));
  EXPECT_EQ(0, snapshots.byName("\7"));
  EXPECT_EQ((Lines{"0x4807 1", "0x4807 2", "0x4814 5", "0x4813 7"}), driverRequests());
  refuseDriverRequest(0x4807);
  refuseDriverRequest(0x4814);
  EXPECT_EQ(0, raidSync.byName(bytesOf(6)));
  EXPECT_EQ(0, ping.byNumber(bytesOf(3))) << "a refusal does not keep it from being stored";
  EXPECT_EQ(bytesOf(3), storedRecord(kRecords, "DIRECT_PING_ENABLED"));
  EXPECT_EQ(-1, ping.byNumber("\1"));

  takeDriverAway();
  EXPECT_EQ(0, raidSync.byName(bytesOf(7)));
  EXPECT_EQ(0, snapshots.byName(bytesOf(7)));
  EXPECT_EQ(Lines{}, applianceMessages()) << "these two are silent";
  EXPECT_EQ(-1, ping.byNumber(bytesOf(4)));
  EXPECT_EQ(bytesOf(3), storedRecord(kRecords, "DIRECT_PING_ENABLED")) << "the driver comes first by number";
  EXPECT_EQ(0, ping.byName(bytesOf(5)));
  EXPECT_EQ(bytesOf(5), storedRecord(kRecords, "DIRECT_PING_ENABLED"));
  EXPECT_EQ(Lines(2, "<ERR>  [SW]   open device error! /dev/nas1"), applianceMessages());
}

TEST_F(SideEffects, TheNetworkRestartsWhateverBecameOfTheStore) {
  EXPECT_EQ(0, ethernet.byNumber(bytesOf(2)));
  EXPECT_EQ(0, ethernet.byName(bytesOf(3))) << "not by name";
  EXPECT_EQ(-1, ethernet.byNumber("\1")) << "nor for half a value";
  breakRecords();
  EXPECT_EQ(-1, ethernet.byNumber(bytesOf(4)));
  EXPECT_EQ((Lines{"/sbin/nscript", "/etc/init.d/network restart", "/sbin/nscript", "/etc/init.d/network restart"}),
            commands());
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
    int size;
    const char* address;
  } cases[] = {
      {"nameserver 192.0.2.1\nnameserver 192.0.2.2\n", 32, "192.0.2.1"},
      {"# a comment of more than thirty-one characters, nameserver 9.9.9.9\nnameserver 192.0.2.1\n", 32, "192.0.2.1"},
      {"names\n\nsearch x\nnameserver\t192.0.2.1", 32, "192.0.2.1"},
      {"nameserver 192.0.2.1\n", 5, "192."},
      {"search example.com\n", 32, ""},
      {"nameserver 0123456789012345678901234567890123456789\n", 40, "0123456789012345678901234567890"},
  };
  for (const auto& c : cases) {
    writeFile(kFile, c.file);
    char address[40];
    int length = -99;
    EXPECT_EQ(0, NasGetConfig("IP_DNS", c.size, address, &length)) << c.file;
    EXPECT_STREQ(c.address, address) << c.file;
    EXPECT_EQ(static_cast<int>(std::string(c.address).size()) + 1, length) << c.file;
  }
  std::filesystem::remove(kFile);
  char none[5] = "none";
  EXPECT_EQ(0, Nas1GetConfig(nameServer.number, 5, none, nullptr));
  EXPECT_STREQ("", none);
  std::filesystem::create_directory(kFile);
  EXPECT_EQ(-1, nameServer.byNumber(text("192.0.2.1")));
  EXPECT_EQ(-1, nameServer.byName(text("192.0.2.1")));
  std::filesystem::remove(kFile);
}

// A named change hands its row number to the back-end, which takes it for a numeric id.
TEST_F(SideEffects, ABackEndReactsToANameOnlyWhereRowAndNumberAgree) {
  writeFile("/var/lock/samba/locks/smbd.pid", "4711\n");
  writeFile("/var/lock/samba/locks/nmbd.pid", "4712\n");
  const Lines restart = {"/etc/init.d/smb restart"};
  const std::pair<Setting, bool> cases[] = {{{3, "CIFS_GROUP_NAME"}, true},
                                            {{6, "CIFS_SERVER_COMMENT"}, true},
                                            {{19, "CIFS_SHARE_MODE"}, false},
                                            {{30, "CIFS_ENABLED"}, false},
                                            {{101, "CIFS_PDC_NAME"}, false}};
  (void)newCommands();
  for (const auto& [setting, agrees] : cases) {
    EXPECT_EQ(0, setting.byNumber(bytesOf(1)));
    EXPECT_EQ(restart, newCommands()) << setting.name;
    EXPECT_EQ(0, setting.byName(bytesOf(1)));
    EXPECT_EQ(agrees ? restart : Lines{}, newCommands()) << setting.name;
  }
}
