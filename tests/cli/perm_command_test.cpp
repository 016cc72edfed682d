#include "cli/nas1_command.h"

namespace {

struct PermCommand : CommandTest {
  void SetUp() override {
    CommandTest::SetUp();
    for (const std::string name : {"docs", "music"}) (void)done({"share", "add", name, "/volume/v1/" + name});
  }
};

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
  (void)done({"user", "add", "ben", "--no-password"});
  (void)done({"group", "add", "staff"});
  (void)done({"group", "primary", "staff", "ben"});
  (void)done({"perm", "add", "docs", "user:ben=0", "group:staff=2", "group:guests=1"});
  EXPECT_EQ("2\n", nas1({"perm", "check", "Ben", "docs"}).out);
  EXPECT_EQ("1\n", nas1({"perm", "check", "ben", "docs", "--group", "guests", "--group", "others"}).out);
  EXPECT_EQ("-1\n", nas1({"perm", "check", "ben", "docs", "--protocol", "cifs"}).out);
  // Looking makes nobody known.
  EXPECT_EQ(1, Nas1UserItemCount());
}

TEST_F(PermCommand, ExplainingNamesWhatDecidesAndMakesNobodyKnown) {
  (void)done({"user", "add", "anna", "--no-password"});
  for (const char* const group : {"staff", "chiefs"}) {
    (void)done({"group", "add", group});
    (void)done({"group", "primary", group, "anna"});
  }
  (void)done({"perm", "set", "music", "user:anna=1", "group:Staff=3", "group:chiefs=2", "user:staff=9"});
  (void)done({"perm", "set", "music", "user:Anna=2", "--protocol", "cifs"});
  (void)done({"perm", "set", "music", "user:bert=5", "--protocol", "nfs"});
  (void)done({"perm", "set", "music", "user:ANNA=-1", "--protocol", "afp"});
  EXPECT_EQ(
      "local\t3\tgroup\tStaff\tthe entry of a group of the user, the highest of 3\n"
      "cifs\t2\tuser\tAnna\tthe user's own entry\n"
      "nfs\t-1\t\t\tnone of 1 entry is for the user, which is in no known group\n"
      "ncp\t-1\t\t\tthe share has no entries here\n"
      "afp\t-1\t\t\tits entries give no rights\n",
      nas1({"perm", "explain", "anna", "music"}).out);
  for (const std::string user : {"ANNA", "bert", "nobody"}) {
    Lines rights;
    for (const std::string protocol : {"local", "cifs", "nfs", "ncp"})
      rights.push_back(nas1({"perm", "check", user, "music", "--protocol", protocol}).out);
    const std::string explained = nas1({"perm", "explain", user, "music", "--get", "rights"}).out;
    EXPECT_TRUE(explained.starts_with(rights[0] + rights[1] + rights[2] + rights[3])) << user << '\n' << explained;
  }
  EXPECT_EQ("local\t2\tgroup\tchiefs\tthe entry of a group of the user\n",
            nas1({"perm", "explain", "carl", "music", "local", "--group", "CHIEFS"}).out);
  EXPECT_EQ(Lines{"ANNA0"}, storedKeys("user_id.gdbm"));
  EXPECT_EQ(Lines{"music"}, storedKeys("user_afp.gdbm"));
  EXPECT_EQ(3, nas1({"perm", "explain", "carl", "none"}).exitCode);
}

}  // namespace
