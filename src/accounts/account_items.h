#pragma once
// Accounts as they are handed to callers: UserItem and GroupItem of the public header.

#include <cstddef>
#include <cstring>

#include "api/nas1api.h"

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

// Fills what a remote account is known by; everything else of the item stays as it is.
template <typename Item>
void describeRemote(Item* item, int source, const char* name) {
  item->size = sizeof(Item);
  item->source = static_cast<uint32_t>(source);
  const std::size_t length = strnlen(name, sizeof item->name - 1);
  std::memcpy(item->name, name, length);
  item->name[length] = '\0';
}
