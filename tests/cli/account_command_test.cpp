// nas1 user, group and account, as a user or a script sees them.

#include "cli/nas1_command.h"

using AccountCommand = CommandTest;

TEST_F(AccountCommand, AUserLivesThroughItsVerbs) {
  ASSERT_EQ("", done({"config", "set", "AUTO_HOME", "1"}).err);
  ASSERT_EQ("", done({"user", "add", " Anna "}, "secret\n").err);
  ASSERT_EQ("", done({"user", "add", "anna", "--source", "CIFS"}).err);
  ASSERT_EQ("", done({"user", "add", "ben", "--no-password"}).err);
  EXPECT_EQ("ANNA\tlocal\t32768\t\t0\nANNA\tcifs\t32769\t\t0\nBEN\tlocal\t32770\t\t0\n", nas1({"user", "list"}).out);
  EXPECT_EQ(Json::parse(R"({"name": "ANNA", "source": "local", "uid": 32768, "primary_group": "", "quota_mb": 0,
                            "home_share": "Anna", "password": "********"})"),
            nas1Json({"user", "show", "anna"})["user"]);
  writeFile("/tmp/password", "changed");
  ASSERT_EQ("", done({"user", "passwd", "anna", "--file", "/tmp/password"}).err);
  EXPECT_EQ("changed", nas1Json({"user", "show", "Anna", "--with-secrets"})["user"]["password"]);

  const CommandResult deleted = nas1({"user", "del", "anna"});
  EXPECT_EQ(0, deleted.exitCode);
  EXPECT_EQ("nas1: the user ANNA goes, and the share Anna with its folder and all that is in it\n", deleted.err);
  EXPECT_FALSE(exists("/volume/v1/Data/ANNA"));
  ASSERT_EQ("", done({"config", "set", "RESERVE_HOME", "1"}).err);
  EXPECT_EQ("nas1: the user BEN goes; the share ben stays\n", nas1({"user", "del", "ben", "--yes"}).err);
  EXPECT_EQ("ben\thome of  BEN\t/volume/v1/Data/BEN\n", nas1({"share", "list"}).out);
  EXPECT_EQ("nas1: the user ANNA goes\n", nas1({"user", "del", "anna", "--source", "cifs"}).err);
  EXPECT_EQ("", nas1({"user", "list"}).out);
}

TEST_F(AccountCommand, GroupsAreJoinedLeftAndMadePrimary) {
  for (const char* group : {"Staff", "board"}) ASSERT_EQ("", done({"group", "add", group}).err);
  for (const char* user : {"anna", "ben"}) ASSERT_EQ("", done({"user", "add", user, "--no-password"}).err);
  ASSERT_EQ("", done({"group", "join", "board", "anna"}).err);
  EXPECT_EQ("nas1: unchanged\n", nas1({"group", "join", "board", "anna"}).err) << "twice is once";
  ASSERT_EQ("", done({"group", "primary", "staff", "anna"}).err);
  ASSERT_EQ("", done({"group", "join", "staff", "ben"}).err);
  EXPECT_EQ("STAFF\t32768\tyes\nBOARD\t32769\tno\n", nas1({"user", "groups", "anna"}).out);
  EXPECT_EQ("ANNA\tlocal\t32768\tyes\nBEN\tlocal\t32769\tno\n", nas1({"group", "members", "staff"}).out);
  ASSERT_EQ("", done({"group", "leave", "staff", "anna"}).err);
  EXPECT_EQ(3, nas1({"group", "leave", "staff", "anna"}).exitCode);
  EXPECT_EQ(3, nas1({"group", "primary", "none", "anna"}).exitCode) << "that would take her out of all groups";
  EXPECT_EQ("BOARD\t32769\tno\n", nas1({"user", "groups", "anna"}).out);
  for (int i = 0; i < 15; ++i) ASSERT_EQ("", done({"group", "add", "g" + std::to_string(i)}).err);
  for (int i = 0; i < 14; ++i) ASSERT_EQ("", done({"group", "join", "g" + std::to_string(i), "anna"}).err);
  EXPECT_EQ(5, nas1({"group", "join", "g14", "anna"}).exitCode) << "one place is kept for the primary group";
}

TEST_F(AccountCommand, QuotasAreSetOnEveryVolumeAndReadFromTheReport) {
  ASSERT_EQ("", done({"user", "add", "anna", "--no-password"}).err);
  ASSERT_EQ("", done({"group", "add", "staff"}).err);
  const std::size_t before = commands().size();
  ASSERT_EQ("", done({"user", "quota", "anna", "4194303"}).err);
  ASSERT_EQ("", done({"group", "quota", "staff", "2"}).err);
  ASSERT_EQ(before + 8, commands().size());
  EXPECT_EQ("/usr/sbin/setquota -u 32768 4294966272 4294966272 0 0 /volume/v1", commands()[before]);
  EXPECT_EQ("/usr/sbin/setquota -g 32768 2048 2048 0 0 /volume/v4", commands().back());
  EXPECT_EQ("2\n", nas1({"group", "quota", "staff"}).out);
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
  EXPECT_EQ(9, nas1({"account", "remote", "users", "cifs", "PDC$(id)"}).exitCode);
  EXPECT_EQ(1, nas1({"account", "remote", "users", "ncp", "OFFICE"}).exitCode);
  writeFile("/etc/samba/pdcusers", "2147483647\nA\n");
  EXPECT_EQ(7, nas1({"account", "remote", "users", "cifs", "PDC"}).exitCode);
}

TEST_F(AccountCommand, AHomeNeedsAFreeNameAndAVolume) {
  ASSERT_EQ("", done({"config", "set", "AUTO_HOME", "1"}).err);
  ASSERT_EQ("", done({"share", "add", "ben", "/volume/v1/ben"}).err);
  EXPECT_EQ(4, nas1({"user", "add", "ben", "--no-password"}).exitCode) << "the share's name is taken";
  writeFile("/etc/fstab.zelmar", "");
  EXPECT_EQ(4, nas1({"user", "add", "eve", "--no-password"}).exitCode) << "no volume";
  EXPECT_EQ(Lines{}, storedKeys("user_id.gdbm"));
}
