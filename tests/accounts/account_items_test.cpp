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
  char group[] = "Staff";
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
  ASSERT_EQ(0, Nas1GetGroupItem(PROTO_SNMP, group, out, &size));
  EXPECT_EQ(48, size);
  EXPECT_EQ(recordOf(groupItem("STAFF", 6, 32768)), storedRecord("group_id.gdbm", "STAFF6"));
  EXPECT_EQ(Lines(), commands());

  // Kept: a check takes the name as it is. It makes nothing, and an addition insists on a new name.
  EXPECT_EQ((Results{0, -1, -1, -1}),
            (Results{Nas1CheckUserItem(0, "ALICE", out, &size), Nas1CheckUserItem(0, "alice", out, &size),
                     Nas1CheckGroupItem(0, "STAFF", out, &size), sysAddUserItem(0, "ALICE", out, &size)}));
  EXPECT_EQ(2, Nas1UserItemCount());
}

TEST_F(AccountItems, NamesFillTheirFieldAndNoMore) {
  std::string longest(31, 'N');
  std::string tooLong(32, 'N');
  EXPECT_EQ(0, Nas1GetUserItem(PROTO_SYSTEM, longest.data(), &item, &size));
  EXPECT_STREQ(longest.c_str(), item.name);
  EXPECT_EQ(-1, Nas1GetUserItem(PROTO_SYSTEM, tooLong.data(), &item, &size));
  EXPECT_EQ(0, sysGetUserItem(PROTO_SYSTEM, tooLong.c_str(), &item, &size)) << "cut, in the key as in the item";
  std::memset(item.name, 'N', sizeof item.name);
  item.quota = 3;
  EXPECT_EQ(0, Nas1SetUserItem(&item)) << "no NUL";
  EXPECT_EQ(3u, storedItem<UserItem>(longest, 0).quota);
  EXPECT_EQ(Lines{longest + "0"}, storedKeys("user_id.gdbm"));
}

TEST_F(AccountItems, BadArgumentsAreRefusedAndChangeNothing) {
  UserItem unknown = userItem("X", 7, 0);
  char name[] = "x";
  char empty[] = "";
  for (const int source : {7, -1})
    EXPECT_EQ(Results(3, -1), (Results{Nas1GetUserItem(source, name, &item, &size),
                                       Nas1CheckGroupItem(source, name, &item, &size), sysDelUserItem(source, name)}));
  EXPECT_EQ(Results(6, -1), (Results{Nas1GetUserItem(0, nullptr, &item, &size), Nas1GetUserItem(0, empty, &item, &size),
                                     Nas1GetUserItem(0, name, nullptr, &size), Nas1GetUserItem(0, name, &item, nullptr),
                                     Nas1SetUserItem(nullptr), Nas1SetUserItem(&unknown)}));
  EXPECT_EQ(Results(2, 0), (Results{Nas1ListUserItem(0, 1, nullptr, 112), Nas1ListUserItem(0, 1, &item, -1)}));
  EXPECT_STREQ("x", name) << "refused before it is upper-cased";
  EXPECT_EQ(Lines(), storedKeys("user_id.gdbm"));
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
  EXPECT_EQ(quotaCommands("-u 32768", "5120") + quotaCommands("-g 32768", "1024"), commands());

  storeWord("AUTO_SYNC_REMOTE_ACCOUNTS", 1);
  ASSERT_EQ(0, sysGetUserItem(PROTO_CIFS, "V", &item, &size));
  EXPECT_EQ(0u, item.quota) << "a directory keeps it in step";
  EXPECT_EQ(8u, commands().size());
  ASSERT_EQ(0, sysGetUserItem(PROTO_SYSTEM, "V", &item, &size));
  EXPECT_EQ(5u, item.quota);
}

TEST_F(AccountItems, SettingChangesQuotaAndGroupsAlone) {
  storeItem(userItem("ALICE", 1, 33000));
  storeItem(groupItem("STAFF", 0, 33001));
  UserItem given = userItem("ALICE", 1, 44444);
  given.size = 7;
  given.groups[0] = 1;
  given.groups[15] = 2;
  given.quota = 0x7FFFFFFF;
  EXPECT_EQ(0, Nas1SetUserItem(&given));
  given.size = 112;
  given.uid = 33000;
  EXPECT_EQ(recordOf(given), storedRecord("user_id.gdbm", "ALICE1"));
  GroupItem group = groupItem("STAFF", 0, 44444);
  group.quota = 2;
  EXPECT_EQ(0, Nas1SetGroupItem(&group));
  group.gid = 33001;
  EXPECT_EQ(recordOf(group), storedRecord("group_id.gdbm", "STAFF0"));
  EXPECT_EQ(quotaCommands("-u 33000", "4294966272") + quotaCommands("-g 33001", "2048"), commands());

  given = userItem("NOBODY", 1, 33000);
  EXPECT_EQ(-1, Nas1SetUserItem(&given));
  const std::string told = systemLog().back();
  EXPECT_TRUE(told.starts_with("err Warnning!uid:") && told.ends_with(" No such Data")) << told;
}

