#pragma once
// Accounts as they lie in the record files and in the segment of protocol 0, made and read past the library.

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "accounts/account_items.h"
#include "frame/appliance.h"
#include "status/segment.h"

// Without a defaults file there is no default quota, and a new account starts no commands.
inline void withoutDefaultQuota() { (void)unlink("/etc/default.zelmar"); }

template <typename Item>
std::string recordOf(const Item& item) {
  return std::string(36, '\0') + bytesOf(item) + std::string(4, '\0');
}

inline UserItem userItem(const std::string& name, int source, unsigned uid) {
  UserItem item = {};
  describeRemote(&item, source, name.c_str());
  item.uid = uid;
  return item;
}

inline GroupItem groupItem(const std::string& name, int source, unsigned gid) {
  GroupItem item = {};
  describeRemote(&item, source, name.c_str());
  item.gid = gid;
  return item;
}

inline std::string keyOf(const std::string& name, int source) { return name + std::to_string(source); }

inline void storeUser(const UserItem& item) {
  storeRecord("user_id.gdbm", keyOf(item.name, static_cast<int>(item.source)), recordOf(item));
}

inline void storeGroup(const GroupItem& item) {
  storeRecord("group_id.gdbm", keyOf(item.name, static_cast<int>(item.source)), recordOf(item));
}

// The item of a stored account; all zero when there is none.
template <typename Item>
Item storedItem(const std::string& name, int source) {
  Item item = {};
  const auto record = storedRecord(sizeof(Item) == sizeof(UserItem) ? "user_id.gdbm" : "group_id.gdbm",  //
                                   keyOf(name, source));
  if (record && record->size() >= 36 + sizeof item) std::memcpy(&item, record->data() + 36, sizeof item);
  return item;
}

// The integer that a key of system.gdbm holds; -1 when there is none.
inline long storedNumber(const std::string& key) {
  const auto value = storedRecord("system.gdbm", key);
  std::uint32_t number = 0;
  if (!value || value->size() != sizeof number) return -1;
  std::memcpy(&number, value->data(), sizeof number);
  return number;
}

inline void storeNumber(const std::string& key, std::uint32_t number) {
  storeRecord("system.gdbm", key, bytesOf(number));
}

// The segment of protocol 0 attached past the library, which does not count it as its own.
struct Identities {
  IdentitySegment* const segment;
  Identities()
      : segment(static_cast<IdentitySegment*>(
            shmat(shmget(ftok("/etc/admin", 'S'), kSegmentSize, IPC_CREAT | 0666), nullptr, 0))) {}
  ~Identities() { (void)shmdt(segment); }
  Identities(const Identities&) = delete;
  Identities& operator=(const Identities&) = delete;
  IdentitySegment* operator->() const { return segment; }

  // The ids of a kind that are marked.
  [[nodiscard]] std::set<unsigned> marked(int kind) const {
    std::set<unsigned> ids;
    for (unsigned i = 0; i < kIdentityRange; ++i) {
      if (segment->bitmaps[kind][i] != 0) ids.insert(32768 + i);
    }
    return ids;
  }
};
