#include "accounts/account_items.h"

#include <syslog.h>

#include <algorithm>

#include "accounts/identity.h"
#include "core/command.h"
#include "core/record_store.h"
#include "events/event_log.h"

static constexpr char kUnit[] = "uid";
static constexpr std::size_t kNameLength = NAS_NAME_SIZE - 1;
static constexpr std::size_t kSizeOffset = 0;

// What a set takes over of a user: the groups; of a group: nothing but the quota.
static constexpr std::size_t kGroupsEnd = offsetof(UserItem, groups) + sizeof(UserItem::groups);

// clang-format off
const ItemLayout itemLayouts[KIND_COUNT] = {
    {.file = kUserIdFile, .recordBytes = 152, .itemBytes = sizeof(UserItem),
     .source = offsetof(UserItem, source), .id = offsetof(UserItem, uid),
     .quota = offsetof(UserItem, quota), .name = offsetof(UserItem, name),
     .keptBegin = offsetof(UserItem, groups), .keptEnd = kGroupsEnd,
     .quotaOption = "-u", .quotaConfigId = 67},
    {.file = kGroupIdFile, .recordBytes = 88, .itemBytes = sizeof(GroupItem),
     .source = offsetof(GroupItem, source), .id = offsetof(GroupItem, gid),
     .quota = offsetof(GroupItem, quota), .name = offsetof(GroupItem, name),
     .keptBegin = 0, .keptEnd = 0,
     .quotaOption = "-g", .quotaConfigId = 69},
};
// clang-format on
static constexpr std::size_t kLargestRecord = 152;
static_assert(kLargestRecord >= kItemOffset + sizeof(UserItem));

static constexpr const char* kVolumeRoots[] = {"/volume/v1", "/volume/v2", "/volume/v3", "/volume/v4"};

namespace {

// The key of an account: its name, cut to the field, and a digit for its source.
struct ItemKey {
  char text[NAS_NAME_SIZE + 1];

