// nas1 user, group and account, as a user or a script sees them.

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

struct AccountCommand : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/exports", "");  // the NFS back-end keeps a copy of the old one
  }
};

int done(const Lines& arguments, const std::string& input = "") {
  const CommandResult result = nas1(arguments, input);
  EXPECT_EQ("", result.err) << arguments[1];
  return result.exitCode;
}

}  // namespace

TEST_F(AccountCommand, AUserLivesThroughItsVerbs) {
  ASSERT_EQ(0, done({"config", "set", "AUTO_HOME", "1"}));
  ASSERT_EQ(0, done({"user", "add", " Anna "}, "secret\n"));
  ASSERT_EQ(0, done({"user", "add", "anna", "--source", "CIFS"}));
  ASSERT_EQ(0, done({"user", "add", "ben", "--no-password"}));
  EXPECT_EQ("ANNA\tlocal\t32768\t\t0\nANNA\tcifs\t32769\t\t0\nBEN\tlocal\t32770\t\t0\n", nas1({"user", "list"}).out);
  EXPECT_EQ(Json::parse(R"({"name": "ANNA", "source": "local", "uid": 32768, "primary_group": "", "quota_mb": 0,
                            "home_share": "Anna", "password": "********"})"),
            nas1Json({"user", "show", "anna"})["user"]);
  EXPECT_EQ(nullptr, nas1Json({"user", "show", "anna", "--source", "cifs"})["user"]["home_share"]);
  writeFile("/tmp/password", "changed");
  ASSERT_EQ(0, done({"user", "passwd", "anna", "--file", "/tmp/password"}));
  EXPECT_EQ("changed", nas1Json({"user", "show", "Anna", "--with-secrets"})["user"]["password"]);

  const CommandResult deleted = nas1({"user", "del", "anna"});
  EXPECT_EQ(0, deleted.exitCode);
  EXPECT_EQ("nas1: the user ANNA goes, and the share Anna with its folder and all that is in it\n", deleted.err);
  EXPECT_FALSE(exists("/volume/v1/Data/ANNA"));
  ASSERT_EQ(0, done({"config", "set", "RESERVE_HOME", "1"}));
  EXPECT_EQ("nas1: the user BEN goes; the share ben stays\n", nas1({"user", "del", "ben", "--yes"}).err);
  EXPECT_EQ("ben\thome of  BEN\t/volume/v1/Data/BEN\n", nas1({"share", "list"}).out);
  EXPECT_EQ("nas1: the user ANNA goes\n", nas1({"user", "del", "anna", "--source", "cifs"}).err);
  EXPECT_EQ("", nas1({"user", "list"}).out);
}

TEST_F(AccountCommand, GroupsAreJoinedLeftAndMadePrimary) {
  for (const char* group : {"Staff", "board"}) ASSERT_EQ(0, done({"group", "add", group}));
  for (const char* user : {"anna", "ben"}) ASSERT_EQ(0, done({"user", "add", user, "--no-password"}));
  ASSERT_EQ(0, done({"group", "join", "board", "anna"}));
  EXPECT_EQ("nas1: unchanged\n", nas1({"group", "join", "board", "anna"}).err) << "twice is once";
  ASSERT_EQ(0, done({"group", "primary", "staff", "anna"}));
  ASSERT_EQ(0, done({"group", "join", "staff", "ben"}));
  EXPECT_EQ("STAFF\t32768\tyes\nBOARD\t32769\tno\n", nas1({"user", "groups", "anna"}).out);
  EXPECT_EQ("ANNA\tlocal\t32768\tyes\nBEN\tlocal\t32769\tno\n", nas1({"group", "members", "staff"}).out);
  EXPECT_EQ("BOARD\tlocal\t32769\t1\t0\nSTAFF\tlocal\t32768\t2\t0\n", nas1({"group", "list"}).out);
  ASSERT_EQ(0, done({"group", "leave", "staff", "anna"}));
  EXPECT_EQ(3, nas1({"group", "leave", "staff", "anna"}).exitCode);
  EXPECT_EQ(3, nas1({"group", "primary", "none", "anna"}).exitCode) << "that would take her out of all groups";
  EXPECT_EQ("BOARD\t32769\tno\n", nas1({"user", "groups", "anna"}).out);
  ASSERT_EQ(0, done({"group", "del", "board"}));
  EXPECT_EQ("", nas1({"user", "groups", "anna"}).out);

  // One place is kept for the primary group.
  for (int i = 0; i < 16; ++i) ASSERT_EQ(0, done({"group", "add", "g" + std::to_string(i)}));
  for (int i = 0; i < 15; ++i) ASSERT_EQ(0, done({"group", "join", "g" + std::to_string(i), "anna"}));
  EXPECT_EQ(5, nas1({"group", "join", "g15", "anna"}).exitCode);
  ASSERT_EQ(0, done({"group", "primary", "g15", "anna"}));
  EXPECT_EQ(5, nas1({"group", "primary", "staff", "anna"}).exitCode);
}

