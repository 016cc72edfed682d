#include "accounts/membership.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "accounts/account_items.h"
#include "core/assert.h"

static constexpr char kUnit[] = "membership.cpp";

namespace {

// Items copied end to end into a caller's buffer as long as they fit.
struct ItemWriter {
  char* out;
  std::size_t left;
  int written = 0;

  ItemWriter(void* buffer, int size)
      : out(static_cast<char*>(buffer)), left(size > 0 ? static_cast<std::size_t>(size) : 0) {}

  template <typename Item>
  bool write(const Item& item) {
    if (sizeof(Item) > left) return false;
    std::memcpy(out, &item, sizeof(Item));
    out += sizeof(Item);
    left -= sizeof(Item);
    ++written;
    return true;
  }
};

// Gets both items of accounts that exist.
bool getBoth(int source, const char* user, const char* group, UserItem* userItem, GroupItem* groupItem) {
  int size = 0;
  return findItem(KIND_USER, source, user, userItem, &size) == 0 &&
         findItem(KIND_GROUP, source, group, groupItem, &size) == 0;
}

bool isMember(const UserItem& user, std::uint32_t gid) {
  return std::find(std::begin(user.groups), std::end(user.groups), gid) != std::end(user.groups);
}

// Puts a gid into slot 0, the one that was there into the gid's old slot (the last, should it be in several) or the
// first empty one. False when all slots are taken by others.
bool makePrimary(UserItem* user, std::uint32_t gid) {
  auto* const slots = user->groups;
  auto* const slotsEnd = slots + kGroupSlots;
  if (auto* const found = std::find_end(slots, slotsEnd, &gid, &gid + 1); found != slotsEnd) {
    std::swap(*slots, *found);
    return true;
  }
  auto* const empty = std::find(slots, slotsEnd, 0U);
  if (empty == slotsEnd) return false;
  *empty = *slots;
  *slots = gid;
  return true;
}

template <typename Item>
int countOfSource(int source) {
  const AllItems<Item> items(kUnit, __LINE__);
  return static_cast<int>(std::count_if(items.begin(), items.end(), [source](const Item& item) {
    return item.source == static_cast<std::uint32_t>(source);
  }));
}

template <typename Item>
int listOfSource(int source, int start, int count, void* buffer, int size) {
  if (buffer == nullptr) sysAssert(kUnit, __LINE__);
  const AllItems<Item> items(kUnit, __LINE__);
  ItemWriter writer(buffer, size);
  int skip = std::max(start, 0);
  for (const Item& item : items) {
    if (item.source != static_cast<std::uint32_t>(source)) continue;
    if (skip > 0) {
      --skip;
    } else if (writer.written >= count || !writer.write(item)) {
      break;
    }
  }
  return writer.written;
}

// Calls visit for every local user in a local group, in stored order. False for an unknown group.
template <typename Visit>
bool forEachMember(const char* group, Visit visit) {
  if (group == nullptr) sysAssert(kUnit, __LINE__);
  GroupItem item = {};
  int size = 0;
  if (findItem(KIND_GROUP, PROTO_SYSTEM, group, &item, &size) < 0) return false;
  const AllItems<UserItem> users(kUnit, __LINE__);
  for (const UserItem& user : users) {
    if (user.source == PROTO_SYSTEM && isMember(user, item.gid)) visit(user);
  }
  return true;
}

bool hasPasswordRecord(char* user) {
  char password[NAS_NAME_SIZE];
  return Nas1GetUserPasswd(PROTO_SYSTEM, user, password, sizeof password) >= 0;
}

}  // namespace

extern "C" int sysJoinGroup(int source, const char* user, const char* group) {
  UserItem userItem;
  GroupItem groupItem;
  if (!getBoth(source, user, group, &userItem, &groupItem)) return -1;
  // Kept: joining never takes a free slot; memberships are written as groups of the item or through the primary group.
  return isMember(userItem, groupItem.gid) ? 0 : -1;
}