  ItemKey(int source, const char* name) {
    const std::size_t length = strnlen(name, kNameLength);
    std::memcpy(text, name, length);
    text[length] = static_cast<char>('0' + source);
    text[length + 1] = '\0';
  }
};

bool refused(int kind, int source, const char* name) {
  return static_cast<unsigned>(kind) >= KIND_COUNT || static_cast<unsigned>(source) >= kSourceCount || name == nullptr;
}

void setWord(char* item, std::size_t offset, std::uint32_t word) { std::memcpy(item + offset, &word, sizeof word); }

// Starts an item of a zeroed record: size, source and name.
void describe(const ItemLayout& layout, char* item, int source, const char* name) {
  setWord(item, kSizeOffset, static_cast<std::uint32_t>(layout.itemBytes));
  setWord(item, layout.source, static_cast<std::uint32_t>(source));
  std::memcpy(item + layout.name, name, strnlen(name, kNameLength));
}

// Sets a quota in megabytes, 0 for none, on every volume, whether or not it exists.
void applyQuota(const ItemLayout& layout, std::uint32_t id, std::uint32_t quota) {
  const std::uint32_t blocks = quota << 10;
  for (const char* const root : kVolumeRoots) {
    (void)runCommand(kUnit, __LINE__, "/usr/sbin/setquota %s %u %u %u 0 0 %s", layout.quotaOption, id, blocks, blocks,
                     root);
  }
}

bool syncedAccount(int source) {
  std::uint32_t automatic = 0;
  if (source == PROTO_SYSTEM) return false;
  (void)NasGetConfig("AUTO_SYNC_REMOTE_ACCOUNTS", sizeof automatic, &automatic, nullptr);
  return automatic == 1;
}

// A new account starts with the default quota; one that a directory synchronises gets none.
void giveDefaultQuota(int kind, int source, const char* name, std::uint32_t id) {
  if (syncedAccount(source)) return;
  const ItemLayout& layout = itemLayouts[kind];
  std::uint32_t quota = 0;
  if (Nas1GetConfig(layout.quotaConfigId, sizeof quota, &quota, nullptr) < 0) return;
  // The record was made without one: it would only be stored again as it is.
  if (quota == 0) return applyQuota(layout, id, quota);
  char item[sizeof(UserItem)] = {};
  describe(layout, item, source, name);
  setWord(item, layout.quota, quota);
  (void)sysSetCommonItem(kind, item);
}

// Stores a record under a new id. Returns the id, also when the store failed; kIdOverflow without one.
int storeWithNewId(int kind, const char* key, char* record, bool* stored) {
  const ItemLayout& layout = itemLayouts[kind];
  const auto itemKind = static_cast<ItemKind>(kind);
  const RecordFile accounts(layout.file, Access::change);
  const int id = allocateId(itemKind, accounts.handle != nullptr ? &accounts : nullptr);
  // Kept: the id stays marked when the file cannot be opened for changes.
  if (id == kIdOverflow || accounts.handle == nullptr) return id;
  setWord(record + kItemOffset, layout.id, static_cast<std::uint32_t>(id));
  *stored = accounts.store(key, record, layout.recordBytes, GDBM_INSERT) == 0;
  // Another process has made the same account meanwhile.
  if (!*stored) (void)freeId(itemKind, static_cast<std::uint32_t>(id), &accounts);
  return id;
}

// Makes an account with a new id. Returns 0; -1.
int createItem(int kind, int source, const char* name) {
  char record[kLargestRecord] = {};
  describe(itemLayouts[kind], record + kItemOffset, source, name);
  bool stored = false;
  const int id = storeWithNewId(kind, ItemKey(source, name).text, record, &stored);
  if (id != kIdOverflow) rememberId(static_cast<ItemKind>(kind), id);
  if (!stored) return -1;
  giveDefaultQuota(kind, source, name, static_cast<std::uint32_t>(id));
  return 0;
}

enum class Lookup { found, damaged, absent, noFile };

// Copies a stored item to out.
Lookup readItem(const ItemLayout& layout, const char* key, void* out, int* outSize) {
  const RecordFile accounts(layout.file, Access::lookup);
  if (accounts.handle == nullptr) return Lookup::noFile;
  const FetchedValue value(kUnit, __LINE__, accounts, key);
  if (value.data == nullptr) return value.unreadable ? Lookup::damaged : Lookup::absent;
  const char* const item = itemIn(layout, value.data, value.bytes);
  if (item == nullptr) return Lookup::damaged;
  std::memcpy(out, item, layout.itemBytes);
  *outSize = static_cast<int>(layout.itemBytes);
  return Lookup::found;
}

void logNoUser(int line, const ItemKey& key) {
  unsigned bytes[4] = {};
  const std::size_t length = std::strlen(key.text) + 1;
  for (std::size_t i = 0; i < std::min<std::size_t>(4, length); ++i) {
    bytes[i] = static_cast<unsigned>(static_cast<int>(static_cast<signed char>(key.text[i])));
  }
  syslog(LOG_ERR, "Warnning!%s:%d No User:%20X %20X %20X %20X", kUnit, line, bytes[0], bytes[1], bytes[2], bytes[3]);
}

}  // namespace

char* itemIn(const ItemLayout& layout, char* record, std::size_t bytes) {
  if (record == nullptr || bytes < kItemOffset + layout.itemBytes) return nullptr;
  char* const item = record + kItemOffset;
  if (itemWord(item, kSizeOffset) != layout.itemBytes) return nullptr;
  return strnlen(item + layout.name, NAS_NAME_SIZE) < NAS_NAME_SIZE ? item : nullptr;
}

int findItem(int kind, int source, const char* name, void* out, int* outSize) {
  if (refused(kind, source, name)) return -1;
  const ItemKey key(source, name);
  Lookup known = readItem(itemLayouts[kind], key.text, out, outSize);
  // Much is undone for an account that is not there: a busy file gets a second chance.
  if (known == Lookup::noFile) known = readItem(itemLayouts[kind], key.text, out, outSize);
  return known == Lookup::found ? 0 : -1;
}

