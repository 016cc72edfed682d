// Permission lists: what stands in the record files, who is let in, and that no record can lead a reader astray.

#include "share/permissions.h"

#include "frame/appliance.h"
#include "share/share_database.h"

namespace {

PermittedItem entry(int type, int rights, const char* name) {
  PermittedItem item = {.type = type, .rights = rights, .name = {}};
  std::memcpy(item.name, name, strnlen(name, sizeof item.name - 1));
  return item;
}
PermittedItem user(int rights, const char* name) { return entry(PERMITTED_USER, rights, name); }
PermittedItem group(int rights, const char* name) { return entry(PERMITTED_GROUP, rights, name); }

// An entry whose name has no end.
PermittedItem endless(int rights) {
  PermittedItem item = user(rights, "");
  std::memset(item.name, 'e', sizeof item.name);
  return item;
}

using Entries = std::vector<PermittedItem>;

// A list as stored; the fill is what the reserved bytes hold.
std::string listValue(const Entries& entries, char fill = '\xCC') {
  std::string value(36, fill);
  value += bytesOf(static_cast<std::int32_t>(entries.size()));
  for (const PermittedItem& item : entries) value += bytesOf(item);
  return value;
}

class Permissions : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    storeRecord("share.gdbm", "docs", "permissions only ask whether it is there");
  }
  static void storeList(const std::string& value) { storeRecord("user_local.gdbm", "docs", value); }
  static std::string storedList(const char* file = "user_local.gdbm") {
    return storedRecord(file, "docs").value_or("none");
  }
};

}  // namespace

TEST_F(Permissions, ProtocolsWithoutAReadableFileFail) {
  const char* const files[] = {"user_local.gdbm", "user_smb.gdbm", "user_nfs.gdbm", "user_ncp.gdbm", "user_afp.gdbm"};
  for (int protocol = PROTO_SYSTEM; protocol <= PROTO_AFP; ++protocol) {
    const PermittedItem item = user(protocol, "bob");
    EXPECT_EQ(0, Nas1AddPermittedItem("docs", protocol, &item)) << protocol;
    EXPECT_EQ(listValue({item}), storedList(files[protocol])) << protocol;
  }
  blockFile("/etc/admin/user_nfs.gdbm");
  const PermittedItem item = user(1, "bob");
  PermittedItem out;
  for (const int protocol : {2, 5, -1})
    EXPECT_EQ((Results{-1, -1, -1, 0, 0}),
              (Results{Nas1AddPermittedItem("docs", protocol, &item), Nas1DelPermittedItem("docs", protocol, "bob"),
                       Nas1SetPermittedList("docs", protocol, 1, &item), Nas1GetPermittedItemsCount("docs", protocol),
                       Nas1ListPermittedItems("docs", protocol, 0, 1, &out, sizeof out)}))
        << protocol;
}

TEST_F(Permissions, AnEntryIsAppendedUnlessItsTypeAndNameAreThere) {
  // Reserved bytes are kept, and so is what a caller has behind the name.
  storeList(listValue({user(0, "alice")}, 'R'));
  PermittedItem untidy = group(3, "alice");
  untidy.name[31] = 'x';
  const PermittedItem longest = user(-1, "abcdefghijklmnopqrstuvwxyz01234");
  const auto add = [](const PermittedItem& item) { return Nas1AddPermittedItem("docs", 0, &item); };
  EXPECT_EQ(-1, add(user(2, "ALICE"))) << "the case makes no difference";
  EXPECT_EQ(Results(3, 0), (Results{add(untidy), add(entry(2, 4, "Alice")), add(longest)}));
  EXPECT_EQ(-1, add(endless(1))) << "32 characters";
  EXPECT_EQ(-1, Nas1AddPermittedItem("DOCS", 0, &longest)) << "unknown share";
  EXPECT_EQ(listValue({user(0, "alice"), untidy, entry(2, 4, "Alice"), longest}, 'R'), storedList());
  EXPECT_EQ(Lines{"docs"}, storedKeys("user_local.gdbm"));
}