TEST_F(AccountItems, DeletingFreesTheIdAndClearsTheQuota) {
  ASSERT_EQ(0, sysAddUserItem(0, "A", &item, &size));
  ASSERT_EQ(0, sysAddUserItem(0, "B", &item, &size));
  item.quota = 9;
  EXPECT_EQ(0, Nas1SetUserItem(&item));
  EXPECT_EQ(0, sysDelUserItem(0, "A"));
  EXPECT_EQ(4u, commands().size()) << "no quota, nothing to clear";
  EXPECT_EQ(0, sysDelUserItem(0, "B"));
  EXPECT_EQ(quotaCommands("-u 32769", "9216") + quotaCommands("-u 32769", "0"), commands());
  EXPECT_EQ(std::set<unsigned>(), Identities().marked(KIND_USER));
  EXPECT_EQ(Lines(), storedKeys("user_id.gdbm"));
  EXPECT_EQ(Lines(), applianceLog());
  EXPECT_EQ(-1, sysDelUserItem(3, "\x83"));
  EXPECT_TRUE(systemLog().back().ends_with(
      " No User:            FFFFFF83                   33                    0                    0"))
      << systemLog().back();
}

TEST_F(AccountItems, DeletingAGroupTakesItFromTheUsersOfEverySource) {
  storeItem(groupItem("GOING", 1, 40000));
  UserItem user = userItem("U", 0, 33000);
  user.groups[1] = 40001;
  storeItem(user);
  for (const int slot : {0, 7, 15}) user.groups[slot] = 40000;
  for (const unsigned source : {1u, 6u}) {
    user.source = source;
    storeItem(user);
  }
  EXPECT_EQ((Results{0, -1}), (Results{sysDelGroupItem(1, "GOING"), sysDelGroupItem(1, "GOING")}));
  for (const int slot : {0, 7, 15}) user.groups[slot] = 0;
  for (const int source : {0, 1, 6}) {
    user.source = static_cast<unsigned>(source);
    EXPECT_EQ(bytesOf(user), bytesOf(storedItem<UserItem>("U", source))) << source;
  }
  EXPECT_EQ(8u, commands().size()) << "only users that changed are written back";
}

TEST_F(AccountItems, ListsStopAtTheirLimits) {
  for (unsigned i = 0; i < 5; ++i) storeItem(userItem("U" + std::to_string(i), 0, 32768 + i));
  std::vector<UserItem> all(5);
  ASSERT_EQ(5, Nas1ListUserItem(0, 5, all.data(), 5 * 112));
  const struct {
    int start, count, size, copied;
    std::size_t complaints;
  } cases[] = {{0, 2, 560, 2, 0},  {3, 9, 560, 2, 0}, {-3, 2, 224, 2, 0},        {0, 0, 560, 0, 0},
               {0, -1, 560, 0, 0}, {0, 5, 335, 2, 1}, {2, INT32_MAX, 560, 3, 0}, {INT32_MAX, INT32_MAX, 560, 0, 0}};
  for (const auto& c : cases) {
    const std::string name = std::to_string(c.start) + "+" + std::to_string(c.count) + " in " + std::to_string(c.size);
    std::string buffer(560, 'x');
    const std::size_t logged = systemLog().size();
    EXPECT_EQ(c.copied, Nas1ListUserItem(c.start, c.count, buffer.data(), c.size)) << name;
    std::string expected;
    for (int i = 0; i < c.copied; ++i) expected += bytesOf(all[static_cast<std::size_t>(std::max(c.start, 0) + i)]);
    expected.resize(static_cast<std::size_t>(c.size), '\0');
    expected.resize(560, 'x');
    EXPECT_EQ(expected, buffer) << name;
    EXPECT_EQ(logged + c.complaints, systemLog().size()) << name;
  }
  EXPECT_EQ("err Warnning!sysShareList output buffer too small", systemLog().back());
  const GroupItem staff = groupItem("STAFF", 0, 32768);
  storeItem(staff);
  GroupItem groups[2] = {};
  EXPECT_EQ((Results{1, 1}), (Results{Nas1GroupItemCount(), Nas1ListGroupItem(0, 9, groups, sizeof groups)}));
  EXPECT_EQ(bytesOf(staff), bytesOf(groups[0]));
}

TEST_F(AccountItems, ADamagedRecordFailsAndIsNeverReadPastItsEnd) {
  UserItem full = userItem("ALICE", 0, 32768);
  full.quota = 1;
  const std::string record = recordOf(full);
  Lines damaged = {std::string(record).replace(36, 1, 1, 111), std::string(record).replace(36 + 80, 32, 32, 'A'),
                   std::string(152, '\xff')};
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
  storeRecord("group_id.gdbm", "STAFF0", recordOf(groupItem("STAFF", 0, 32768)).substr(0, 83));
  EXPECT_EQ(-1, sysGetGroupItem(0, "STAFF", &item, &size));
}

TEST_F(AccountItems, AFileThatCannotBeOpenedIsTold) {
  blockFile("/etc/admin/user_id.gdbm");
  UserItem known = userItem("A", 0, 32768);
  EXPECT_EQ((Results{-2, -2, -1, -1, -1, -1, 0}),
            (Results{sysCheckCommonItemNotExist(KIND_USER, 0, "A"), sysAddUserItem(0, "A", &item, &size),
                     sysGetUserItem(0, "A", &item, &size), Nas1CheckUserItem(0, "A", &item, &size),
                     Nas1SetUserItem(&known), sysDelUserItem(0, "A"), Nas1ListUserItem(0, 1, &item, sizeof item)}));
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
