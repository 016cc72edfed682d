#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

struct PermCommand : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/exports", "");  // the NFS back-end keeps a copy of the old one
    char docs[] = "docs";
    char music[] = "music";
    ASSERT_EQ(0, Nas1ShareAdd(docs, "", "/volume/v1/docs"));
    ASSERT_EQ(0, Nas1ShareAdd(music, "", "/volume/v1/music"));
  }
};

CommandResult done(const Lines& arguments) {
  CommandResult result = nas1(arguments);
  EXPECT_EQ(0, result.exitCode) << arguments[1] << ": " << result.err;
  return result;
}

TEST_F(PermCommand, EntriesLiveThroughTheirVerbs) {
  (void)done({"perm", "add", "docs", "user:anna=2", "group:anna=1", "user:a=b:c=-1"});
  (void)done({"perm", "add", "docs", "group:staff=2147483647", "--protocol", "AFP"});
  EXPECT_EQ(
      "docs\tlocal\tuser\tanna\t2\ndocs\tlocal\tgroup\tanna\t1\ndocs\tlocal\tuser\ta=b:c\t-1\n"
      "docs\tafp\tgroup\tstaff\t2147483647\n",
      nas1({"perm", "list"}).out);
  EXPECT_EQ(
      Json::parse(R"([{"share": "docs", "protocol": "afp", "type": "group", "name": "staff", "rights": 2147483647}])"),
      nas1Json({"perm", "list", "docs", "--protocol", "afp"})["permissions"]);
  EXPECT_EQ("", nas1({"perm", "list", "music"}).out);

  (void)done({"perm", "set", "docs", "user:ANNA=0", "user:ben=3"});
  EXPECT_EQ("nas1: unchanged\n", done({"perm", "set", "docs", "user:anna=0"}).err);
  (void)done({"perm", "del", "docs", "group:ANNA"});  // the user of that name stays
  EXPECT_EQ("docs\tlocal\tuser\tanna\t0\ndocs\tlocal\tuser\tben\t3\ndocs\tlocal\tuser\ta=b:c\t-1\n",
            nas1({"perm", "list", "docs", "--protocol", "local"}).out);
  EXPECT_EQ("nas1: unchanged\n",
            done({"perm", "set", "docs", "--only", "user:a=b:c=-1", "user:ben=3", "user:anna=0"}).err);
  (void)done({"perm", "set", "docs", "--only", "user:carl=1"});
  EXPECT_EQ("docs\tlocal\tuser\tcarl\t1\ndocs\tafp\tgroup\tstaff\t2147483647\n", nas1({"perm", "list"}).out);
  (void)done({"perm", "set", "docs", "--only"});
  EXPECT_EQ(0, Nas1GetPermittedItemsCount("docs", PROTO_SYSTEM));
}

TEST_F(PermCommand, AUserIsCheckedWithTheGroupsThatItIsIn) {
  char user[] = "ben";
  char group[] = "staff";
  ASSERT_EQ(0, Nas1AddUser(PROTO_SYSTEM, user, "x"));
  ASSERT_EQ(0, Nas1AddGroup(PROTO_SYSTEM, group, nullptr));
  ASSERT_EQ(0, Nas1SetPrimaryGroup(PROTO_SYSTEM, user, group));
  (void)done({"perm", "add", "docs", "user:ben=0", "group:staff=2", "group:guests=1"});
  const struct {
    const char* rights;
    Lines arguments;
  } cases[] = {
      {"2\n", {"perm", "check", "Ben", "docs"}},
      {"1\n", {"perm", "check", "ben", "docs", "--group", "guests", "--group", "others"}},
      {"-1\n", {"perm", "check", "ben", "music"}},
      {"-1\n", {"perm", "check", "ben", "docs", "--protocol", "cifs"}},
      {"-1\n", {"perm", "check", "nobody", "docs"}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.rights, nas1(c.arguments).out) << c.arguments.back();
  EXPECT_EQ(Json::parse(R"({"user": "ben", "share": "docs", "protocol": "local", "rights": 2})"),
            nas1Json({"perm", "check", "ben", "docs"})["permission"]);
  // Looking makes nobody known.
  EXPECT_EQ(1, Nas1UserItemCount());
}

TEST_F(PermCommand, EveryFailureHasItsExitCodeAndChangesNothing) {
  (void)done({"perm", "add", "docs", "user:anna=2"});
  const auto stored = storedRecord("user_local.gdbm", "docs");
  const std::string name32(32, 'n');
  const FailingCommand cases[] = {
      {4, "already", {"perm", "add", "docs", "user:ben=1", "user:ANNA=1"}},
      {3, "group anna", {"perm", "del", "docs", "user:anna", "group:anna"}},
      {3, "no share nowhere", {"perm", "set", "nowhere", "user:anna=1"}},
      {3, "no share nowhere", {"perm", "list", "nowhere"}},
      {3, "no share nowhere", {"perm", "check", "anna", "nowhere"}},
      {3, "did you mean nfs?", {"perm", "add", "docs", "user:ben=1", "--protocol", "nsf"}},
      {3, "ftp", {"perm", "list", "--protocol", "ftp"}},
      {2, "no entry", {"perm", "add", "docs", "ben=1"}},
      {2, "no entry", {"perm", "add", "docs", "user:ben"}},
      {2, "no entry", {"perm", "add", "docs", "users:ben=1"}},
      {2, "name of an account is missing", {"perm", "add", "docs", "user:=1"}},
      {2, "rights are a number", {"perm", "add", "docs", "user:ben=-2"}},
      {2, "rights are a number", {"perm", "add", "docs", "user:ben=2147483648"}},
      {2, "rights are a number", {"perm", "set", "docs", "user:ben=1x"}},
      {2, "32 characters", {"perm", "add", "docs", "user:" + name32 + "=1"}},
      {2, "32 characters", {"perm", "check", "anna", "docs", "--group", name32}},
      {2, "named twice", {"perm", "set", "docs", "user:ben=1", "user:BEN=2"}},
      {2, "nothing to change", {"perm", "set", "docs"}},
      {9, "0x0A", {"perm", "add", "docs", "user:a\nb=1"}},
  };
  for (const FailingCommand& c : cases) expectFailure(c);
  EXPECT_EQ(stored, storedRecord("user_local.gdbm", "docs"));
}

// A file that cannot be read must never look like one without entries.
TEST_F(PermCommand, AnUnreadableRecordFileIsNamed) {
  (void)done({"perm", "add", "docs", "user:anna=2"});
  const Lines verbs[] = {{"perm", "list"},
                         {"perm", "check", "anna", "docs"},
                         {"perm", "add", "docs", "user:ben=1"},
                         {"perm", "del", "docs", "user:anna"},
                         {"perm", "set", "docs", "--only"}};
  const std::string file = "/etc/admin/user_local.gdbm";
  const int fd = open(file.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(0, flock(fd, LOCK_EX));
  for (const Lines& verb : verbs) expectFailure({6, file.c_str(), verb});
  (void)close(fd);
  EXPECT_EQ("2\n", nas1({"perm", "check", "anna", "docs"}).out);
  writeFile(file, std::string(5000, 'x'));
  for (const Lines& verb : verbs) expectFailure({7, file.c_str(), verb});
}

}  // namespace