TEST_F(Permissions, DeletingTakesTheFirstMatchAndFillsItsPlaceWithTheLast) {
  const Entries all = {group(2, "alice"), user(1, "Alice"), user(0, "bob"), user(3, "eve")};
  const auto left = [&](int result) {
    EXPECT_EQ(0, result);
    const std::string list = storedList();
    storeList(listValue(all, 'R'));
    return list;
  };
  storeList(listValue(all, 'R'));
  EXPECT_EQ(listValue({all[3], all[1], all[2]}, 'R'), left(Nas1DelPermittedItem("docs", 0, "ALICE")));
  EXPECT_EQ(listValue({all[0], all[3], all[2]}, 'R'), left(Nas1DelPermittedItemEx("docs", 0, "ALICE", PERMITTED_USER)));
  EXPECT_EQ(listValue({all[0], all[1], all[2]}, 'R'), left(Nas1DelPermittedItem("docs", 0, "eve")));
  EXPECT_EQ(listValue(all, 'R'), left(Nas1DelPermittedItemEx("docs", 0, "bob", PERMITTED_GROUP)));
  EXPECT_EQ(0, Nas1DelPermittedItem("music", 0, "bob")) << "no list";
  EXPECT_EQ(Lines{"docs"}, storedKeys("user_local.gdbm"));
}

TEST_F(Permissions, TheHighestLevelOfTheUserAndItsGroupsWins) {
  storeList(
      listValue({user(0, "bob"), group(2, "staff"), group(-1, "guests"), entry(7, 3, "admins"), group(8, "bob")}));
  const char* const staff[] = {"STAFF", nullptr};
  const char* const all[] = {"guests", "Admins", "staff", nullptr};
  std::vector<const char*> many(200, "others");
  many.insert(many.end(), {"Staff", nullptr});
  const auto level = [](const char* account, const char* const* groups) {
    return Nas1CheckPermission("docs", 0, account, groups);
  };
  EXPECT_EQ(0, level("BOB", nullptr));
  EXPECT_EQ(2, level("bob", staff)) << "a group above the user";
  EXPECT_EQ(3, level("bob", all)) << "a type that is neither is a group";
  EXPECT_EQ(2, level("carol", many.data())) << "the last of very many groups";
  EXPECT_EQ(-1, level("staff", nullptr)) << "nobody";
}

TEST_F(Permissions, ListsTheEntriesThatAreAskedForAndFit) {
  const Entries stored = {user(1, "bob"), group(2, "staff"), endless(3)};
  storeList(listValue(stored));
  EXPECT_EQ(3, Nas1GetPermittedItemsCount("docs", 0));
  const struct {
    int start, count, size;
    std::size_t first, copied;
  } cases[] = {
      {2, 10, 160, 2, 1}, {1, INT32_MAX, 160, 1, 2}, {-5, 2, 160, 0, 2},
      {0, 3, 119, 0, 2},  {INT32_MAX, 1, 160, 0, 0}, {0, 1, 160, 0, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.start << " " << c.count << " " << c.size);
    std::string buffer(160, 'b');
    auto* const out = reinterpret_cast<PermittedItem*>(buffer.data());
    EXPECT_EQ(static_cast<int>(c.copied), Nas1ListPermittedItems("docs", 0, c.start, c.count, out, c.size));
    std::string expected = listValue(stored).substr(40 + 40 * c.first, 40 * c.copied);
    expected.resize(static_cast<std::size_t>(c.size), '\0');
    expected.resize(buffer.size(), 'b');
    EXPECT_EQ(expected, buffer);
  }
}

TEST_F(Permissions, AListIsReplacedAsItIsGiven) {
  storeList(listValue({user(1, "bob")}, 'R'));
  const PermittedItem items[] = {user(1, "bob"), user(2, "BOB"), endless(3)};
  EXPECT_EQ(0, Nas1SetPermittedList("docs", 0, 3, items));
  EXPECT_EQ(listValue({items[0], items[1], items[2]}), storedList());
  EXPECT_EQ((Results{0, 0, -1, -1}),
            (Results{Nas1SetPermittedList("docs", 0, 0, items), Nas1SetPermittedList("nowhere", 0, 1, items),
                     Nas1SetPermittedList("docs", 0, -1, items), Nas1SetPermittedList("docs", 0, INT32_MAX, items)}));
  EXPECT_EQ(listValue({}), storedList());
}

