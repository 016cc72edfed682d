#pragma once
// Accounts as they lie in the record files and in the segment of protocol 0, made and read past the library.

#include <set>

#include <sys/ipc.h>
#include <sys/shm.h>

#include "accounts/account_items.h"
#include "frame/appliance.h"
#include "status/segment.h"

// Without a defaults file there is no default quota, and a new account starts no commands.
struct AccountTest : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    (void)unlink("/etc/default.zelmar");
  }
};

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

template <typename Item>
inline const char* const accountFile = sizeof(Item) == sizeof(UserItem) ? "user_id.gdbm" : "group_id.gdbm";

template <typename Item>
void storeItem(const Item& item) {
  storeRecord(accountFile<Item>, item.name + std::to_string(item.source), recordOf(item));
}

// The item of a stored account; all zero when there is none.
template <typename Item>
Item storedItem(const std::string& name, int source) {
  Item item = {};
  const auto record = storedRecord(accountFile<Item>, name + std::to_string(source));
  if (record && record->size() >= 36 + sizeof item) std::memcpy(&item, record->data() + 36, sizeof item);
  return item;
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
    for (unsigned i = 0; i < kIdentityRange; ++i)
      if (segment->bitmaps[kind][i] != 0) ids.insert(32768 + i);
    return ids;
  }
};
