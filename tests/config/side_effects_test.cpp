// Settings that act on the system: the files they write, the commands they run, what the driver hears.

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

using SideEffects = ApplianceTest;

// Nothing can be stored from here on.
void breakRecords() { blockFile("/etc/admin/system.gdbm"); }

}  // namespace

TEST_F(SideEffects, TheTimeZoneToolRunsOnlyForAStoredZone) {
  setExitStatus("timeconfig", 1);
  EXPECT_EQ(Results(2, 0), (Results{timeZone.byNumber(text("UTC")), timeZone.byName(text("not by name"))}));
  breakRecords();
  EXPECT_EQ(-1, timeZone.byNumber(text("not stored")));
  EXPECT_EQ(Lines{"/usr/sbin/timeconfig UTC"}, commands());
}

TEST_F(SideEffects, TheNtpDaemonFollowsTheSwitch) {
  const Lines none, restart = {"/etc/init.d/ntpd restart"}, stop = {"/etc/init.d/ntpd stop"};
  const struct {
    int stored;  // -1 for never
    int value;
    Lines byNumber, byName;
  } cases[] = {
      {-1, 1, restart, restart}, {-1, 0, none, none}, {1, 1, none, restart}, {1, 0, stop, none}, {0, 2, none, none},
  };
  for (const auto& c : cases) {
    for (const bool byName : {false, true}) {
      (void)unlink("/etc/admin/system.gdbm");
      if (c.stored >= 0) storeWord("NTP_ENABLED", static_cast<unsigned>(c.stored));
      EXPECT_EQ(byName ? c.byName : c.byNumber, commandsOf([&] {
                  EXPECT_EQ(0, byName ? ntp.byName(bytesOf(c.value)) : ntp.byNumber(bytesOf(c.value)));
                }))
          << c.stored << " to " << c.value << ", " << byName;
    }
  }
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

  storeWord("NTP_ENABLED", 1);
  blockFile("/etc/ntp.conf");
  EXPECT_EQ(-1, ntpServer1.byNumber(text("three")));
  (void)rmdir("/etc/ntp.conf");
  EXPECT_EQ(Lines{"/etc/init.d/ntpd restart"}, commands()) << "the daemon follows all the same";
  EXPECT_EQ(Lines{"<ERR>  [SW]   Can't modify ntp.conf to save the NTP server"}, applianceMessages());
  breakRecords();
  EXPECT_EQ(-1, ntpServer2.byNumber(text("five")));
  EXPECT_FALSE(exists("/etc/ntp.conf")) << "nothing stored, nothing written";
}

TEST_F(SideEffects, TheDriverHearsWhetherThereIsAPassword) {
  EXPECT_EQ(Results(2, 0), (Results{password.byNumber(text("secret")), password.byName(text(""))}));
  EXPECT_EQ((Lines{"0x480F 1", "0x480F 0"}), driverRequests());
  refuseDriverRequest(0x480F);
  EXPECT_EQ(0, password.byNumber(text("refused")));
  const MovedAway driver("/dev/nas1");
  EXPECT_EQ(-1, password.byNumber(text("stored")));
  EXPECT_EQ(text("stored"), storedRecord(kRecords, "ADMIN_PASSWORD"));
  EXPECT_EQ(Lines{"<ERR>  [SW]   open device error! /dev/nas1"}, applianceMessages());
  breakRecords();
  EXPECT_EQ(-1, password.byNumber(text("lost")));
  EXPECT_EQ(Lines(4, "/bin/syncpasswd"), commands()) << "only what is stored is passed on";
}

TEST_F(SideEffects, SwitchesOfTheDriver) {
  descriptorsLeftByRule = 2;
  const auto stored = [] { return storedRecord(kRecords, "DIRECT_PING_ENABLED"); };
  EXPECT_EQ(Results(3, 0), (Results{ping.byNumber(bytesOf(1)), raidSync.byName(bytesOf(5)), snapshots.byName("\7")}));
  EXPECT_EQ((Lines{"0x4807 1", "0x4814 5", "0x4813 7"}), driverRequests());
  refuseDriverRequest(0x4807);
  EXPECT_EQ((Results{0, -1}), (Results{ping.byNumber(bytesOf(3)), ping.byNumber("\1")}));
  EXPECT_EQ(bytesOf(3), stored()) << "a refusal does not keep it from being stored";

  const MovedAway driver("/dev/nas1");
  EXPECT_EQ(Results(2, 0), (Results{raidSync.byName(bytesOf(7)), snapshots.byName(bytesOf(7))}));
  EXPECT_EQ(Lines{}, applianceMessages()) << "these two are silent";
  EXPECT_EQ(-1, ping.byNumber(bytesOf(4)));
  EXPECT_EQ(bytesOf(3), stored()) << "the driver comes first by number";
  EXPECT_EQ(0, ping.byName(bytesOf(5)));
  EXPECT_EQ(bytesOf(5), stored());
}

TEST_F(SideEffects, TheNetworkRestartsWhateverBecameOfTheStore) {
  EXPECT_EQ((Results{0, -1}), (Results{ethernet.byName(bytesOf(3)), ethernet.byNumber("\1")}));
  EXPECT_EQ(Lines{}, commands()) << "not by name, nor for half a value";
  breakRecords();
  EXPECT_EQ(-1, ethernet.byNumber(bytesOf(4)));
  EXPECT_EQ((Lines{"/sbin/nscript", "/etc/init.d/network restart"}), commands());
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
    std::string address;
  } cases[] = {
      {"# a comment of more than thirty-one characters, nameserver 9.9.9.9\nnameserver 192.0.2.1\nnameserver x", 32,
       "192.0.2.1"},
      {"names\n\nsearch x\nnameserver\t192.0.2.1", 32, "192.0.2.1"},
      {"nameserver 192.0.2.1\n", 5, "192."},
      {"nameserver 0123456789012345678901234567890123456789\n", 40, "0123456789012345678901234567890"},
  };
  for (const auto& c : cases) {
    writeFile(kFile, c.file);
    char address[40] = "none";
    int length = -99;
    EXPECT_EQ(0, NasGetConfig("IP_DNS", c.size, address, &length)) << c.address;
    EXPECT_EQ(c.address, address);
    EXPECT_EQ(static_cast<int>(c.address.size()) + 1, length) << c.address;
  }
  blockFile(kFile);
  EXPECT_EQ(-1, nameServer.byNumber(text("192.0.2.1")));
  (void)rmdir(kFile);
}