TEST_F(Permissions, NoRecordLeadsPastItsEnd) {
  const std::string whole = listValue({user(1, "bob"), user(2, "eve")});
  Lines values;
  for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) values.push_back(whole.substr(0, bytes));
  // Negative, one too many, and one that times 40 is 0 in 32 bits.
  for (const std::int32_t count : {-1, 3, 0x20000000})
    values.push_back(std::string(whole).replace(36, 4, bytesOf(count)));
  const PermittedItem item = user(3, "new");
  PermittedItem out[4];
  for (const std::string& value : values) {
    storeList(value);
    EXPECT_EQ((Results{-1, 0, 0, -1, -1}),
              (Results{Nas1CheckPermission("docs", 0, "bob", nullptr), Nas1GetPermittedItemsCount("docs", 0),
                       Nas1ListPermittedItems("docs", 0, 0, 4, out, sizeof out), Nas1AddPermittedItem("docs", 0, &item),
                       Nas1DelPermittedItem("docs", 0, "bob")}))
        << value.size();
    EXPECT_EQ(value, storedList());
  }
  // A name without its end is nobody's; the entries around it still count.
  const std::string name32(32, 'e');
  storeList(listValue({endless(5), user(1, "bob")}));
  EXPECT_EQ((Results{1, -1, 0}), (Results{Nas1CheckPermission("docs", 0, "bob", nullptr),
                                          Nas1CheckPermission("docs", 0, name32.c_str(), nullptr),
                                          Nas1DelPermittedItem("docs", 0, name32.c_str())}));
  EXPECT_EQ(listValue({endless(5), user(1, "bob")}), storedList());
}

TEST_F(Permissions, AnAppleTalkCallerIsIntroducedBeforeItIsChecked) {
  storeRecord("user_afp.gdbm", "docs", listValue({group(2, "Staff")}));
  const std::string tooLong(32, 'x');
  const char* const groups[] = {"staff", "guests", tooLong.c_str(), "", nullptr};
  for (int call = 1; call <= 2; ++call) {
    EXPECT_EQ(2, Nas1CheckPermission("docs", PROTO_AFP, "dave", groups)) << call;
    EXPECT_EQ(listValue({group(2, "Staff"), user(-1, "dave"), group(-1, "guests")}), storedList("user_afp.gdbm"));
    EXPECT_EQ(Lines{"DAVE4"}, storedKeys("user_id.gdbm")) << call;
    EXPECT_EQ((Lines{"GUESTS4", "STAFF4"}), storedKeys("group_id.gdbm")) << call;
  }

  EXPECT_EQ(-1, Nas1CheckPermission("docs", PROTO_NCP, "frank", nullptr)) << "no other protocol introduces its callers";
  EXPECT_EQ(-1, Nas1CheckPermission("music", PROTO_AFP, "erin", nullptr));
  EXPECT_EQ((Lines{"DAVE4", "ERIN4"}), storedKeys("user_id.gdbm"));
  EXPECT_EQ(Lines{"docs"}, storedKeys("user_afp.gdbm")) << "no list without a share";
}

TEST_F(Permissions, ADeletedAccountLeavesEveryListUnlessThatIsBatched) {
  (void)unlink("/etc/admin/share.gdbm");
  ASSERT_EQ(0, sysShareAdd("papers", "", "/volume/v1/papers"));
  ASSERT_EQ(0, sysShareAdd("music", "", "/volume/v1/music"));
  const std::string full = listValue({group(1, "staff"), user(1, "alice"), user(1, "ALICE")});
  for (const int batched : {1, 0}) {
    for (const char* share : {"papers", "music"}) storeRecord("user_ncp.gdbm", share, full);
    char name[] = "Alice";
    ASSERT_EQ(0, Nas1AddUser(PROTO_NCP, name, nullptr));
    (void)EnableNasDelPermBatch(batched);
    EXPECT_EQ(0, Nas1DelUser(PROTO_NCP, name));
    const std::string left = batched != 0 ? full : listValue({group(1, "staff"), user(1, "ALICE")});
    for (const char* share : {"papers", "music"})
      EXPECT_EQ(left, storedRecord("user_ncp.gdbm", share)) << share << (batched != 0 ? ", batched" : "");
  }
}
