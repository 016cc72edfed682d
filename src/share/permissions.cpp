#include "share/permissions.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>

#include "core/assert.h"
#include "core/record_store.h"

static constexpr char kUnit[] = "permissions.cpp";
static constexpr int kNoAccess = -1;

// A stored value's length is an int.
static constexpr int kMostEntries = (INT_MAX - static_cast<int>(sizeof(PermittedListHeader))) / sizeof(PermittedItem);

static_assert(std::size(kPermissionFiles) == PROTO_AFP + 1);

// The record file of a protocol's lists; null for the protocols that have none.
static const char* permissionFile(int protocol) {
  const auto row = static_cast<unsigned>(protocol);
  return row < std::size(kPermissionFiles) ? kPermissionFiles[row] : nullptr;
}

static constexpr std::size_t listBytes(std::size_t entries) {
  return sizeof(PermittedListHeader) + entries * sizeof(PermittedItem);
}

// The entries of a stored list, for reading or changing in place; nothing when the value does not hold what it counts.
static std::optional<std::span<PermittedItem>> entriesOf(const FetchedValue& value) {
  if (value.bytes < sizeof(PermittedListHeader)) return std::nullopt;
  // A negative count is one that is too large.
  const auto count = static_cast<std::uint32_t>(reinterpret_cast<const PermittedListHeader*>(value.data)->count);
  if (count > (value.bytes - sizeof(PermittedListHeader)) / sizeof(PermittedItem)) return std::nullopt;
  auto* const first = reinterpret_cast<PermittedItem*>(value.data + sizeof(PermittedListHeader));
  return std::span(first, count);
}

static void setCount(void* list, std::size_t count) {
  static_cast<PermittedListHeader*>(list)->count = static_cast<std::int32_t>(count);
}

static bool terminated(const PermittedItem& item) { return strnlen(item.name, sizeof item.name) < sizeof item.name; }

static bool isNamed(const PermittedItem& item, const char* name) {
  return terminated(item) && NasStrCaseCmp(item.name, name) == 0;
}

static bool shareExists(const char* share) {
  const RecordFile shares(kShareFile, Access::lookup);
  return shares.handle != nullptr && gdbm_exists(shares.handle, keyDatum(share)) != 0;
}

extern "C" int sysAddPermittedItem(const char* share, int protocol, const PermittedItem* item) {
  if (share == nullptr || item == nullptr) sysAssert(kUnit, __LINE__);
  const char* const file = permissionFile(protocol);
  if (file == nullptr || !terminated(*item) || !shareExists(share)) return -1;
  const RecordFile lists(file, Access::change);
  if (lists.handle == nullptr) return -1;
  const FetchedValue old(kUnit, __LINE__, lists, share);
  std::size_t present = 0;
  if (old.data != nullptr) {
    const auto entries = entriesOf(old);
    if (!entries) return -1;
    const auto same = [&](const PermittedItem& entry) {
      return entry.type == item->type && isNamed(entry, item->name);
    };
    if (std::ranges::any_of(*entries, same)) return -1;
    present = entries->size();
  }

  const TrackedBuffer list(kUnit, __LINE__, listBytes(present + 1));
  if (list.data == nullptr) return -1;
  if (old.data != nullptr) std::memcpy(list.data, old.data, listBytes(present));
  std::memcpy(list.text() + listBytes(present), item, sizeof *item);
  setCount(list.data, present + 1);
  return lists.store(share, list.data, listBytes(present + 1), GDBM_REPLACE) == 0 ? 0 : -1;
}

// Removes the first entry that matches; the last one takes its place.
template <typename Matches>
static int removeFirst(const char* share, int protocol, Matches matches) {
  const char* const file = permissionFile(protocol);
  if (file == nullptr) return -1;
  const RecordFile lists(file, Access::change);
  if (lists.handle == nullptr) return -1;
  const FetchedValue list(kUnit, __LINE__, lists, share);
  if (list.data == nullptr) return 0;
  const auto entries = entriesOf(list);
  if (!entries) return -1;

  std::size_t bytes = list.bytes;
  const auto found = std::ranges::find_if(*entries, matches);
  if (found != entries->end()) {
    *found = entries->back();
    setCount(list.data, entries->size() - 1);
    bytes -= sizeof(PermittedItem);
  }
  // Kept: the list is stored again also when nothing matched.
  return lists.store(share, list.data, bytes, GDBM_REPLACE) == 0 ? 0 : -1;
}

extern "C" int sysDelPermittedItem(const char* share, int protocol, const char* name) {
  if (share == nullptr || name == nullptr) sysAssert(kUnit, __LINE__);
  return removeFirst(share, protocol, [&](const PermittedItem& entry) { return isNamed(entry, name); });
}

extern "C" int sysDelPermittedItemEx(const char* share, int protocol, const char* name, int type) {
  if (share == nullptr || name == nullptr) sysAssert(kUnit, __LINE__);
  return removeFirst(share, protocol,
                     [&](const PermittedItem& entry) { return entry.type == type && isNamed(entry, name); });
}

