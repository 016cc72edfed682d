// Permission lists: what stands in the record files, who is let in, and that no record can lead a reader astray.

#include "share/permissions.h"

#include <climits>
#include <csignal>
#include <cstring>

#include <filesystem>

#include "frame/appliance.h"

namespace {

PermittedItem entry(int type, int rights, const char* name) {
  PermittedItem item = {.type = type, .rights = rights, .name = {}};
  std::strncpy(item.name, name, sizeof item.name - 1);
  return item;
}
PermittedItem user(int rights, const char* name) { return entry(PERMITTED_USER, rights, name); }
PermittedItem group(int rights, const char* name) { return entry(PERMITTED_GROUP, rights, name); }

using Entries = std::vector<PermittedItem>;

// A list as stored; the fill is what the reserved bytes hold.
std::string listValue(const Entries& entries, char fill = '\xCC') {
  std::string value(36, fill);
  value += bytesOf(static_cast<std::int32_t>(entries.size()));
  for (const PermittedItem& item : entries) value += bytesOf(item);
  return value;
}

void storeList(const Entries& entries) { storeRecord("user_local.gdbm", "docs", listValue(entries)); }

std::optional<std::string> storedList(const char* file = "user_local.gdbm") { return storedRecord(file, "docs"); }

// Permissions only ask whether the share is there.
void addShare(const char* name) { storeRecord("share.gdbm", name, "a share"); }

class Permissions : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    addShare("docs");
  }
};

}  // namespace

TEST_F(Permissions, EveryProtocolHasItsOwnFileAndTheLastTwoHaveNone) {
  const char* const files[] = {"user_local.gdbm", "user_smb.gdbm", "user_nfs.gdbm", "user_ncp.gdbm", "user_afp.gdbm"};
  for (int protocol = PROTO_SYSTEM; protocol <= PROTO_AFP; ++protocol) {
    const PermittedItem item = user(protocol, "bob");
    EXPECT_EQ(0, Nas1AddPermittedItem("docs", protocol, &item)) << protocol;
  }
  for (int protocol = PROTO_SYSTEM; protocol <= PROTO_AFP; ++protocol) {
    EXPECT_EQ(listValue({user(protocol, "bob")}), storedList(files[protocol])) << files[protocol];
    EXPECT_EQ(1, Nas1GetPermittedItemsCount("docs", protocol)) << protocol;
    EXPECT_EQ(protocol, Nas1CheckPermission("docs", protocol, "bob", nullptr)) << protocol;
  }
  const Lines before = systemLog();
  const PermittedItem item = user(1, "bob");
  PermittedItem out = item;
  for (const int protocol : {5, 6, 7, -1}) {
    EXPECT_EQ(-1, Nas1AddPermittedItem("docs", protocol, &item)) << protocol;
    EXPECT_EQ(-1, Nas1DelPermittedItem("docs", protocol, "bob")) << protocol;
    EXPECT_EQ(-1, Nas1DelPermittedItemEx("docs", protocol, "bob", 0)) << protocol;
    EXPECT_EQ(-1, Nas1CheckPermission("docs", protocol, "bob", nullptr)) << protocol;
    EXPECT_EQ(-1, Nas1SetPermittedList("docs", protocol, 1, &item)) << protocol;
    EXPECT_EQ(0, Nas1GetPermittedItemsCount("docs", protocol)) << protocol;
    EXPECT_EQ(0, Nas1ListPermittedItems("docs", protocol, 0, 1, &out, sizeof out)) << protocol;
  }
  EXPECT_EQ(before, systemLog());
}