// Makes an account that has just not been found, and copies its item. Returns 0; -1.
static int makeItem(int kind, int source, const char* name, void* out, int* outSize) {
  if (createItem(kind, source, name) < 0) return -1;
  const Lookup made = readItem(itemLayouts[kind], ItemKey(source, name).text, out, outSize);
  if (made == Lookup::absent) (void)nas1_log(0, 2, "%s:%d database error!", kUnit, __LINE__);
  return made == Lookup::found ? 0 : -1;
}

extern "C" int sysGetCommonItem(int kind, int source, const char* name, void* out, int* outSize) {
  if (refused(kind, source, name) || out == nullptr || outSize == nullptr) return -1;
  const Lookup known = readItem(itemLayouts[kind], ItemKey(source, name).text, out, outSize);
  if (known == Lookup::found) return 0;
  return known == Lookup::absent ? makeItem(kind, source, name, out, outSize) : -1;
}

extern "C" int sysCheckCommonItemNotExist(int kind, int source, const char* name) {
  if (refused(kind, source, name)) return 0;
  const RecordFile accounts(itemLayouts[kind].file, Access::lookup);
  if (accounts.handle == nullptr) return -2;
  const FetchedValue value(kUnit, __LINE__, accounts, ItemKey(source, name).text);
  if (value.unreadable) return -2;
  return value.data != nullptr ? -1 : 0;
}

extern "C" int sysSetCommonItem(int kind, const void* item) {
  if (static_cast<unsigned>(kind) >= KIND_COUNT || item == nullptr) return -1;
  const ItemLayout& layout = itemLayouts[kind];
  const auto* const given = static_cast<const char*>(item);
  const std::uint32_t source = itemWord(given, layout.source);
  if (source >= kSourceCount) return -1;
  const ItemKey key(static_cast<int>(source), given + layout.name);
  const std::uint32_t quota = itemWord(given, layout.quota);
  std::uint32_t id = 0;
  {
    const RecordFile accounts(layout.file, Access::change);
    if (accounts.handle == nullptr) return -1;
    const FetchedValue value(kUnit, __LINE__, accounts, key.text);
    if (value.data == nullptr) {
      syslog(LOG_ERR, "Warnning!%s:%d No such Data", kUnit, __LINE__);
      return -1;
    }
    char* const stored = itemIn(layout, value.data, value.bytes);
    if (stored == nullptr) return -1;
    id = itemWord(stored, layout.id);
    setWord(stored, layout.quota, quota);
    std::memcpy(stored + layout.keptBegin, given + layout.keptBegin, layout.keptEnd - layout.keptBegin);
    if (accounts.store(key.text, value.data, value.bytes, GDBM_REPLACE) != 0) return -1;
  }
  applyQuota(layout, id, quota);
  return 0;
}

extern "C" int sysDelCommonItem(int kind, int source, const char* name) {
  if (refused(kind, source, name)) return -1;
  const ItemLayout& layout = itemLayouts[kind];
  const ItemKey key(source, name);
  std::uint32_t id = 0;
  std::uint32_t quota = 0;
  {
    const RecordFile accounts(layout.file, Access::change);
    if (accounts.handle == nullptr) return -1;
    const FetchedValue value(kUnit, __LINE__, accounts, key.text);
    if (value.data == nullptr) {
      logNoUser(__LINE__, key);
      return -1;
    }
    const char* const item = itemIn(layout, value.data, value.bytes);
    if (item == nullptr) return -1;
    id = itemWord(item, layout.id);
    quota = itemWord(item, layout.quota);
    (void)accounts.remove(key.text);
    (void)freeId(static_cast<ItemKind>(kind), id, &accounts);
  }
  if (quota != 0) applyQuota(layout, id, 0);
  return 0;
}

