#include "accounts/membership.h"

#include "stored_accounts.h"

namespace {

using Slots = std::vector<unsigned>;

constexpr unsigned kFirstGid = 32768;

struct Membership : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const auto& [name, gid] : {std::pair("TEN", 10u), {"TWENTY", 20u}, {"THIRTY", 30u}})
      storeItem(groupItem(name, 0, kFirstGid + gid));
    storeItem(groupItem("REMOTE", 1, kFirstGid + 40));
  }
};

// Slots hold gids without the first possible one; 0 is empty.
void storeMember(const std::string& name, int source, unsigned uid, const Slots& slots) {
  UserItem user = userItem(name, source, uid);
  std::transform(slots.begin(), slots.end(), user.groups, [](unsigned gid) { return gid == 0 ? 0 : kFirstGid + gid; });
  storeItem(user);
}

// Up to the last one that is taken.
Slots slotsOf(const std::string& name) {
  Slots slots;
  for (const unsigned gid : storedItem<UserItem>(name, 0).groups) slots.push_back(gid == 0 ? 0 : gid - kFirstGid);
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

}  // namespace

TEST_F(Membership, JoiningTellsButNeverAddsAndLeavingEmptiesTheFirstSlotAlone) {
  storeMember("U", 0, 33000, {10, 0, 20, 10});
  EXPECT_EQ((Results{0, -1, -1, -1}),
            (Results{sysJoinGroup(0, "U", "TWENTY"), sysJoinGroup(0, "U", "THIRTY"),  // an empty slot is not taken
                     sysJoinGroup(1, "U", "REMOTE"),                                  // both of that source
                     sysJoinGroup(0, "NOBODY", "TEN")}));
  EXPECT_EQ(Lines{"U0"}, storedKeys("user_id.gdbm")) << "nobody was made";
  EXPECT_EQ((Slots{10, 0, 20, 10}), slotsOf("U"));
  EXPECT_EQ(0, sysLeaveGroup(0, "U", "TEN"));
  EXPECT_EQ((Slots{0, 0, 20, 10}), slotsOf("U"));
  EXPECT_EQ((Results{0, -1}), (Results{sysLeaveGroup(0, "U", "TEN"), sysLeaveGroup(0, "U", "TEN")}));
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
      {"doubled", {30, 10, 20, 10}, "TEN", 0, {10, 10, 20, 30}},
      {"no slot left", full, "TEN", -1, full},
      {"no such group", {10, 0, 20}, "NONE", 0, {}},
      {"another source's group", {10}, "REMOTE", 0, {}},
  };
  for (const auto& c : cases) {
    storeMember("U", 0, 33000, c.before);
    EXPECT_EQ(c.result, Nas1SetPrimaryGroup(0, "U", c.group)) << c.name;
    EXPECT_EQ(c.after, slotsOf("U")) << c.name;
  }
}

TEST_F(Membership, ListsTakeTheirOwnUpToTheirLimits) {
  storeMember("A", 0, 33000, {10});
  storeMember("B", 0, 33001, {20, 0, 10, 40, 99});
  storeMember("C", 1, 33002, {10});
  storeRecord("passwd.gdbm", "B", std::string("\x64\0\0\0", 4) + std::string(96, '\0'));
  std::vector<GroupItem> groups(8);
  EXPECT_EQ(-1, sysListGroups("A", 0, 16, groups.data(), 8 * 48)) << "only users with a password record";
  const auto groupsOf = [&](int start, int count, int size) {
    return names(groups, sysListGroups("B", start, count, groups.data(), size));
  };
  EXPECT_EQ((Lines{"TWENTY", "TEN", "REMOTE"}), groupsOf(0, 16, 8 * 48)) << "by slot, of every source";
  EXPECT_EQ((Lines{"TEN", "REMOTE"}), groupsOf(1, INT32_MAX, 8 * 48));
  EXPECT_EQ(Lines{"TWENTY"}, groupsOf(0, 16, 95));

  std::vector<UserItem> users(8);
  EXPECT_EQ((Results{2, 1, -1, 1}),
            (Results{sysListMembers("TEN", 0, 8, users.data(), 8 * 112), sysListMembers("TEN", 0, 8, users.data(), 223),
                     sysListMembers("REMOTE", 0, 8, users.data(), 224), ExGetUserList(1, 0, 8, users.data(), 223)}));
  EXPECT_STREQ("C", users[0].name);
  // Without room for an item the call only counts, and leaves the buffer alone.
  EXPECT_EQ((Results{2, 2, 3}),
            (Results{Nas1GetUserList(0, 0, 0, users.data(), 224), Nas1GetUserList(0, 0, 8, users.data(), 0),
                     Nas1GetGroupList(0, 0, 8, nullptr, 96)}));
  EXPECT_STREQ("C", users[0].name);
}