TEST_F(Permissions, AnEntryIsAppendedUnlessItsTypeAndNameAreThere) {
  // The reserved bytes of the list are kept.
  storeRecord("user_local.gdbm", "docs", listValue({user(0, "alice")}, 'R'));
  // An entry is stored whole, what a caller has behind the name included.
  PermittedItem untidy = group(3, "alice");
  untidy.name[31] = 'x';
  PermittedItem endless = user(1, "");
  std::memset(endless.name, 'x', sizeof endless.name);
  const PermittedItem names31 = user(-1, "abcdefghijklmnopqrstuvwxyz01234");
  const struct {
    const char* name;
    const char* share;
    PermittedItem item;
    int result;
  } cases[] = {
      {"same name in other case", "docs", user(2, "ALICE"), -1},
      {"another type", "docs", untidy, 0},
      {"32 characters", "docs", endless, -1},
      {"the type as such, not its meaning", "docs", entry(2, 4, "Alice"), 0},
      {"31 characters", "docs", names31, 0},
      {"unknown share", "DOCS", user(1, "bob"), -1},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, Nas1AddPermittedItem(c.share, 0, &c.item)) << c.name;
  EXPECT_EQ(listValue({user(0, "alice"), untidy, entry(2, 4, "Alice"), names31}, 'R'), storedList());
  EXPECT_EQ(Lines{"docs"}, storedKeys("user_local.gdbm"));
}

TEST_F(Permissions, DeletingTakesTheFirstMatchAndFillsItsPlaceWithTheLast) {
  const Entries both = {group(2, "alice"), user(1, "Alice"), user(0, "bob"), group(2, "staff"), user(3, "eve")};
  const struct {
    const char* name;
    const char* account;
    int type;  // -1: of either type
    Entries left;
  } cases[] = {
      {"of either type", "ALICE", -1, {both[4], both[1], both[2], both[3]}},
      {"the user", "ALICE", PERMITTED_USER, {both[0], both[4], both[2], both[3]}},
      {"the group", "alice", PERMITTED_GROUP, {both[4], both[1], both[2], both[3]}},
      {"the last one", "eve", -1, {both[0], both[1], both[2], both[3]}},
      {"not there", "carol", -1, both},
      {"not of that type", "bob", PERMITTED_GROUP, both},
  };
  for (const auto& c : cases) {
    storeRecord("user_local.gdbm", "docs", listValue(both, 'R'));
    EXPECT_EQ(0, c.type < 0 ? Nas1DelPermittedItem("docs", 0, c.account)
                            : Nas1DelPermittedItemEx("docs", 0, c.account, c.type))
        << c.name;
    EXPECT_EQ(listValue(c.left, 'R'), storedList()) << c.name;
  }
  storeList({user(1, "bob")});
  EXPECT_EQ(0, Nas1DelPermittedItem("docs", 0, "bob"));
  EXPECT_EQ(listValue({}), storedList()) << "an empty list stays";
  EXPECT_EQ(0, Nas1DelPermittedItem("music", 0, "bob")) << "no list";
  EXPECT_EQ(0, Nas1DelPermittedItemEx("music", 0, "bob", 0)) << "no list";
  EXPECT_EQ(Lines{"docs"}, storedKeys("user_local.gdbm"));
}

TEST_F(Permissions, TheHighestLevelOfTheUserAndItsGroupsWins) {
  storeList({user(0, "bob"), group(2, "staff"), group(-1, "guests"), entry(7, 3, "admins"), user(9, "staff"),
             user(-5, "dave"), group(8, "bob")});
  const char* const staff[] = {"STAFF", nullptr};
  const char* const all[] = {"guests", "Admins", "staff", nullptr};
  const char* const guests[] = {"guests", nullptr};
  const char* const none[] = {nullptr};
  const struct {
    const char* name;
    const char* account;
    const char* const* groups;
    int level;
  } cases[] = {
      {"own entry", "bob", nullptr, 0},          {"no groups", "BOB", none, 0},
      {"group above the user", "bob", staff, 2}, {"a type that is neither is a group", "bob", all, 3},
      {"group alone", "carol", staff, 2},        {"group without access", "carol", guests, -1},
      {"nobody", "carol", nullptr, -1},          {"user entry of a group's name", "staff", staff, 9},
      {"nothing below -1", "dave", nullptr, -1},
  };
  for (const auto& c : cases) EXPECT_EQ(c.level, Nas1CheckPermission("docs", 0, c.account, c.groups)) << c.name;
  EXPECT_EQ(-1, Nas1CheckPermission("music", 0, "bob", staff)) << "no list";
}

TEST_F(Permissions, NamesAreComparedInTheCodePage) {
  ASSERT_EQ(0, NasLangInit(932, -1));
  // Two Shift-JIS characters whose second bytes differ by case only.
  storeList({user(1, "\x83\x61")});
  EXPECT_EQ(-1, Nas1CheckPermission("docs", 0, "\x83\x41", nullptr));
  EXPECT_EQ(1, Nas1CheckPermission("docs", 0, "\x83\x61", nullptr));
  EXPECT_EQ(0, NasLangInit(860, -1));
}

