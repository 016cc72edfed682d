#include "accounts/membership.h"

#include "stored_accounts.h"

namespace {

using Slots = std::vector<unsigned>;

struct Membership : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    storeItem(groupItem("TEN", 0, 10 + 32768));
    storeItem(groupItem("TWENTY", 0, 20 + 32768));
    storeItem(groupItem("THIRTY", 0, 30 + 32768));
    storeItem(groupItem("REMOTE", 1, 40 + 32768));
  }
};

// A user with these groups; gids are given without the 32768.
void storeMember(const std::string& name, int source, unsigned uid, const Slots& slots) {
  UserItem user = userItem(name, source, uid);
  for (std::size_t i = 0; i < slots.size(); ++i) user.groups[i] = slots[i] == 0 ? 0 : slots[i] + 32768;
  storeItem(user);
}

Slots slotsOf(const std::string& name) {
  const UserItem user = storedItem<UserItem>(name, 0);
  Slots slots;
  for (const unsigned gid : user.groups) slots.push_back(gid == 0 ? 0 : gid - 32768);
  while (!slots.empty() && slots.back() == 0) slots.pop_back();
  return slots;
}

// The names of the first items in a buffer.
template <typename Item>
Lines names(const std::vector<Item>& items, int count) {
  Lines all;
  for (int i = 0; i < count; ++i) all.emplace_back(items[static_cast<std::size_t>(i)].name);
  return all;
}

// A name that a call may upper-case.
struct Name {
  char text[32] = {};
  Name(const char* name) { std::strncpy(text, name, sizeof text - 1); }  // NOLINT(google-explicit-constructor)
  operator char*() { return text; }                                      // NOLINT(google-explicit-constructor)
};

}  // namespace

TEST_F(Membership, JoiningTellsButNeverAdds) {
  storeMember("U", 0, 33000, {10, 0, 20});
  const auto before = storedRecord("user_id.gdbm", "U0");
  EXPECT_EQ(0, Nas1JoinGroup(0, Name("u"), Name("twenty")));
  const std::tuple<int, const char*, const char*> refused[] = {{0, "U", "THIRTY"},  // an empty slot is not taken
                                                               {1, "U", "REMOTE"},  // both of that source
                                                               {0, "U", "NONE"},   {0, "NOBODY", "TEN"},
                                                               {7, "U", "TEN"},    {0, "U", ""}};
  for (const auto& [source, user, group] : refused)
    EXPECT_EQ(-1, Nas1JoinGroup(source, Name(user), Name(group))) << user << " " << group;
  EXPECT_EQ(before, storedRecord("user_id.gdbm", "U0"));
  EXPECT_EQ(Lines(), commands());
  EXPECT_EQ(Lines{"U0"}, storedKeys("user_id.gdbm")) << "nobody was made";
}

TEST_F(Membership, LeavingEmptiesTheFirstSlotAlone) {
  storeMember("U", 0, 33000, {10, 20, 10, 30});
  EXPECT_EQ(0, Nas1LeaveGroup(0, Name("u"), Name("ten")));
  EXPECT_EQ((Slots{0, 20, 10, 30}), slotsOf("U"));
  EXPECT_EQ(4u, commands().size()) << "stored through the item's set";
  EXPECT_EQ((Results{0, -1}),
            (Results{Nas1LeaveGroup(0, Name("U"), Name("TEN")), Nas1LeaveGroup(0, Name("U"), Name("TEN"))}));
  EXPECT_EQ((Slots{0, 20, 0, 30}), slotsOf("U"));
}

TEST_F(Membership, ThePrimaryGroupMovesToTheFront) {
  const Slots full = {11, 12, 13, 14, 15, 16, 17, 18, 19, 21, 22, 23, 24, 25, 26, 27};
  const struct {
    const char* name;
    Slots before;
    const char* group;
    int result;
    Slots after;
  } cases[] = {
      {"a member", {10, 0, 20}, "TWENTY", 0, {20, 0, 10}},
      {"not a member", {10, 0, 20}, "THIRTY", 0, {30, 10, 20}},
      {"slot 0 empty", {0, 20}, "TEN", 0, {10, 20}},
      {"already primary", {10, 20}, "TEN", 0, {10, 20}},
      {"doubled", {30, 10, 20, 10}, "TEN", 0, {10, 10, 20, 30}},
      {"no slot left", full, "TEN", -1, full},
      {"no such group", {10, 0, 20}, "NONE", 0, {}},
      {"names as they are", {10, 0, 20}, "ten", 0, {}},
      {"another source's group", {10}, "REMOTE", 0, {}},
      {"null", {10, 20}, nullptr, 0, {}},
  };
  for (const auto& c : cases) {
    storeMember("U", 0, 33000, c.before);
    EXPECT_EQ(c.result, Nas1SetPrimaryGroup(0, "U", c.group)) << c.name;
    EXPECT_EQ(c.after, slotsOf("U")) << c.name;
  }
  EXPECT_EQ(Results(2, -1), (Results{Nas1SetPrimaryGroup(0, "u", "TEN"), Nas1SetPrimaryGroup(7, "U", "TEN")}));
}