TEST_F(AccountCommand, QuotasAreSetOnEveryVolumeAndReadFromTheReport) {
  ASSERT_EQ(0, done({"user", "add", "anna", "--no-password"}));
  ASSERT_EQ(0, done({"group", "add", "staff"}));
  const std::size_t before = commands().size();
  ASSERT_EQ(0, done({"user", "quota", "anna", "4194303"}));
  ASSERT_EQ(0, done({"group", "quota", "staff", "2"}));
  ASSERT_EQ(before + 8, commands().size());
  EXPECT_EQ("/usr/sbin/setquota -u 32768 4294966272 4294966272 0 0 /volume/v1", commands()[before]);
  EXPECT_EQ("/usr/sbin/setquota -g 32768 2048 2048 0 0 /volume/v4", commands().back());
  EXPECT_EQ("2\n", nas1({"group", "quota", "staff"}).out);
  for (const char* wrong : {"4194304", "-1", "many"})
    EXPECT_EQ(2, nas1({"user", "quota", "anna", "--", wrong}).exitCode) << wrong;
  setOutput("quota", "Disk quotas\n /dev/md0  3072  5120  6144\n");
  EXPECT_EQ("/volume/v1\t5\t3\t6\n/volume/v2\t0\t0\t0\n", nas1({"user", "quota", "anna"}).out);
}

TEST_F(AccountCommand, RemoteAccountsAreFetchedThenListed) {
  writeFile("/etc/samba/pdcusers", "2\nALICE\nBOB B\n");
  writeFile("/etc/samba/pdcgroups", "1\nSALES\n");
  EXPECT_EQ("ALICE\nBOB B\n", nas1({"account", "remote", "users", "cifs", "PDC 1"}).out);
  EXPECT_EQ("SALES", nas1Json({"account", "remote", "groups", "CIFS"})["groups"][0]["name"]);
  EXPECT_EQ((Lines{"/bin/listpdcusers PDC 1", "/sbin/setnas 700 1 "}), commands());
  EXPECT_EQ("", nas1({"user", "list"}).out) << "none of them becomes an account";
  const struct {
    int exitCode;
    const char* list;  // of users
    Lines arguments;
  } cases[] = {
      {2, "0\n", {"computers", "cifs"}},         {3, "0\n", {"users", "nfs"}},
      {9, "0\n", {"users", "cifs", "PDC$(id)"}}, {1, "0\n", {"users", "ncp", "OFFICE"}},
      {0, "0\n", {"users", "cifs", "PDC"}},      {7, "2147483647\nA\n", {"users", "cifs", "PDC"}},
  };
  for (const auto& c : cases) {
    writeFile("/etc/samba/pdcusers", c.list);
    Lines arguments = {"account", "remote"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    EXPECT_EQ(c.exitCode, nas1(arguments).exitCode) << arguments.back();
  }
}

TEST_F(AccountCommand, WhatIsRefusedChangesNothingAndSaysWhy) {
  ASSERT_EQ(0, done({"user", "add", "anna", "--no-password"}));
  ASSERT_EQ(0, done({"group", "add", "staff"}));
  const struct {
    int exitCode;
    const char* said;
    Lines arguments;
  } cases[] = {
      {4, "already", {"user", "add", " ANNA", "--no-password"}},
      {4, "already", {"group", "add", "staff"}},
      {2, "is empty", {"user", "add", "  ", "--no-password"}},
      {2, "32 characters", {"group", "add", std::string(32, 'g')}},
      {2, "no password", {"user", "add", "ben"}},
      {9, "$", {"user", "add", "b$n", "--no-password"}},
      {3, "did you mean cifs?", {"user", "add", "ben", "--source", "cif"}},
      {3, "no user BEN", {"user", "del", "ben"}},
      {3, "no group BOARD", {"group", "join", "board", "anna"}},
      {3, "of the source ncp", {"group", "show", "staff", "--source", "ncp"}},
  };
  for (const auto& c : cases) {
    const CommandResult result = nas1(c.arguments);
    EXPECT_EQ(c.exitCode, result.exitCode) << c.said << ": " << result.err;
    EXPECT_NE(std::string::npos, result.err.find(c.said)) << result.err;
  }
  ASSERT_EQ(0, done({"config", "set", "AUTO_HOME", "1"}));
  ASSERT_EQ(0, done({"share", "add", "ben", "/volume/v1/ben"}));
  EXPECT_EQ(4, nas1({"user", "add", "ben", "--no-password"}).exitCode) << "the share's name is taken";
  writeFile("/etc/fstab.zelmar", "");
  EXPECT_EQ(4, nas1({"user", "add", "eve", "--no-password"}).exitCode) << "no volume";
  EXPECT_EQ(Lines{"ANNA0"}, storedKeys("user_id.gdbm"));
  EXPECT_EQ(Lines{"STAFF0"}, storedKeys("group_id.gdbm"));
  writeFile("/etc/admin/passwd.gdbm", std::string(5000, 'x'));
  EXPECT_EQ(7, nas1({"user", "del", "anna"}).exitCode);
  writeFile("/etc/admin/user_id.gdbm", std::string(5000, 'x'));
  EXPECT_EQ(7, nas1({"user", "list"}).exitCode);
}
