#pragma once
// Permission lists: per share and protocol, which users and groups may do what; one record file per protocol, keyed by
// share name.

#include <cstddef>
#include <cstdint>

#include "api/nas1api.h"

static_assert(offsetof(PermittedItem, rights) == 4);
static_assert(offsetof(PermittedItem, name) == 8);
static_assert(sizeof(PermittedItem) == 40, "stored in the permission files and handed to callers");

// The head of a stored list; its PermittedItems follow.
struct [[gnu::packed]] PermittedListHeader {
  std::uint8_t reserved[36];  // never read; the allocator's fill in new lists
  std::int32_t count;         // entries that follow
};
static_assert(offsetof(PermittedListHeader, count) == 36);
static_assert(sizeof(PermittedListHeader) == 40, "stored in the permission files");

// Takes the first entry of a name out of every share's list of a protocol, as Nas1DelPermittedItem does for one. A list
// without the name is left alone: storing it again would cost a sync for each share.
void removeFromEveryShare(int protocol, const char* name);

#pragma GCC visibility push(default)
extern "C" {
// The permission operations behind the entries of the same names. Each opens its files, does its work and closes them.
// A null share, item, name, user, items or out aborts the process; a protocol without a permission file fails. A stored
// list that does not hold the entries it counts fails likewise; an entry without a NUL in its name matches nothing.

// Returns 0; -1 unknown share, doubled entry, a name without its NUL, failed store.
int sysAddPermittedItem(const char* share, int protocol, const PermittedItem* item);
// Return 0, also when nothing matched or there is no list; -1 failed store.
int sysDelPermittedItem(const char* share, int protocol, const char* name);
int sysDelPermittedItemEx(const char* share, int protocol, const char* name, int type);
// Returns the highest level of the user and its groups; -1 when nothing matched, no list. groups may be null.
int sysCheckPermission(const char* share, int protocol, const char* user, const char* const* groups);
// Returns the number of entries; 0 when there is no list.
int sysGetPermittedItemsCount(const char* share, int protocol);
// Copies entries to out, which has room for count of them. Returns the number copied.
int sysListPermittedItems(const char* share, int protocol, int start, int count, PermittedItem* out);
// Replaces the list. Returns 0, whatever the store did; -1 for a negative count, an unopenable file or no memory.
int sysSetPermittedList(const char* share, int protocol, int count, const PermittedItem* items);
}
#pragma GCC visibility pop