// How an account becomes known: an entry's type, and what looks for and makes an account of that kind.
struct AccountKind {
  int type;
  int (*check)(int source, const char* name, void* out, int* outSize);
  int (*add)(int source, char* name, const char* password);
};
static constexpr AccountKind userKind = {PERMITTED_USER, Nas1CheckUserItem, Nas1AddUser};
static constexpr AccountKind groupKind = {PERMITTED_GROUP, Nas1CheckGroupItem, Nas1AddGroup};

// Makes an AppleTalk account known, and on the share's list without any access. What the administrator has entered
// before stays: the second entry of a name is refused.
static void introduce(const AccountKind& kind, const char* share, const char* name) {
  // No account can have such a name.
  if (name[0] == '\0' || Nas1CheckLength(name, NAS_NAME_SIZE) != 0) return;
  PermittedItem entry = {kind.type, kNoAccess, {}};
  std::memcpy(entry.name, name, std::strlen(name));

  UserItem item;
  static_assert(sizeof item >= sizeof(GroupItem), "has room for either kind");
  int itemBytes = 0;
  if (kind.check(PROTO_AFP, name, &item, &itemBytes) < 0) {
    char account[sizeof entry.name];  // upper-cased by the call; the entry keeps the name as the client gave it
    std::memcpy(account, entry.name, sizeof account);
    (void)kind.add(PROTO_AFP, account, name);
  }
  (void)Nas1AddPermittedItem(share, PROTO_AFP, &entry);
}

// AppleTalk clients are not in any list of accounts: the administrator can only pick from those that have called.
static void introduceCaller(const char* share, const char* user, const char* const* groups) {
  introduce(userKind, share, user);
  for (const char* const* group = groups; group != nullptr && *group != nullptr; ++group) {
    introduce(groupKind, share, *group);
  }
}

static bool matchesCaller(const PermittedItem& entry, const char* user, const char* const* groups) {
  if (entry.type == PERMITTED_USER) return isNamed(entry, user);
  for (const char* const* group = groups; group != nullptr && *group != nullptr; ++group) {
    if (isNamed(entry, *group)) return true;
  }
  return false;
}

extern "C" int sysCheckPermission(const char* share, int protocol, const char* user, const char* const* groups) {
  if (share == nullptr || user == nullptr) sysAssert(kUnit, __LINE__);
  const char* const file = permissionFile(protocol);
  if (file == nullptr) return -1;
  if (protocol == PROTO_AFP) introduceCaller(share, user, groups);
  const RecordFile lists(file, Access::lookup);
  if (lists.handle == nullptr) return -1;
  const FetchedValue list(kUnit, __LINE__, lists, share);
  const auto entries = entriesOf(list);
  if (!entries) return -1;
  // Nothing denies: the highest level of all matching entries wins.
  int level = kNoAccess;
  for (const PermittedItem& entry : *entries) {
    if (entry.rights > level && matchesCaller(entry, user, groups)) level = entry.rights;
  }
  return level;
}

extern "C" int sysGetPermittedItemsCount(const char* share, int protocol) {
  if (share == nullptr) sysAssert(kUnit, __LINE__);
  const char* const file = permissionFile(protocol);
  if (file == nullptr) return 0;
  const RecordFile lists(file, Access::lookup);
  if (lists.handle == nullptr) return 0;
  const FetchedValue list(kUnit, __LINE__, lists, share);
  const auto entries = entriesOf(list);
  return entries ? static_cast<int>(entries->size()) : 0;
}

extern "C" int sysListPermittedItems(const char* share, int protocol, int start, int count, PermittedItem* out) {
  if (share == nullptr || out == nullptr) sysAssert(kUnit, __LINE__);
  const char* const file = permissionFile(protocol);
  if (file == nullptr || count <= 0) return 0;
  const RecordFile lists(file, Access::lookup);
  if (lists.handle == nullptr) return 0;
  const FetchedValue list(kUnit, __LINE__, lists, share);
  const auto entries = entriesOf(list);
  const auto first = static_cast<std::size_t>(std::max(start, 0));
  if (!entries || entries->size() <= first) return 0;
  const std::size_t copied = std::min(entries->size() - first, static_cast<std::size_t>(count));
  std::memcpy(static_cast<void*>(out), &(*entries)[first], copied * sizeof(PermittedItem));
  return static_cast<int>(copied);
}

extern "C" int sysSetPermittedList(const char* share, int protocol, int count, const PermittedItem* items) {
  if (share == nullptr || items == nullptr) sysAssert(kUnit, __LINE__);
  const char* const file = permissionFile(protocol);
  if (file == nullptr || count < 0) return -1;
  const RecordFile lists(file, Access::change);
  if (lists.handle == nullptr || count > kMostEntries) return -1;
  const auto entries = static_cast<std::size_t>(count);
  const TrackedBuffer list(kUnit, __LINE__, listBytes(entries));
  if (list.data == nullptr) return -1;
  setCount(list.data, entries);
  if (entries > 0) std::memcpy(list.text() + listBytes(0), items, entries * sizeof *items);
  // Kept: the result of the store is not looked at.
  (void)lists.store(share, list.data, listBytes(entries), GDBM_REPLACE);
  return 0;
}