TEST_F(Permissions, ListsTheEntriesThatAreAskedForAndFit) {
  const Entries stored = {user(1, "bob"), group(2, "staff"), user(3, "eve")};
  storeList(stored);
  EXPECT_EQ(3, Nas1GetPermittedItemsCount("docs", 0));
  constexpr int kItem = sizeof(PermittedItem);
  const struct {
    const char* name;
    int start, count, size;
    std::vector<int> copied;
    bool cleared;
  } cases[] = {
      {"all", 0, 3, 4 * kItem, {0, 1, 2}, true},
      {"past the end", 2, 10, 4 * kItem, {2}, true},
      {"from the end", 3, 1, 4 * kItem, {}, true},
      {"count beyond all", 1, INT_MAX, 4 * kItem, {1, 2}, true},
      {"negative start", -5, 2, 4 * kItem, {0, 1}, true},
      {"size bounds", 0, 3, 2 * kItem + 39, {0, 1}, true},
      {"no room", 0, 3, kItem - 1, {}, true},
      {"no size", 0, 3, 0, {}, false},
      {"negative size", 0, 3, -1, {}, false},
      {"no count", 0, 0, 4 * kItem, {}, false},
      {"negative count", 0, -1, 4 * kItem, {}, false},
  };
  for (const auto& c : cases) {
    std::string buffer(4 * kItem, 'b');
    auto* const out = reinterpret_cast<PermittedItem*>(buffer.data());
    EXPECT_EQ(static_cast<int>(c.copied.size()), Nas1ListPermittedItems("docs", 0, c.start, c.count, out, c.size))
        << c.name;
    std::string expected;
    for (const int i : c.copied) expected += bytesOf(stored[static_cast<std::size_t>(i)]);
    if (c.cleared) expected.resize(static_cast<std::size_t>(c.size), '\0');
    expected.resize(buffer.size(), 'b');
    EXPECT_EQ(expected, buffer) << c.name;
  }
}

TEST_F(Permissions, AListIsReplacedAsItIsGiven) {
  storeRecord("user_smb.gdbm", "docs", listValue({user(1, "bob")}, 'R'));
  PermittedItem raw;
  std::memset(&raw, 0xAB, sizeof raw);
  const PermittedItem items[] = {user(1, "bob"), user(2, "BOB"), raw};
  EXPECT_EQ(0, Nas1SetPermittedList("docs", 1, 3, items));
  EXPECT_EQ(listValue({items[0], items[1], raw}), storedList("user_smb.gdbm"));
  EXPECT_EQ(0, Nas1SetPermittedList("nowhere", 1, 1, items));
  EXPECT_EQ(listValue({items[0]}), storedRecord("user_smb.gdbm", "nowhere"));
  EXPECT_EQ(0, Nas1SetPermittedList("docs", 1, 0, items));
  EXPECT_EQ(listValue({}), storedList("user_smb.gdbm"));

  EXPECT_EQ(-1, Nas1SetPermittedList("docs", 1, -1, items));
  EXPECT_EQ(-1, Nas1SetPermittedList("docs", 1, INT_MAX, items)) << "longer than any record can be";
  EXPECT_EQ(listValue({}), storedList("user_smb.gdbm"));
}

