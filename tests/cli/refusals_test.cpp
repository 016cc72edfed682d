// What nas1 refuses: with which exit code, in which words, and that nothing changes.

#include <gdbm.h>

#include "cli/nas1_command.h"

namespace {

struct Refusals : CommandTest {
  void SetUp() override {
    CommandTest::SetUp();
    (void)done({"share", "add", "docs", "/volume/v1/docs"});
    (void)done({"user", "add", "anna", "--no-password"});
    (void)done({"group", "add", "staff"});
    (void)done({"perm", "add", "docs", "user:anna=2"});
    (void)done({"nfs", "set", "docs", "192.0.2.1"});
    (void)done({"config", "set", "UPS_TIMEOUT", "5"});
    (void)done({"config", "set", "NCP_SERVER_NAME", "BOX"});
  }
};

const std::string name32(32, 'n');

const FailingCommand refused[] = {
    // clang-format off
    {2, "PATH is required", {"share", "add", "x"}},
    {2, "name of the share is empty", {"share", "add", "   ", "/volume/v1/x"}},
    {2, "32 characters", {"share", "add", name32, "/volume/v1/x"}},
    {2, "64 characters", {"share", "add", "x", "/volume/v1/x", "--comment", std::string(64, 'c')}},
    {2, "does not begin with /", {"share", "add", "x", "volume/v1/x"}},
    {3, "no share Docs", {"share", "show", "Docs"}},
    {4, "already", {"share", "add", " docs ", "/volume/v1/x"}},
    {9, "..", {"share", "add", "x", "/volume/v1/../../etc/x"}},
    {9, "three digits", {"share", "mod", "docs", "--path", "/volume/v1/a\\040b"}},
    {9, "without a name", {"share", "add", "x", "/volume/v1//x"}},
    {9, "[", {"share", "add", "x[global", "/volume/v1/x"}},

    {4, "already", {"perm", "add", "docs", "user:ben=1", "user:ANNA=1"}},
    {3, "group anna", {"perm", "del", "docs", "user:anna", "group:anna"}},
    {3, "no share nowhere", {"perm", "check", "anna", "nowhere"}},
    {3, "did you mean nfs?", {"perm", "add", "docs", "user:ben=1", "--protocol", "nsf"}},
    {2, "no entry", {"perm", "add", "docs", "ben=1"}},
    {2, "rights are a number", {"perm", "add", "docs", "user:ben=2147483648"}},
    {2, "named twice", {"perm", "set", "docs", "user:ben=1", "user:BEN=2"}},
    {2, "nothing to change", {"perm", "set", "docs"}},

    {2, "256 characters", {"nfs", "set", "docs", std::string(256, 'h')}},
    {2, "no netmask", {"nfs", "set", "docs", "192.0.2.0/255.255.255.256"}},
    {2, "did you mean root_squash?", {"nfs", "set", "docs", "a=rootsquash"}},
    {2, "all_squash", {"nfs", "set", "docs", "a=anonuid=99"}},
    {9, "(", {"nfs", "set", "docs", "a(rw)"}},

    {2, "no password", {"user", "add", "ben"}},
    {3, "did you mean cifs?", {"user", "add", "ben", "--source", "cif"}},
    {3, "no group BOARD", {"group", "join", "board", "anna"}},
    {2, "4194303", {"user", "quota", "anna", "4194304"}},

    {2, "from 0 to 4294967295", {"config", "set", "UPS_TIMEOUT", "4294967296"}},
    {2, "command line", {"config", "set", "ADMIN_PASSWORD", "secret"}},
    {3, "did you mean UPS_TIMEOUT?", {"config", "set", "UPS_TIMEOT", "5"}},
    {4, "different server names", {"config", "set", "CIFS_SERVER_NAME", "BOX"}},
    {4, "taken for a blank", {"config", "set", "68", "32"}},
    {5, "read-only", {"config", "set", "46", "x"}},
    {9, "a shell would misread", {"config", "set", "TIME_ZONE", "UTC;reboot"}},

    {4, "nfs cannot reload", {"service", "restart", "nfs", "reload"}},
    {4, "Samba is not running", {"service", "restart", "cifs", "start"}},
    {2, "--schedule", {"snapshot", "set", "v1", "--schedule", "1", "2"}},
    {4, "ADMIN_PASSWORD", {"product", "get", "ADMIN_PASSWORD"}},
    {2, "51 characters", {"product", "set", "RACK", std::string(51, 'x')}},
    // clang-format on
};

}  // namespace

TEST_F(Refusals, ChangeNothingAndSayWhy) {
  const auto before = allRecords();
  const Lines ran = commands();
  for (const FailingCommand& c : refused) expectFailure(c);
  EXPECT_EQ(before, allRecords());
  EXPECT_EQ(ran, commands());
}

// A file that cannot be read must never look like one without records, and a folder never goes without its share.
TEST_F(Refusals, AnUnreadableRecordFileIsNamed) {
  const struct {
    std::string file;
    std::vector<Lines> verbs;
  } cases[] = {
      // clang-format off
      {"user_local.gdbm", {{"perm", "list"}, {"perm", "check", "anna", "docs"}, {"perm", "add", "docs", "user:ben=1"}}},
      {"system.gdbm", {{"config", "get", "UPS_TIMEOUT"}, {"config", "list"}, {"config", "set", "UPS_TIMEOUT", "6"}}},
      {"user_id.gdbm", {{"user", "list"}, {"user", "del", "anna", "--yes"}}},
      {"share.gdbm", {{"share", "list"}, {"share", "del", "docs", "--yes"}, {"share", "add", "x", "/volume/v1/x"}}},
      // clang-format on
  };
  for (const auto& c : cases) {
    const std::string path = "/etc/admin/" + c.file;
    const std::string content = readFile(path).value();
    {
      const OtherProcess holder(path, GDBM_WRITER);
      for (const Lines& verb : c.verbs) expectFailure({6, path.c_str(), verb});
    }
    writeFile(path, std::string(5000, 'x'));
    for (const Lines& verb : c.verbs) expectFailure({7, path.c_str(), verb});
    writeFile(path, content);
  }
  EXPECT_TRUE(exists("/volume/v1/docs"));
}
