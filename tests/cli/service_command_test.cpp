// nas1 service, volume, snapshot and product.

#include "cli/nas1_command.h"

namespace {

using ServiceCommand = ApplianceTest;

TEST_F(ServiceCommand, EachActionReachesTheScriptOfItsProtocol) {
  const char* const cases[][3] = {
      {"nfs", "start", "/etc/rc.d/init.d/nfs start"},    {"NCP", "stop", "/etc/rc.d/init.d/mars stop"},
      {"afp", "reload", "/etc/init.d/atalk reload"},     {"ftp", "start", "/usr/sbin/ftprestart"},
      {"snmp", "start", "/etc/rc.d/init.d/snmpd start"}, {"snmp", "reload", "/etc/rc.d/init.d/snmpd stop"},
  };
  Lines expected;
  for (const auto& [protocol, action, command] : cases) {
    (void)done({"service", "restart", protocol, action});
    expected.emplace_back(command);
  }
  (void)done({"service", "restart", "cifs", "stop"});  // it is stopped
  EXPECT_EQ(expected, commands());
  EXPECT_NE(std::string::npos, nas1({"service", "restart", "snmp", "restart"}).err.find("SNMP_STATE"));
  setExitStatus("nfs", 127);
  expectFailure({1, "nfs", {"service", "restart", "nfs", "start"}});
}

TEST_F(ServiceCommand, VolumesAreListedUpToALineThatIsNone) {
  writeFile("/etc/fstab.zelmar", "/dev/md7 /volume/big one\n\n/dev/md8 /volume/hidden\n");
  const CommandResult listed = nas1({"volume", "list"});
  EXPECT_EQ("big\t/dev/md7\t/volume/big\t0\n", listed.out);
  EXPECT_NE(std::string::npos, listed.err.find("3 lines, but line 2"));
}

TEST_F(ServiceCommand, OnlyWhatIsGivenOfASnapshotChanges) {
  (void)done({"snapshot", "set", "v1", "--reserved", "30"});
  (void)done({"snapshot", "set", "v1", "--schedule", "1", "2", "3", "4294967295"});
  EXPECT_EQ(Json::parse(R"({"volume": "v1", "reserved": 30, "schedule_1": 1, "schedule_2": 2, "schedule_3": 3,
                            "schedule_4": 4294967295})"),
            nas1Json({"snapshot", "get", "v1"})["snapshot"]);
  EXPECT_EQ("nas1: unchanged\n", nas1({"snapshot", "set", "v1", "--reserved", "30"}).err);
  EXPECT_EQ((Lines{"/sbin/takecron snapshot v1", "/sbin/takecron snapshot v1"}), commands());
  EXPECT_EQ("v1\t/dev/md0\t/volume/v1\t30\nv2\t/dev/md1\t/volume/v2\t0\n", nas1({"volume", "list"}).out);
  writeFile("/etc/fstab.zelmar", "/dev/md0 /volume/$(id)\n");
  expectFailure({9, "$", {"snapshot", "set", "$(id)", "--reserved", "1"}});
}

TEST_F(ServiceCommand, ProductTextsAreKeptApartFromTheAppliancesOwnRecords) {
  const std::string text50(50, 'x');
  EXPECT_EQ("\n", nas1({"product", "get", "RACK"}).out);
  (void)done({"product", "set", "RACK", text50});
  EXPECT_EQ(text50 + '\0', storedRecord("system.gdbm", "RACK"));
  EXPECT_EQ(Json::parse(R"({"key": "RACK", "text": ")" + text50 + "\"}"),
            nas1Json({"product", "get", "RACK"})["product"]);
  EXPECT_EQ("nas1: unchanged\n", nas1({"product", "set", "RACK", text50}).err);
}

}  // namespace