TEST_F(Permissions, NoRecordLeadsPastItsEnd) {
  const std::string whole = listValue({user(1, "bob"), user(2, "eve")});
  std::string negative = whole;
  std::memset(&negative[36], 0xFF, 4);
  std::string tooMany = whole;
  tooMany[36] = 3;
  std::string wraps = whole;  // 40 times this count is 0 in 32 bits
  std::memcpy(&wraps[36], "\0\0\0\x20", 4);

  std::vector<std::string> values = {negative, tooMany, wraps};
  for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) values.push_back(whole.substr(0, bytes));
  const PermittedItem item = user(3, "new");
  PermittedItem out[4];
  for (const std::string& value : values) {
    SCOPED_TRACE(value.size());
    storeRecord("user_local.gdbm", "docs", value);
    EXPECT_EQ(-1, Nas1CheckPermission("docs", 0, "bob", nullptr));
    EXPECT_EQ(0, Nas1GetPermittedItemsCount("docs", 0));
    EXPECT_EQ(0, Nas1ListPermittedItems("docs", 0, 0, 4, out, sizeof out));
    EXPECT_EQ(-1, Nas1AddPermittedItem("docs", 0, &item));
    EXPECT_EQ(-1, Nas1DelPermittedItem("docs", 0, "bob"));
    EXPECT_EQ(value, storedList());
  }
  EXPECT_EQ(0, Nas1SetPermittedList("docs", 0, 1, &item)) << "a damaged list can be replaced";

  // A name without its end is nobody's; the entries around it still count.
  PermittedItem endless = user(5, "");
  std::memset(endless.name, 'e', sizeof endless.name);
  storeList({user(1, "bob"), endless});
  EXPECT_EQ(1, Nas1CheckPermission("docs", 0, "bob", nullptr));
  EXPECT_EQ(-1, Nas1CheckPermission("docs", 0, std::string(32, 'e').c_str(), nullptr));
  EXPECT_EQ(0, Nas1DelPermittedItem("docs", 0, std::string(32, 'e').c_str()));
  EXPECT_EQ(listValue({user(1, "bob"), endless}), storedList());
}

TEST_F(Permissions, NullArgumentsAndUnopenableFilesFail) {
  storeList({user(1, "bob")});
  const PermittedItem item = user(1, "eve");
  PermittedItem out = item;
  EXPECT_EQ(-1, Nas1AddPermittedItem(nullptr, 0, &item));
  EXPECT_EQ(-1, Nas1AddPermittedItem("docs", 0, nullptr));
  EXPECT_EQ(-1, Nas1DelPermittedItem(nullptr, 0, "bob"));
  EXPECT_EQ(-1, Nas1DelPermittedItem("docs", 0, nullptr));
  EXPECT_EQ(-1, Nas1DelPermittedItemEx(nullptr, 0, "bob", 0));
  EXPECT_EQ(-1, Nas1DelPermittedItemEx("docs", 0, nullptr, 0));
  EXPECT_EQ(-1, Nas1CheckPermission(nullptr, 0, "bob", nullptr));
  EXPECT_EQ(-1, Nas1CheckPermission("docs", 0, nullptr, nullptr));
  EXPECT_EQ(0, Nas1GetPermittedItemsCount(nullptr, 0));
  EXPECT_EQ(0, Nas1ListPermittedItems(nullptr, 0, 0, 1, &out, sizeof out));
  EXPECT_EQ(0, Nas1ListPermittedItems("docs", 0, 0, 1, nullptr, sizeof out));
  EXPECT_EQ(-1, Nas1SetPermittedList(nullptr, 0, 1, &item));
  EXPECT_EQ(-1, Nas1SetPermittedList("docs", 0, 1, nullptr));
  EXPECT_EQ(listValue({user(1, "bob")}), storedList());

  std::filesystem::create_directory("/etc/admin/user_nfs.gdbm");
  EXPECT_EQ(-1, Nas1AddPermittedItem("docs", 2, &item));
  EXPECT_EQ(-1, Nas1DelPermittedItem("docs", 2, "bob"));
  EXPECT_EQ(-1, Nas1CheckPermission("docs", 2, "bob", nullptr));
  EXPECT_EQ(0, Nas1GetPermittedItemsCount("docs", 2));
  EXPECT_EQ(0, Nas1ListPermittedItems("docs", 2, 0, 1, &out, sizeof out));
  EXPECT_EQ(-1, Nas1SetPermittedList("docs", 2, 1, &item));
  std::filesystem::remove("/etc/admin/share.gdbm");
  std::filesystem::create_directory("/etc/admin/share.gdbm");
  EXPECT_EQ(-1, Nas1AddPermittedItem("docs", 0, &item));

  const struct {
    const char* name;
    std::function<void()> call;
  } broken[] = {
      {"add", [&] { (void)sysAddPermittedItem("docs", 0, nullptr); }},
      {"delete", [&] { (void)sysDelPermittedItem(nullptr, 0, "bob"); }},
      {"delete by type", [&] { (void)sysDelPermittedItemEx("docs", 0, nullptr, 0); }},
      {"check", [&] { (void)sysCheckPermission(nullptr, 0, "bob", nullptr); }},
      {"count", [&] { (void)sysGetPermittedItemsCount(nullptr, 0); }},
      {"list", [&] { (void)sysListPermittedItems("docs", 0, 0, 1, nullptr); }},
      {"replace", [&] { (void)sysSetPermittedList("docs", 0, 0, nullptr); }},
  };
  for (const auto& c : broken) EXPECT_EQ(SIGABRT, inChild(c.call).signal) << c.name;
}

