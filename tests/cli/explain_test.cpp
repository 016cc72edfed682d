#include <cstring>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

using Explain = ApplianceTest;

void permit(int protocol, int type, const char* name, int rights) {
  PermittedItem item = {type, rights, {}};
  std::strcpy(item.name, name);
  ASSERT_EQ(0, Nas1AddPermittedItem("music", protocol, &item)) << name;
}

TEST_F(Explain, NamesWhatDecidesAndAgreesWithTheCheck) {
  ASSERT_EQ(0, nas1({"share", "add", "music", "/volume/v1/music"}).exitCode);
  ASSERT_EQ(0, nas1({"user", "add", "anna"}, "secret\n").exitCode);
  for (const char* const group : {"staff", "chiefs"}) ASSERT_EQ(0, nas1({"group", "add", group}).exitCode);
  ASSERT_EQ(0, Nas1SetPrimaryGroup(PROTO_SYSTEM, "ANNA", "STAFF"));
  ASSERT_EQ(0, Nas1SetPrimaryGroup(PROTO_SYSTEM, "ANNA", "CHIEFS"));
  permit(PROTO_SYSTEM, PERMITTED_USER, "anna", 1);
  permit(PROTO_SYSTEM, PERMITTED_GROUP, "Staff", 3);
  permit(PROTO_SYSTEM, PERMITTED_GROUP, "chiefs", 2);
  permit(PROTO_SYSTEM, PERMITTED_USER, "staff", 9);
  permit(PROTO_CIFS, PERMITTED_USER, "Anna", 2);
  permit(PROTO_NFS, PERMITTED_USER, "bert", 5);
  permit(PROTO_AFP, PERMITTED_USER, "ANNA", -1);

  const CommandResult all = nas1({"perm", "explain", "anna", "music"});
  EXPECT_EQ(
      "local\t3\tgroup\tStaff\tthe entry of a group of the user, the highest of 3\n"
      "cifs\t2\tuser\tAnna\tthe user's own entry\n"
      "nfs\t-1\t\t\tnone of 1 entry is for the user, which is in no known group\n"
      "ncp\t-1\t\t\tthe share has no entries here\n"
      "afp\t-1\t\t\tits entries give no rights\n",
      all.out);
  const char* const protocols[] = {"local", "cifs", "nfs", "ncp"};
  for (const char* const user : {"anna", "ANNA", "bert", "nobody"}) {
    for (const char* const protocol : protocols) {
      const Json explained = nas1Json({"perm", "explain", user, "music", protocol})["permissions"][0];
      const std::string checked = nas1({"perm", "check", user, "music", "--protocol", protocol}).out;
      EXPECT_EQ(checked, explained["rights"].dump() + "\n") << user << " " << protocol;
    }
  }
  EXPECT_EQ("local\t2\tgroup\tchiefs\tthe entry of a group of the user\n",
            nas1({"perm", "explain", "carl", "music", "local", "--group", "CHIEFS"}).out);
}

TEST_F(Explain, MakesNobodyKnown) {
  ASSERT_EQ(0, nas1({"share", "add", "music", "/volume/v1/music"}).exitCode);
  ASSERT_EQ(0, nas1({"perm", "explain", "carl", "music"}).exitCode);
  EXPECT_EQ(Lines{}, storedKeys("user_id.gdbm"));
  EXPECT_EQ(Lines{}, storedKeys("user_afp.gdbm"));
  EXPECT_EQ(3, nas1({"perm", "explain", "carl", "none"}).exitCode);
  EXPECT_EQ(3, nas1({"perm", "explain", "carl", "music", "ftp"}).exitCode);
}

}  // namespace
