#include "share/permissions.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>

#include "core/assert.h"
#include "core/record_store.h"
#include "share/share_walk.h"

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
  if (old.unreadable) return -1;
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
  if (list.data == nullptr) return list.unreadable ? -1 : 0;
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

// Whether a deletion would find an entry of that name.
static bool lists(const RecordFile& file, const char* share, const char* name) {
  if (file.handle == nullptr) return false;
  const FetchedValue list(kUnit, __LINE__, file, share);
  const auto entries = entriesOf(list);
  return entries && std::ranges::any_of(*entries, [&](const PermittedItem& entry) { return isNamed(entry, name); });
}

void removeFromEveryShare(int protocol, const char* name) {
  const AllShares shares(kUnit, __LINE__);
  const char* const path = permissionFile(protocol);
  if (path == nullptr) return;
  LookupSeries series(path);
  forEachShare(shares, [&](const ShareInfo* share) {
    if (!lists(series.next(), share->name, name)) return;
    series.close();
    (void)Nas1DelPermittedItem(share->name, protocol, name);
  });
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

// A name in upper case, zero behind it, so that whole fields can be compared.
struct FoldedName {
  char text[NAS_NAME_SIZE];
};

// Only for names that fit a field; no other can be an entry's.
static FoldedName folded(const char* name) {
  FoldedName result = {};
  std::memcpy(result.text, name, strnlen(name, sizeof result.text - 1));
  (void)NasStrUpper(result.text);
  return result;
}

static bool same(const FoldedName& a, const FoldedName& b) { return std::memcmp(a.text, b.text, sizeof a.text) == 0; }

// The caller's names, folded once for all entries. Groups beyond the room for them are compared as they are.
struct Caller {
  static constexpr std::size_t kRoom = 64;
  const char* const user;
  const char* const* const groups;
  FoldedName foldedUser;
  FoldedName foldedGroups[kRoom];
  std::size_t count = 0;

  Caller(const char* u, const char* const* g) : user(u), groups(g), foldedUser(folded(u)) {
    while (groups != nullptr && count < kRoom && groups[count] != nullptr) {
      foldedGroups[count] = folded(groups[count]);
      ++count;
    }
  }

  // The folded names only say what cannot match; NasStrCaseCmp decides.
  [[nodiscard]] bool matches(const PermittedItem& entry) const {
    const FoldedName name = folded(entry.name);
    if (entry.type == PERMITTED_USER) return same(name, foldedUser) && isNamed(entry, user);
    for (std::size_t i = 0; i < count; ++i) {
      if (same(name, foldedGroups[i]) && isNamed(entry, groups[i])) return true;
    }
    for (const char* const* group = groups + count; count == kRoom && *group != nullptr; ++group) {
      if (isNamed(entry, *group)) return true;
    }
    return false;
  }
};

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
  std::optional<Caller> caller;
  for (const PermittedItem& entry : *entries) {
    if (entry.rights <= level) continue;
    if (!caller) caller.emplace(user, groups);
    if (caller->matches(entry)) level = entry.rights;
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