TEST_F(Permissions, AnAppleTalkCallerIsIntroducedBeforeItIsChecked) {
  storeRecord("user_afp.gdbm", "docs", listValue({group(2, "Staff")}));
  char account[] = "dave";
  char staff[] = "staff";
  char guests[] = "guests";
  const char* const groups[] = {staff, guests, nullptr};
  EXPECT_EQ(2, Nas1CheckPermission("docs", PROTO_AFP, account, groups));
  const std::string introduced = listValue({group(2, "Staff"), user(-1, "dave"), group(-1, "guests")});
  EXPECT_EQ(introduced, storedList("user_afp.gdbm"));
  EXPECT_EQ(Lines{"DAVE4"}, storedKeys("user_id.gdbm"));
  EXPECT_EQ((Lines{"GUESTS4", "STAFF4"}), storedKeys("group_id.gdbm"));
  EXPECT_STREQ("dave", account);
  EXPECT_STREQ("staff", staff);
  EXPECT_STREQ("guests", guests);

  // A second call changes nothing, and neither do names that no account can have.
  const std::string tooLong(32, 'x');
  const char* const unusable[] = {tooLong.c_str(), "", nullptr};
  EXPECT_EQ(-1, Nas1CheckPermission("docs", PROTO_AFP, "dave", unusable));
  EXPECT_EQ(-1, Nas1CheckPermission("docs", PROTO_AFP, tooLong.c_str(), nullptr));
  EXPECT_EQ(introduced, storedList("user_afp.gdbm"));
  EXPECT_EQ(Lines{"DAVE4"}, storedKeys("user_id.gdbm"));

  // Where there is no such share the account is made all the same, but no list.
  EXPECT_EQ(-1, Nas1CheckPermission("music", PROTO_AFP, "erin", nullptr));
  EXPECT_EQ((Lines{"DAVE4", "ERIN4"}), storedKeys("user_id.gdbm"));
  EXPECT_EQ(Lines{"docs"}, storedKeys("user_afp.gdbm"));

  EXPECT_EQ(-1, Nas1CheckPermission("docs", PROTO_NCP, "frank", nullptr));
  EXPECT_EQ((Lines{"DAVE4", "ERIN4"}), storedKeys("user_id.gdbm")) << "only AppleTalk introduces its callers";
}

TEST_F(Permissions, ADeletedAccountLeavesEveryListUnlessThatIsBatched) {
  (void)EnableNas1ShareBatch(1);
  char docs[] = "papers";
  char music[] = "music";
  ASSERT_EQ(0, Nas1ShareAdd(docs, "", "/volume/v1/papers"));
  ASSERT_EQ(0, Nas1ShareAdd(music, "", "/volume/v1/music"));
  std::filesystem::remove("/etc/admin/user_local.gdbm");
  const std::string lists = listValue({group(1, "staff"), user(1, "alice"), user(1, "ALICE")});
  for (const bool batched : {true, false}) {
    for (const char* share : {"papers", "music"}) storeRecord("user_ncp.gdbm", share, lists);
    char name[] = "Alice";
    ASSERT_EQ(0, Nas1AddUser(PROTO_NCP, name, nullptr));
    (void)EnableNasDelPermBatch(batched ? 1 : 0);
    EXPECT_EQ(0, Nas1DelUser(PROTO_NCP, name));
    const std::string left = batched ? lists : listValue({group(1, "staff"), user(1, "ALICE")});
    for (const char* share : {"papers", "music"}) {
      EXPECT_EQ(left, storedRecord("user_ncp.gdbm", share)) << share << (batched ? " batched" : "");
    }
  }
  (void)EnableNas1ShareBatch(0);
}