extern "C" int sysLeaveGroup(int source, const char* user, const char* group) {
  UserItem userItem;
  GroupItem groupItem;
  if (!getBoth(source, user, group, &userItem, &groupItem)) return -1;
  auto* const slot = std::find(std::begin(userItem.groups), std::end(userItem.groups), groupItem.gid);
  if (slot == std::end(userItem.groups) || *slot == 0) return -1;
  *slot = 0;
  return Nas1SetUserItem(&userItem);
}

extern "C" int sysSetPrimaryGroup(int source, const char* user, const char* group) {
  UserItem userItem;
  GroupItem groupItem = {};
  int size = 0;
  if (findItem(KIND_USER, source, user, &userItem, &size) < 0) return -1;
  if (findItem(KIND_GROUP, source, group, &groupItem, &size) < 0) groupItem.gid = 0;
  if (groupItem.gid == 0) {
    // Kept: no such group means no group at all.
    std::fill(std::begin(userItem.groups), std::end(userItem.groups), 0U);
  } else if (!makePrimary(&userItem, groupItem.gid)) {
    return -1;
  }
  return Nas1SetUserItem(&userItem);
}

extern "C" int sysListGroups(const char* user, int start, int count, void* buffer, int size) {
  if (user == nullptr || buffer == nullptr) sysAssert(kUnit, __LINE__);
  if (Nas1CheckLength(user, NAS_NAME_SIZE) != 0) return -1;
  char name[NAS_NAME_SIZE];  // upper-cased by the look at the password
  std::strcpy(name, user);
  if (!hasPasswordRecord(name)) return -1;
  UserItem userItem;
  int itemSize = 0;
  if (sysGetUserItem(PROTO_SYSTEM, name, &userItem, &itemSize) < 0) return -1;
  const AllItems<GroupItem> groups(kUnit, __LINE__);
  ItemWriter writer(buffer, size);
  const int first = std::max(start, 0);
  const int last = count <= 0 || first >= kGroupSlots ? first : first + std::min(count, kGroupSlots - first);
  for (int slot = first; slot < last; ++slot) {
    const std::uint32_t gid = userItem.groups[slot];
    if (gid == 0) continue;
    for (const GroupItem& group : groups) {
      if (group.gid == gid && !writer.write(group)) return writer.written;
    }
  }
  return writer.written;
}

extern "C" int sysListMembersCount(const char* group) {
  int members = 0;
  return forEachMember(group, [&](const UserItem&) { ++members; }) ? members : -1;
}

extern "C" int sysListMembers(const char* group, int start, int count, void* buffer, int size) {
  if (buffer == nullptr) sysAssert(kUnit, __LINE__);
  ItemWriter writer(buffer, size);
  int skip = std::max(start, 0);
  const bool known = forEachMember(group, [&](const UserItem& user) {
    if (skip > 0) {
      --skip;
    } else if (writer.written < count) {
      (void)writer.write(user);
    }
  });
  return known ? writer.written : -1;
}

extern "C" {
int ExGetUserListCount(int source) { return countOfSource<UserItem>(source); }
int ExGetGroupListCount(int source) { return countOfSource<GroupItem>(source); }
int ExGetUserList(int source, int start, int count, void* buffer, int size) {
  return listOfSource<UserItem>(source, start, count, buffer, size);
}
int ExGetGroupList(int source, int start, int count, void* buffer, int size) {
  return listOfSource<GroupItem>(source, start, count, buffer, size);
}
int sysGetUserList(int start, int count, void* buffer, int size) {
  return count < 0 ? sysGetUserListCount() : ExGetUserList(PROTO_SYSTEM, start, count, buffer, size);
}
int sysGetGroupList(int start, int count, void* buffer, int size) {
  return count < 0 ? sysGetGroupListCount() : ExGetGroupList(PROTO_SYSTEM, start, count, buffer, size);
}
int sysGetUserListCount() { return ExGetUserListCount(PROTO_SYSTEM); }
int sysGetGroupListCount() { return ExGetGroupListCount(PROTO_SYSTEM); }
}
