#include "accounts/account_items.h"

#include "core/record_store.h"
#include "stored_accounts.h"

namespace {

using AccountItems = AccountTest;

UserItem item;  // what a call gives out where nobody looks at it
int size;

// The four commands that set a quota, in the order of the volumes.
Lines quotaCommands(const std::string& account, const std::string& blocks) {
  Lines lines;
  for (const char* volume : {"v1", "v2", "v3", "v4"})
    lines.push_back("/usr/sbin/setquota " + account + " " + blocks + " " + blocks + " 0 0 /volume/" + volume);
  return lines;
}

}  // namespace

TEST_F(AccountItems, GettingAnUnknownAccountMakesIt) {
  char name[] = "alice";
  char out[200] = {};
  const UserItem alice = userItem("ALICE", 0, 32768);
  for (int call = 0; call < 2; ++call) {
    ASSERT_EQ(0, Nas1GetUserItem(PROTO_SYSTEM, name, out, &size));
    EXPECT_STREQ("ALICE", name);
    EXPECT_EQ(112, size);
    EXPECT_EQ(bytesOf(alice) + '\0', std::string(out, sizeof alice + 1));
  }
  EXPECT_EQ(recordOf(alice), storedRecord("user_id.gdbm", "ALICE0")) << "36 zero bytes, item, 4 zero bytes";
  ASSERT_EQ(0, Nas1GetUserItem(PROTO_CIFS, name, out, &size));
  EXPECT_EQ((Lines{"ALICE0", "ALICE1"}), storedKeys("user_id.gdbm")) << "two sources, two accounts";
  char group[] = "Staff";
  ASSERT_EQ(0, Nas1GetGroupItem(PROTO_SNMP, group, out, &size));
  EXPECT_EQ(48, size);
  EXPECT_EQ(recordOf(groupItem("STAFF", 6, 32768)), storedRecord("group_id.gdbm", "STAFF6"));
  EXPECT_EQ(Lines(), commands());

  // Kept: a check takes the name as it is. It makes nothing, and an addition insists on a new name.
  EXPECT_EQ((Results{0, -1, -1}),
            (Results{Nas1CheckUserItem(0, "ALICE", out, &size), Nas1CheckUserItem(0, "alice", out, &size),
                     sysAddUserItem(0, "ALICE", out, &size)}));
  EXPECT_EQ(2, Nas1UserItemCount());
}

TEST_F(AccountItems, ANewAccountGetsTheDefaultQuota) {
  setDefaults("");
  storeWord("DEFAULT_USER_QUOTA", 5);
  storeWord("DEFAULT_GROUP_QUOTA", 4194305);  // megabytes wrap where kilobytes are 32-bit numbers
  GroupItem group = {};
  setExitStatus("setquota", 1);  // which nobody looks at
  ASSERT_EQ(0, sysGetUserItem(PROTO_SYSTEM, "U", &item, &size));
  EXPECT_EQ(5u, item.quota);
  ASSERT_EQ(0, sysGetGroupItem(PROTO_CIFS, "G", &group, &size));
  EXPECT_EQ(4194305u, group.quota);
  storeWord("AUTO_SYNC_REMOTE_ACCOUNTS", 1);
  ASSERT_EQ(0, sysGetUserItem(PROTO_CIFS, "V", &item, &size));
  EXPECT_EQ(0u, item.quota) << "a directory keeps it in step";
  EXPECT_EQ(quotaCommands("-u 32768", "5120") + quotaCommands("-g 32768", "1024"), commands());
}

TEST_F(AccountItems, SettingChangesQuotaAndGroupsAlone) {
  storeItem(userItem("ALICE", 1, 33000));
  UserItem given = userItem("ALICE", 1, 44444);
  given.size = 7;
  given.groups[0] = 1;
  given.groups[15] = 2;
  given.quota = 7;
  EXPECT_EQ(0, Nas1SetUserItem(&given));
  given.size = 112;
  given.uid = 33000;
  EXPECT_EQ(recordOf(given), storedRecord("user_id.gdbm", "ALICE1"));
  storeItem(groupItem("STAFF", 0, 33001));
  GroupItem group = groupItem("STAFF", 0, 44444);
  group.quota = 2;
  EXPECT_EQ(0, Nas1SetGroupItem(&group));
  group.gid = 33001;
  EXPECT_EQ(recordOf(group), storedRecord("group_id.gdbm", "STAFF0"));
}

