#include "accounts/identity.h"

#include "accounts/membership.h"
#include "stored_accounts.h"

namespace {

using IdentityTest = AccountTest;

// The integer that a key of system.gdbm holds; -1 when there is none.
long storedNumber(const std::string& key) {
  const auto value = storedRecord("system.gdbm", key);
  std::uint32_t number = 0;
  if (!value || value->size() != sizeof number) return -1;
  std::memcpy(&number, value->data(), sizeof number);
  return number;
}

// The id that a new user gets; 0 when it is refused.
unsigned add(const std::string& name) {
  UserItem item = {};
  int size = 0;
  return sysAddUserItem(PROTO_SYSTEM, name.c_str(), &item, &size) == 0 ? item.uid : 0;
}

unsigned addGroup(const std::string& name) {
  GroupItem item = {};
  int size = 0;
  return sysAddGroupItem(PROTO_SYSTEM, name.c_str(), &item, &size) == 0 ? item.gid : 0;
}

}  // namespace

TEST_F(IdentityTest, IdsGoUpFromTheHintWhichTheKeysRemember) {
  EXPECT_EQ((std::vector{32768u, 32769u}), (std::vector{add("ONE"), add("TWO")}));
  EXPECT_EQ(32768u, addGroup("ONE")) << "groups have ids of their own";
  EXPECT_EQ((std::vector{2L, 1L}), (std::vector{storedNumber("UID_START"), storedNumber("GID_START")}));
  EXPECT_EQ((Results{2, 1}), (Results{sysUserItemCount(), sysGroupItemCount()}));

  // At their places in the segment: other builds read them there.
  const Identities ids;
  const auto* const words = reinterpret_cast<const std::uint32_t*>(ids.segment);
  const auto* const bytes = reinterpret_cast<const char*>(ids.segment);
  EXPECT_EQ((std::vector<unsigned>{0, 2, 1, 2, 1}),
            (std::vector<unsigned>{words[0], words[1], words[2], words[5], words[6]}));
  EXPECT_EQ(std::string("\1\1\0\1\0", 5), std::string(bytes + 72, 3) + std::string(bytes + 72 + 32212, 2));

  EXPECT_EQ(0, sysDelUserItem(PROTO_SYSTEM, "ONE"));
  EXPECT_EQ(32770u, add("THREE")) << "the hint wins over a lower free id";
  ids->bitmaps[KIND_USER][3] = 1;
  EXPECT_EQ(32768u, add("FOUR")) << "the hint's id is taken: the lowest free one";
  EXPECT_EQ(1, storedNumber("UID_START"));
}

TEST_F(IdentityTest, LoadingCountsTheRecordsAndPicksTheHint) {
  const struct {
    const char* name;
    long long start;  // UID_START; -1 unset
    std::vector<unsigned> uids;
    int count;
    unsigned next;
  } cases[] = {
      {"nothing", -1, {}, 0, 0},
      {"records above the start", 3, {32768, 32778}, 2, 11},
      {"a record at the start", 10, {32778}, 1, 11},
      {"the highest id", 5, {32768, 64979}, 2, 0},
      {"a start that did not wrap", 32212, {32768, 32773}, 2, 0},
      {"ids outside the range", -1, {32767, 64980, 0, 0xFFFFFFFF, 32769}, 1, 2},
  };
  for (const auto& c : cases) {
    SetUp();
    if (c.start >= 0) storeWord("UID_START", static_cast<std::uint32_t>(c.start));
    for (const char* name : {"A", "Z"}) storeRecord("user_id.gdbm", name, std::string(147, '\x7f'));  // passed over
    for (const unsigned uid : c.uids) storeItem(userItem("U" + std::to_string(uid), PROTO_CIFS, uid));
    const Identities ids;
    std::memset(ids->bitmaps[KIND_USER], 1, kIdentityRange);  // of an earlier time
    ids->counts[KIND_USER] = 99;
    EXPECT_EQ(c.count, sysItemCount(KIND_USER)) << c.name;
    EXPECT_EQ(c.next, ids->nextIndexes[KIND_USER]) << c.name;
    EXPECT_EQ(static_cast<std::size_t>(c.count), ids.marked(KIND_USER).size()) << c.name;
  }
}

