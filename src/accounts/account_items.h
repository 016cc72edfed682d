#pragma once
// The account item store: one record per account (name and source) in user_id.gdbm and group_id.gdbm, with the
// account's numeric id, memberships and quota. One set of operations serves both kinds.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "api/nas1api.h"
#include "core/memory.h"

static_assert(offsetof(UserItem, source) == 4);
static_assert(offsetof(UserItem, uid) == 8);
static_assert(offsetof(UserItem, groups) == 12);
static_assert(offsetof(UserItem, quota) == 76);
static_assert(offsetof(UserItem, name) == 80);
static_assert(sizeof(UserItem) == 112, "stored in user_id.gdbm and handed to callers");

static_assert(offsetof(GroupItem, gid) == 4);
static_assert(offsetof(GroupItem, quota) == 8);
static_assert(offsetof(GroupItem, name) == 12);
static_assert(offsetof(GroupItem, source) == 44);
static_assert(sizeof(GroupItem) == 48, "stored in group_id.gdbm and handed to callers");

enum ItemKind { KIND_USER = 0, KIND_GROUP = 1, KIND_COUNT = 2 };

inline constexpr int kSourceCount = PROTO_COUNT;
inline constexpr int kGroupSlots = 16;
inline constexpr std::size_t kItemOffset = 36;  // bytes before the item of a stored record, always zero

// Where the fields of a stored item stand; what differs between users and groups.
struct ItemLayout {
  const char* file;
  std::size_t recordBytes;  // of the stored record
  std::size_t itemBytes;    // of the item in it
  std::size_t source, id, quota, name;
  std::size_t keptBegin, keptEnd;  // bytes that a set takes over besides the quota
  const char* quotaOption;
  int quotaConfigId;  // default quota
};
extern const ItemLayout itemLayouts[KIND_COUNT];

// A word of an item.
inline std::uint32_t itemWord(const void* item, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, static_cast<const char*>(item) + offset, sizeof word);
  return word;
}

// The item of a stored record; null when the record is cut, of another size, or its name has no NUL.
char* itemIn(const ItemLayout& layout, char* record, std::size_t bytes);

// Copies the item of an account to out and its size to outSize, and never makes one. Returns 0; -1 when there is none,
// it is damaged, or its file cannot be opened.
int findItem(int kind, int source, const char* name, void* out, int* outSize);

// Fills what a remote account is known by; everything else of the item stays as it is.
template <typename Item>
void describeRemote(Item* item, int source, const char* name) {
  item->size = sizeof(Item);
  item->source = static_cast<std::uint32_t>(source);
  const std::size_t length = strnlen(name, sizeof item->name - 1);
  std::memcpy(item->name, name, length);
  item->name[length] = '\0';
}

#pragma GCC visibility push(default)
extern "C" {
// The operations of both kinds. An unknown kind or source and a null argument are refused.

// Copies an item to out and its size to outSize; makes the account when it is not known. Returns 0; -1.
int sysGetCommonItem(int kind, int source, const char* name, void* out, int* outSize);
// Returns 0 when there is no such item, -1 when there is, -2 when the file could not be opened.
int sysCheckCommonItemNotExist(int kind, int source, const char* name);
// Stores quota and (users) groups of the account that source and name select, and sets the quota on every volume.
// Returns 0; -1.
int sysSetCommonItem(int kind, const void* item);
// Deletes an account, frees its id and clears its quota. Returns 0; -1.
int sysDelCommonItem(int kind, int source, const char* name);
// Copies up to count items from the start-th key on. Returns the number copied.
int sysListCommonItem(int kind, int start, int count, void* buffer, int size);

int sysGetUserItem(int source, const char* name, void* out, int* outSize);
int sysSetUserItem(const void* item);
int sysDelUserItem(int source, const char* name);
int sysListUserItem(int start, int count, void* buffer, int size);
int sysUserItemCount();
int sysGetGroupItem(int source, const char* name, void* out, int* outSize);
int sysSetGroupItem(const void* item);
int sysListGroupItem(int start, int count, void* buffer, int size);
int sysGroupItemCount();

// Make an account that must not exist yet. Return 0; -1 it exists or could not be made; -2 the file could not be
// opened.
int sysAddUserItem(int source, const char* name, void* out, int* outSize);
int sysAddGroupItem(int source, const char* name, void* out, int* outSize);
// Takes the group from every user, then deletes it. Returns 0; -1.
int sysDelGroupItem(int source, const char* name);
}
#pragma GCC visibility pop

// All items of one kind, of every source, as they were when they were listed.
template <typename Item>
struct AllItems {
  static constexpr ItemKind kKind = sizeof(Item) == sizeof(UserItem) ? KIND_USER : KIND_GROUP;
  const int expected;
  const TrackedBuffer buffer;
  const int count;

  AllItems(const char* unit, int line);
  [[nodiscard]] Item* begin() const { return static_cast<Item*>(buffer.data); }
  [[nodiscard]] Item* end() const { return begin() + count; }
};