TEST_F(Membership, GroupsAreListedBySlot) {
  storeMember("U", 0, 33000, {20, 0, 10, 40, 99});
  std::vector<GroupItem> out(8);
  const int size = 8 * 48;
  EXPECT_EQ(-1, Nas1ListUserGroups(Name("U"), 0, 0, 16, out.data(), size)) << "only users with a password record";
  storeRecord("passwd.gdbm", "U", std::string("\x64\0\0\0", 4) + std::string(96, '\0'));
  ASSERT_EQ(3, Nas1ListUserGroups(Name("u"), 0, 0, 16, out.data(), size));
  EXPECT_EQ((Lines{"TWENTY", "TEN", "REMOTE"}), names(out, 3)) << "groups of every source";
  EXPECT_EQ(bytesOf(GroupItem{}), bytesOf(out[3])) << "the rest is cleared";
  const struct {
    int start, count, size;
    Lines groups;
  } cases[] = {{1, 2, size, {"TEN"}},    {2, INT32_MAX, size, {"TEN", "REMOTE"}},
               {0, 16, 95, {"TWENTY"}},  {0, 16, 47, {}},
               {INT32_MAX, 1, size, {}}, {0, -1, size, {}},
               {-5, 1, size, {"TWENTY"}}};
  for (const auto& c : cases) {
    const int copied = sysListGroups("u", c.start, c.count, out.data(), c.size);
    EXPECT_EQ(c.groups, names(out, copied)) << c.start << "+" << c.count << " in " << c.size;
  }
}

TEST_F(Membership, MembersAreTheLocalUsersOfALocalGroup) {
  storeMember("A", 0, 33000, {10});
  storeMember("B", 0, 33001, {0, 20, 10});
  storeMember("C", 0, 33002, {20});
  storeMember("D", 1, 33003, {10});
  storeMember("E", 0, 33004, {30, 10});
  std::vector<UserItem> all(8);
  std::vector<UserItem> out(8);
  const int size = 8 * 112;
  EXPECT_EQ(3, Nas1ListGroupMembersCount(Name("ten"), 0));
  ASSERT_EQ(3, Nas1ListGroupMembers(Name("ten"), 0, 0, 8, all.data(), size));
  const Lines members = names(all, 3);
  EXPECT_EQ((std::set<std::string>{"A", "B", "E"}), std::set<std::string>(members.begin(), members.end()));
  EXPECT_EQ(1, Nas1ListGroupMembers(Name("TEN"), 0, 1, 1, out.data(), size));
  EXPECT_EQ(members[1], out[0].name);
  EXPECT_EQ(1, sysListMembers("TEN", 0, 5, out.data(), 223));
  EXPECT_EQ(3, sysListMembers("TEN", -9, INT32_MAX, out.data(), size));
  EXPECT_EQ(-1, sysListMembers("REMOTE", 0, 5, out.data(), size)) << "not a local group";
  EXPECT_EQ(-1, Nas1ListGroupMembersCount(Name("NONE"), 0));
  EXPECT_EQ(-1, Nas1ListGroupMembersCount(Name("TEN"), 1));
}

TEST_F(Membership, AccountsAreListedBySource) {
  for (const char* name : {"A", "B", "C"}) storeMember(name, 0, 33000u + static_cast<unsigned char>(*name), {});
  storeMember("D", 1, 33003, {});
  std::vector<UserItem> all(8);
  std::vector<UserItem> out(8);
  ASSERT_EQ(3, ExGetUserList(0, 0, 8, all.data(), 8 * 112));
  EXPECT_EQ(2, Nas1GetUserList(0, 1, 8, out.data(), 8 * 112));
  EXPECT_EQ(bytesOf(all[1]) + bytesOf(all[2]) + bytesOf(UserItem{}),
            bytesOf(out[0]) + bytesOf(out[1]) + bytesOf(out[2]));
  EXPECT_EQ(1, ExGetUserList(1, 0, 8, out.data(), 112));
  EXPECT_STREQ("D", out[0].name);
  EXPECT_EQ(1, ExGetUserList(0, 0, 8, out.data(), 223));
  EXPECT_EQ(3, Nas1GetUserListCount());
  EXPECT_EQ(1, ExGetUserListCount(1));
  std::vector<GroupItem> groups(8);
  EXPECT_EQ(2, Nas1GetGroupList(0, 1, 2, groups.data(), 8 * 48));
  EXPECT_EQ(1, ExGetGroupList(1, 0, 8, groups.data(), 8 * 48));
  EXPECT_STREQ("REMOTE", groups[0].name);
  EXPECT_EQ(3, Nas1GetGroupListCount());

  // Without room for an item the call only counts, and leaves the buffer alone.
  std::memset(out.data(), 'x', 112);
  EXPECT_EQ(3, Nas1GetUserList(0, 0, 0, out.data(), 8 * 112));
  EXPECT_EQ(3, Nas1GetUserList(0, 0, 8, out.data(), 0));
  EXPECT_EQ(3, Nas1GetGroupList(0, 0, 8, nullptr, 8 * 48));
  EXPECT_EQ(std::string(112, 'x'), bytesOf(out[0]));
}