TEST_F(IdentityTest, TheHighestIdWrapsTheHintButNotTheKey) {
  storeWord("UID_START", 32211);
  EXPECT_EQ(64979u, add("LAST"));
  const Identities ids;
  EXPECT_EQ(0u, ids->nextIndexes[KIND_USER]);
  EXPECT_EQ(32212, storedNumber("UID_START"));
  ids->bitmaps[KIND_USER][5] = 1;  // in no record
  EXPECT_EQ(1, sysUserItemCount()) << "a hint of 0 has every call look into the records";
  EXPECT_EQ((std::set<unsigned>{64979}), ids.marked(KIND_USER));
  EXPECT_EQ(32768u, add("FIRST"));
}

TEST_F(IdentityTest, AFullBitmapRefusesNewAccountsUntilOneIsFreed) {
  const Identities ids;
  std::memset(ids->bitmaps[KIND_USER], 1, kIdentityRange);
  ids->counts[KIND_USER] = kIdentityRange - 1;
  ids->nextIndexes[KIND_USER] = 17;
  ids->bitmaps[KIND_USER][32000] = 0;
  EXPECT_EQ((std::vector{64768u, 0u}), (std::vector{add("LAST"), add("NOBODY")}));
  EXPECT_EQ(Lines({"<ERR>  [SW]   UID_GID[0] overflow!"}), applianceMessages());
  EXPECT_EQ(32001u, ids->nextIndexes[KIND_USER]) << "stays";
  EXPECT_EQ(kIdentityRange, ids->counts[KIND_USER]);
  EXPECT_EQ(Lines({"LAST0"}), storedKeys("user_id.gdbm"));
  EXPECT_EQ(0, Nas1DelUidGid(KIND_USER, 40000));
  EXPECT_EQ(40000u, add("SOMEBODY"));
}

TEST_F(IdentityTest, FreeingIsRefusedOutsideTheRangeAndLoggedForAFreeId) {
  EXPECT_EQ(32768u, add("ONE"));
  EXPECT_EQ(32768u, addGroup("ONE"));
  EXPECT_EQ(Results(3, -1),
            (Results{Nas1DelUidGid(KIND_USER, 32767), Nas1DelUidGid(KIND_USER, 64980), Nas1DelUidGid(2, 32768)}));
  EXPECT_EQ(Lines(), applianceLog());
  const Identities ids;
  ids->bitmaps[KIND_GROUP][32211] = 7;
  EXPECT_EQ(Results(3, 0), (Results{Nas1DelUidGid(KIND_USER, 32768), Nas1DelUidGid(KIND_USER, 32768),
                                    Nas1DelUidGid(KIND_GROUP, 64979)}));
  EXPECT_EQ(Lines({"<INFO> [SW]   Del UID_GID[0][0]=0 Errors!", "<INFO> [SW]   Del UID_GID[1][32211]=7 Errors!"}),
            applianceMessages());
  EXPECT_EQ((Results{0, 1}), (Results{ids->counts[KIND_USER], ids->counts[KIND_GROUP]}));
}

TEST_F(IdentityTest, HostileWordsInTheSegmentAreNeverFollowed) {
  const Identities ids;
  ids->nextIndexes[KIND_USER] = 0xFFFFFFFF;
  ids->counts[KIND_USER] = INT32_MIN;
  EXPECT_EQ(0, sysUserItemCount());
  EXPECT_EQ(32768u, add("ONE")) << "the lowest free one";
  ids->counts[KIND_USER] = INT32_MAX;
  EXPECT_EQ(kIdentityRange, sysUserItemCount());
  EXPECT_EQ(1, sysGetUserListCount()) << "counted in the records";
}