extern "C" int sysListCommonItem(int kind, int start, int count, void* buffer, int size) {
  if (static_cast<unsigned>(kind) >= KIND_COUNT || buffer == nullptr || count <= 0) return 0;
  const ItemLayout& layout = itemLayouts[kind];
  const RecordFile accounts(layout.file, Access::walk);
  if (accounts.handle == nullptr) return 0;
  auto* out = static_cast<char*>(buffer);
  std::size_t left = size > 0 ? static_cast<std::size_t>(size) : 0;
  int skip = std::max(start, 0);
  int copied = 0;
  walkKeys(kUnit, __LINE__, accounts, [&](const FetchedValue& key) {
    if (skip > 0) {
      --skip;
      return true;
    }
    const FetchedValue value(kUnit, __LINE__, gdbm_fetch(accounts.handle, key.asDatum()));
    const char* const item = itemIn(layout, value.data, value.bytes);
    if (item == nullptr) {
      syslog(LOG_ERR, "Warnning!%s:%d Data buffer is NULL", kUnit, __LINE__);
      return false;
    }
    if (layout.itemBytes > left) {
      // Kept: the words of the share list.
      syslog(LOG_ERR, "Warnning!sysShareList output buffer too small");
      return false;
    }
    std::memcpy(out, item, layout.itemBytes);
    out += layout.itemBytes;
    left -= layout.itemBytes;
    return ++copied < count;
  });
  return copied;
}

template <typename Item>
AllItems<Item>::AllItems(const char* unit, int line)
    : expected(sysItemCount(kKind)),
      buffer(unit, line, static_cast<std::size_t>(std::max(expected, 1)) * sizeof(Item)),
      count(expected <= 0 || buffer.data == nullptr
                ? 0
                : sysListCommonItem(kKind, 0, expected, buffer.data, expected * static_cast<int>(sizeof(Item)))) {}

template struct AllItems<UserItem>;
template struct AllItems<GroupItem>;

// Empties every slot of a user that holds a gid; false when there is none.
static bool dropGroup(UserItem* user, std::uint32_t gid) {
  bool dropped = false;
  for (std::uint32_t& slot : user->groups) {
    if (slot != gid) continue;
    slot = 0;
    dropped = true;
  }
  return dropped;
}

static void takeFromEveryUser(std::uint32_t gid) {
  const AllItems<UserItem> users(kUnit, __LINE__);
  for (UserItem& user : users) {
    if (dropGroup(&user, gid)) (void)Nas1SetUserItem(&user);
  }
}

static int addCommonItem(int kind, int source, const char* name, void* out, int* outSize) {
  if (refused(kind, source, name) || out == nullptr || outSize == nullptr) return -1;
  const int check = sysCheckCommonItemNotExist(kind, source, name);
  return check < 0 ? check : makeItem(kind, source, name, out, outSize);
}

extern "C" {
int sysGetUserItem(int source, const char* name, void* out, int* outSize) {
  return sysGetCommonItem(KIND_USER, source, name, out, outSize);
}
int sysSetUserItem(const void* item) { return sysSetCommonItem(KIND_USER, item); }
int sysDelUserItem(int source, const char* name) { return sysDelCommonItem(KIND_USER, source, name); }
int sysListUserItem(int start, int count, void* buffer, int size) {
  return sysListCommonItem(KIND_USER, start, count, buffer, size);
}
int sysUserItemCount() { return sysItemCount(KIND_USER); }
int sysGetGroupItem(int source, const char* name, void* out, int* outSize) {
  return sysGetCommonItem(KIND_GROUP, source, name, out, outSize);
}
int sysSetGroupItem(const void* item) { return sysSetCommonItem(KIND_GROUP, item); }
int sysListGroupItem(int start, int count, void* buffer, int size) {
  return sysListCommonItem(KIND_GROUP, start, count, buffer, size);
}
int sysGroupItemCount() { return sysItemCount(KIND_GROUP); }

int sysAddUserItem(int source, const char* name, void* out, int* outSize) {
  return addCommonItem(KIND_USER, source, name, out, outSize);
}
int sysAddGroupItem(int source, const char* name, void* out, int* outSize) {
  return addCommonItem(KIND_GROUP, source, name, out, outSize);
}

int sysDelGroupItem(int source, const char* name) {
  if (refused(KIND_GROUP, source, name)) return -1;
  GroupItem group = {};
  int size = 0;
  if (findItem(KIND_GROUP, source, name, &group, &size) == 0 && group.gid != 0) takeFromEveryUser(group.gid);
  return sysDelCommonItem(KIND_GROUP, source, name);
}
}