TEST_F(AccountItems, DeletingFreesTheIdAndClearsTheQuota) {
  ASSERT_EQ(0, sysAddUserItem(0, "A", &item, &size));
  ASSERT_EQ(0, sysAddUserItem(0, "B", &item, &size));
  item.quota = 9;
  EXPECT_EQ(0, Nas1SetUserItem(&item));
  EXPECT_EQ(Results(2, 0), (Results{sysDelUserItem(0, "A"), sysDelUserItem(0, "B")}));
  EXPECT_EQ(quotaCommands("-u 32769", "9216") + quotaCommands("-u 32769", "0"), commands())
      << "A has no quota to be cleared";
  EXPECT_EQ(std::set<unsigned>(), Identities().marked(KIND_USER));
  EXPECT_EQ(Lines(), storedKeys("user_id.gdbm") + applianceLog());
  EXPECT_EQ(-1, sysDelUserItem(3, "\x83"));
  EXPECT_TRUE(systemLog().back().ends_with(
      " No User:            FFFFFF83                   33                    0                    0"))
      << systemLog().back();
}

TEST_F(AccountItems, DeletingAGroupTakesItFromTheUsersOfEverySource) {
  storeItem(groupItem("GOING", 1, 40000));
  UserItem users[] = {userItem("OUTSIDE", 0, 33000), userItem("LOCAL", 0, 33001), userItem("REMOTE", 6, 33002)};
  for (UserItem& user : users) {
    user.groups[1] = 40001;
    if (user.uid > 33000) user.groups[0] = user.groups[15] = 40000;
    storeItem(user);
  }
  EXPECT_EQ((Results{0, -1}), (Results{sysDelGroupItem(1, "GOING"), sysDelGroupItem(1, "GOING")}));
  for (UserItem& user : users) {
    user.groups[0] = user.groups[15] = 0;
    EXPECT_EQ(bytesOf(user), bytesOf(storedItem<UserItem>(user.name, static_cast<int>(user.source)))) << user.name;
  }
  EXPECT_EQ(8u, commands().size()) << "only users that changed are written back";
}

TEST_F(AccountItems, ListsStopAtTheirLimits) {
  for (unsigned i = 0; i < 3; ++i) storeItem(userItem("U" + std::to_string(i), 0, 32768 + i));
  UserItem all[3] = {}, out[3] = {};
  ASSERT_EQ(3, Nas1ListUserItem(-3, INT32_MAX, all, sizeof all));
  EXPECT_EQ((Results{0, 1, 2}),
            (Results{Nas1ListUserItem(0, -1, out, sizeof out), Nas1ListUserItem(2, 9, out, sizeof out),
                     Nas1ListUserItem(0, 5, out, sizeof out - 1)}));
  EXPECT_EQ(bytesOf(all[0]) + bytesOf(all[1]), bytesOf(out).substr(0, 2 * sizeof *out));
  EXPECT_EQ(Lines{"err Warnning!sysShareList output buffer too small"}, systemLog());
}

TEST_F(AccountItems, ADamagedRecordFailsAndIsNeverReadPastItsEnd) {
  UserItem full = userItem("ALICE", 0, 32768);
  full.quota = 1;
  const std::string record = recordOf(full);
  Lines damaged = {std::string(record).replace(36, 1, 1, 111), std::string(record).replace(36 + 80, 32, 32, 'A')};
  for (std::size_t length = 1; length < 148; ++length) damaged.push_back(record.substr(0, length));
  for (const std::string& value : damaged) {
    storeRecord("user_id.gdbm", "ALICE0", value);
    EXPECT_EQ((Results{-1, -1, -1, 0}),
              (Results{sysGetUserItem(0, "ALICE", &item, &size), Nas1SetUserItem(&full), sysDelUserItem(0, "ALICE"),
                       Nas1ListUserItem(0, 1, &item, sizeof item)}))
        << value.size();
    EXPECT_EQ(value, storedRecord("user_id.gdbm", "ALICE0")) << value.size();
  }
  storeRecord("user_id.gdbm", "ALICE0", record.substr(0, 148));
  EXPECT_EQ(0, sysGetUserItem(0, "ALICE", &item, &size)) << "the last four bytes are not needed";
}

TEST_F(AccountItems, AnIdStaysMarkedWhenTheRecordCannotBeStored) {
  storeItem(userItem("B", 0, 32768));
  {
    // A reader elsewhere: this process can read as well, but not write.
    const OtherProcess reader("/etc/admin/user_id.gdbm", GDBM_READER);
    EXPECT_EQ(-1, sysAddUserItem(0, "A", &item, &size));
  }
  EXPECT_EQ((std::set<unsigned>{32768, 32769}), Identities().marked(KIND_USER));
  EXPECT_EQ(0, sysAddUserItem(0, "A", &item, &size));
  EXPECT_EQ(32770u, item.uid);
}
