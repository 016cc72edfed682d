#include "accounts/account_items.h"

#include <sys/wait.h>

#include <filesystem>

#include "core/record_store.h"
#include "stored_accounts.h"

namespace {

using AccountItems = ApplianceTest;

const std::string kLongest(31, 'N');

// The four commands that set a quota, in the order of the volumes.
Lines quotaCommands(const std::string& account, const std::string& blocks) {
  Lines lines;
  for (const char* volume : {"v1", "v2", "v3", "v4"}) {
    lines.push_back("/usr/sbin/setquota " + account + " " + blocks + " " + blocks + " 0 0 /volume/" + volume);
  }
  return lines;
}

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace

TEST_F(AccountItems, GettingAnUnknownAccountMakesIt) {
  withoutDefaultQuota();
  char name[] = "alice";
  char stored[200] = {};
  int size = 0;
  ASSERT_EQ(0, Nas1GetUserItem(PROTO_SYSTEM, name, stored, &size));
  EXPECT_STREQ("ALICE", name);
  EXPECT_EQ(112, size);
  const UserItem expected = userItem("ALICE", 0, 32768);
  EXPECT_EQ(bytesOf(expected), std::string(stored, sizeof expected));
  EXPECT_EQ(0, stored[112]) << "not a byte more";
  EXPECT_EQ(recordOf(expected), storedRecord("user_id.gdbm", "ALICE0")) << "36 zero bytes, item, 4 zero bytes";
  EXPECT_EQ(152u, recordOf(expected).size());

  ASSERT_EQ(0, Nas1GetUserItem(PROTO_CIFS, name, stored, &size));
  ASSERT_EQ(0, Nas1GetUserItem(PROTO_SYSTEM, name, stored, &size)) << "again: the same";
  EXPECT_EQ(bytesOf(expected), std::string(stored, sizeof expected));
  EXPECT_EQ((Lines{"ALICE0", "ALICE1"}), storedKeys("user_id.gdbm")) << "two sources, two accounts";
  EXPECT_EQ(2, Nas1UserItemCount());

  char group[] = "Staff";
  GroupItem groupOut = {};
  ASSERT_EQ(0, Nas1GetGroupItem(PROTO_SNMP, group, &groupOut, &size));
  EXPECT_EQ(48, size);
  EXPECT_EQ(recordOf(groupItem("STAFF", 6, 32768)), storedRecord("group_id.gdbm", "STAFF6"));
  EXPECT_EQ(1, Nas1GroupItemCount());
  EXPECT_EQ(Lines(), commands());
  EXPECT_EQ(0665 & ~022, static_cast<int>(std::filesystem::status("/etc/admin/user_id.gdbm").permissions()));
}

TEST_F(AccountItems, NamesFillTheirFieldAndNoMore) {
  withoutDefaultQuota();
  UserItem item = {};
  int size = 0;
  std::string longest = kLongest;
  std::string tooLong = kLongest + "O";
  EXPECT_EQ(0, Nas1GetUserItem(PROTO_SYSTEM, longest.data(), &item, &size));
  EXPECT_STREQ(longest.c_str(), item.name);
  EXPECT_EQ(-1, Nas1GetUserItem(PROTO_SYSTEM, tooLong.data(), &item, &size));
  // The store itself cuts, in the key as in the item: the same account.
  EXPECT_EQ(0, sysGetUserItem(PROTO_SYSTEM, tooLong.c_str(), &item, &size));
  EXPECT_EQ(32768u, item.uid);
  UserItem unterminated = item;
  std::memset(unterminated.name, 'N', sizeof unterminated.name);
  unterminated.quota = 3;
  EXPECT_EQ(0, Nas1SetUserItem(&unterminated));
  EXPECT_EQ(3u, storedItem<UserItem>(kLongest, 0).quota);
  EXPECT_EQ((Lines{kLongest + "0"}), storedKeys("user_id.gdbm"));
}

TEST_F(AccountItems, BadArgumentsAreRefusedAndChangeNothing) {
  withoutDefaultQuota();
  UserItem item = userItem("X", 7, 0);
  GroupItem group = groupItem("X", -1, 0);
  int size = 0;
  char name[] = "x";
  char empty[] = "";
  for (const int source : {7, -1, INT32_MIN}) {
    EXPECT_EQ(-1, Nas1GetUserItem(source, name, &item, &size));
    EXPECT_EQ(-1, Nas1CheckGroupItem(source, name, &item, &size));
    EXPECT_EQ(-1, sysGetGroupItem(source, name, &item, &size));
    EXPECT_EQ(-1, sysDelUserItem(source, name));
  }
  EXPECT_EQ(-1, Nas1GetUserItem(0, nullptr, &item, &size));
  EXPECT_EQ(-1, Nas1GetUserItem(0, empty, &item, &size));
  EXPECT_EQ(-1, Nas1GetUserItem(0, name, nullptr, &size));
  EXPECT_EQ(-1, Nas1GetUserItem(0, name, &item, nullptr));
  EXPECT_EQ(-1, Nas1CheckUserItem(0, empty, &item, &size));
  EXPECT_EQ(-1, Nas1SetUserItem(nullptr));
  EXPECT_EQ(-1, Nas1SetUserItem(&item));
  EXPECT_EQ(-1, Nas1SetGroupItem(&group));
  EXPECT_EQ(0, Nas1ListUserItem(0, 1, nullptr, 112));
  EXPECT_EQ(0, Nas1ListUserItem(0, 1, &item, 0));
  EXPECT_EQ(0, Nas1ListUserItem(0, 1, &item, -1));
  EXPECT_STREQ("x", name) << "refused before it is upper-cased";
  EXPECT_EQ(-1, Nas1CheckUserItem(0, name, &item, &size)) << "an unknown one is not made";
  EXPECT_EQ(0, Nas1UserItemCount() + Nas1GroupItemCount());
  EXPECT_EQ(Lines(), storedKeys("user_id.gdbm"));
}

TEST_F(AccountItems, CheckingTakesTheNameAsItIs) {
  withoutDefaultQuota();
  storeUser(userItem("ALICE", 4, 40000));
  UserItem item = {};
  int size = 0;
  EXPECT_EQ(0, Nas1CheckUserItem(4, "ALICE", &item, &size));
  EXPECT_EQ(40000u, item.uid);
  EXPECT_EQ(-1, Nas1CheckUserItem(4, "alice", &item, &size));
  EXPECT_EQ(-1, Nas1CheckUserItem(0, "ALICE", &item, &size));
  EXPECT_EQ(-1, sysAddUserItem(4, "ALICE", &item, &size)) << "adding insists on a new one";
  EXPECT_EQ(0, sysAddUserItem(4, "alice", &item, &size));
}

TEST_F(AccountItems, ANewAccountGetsTheDefaultQuota) {
  storeNumber("DEFAULT_USER_QUOTA", 5);
  storeNumber("DEFAULT_GROUP_QUOTA", 4194305);  // wraps as kilobytes do in 32 bits
  UserItem item = {};
  GroupItem group = {};
  int size = 0;
  ASSERT_EQ(0, sysGetUserItem(PROTO_SYSTEM, "U", &item, &size));
  EXPECT_EQ(5u, item.quota);
  ASSERT_EQ(0, sysGetGroupItem(PROTO_CIFS, "G", &group, &size));
  EXPECT_EQ(4194305u, group.quota);
  EXPECT_EQ(quotaCommands("-u 32768", "5120") + quotaCommands("-g 32768", "1024"), commands());

  // Accounts that a directory keeps in step get none; local ones still do.
  storeNumber("AUTO_SYNC_REMOTE_ACCOUNTS", 1);
  ASSERT_EQ(0, sysGetUserItem(PROTO_CIFS, "U", &item, &size));
  EXPECT_EQ(0u, item.quota);
  EXPECT_EQ(8u, commands().size());
  ASSERT_EQ(0, sysGetUserItem(PROTO_SYSTEM, "V", &item, &size));
  storeNumber("AUTO_SYNC_REMOTE_ACCOUNTS", 2);
  ASSERT_EQ(0, sysGetUserItem(PROTO_CIFS, "V", &item, &size));
  EXPECT_EQ(16u, commands().size());
  setExitStatus("setquota", 1);
  EXPECT_EQ(0, sysGetUserItem(PROTO_CIFS, "W", &item, &size)) << "what becomes of the commands does not matter";
}

TEST_F(AccountItems, SettingChangesQuotaAndGroupsAlone) {
  UserItem stored = userItem("ALICE", 1, 33000);
  stored.groups[3] = 32769;
  storeUser(stored);
  storeGroup(groupItem("STAFF", 0, 33001));
  UserItem given = userItem("ALICE", 1, 44444);
  given.size = 7;
  given.groups[0] = 1;
  given.groups[15] = 2;
  given.quota = 0x7FFFFFFF;
  EXPECT_EQ(0, Nas1SetUserItem(&given));
  GroupItem group = groupItem("STAFF", 0, 44444);
  group.quota = 2;
  EXPECT_EQ(0, Nas1SetGroupItem(&group));

  stored = given;
  stored.size = 112;
  stored.uid = 33000;
  EXPECT_EQ(recordOf(stored), storedRecord("user_id.gdbm", "ALICE1"));
  group.gid = 33001;
  EXPECT_EQ(recordOf(group), storedRecord("group_id.gdbm", "STAFF0"));
  EXPECT_EQ(quotaCommands("-u 33000", "4294966272") + quotaCommands("-g 33001", "2048"), commands());

  given = userItem("NOBODY", 1, 33000);
  EXPECT_EQ(-1, Nas1SetUserItem(&given));
  EXPECT_TRUE(systemLog().back().starts_with("err Warnning!uid:")) << systemLog().back();
  EXPECT_TRUE(systemLog().back().ends_with(" No such Data")) << systemLog().back();
  EXPECT_EQ(8u, commands().size());
}

TEST_F(AccountItems, DeletingFreesTheIdAndClearsTheQuota) {
  withoutDefaultQuota();
  UserItem item = {};
  int size = 0;
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

  // The log shows the key's first bytes, negative ones with their sign.
  for (const char* missing : {"\x83\x5c", "Q", "alice"}) EXPECT_EQ(-1, sysDelUserItem(3, missing));
  const Lines log = systemLog();
  const char* const ends[] = {
      " No User:            FFFFFF83                   5C                   33                    0",
      " No User:                  51                   33                    0                    0",
      " No User:                  61                   6C                   69                   63",
  };
  ASSERT_GE(log.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(log[log.size() - 3 + i].ends_with(ends[i])) << log[log.size() - 3 + i];
    EXPECT_TRUE(log[log.size() - 3 + i].starts_with("err Warnning!uid:"));
  }
}

TEST_F(AccountItems, DeletingAGroupTakesItFromTheUsersOfEverySource) {
  storeGroup(groupItem("GOING", 1, 40000));
  storeGroup(groupItem("STAYING", 1, 40001));
  for (const int source : {0, 1, 6}) {
    UserItem user = userItem("U" + std::to_string(source), source, 33000u + static_cast<unsigned>(source));
    for (const int slot : {0, 7, 15}) user.groups[slot] = 40000;
    user.groups[1] = 40001;
    storeUser(user);
  }
  UserItem other = userItem("OTHER", 0, 33009);
  other.groups[0] = 40001;
  storeUser(other);
  EXPECT_EQ(0, sysDelGroupItem(1, "GOING"));
  EXPECT_EQ(Lines({"STAYING1"}), storedKeys("group_id.gdbm"));
  for (const int source : {0, 1, 6}) {
    UserItem expected = userItem("U" + std::to_string(source), source, 33000u + static_cast<unsigned>(source));
    expected.groups[1] = 40001;
    EXPECT_EQ(bytesOf(expected), bytesOf(storedItem<UserItem>(expected.name, source))) << source;
  }
  EXPECT_EQ(bytesOf(other), bytesOf(storedItem<UserItem>("OTHER", 0)));
  EXPECT_EQ(12u, commands().size()) << "only users that changed are written back";
  EXPECT_EQ(-1, sysDelGroupItem(1, "GOING"));
  EXPECT_EQ(-1, sysDelGroupItem(0, "STAYING"));
}

TEST_F(AccountItems, ListsStopAtTheirLimits) {
  for (unsigned i = 0; i < 5; ++i) storeUser(userItem("U" + std::to_string(i), 0, 32768 + i));
  std::vector<UserItem> all(5);
  ASSERT_EQ(5, Nas1ListUserItem(0, 5, all.data(), 5 * 112));
  const struct {
    int start, count, size, copied;
    bool tooSmall;
  } cases[] = {{0, 2, 560, 2, false},
               {3, 9, 560, 2, false},
               {5, 1, 560, 0, false},
               {-3, 2, 560, 2, false},
               {0, 0, 560, 0, false},
               {0, -1, 560, 0, false},
               {0, 5, 335, 2, true},
               {4, 5, 111, 0, true},
               {1, 2, 224, 2, false},
               {2, INT32_MAX, 560, 3, false},
               {INT32_MAX, INT32_MAX, 560, 0, false}};
  for (const auto& c : cases) {
    const std::string name = std::to_string(c.start) + "+" + std::to_string(c.count) + " in " + std::to_string(c.size);
    std::string buffer(560, 'x');
    const std::size_t logged = systemLog().size();
    EXPECT_EQ(c.copied, Nas1ListUserItem(c.start, c.count, buffer.data(), c.size)) << name;
    std::string expected(560, 'x');
    std::fill_n(expected.begin(), c.size, '\0');
    for (int i = 0; i < c.copied; ++i) {
      expected.replace(static_cast<std::size_t>(i) * 112, 112,
                       bytesOf(all[static_cast<std::size_t>(std::max(c.start, 0) + i)]));
    }
    EXPECT_EQ(expected, buffer) << name;
    const Lines log = systemLog();
    EXPECT_EQ(c.tooSmall ? Lines({"err Warnning!sysShareList output buffer too small"}) : Lines(),
              Lines(log.begin() + static_cast<long>(logged), log.end()))
        << name;
  }
}

TEST_F(AccountItems, ADamagedRecordFailsAndIsNeverReadPastItsEnd) {
  withoutDefaultQuota();
  UserItem full = userItem("ALICE", 0, 32768);
  full.quota = 1;
  const std::string record = recordOf(full);
  UserItem item = {};
  int size = 0;
  std::string otherSize = record;
  otherSize[36] = 111;
  std::string endless = record;
  std::memset(endless.data() + 36 + 80, 'A', 32);
  Lines damaged = {otherSize, endless, std::string(152, '\0'), std::string(152, '\xff')};
  for (std::size_t length = 1; length < 148; ++length) damaged.push_back(record.substr(0, length));
  for (const std::string& value : damaged) {
    storeRecord("user_id.gdbm", "ALICE0", value);
    EXPECT_EQ(-1, sysCheckCommonItemNotExist(KIND_USER, 0, "ALICE")) << value.size();
    EXPECT_EQ(-1, sysGetUserItem(0, "ALICE", &item, &size)) << value.size();
    EXPECT_EQ(-1, Nas1SetUserItem(&full)) << value.size();
    EXPECT_EQ(-1, sysDelUserItem(0, "ALICE")) << value.size();
    EXPECT_EQ(0, Nas1ListUserItem(0, 1, &item, sizeof item)) << value.size();
    EXPECT_EQ(value, storedRecord("user_id.gdbm", "ALICE0")) << value.size();
  }
  EXPECT_EQ(Lines(), commands());
  storeRecord("user_id.gdbm", "ALICE0", record.substr(0, 148));
  EXPECT_EQ(0, sysGetUserItem(0, "ALICE", &item, &size)) << "the last four bytes are not needed";
  storeRecord("group_id.gdbm", "STAFF0", recordOf(groupItem("STAFF", 0, 32768)).substr(0, 83));
  EXPECT_EQ(-1, sysGetGroupItem(0, "STAFF", &item, &size));
}

TEST_F(AccountItems, AFileThatCannotBeOpenedIsTold) {
  std::filesystem::create_directory("/etc/admin/user_id.gdbm");
  UserItem item = userItem("A", 0, 32768);
  int size = 0;
  EXPECT_EQ(-2, sysCheckCommonItemNotExist(KIND_USER, 0, "A"));
  EXPECT_EQ(-2, sysAddUserItem(0, "A", &item, &size));
  EXPECT_EQ(-1, sysGetUserItem(0, "A", &item, &size));
  EXPECT_EQ(-1, Nas1CheckUserItem(0, "A", &item, &size));
  EXPECT_EQ(-1, Nas1SetUserItem(&item));
  EXPECT_EQ(-1, sysDelUserItem(0, "A"));
  EXPECT_EQ(0, Nas1ListUserItem(0, 1, &item, sizeof item));
}

TEST_F(AccountItems, AnIdStaysMarkedWhenTheRecordCannotBeStored) {
  withoutDefaultQuota();
  storeUser(userItem("B", 0, 32768));
  // A reader elsewhere: this process can read as well, but not write.
  int ready[2];
  ASSERT_EQ(0, pipe(ready));
  const pid_t reader = fork();
  if (reader == 0) {
    GDBM_FILE const held = openRecordset("/etc/admin/user_id.gdbm", 0, GDBM_READER, 0665);
    if (held != nullptr) (void)!write(ready[1], "", 1);
    (void)pause();
    _exit(0);
  }
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  UserItem item = {};
  int size = 0;
  EXPECT_EQ(-1, sysAddUserItem(0, "A", &item, &size));
  (void)kill(reader, SIGKILL);
  (void)waitpid(reader, nullptr, 0);
  (void)close(ready[0]);
  (void)close(ready[1]);
  EXPECT_EQ((std::set<unsigned>{32768, 32769}), Identities().marked(KIND_USER));
  EXPECT_EQ(0, sysAddUserItem(0, "A", &item, &size));
  EXPECT_EQ(32770u, item.uid);
}
