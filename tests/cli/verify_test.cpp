// nas1 verify in the appliance: each file that is not as the records have it is named, and made anew when that is
// wanted.

#include "cli/nas1_command.h"

constexpr char kSamba[] = "/etc/samba/smb.conf";
constexpr char kExports[] = "/etc/exports";
constexpr char kVolumes[] = "/etc/atalk/AppleVolumes.default";
constexpr char kAgent[] = "/usr/local/share/snmp/snmpd.conf";

struct Verify : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    letHelpersAct();  // the NFS server and the SNMP agent are there
    // The library takes Samba for running.
    for (const char* const daemon : {"smbd", "nmbd"})
      writeFile(std::string("/var/lock/samba/locks/") + daemon + ".pid", "1\n");
    writeFile("/etc/yp.conf", "");
    (void)done({"config", "set", "NFS_EXPORT_PRIVILEGE", "rw"});
    (void)done({"share", "add", "docs", "/volume/v1/docs", "--comment", "For all"});
    for (const Lines& setting : {Lines{"80", "1"}, {"39", "ntp1.example.org"}, {"NFS_NIS_SERVER_NAME", "nis1"}})
      (void)done({"config", "set", setting[0], setting[1]});
  }
  void TearDown() override {
    EXPECT_EQ(0, nas1({"config", "set", "80", "0"}).exitCode);
    writeFile(kExports, "");
    EXPECT_EQ(0, std::system("/usr/sbin/exportfs -ra"));
    ApplianceTest::TearDown();
  }
};

TEST_F(Verify, EveryTamperedFileIsNamedAndMadeAnew) {
  const struct {
    const char* path;
    const char* content;
    const char* what;
    Json expected, found;
  } cases[] = {
      {kVolumes, "\"/volume/v1/docs\" \"other\"\n", "\"/volume/v1/docs\"", "\"docs\" options:usedots", "\"other\""},
      {kExports, "/volume/v1/docs\t*(sync,rw,all_squash,anonuid=32767)\n/etc *(rw)\n", "/etc", nullptr, "*(rw)"},
      {"/etc/ntp.conf", "server 127.127.1.0\nserver ntp1.example.org\ndriftfile /mnt/param/misc/drift\n", "fudge",
       "127.127.1.0 stratum 10", nullptr},
      {kSamba, "[docs]\n    comment = For all\n    path = /etc\n", "[docs]",
       "comment = For all; path = /volume/v1/docs", "comment = For all; path = /etc"},
      {"/etc/yp.conf", "domain\tother\tserver\tnis1\n", "domain", "server\tnis1", "other\tserver\tnis1"},
      {kAgent, "sysservices 76\nrocommunity opensv\n", "rwcommunity", "opensv", nullptr},
  };
  EXPECT_EQ(Json::array(), nas1Json({"verify"})["differences"]);
  Json wanted = Json::array();
  for (const auto& c : cases) {
    writeFile(c.path, c.content);
    wanted.push_back(
        {{"where", c.path}, {"what", c.what}, {"expected", c.expected}, {"found", c.found}, {"repaired", false}});
  }
  const Lines ran = commands();
  const CommandResult look = nas1({"verify", "--json"});
  EXPECT_EQ(1, look.exitCode) << look.err;
  EXPECT_EQ(wanted, Json::parse(look.out)["differences"]);
  for (const auto& c : cases) EXPECT_EQ(c.content, readFile(c.path).value_or("none"));
  EXPECT_EQ(ran, commands());

  EXPECT_EQ("yes\nyes\nyes\nyes\nyes\nyes\n", nas1({"verify", "--repair", "--get", "repaired"}).out);
  EXPECT_EQ(Json::array(), nas1Json({"verify"})["differences"]);
}

TEST_F(Verify, TheLastShareDoesNotStayExported) {
  const std::string line = readFile(kExports).value_or("none");
  ASSERT_TRUE(line.starts_with("/volume/v1/docs\t")) << line;
  (void)done({"share", "del", "docs", "--yes"});
  // The library leaves the lists as they are when there is nothing to list.
  EXPECT_EQ(line, readFile(kExports));
  EXPECT_EQ("/etc/atalk/AppleVolumes.default\n/etc/exports\nNFS server\n", nas1({"verify", "--get", "where"}).out);
  EXPECT_EQ("EnableNas1ShareBatch(1)\nEnableNas1ShareBatch(0)\n", nas1({"verify", "--repair", "--dry-run"}).out);
  EXPECT_EQ(0, nas1({"verify", "--repair"}).exitCode);
  EXPECT_EQ("", readFile(kExports));
}

TEST_F(Verify, WhatCannotBeRepairedRemains) {
  // Samba is down: the library leaves its list alone.
  std::filesystem::remove("/var/lock/samba/locks/smbd.pid");
  writeFile(kSamba, "");
  const CommandResult result = nas1({"verify", "--repair", "--get", "repaired"});
  EXPECT_EQ(1, result.exitCode);
  EXPECT_EQ("no\n", result.out);
  EXPECT_NE(std::string::npos, result.err.find("Samba is not compared: it does not run")) << result.err;
}
