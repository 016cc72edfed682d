// Accounts: lists, adding, a group that goes.

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdio>
#include <cstring>

#include "accounts/identity.h"
#include "bare.h"
#include "core/record_store.h"
#include "harness.h"

static constexpr unsigned kGid = 40000;

static std::string userKey(int i) {
  char name[32];
  (void)std::snprintf(name, sizeof name, "USER%05d0", i);
  return name;
}

// Stores local users with the lowest ids, all in one group, straight into the record file.
static void storeUsers(int count) {
  GDBM_FILE const file = bareOpen(kUserIdFile, GDBM_WRCREAT);
  for (int i = 0; i < count; ++i) {
    std::string key = userKey(i);
    char record[152] = {};
    UserItem item = {};
    describeRemote(&item, PROTO_SYSTEM, key.substr(0, key.size() - 1).c_str());
    item.uid = static_cast<std::uint32_t>(kFirstId + i);
    item.groups[3] = kGid;
    std::memcpy(record + kItemOffset, &item, sizeof item);
    (void)gdbm_store(file, {key.data(), static_cast<int>(key.size() + 1)}, {record, sizeof record}, GDBM_REPLACE);
  }
  (void)gdbm_close(file);
}

// The group and its mark among the ids in use.
static void storeGroup() {
  char record[88] = {};
  GroupItem item = {};
  describeRemote(&item, PROTO_SYSTEM, "STAFF");
  item.gid = kGid;
  std::memcpy(record + kItemOffset, &item, sizeof item);
  bareStore(kGroupIdFile, "STAFF0", record, sizeof record);
  auto* const segment = static_cast<IdentitySegment*>(sysAttachShareMem(PROTO_SYSTEM));
  if (segment != nullptr) segment->bitmaps[KIND_GROUP][kGid - kFirstId] = 1;
  sysDeAttachShareMem(PROTO_SYSTEM);
}

static void prepare(int users) {
  emptyAppliance();
  storeShares(10);
  storeUsers(users);
  storeGroup();
  const int id = shmget(ftok("/etc/admin", 'S'), 0, 0);
  if (id >= 0) (void)shmctl(id, IPC_RMID, nullptr);
  for (const char* const key : {"DEFAULT_USER_QUOTA", "AUTO_HOME"}) bareStore(kSystemFile, key, "\0\0\0", 4);
  bareStore(kPasswordFile, "filler", "", 1);
  (void)Nas1UserItemCount();
  (void)Nas1GroupItemCount();
}

static void addUser() {
  char name[] = "NEWCOMER";
  if (Nas1AddUser(PROTO_SYSTEM, name, "secret") != 0) std::abort();
}

// As its steps say: the item is stored, and stored once more with its quota.
static void addUserBare() {
  const char record[152] = {};
  (void)bareFetch(kSystemFile, "AUTO_HOME");
  bareStore(kPasswordFile, "NEWCOMER", record, 100);
  (void)bareFetch(kUserIdFile, "NEWCOMER0");
  (void)bareFetch(kUserIdFile, "NEWCOMER0");
  bareStore(kUserIdFile, "NEWCOMER0", record, sizeof record);
  bareStore(kSystemFile, "UID_START", "\0\0\0", 4);
  (void)bareFetch(kSystemFile, "DEFAULT_USER_QUOTA");
  bareStore(kUserIdFile, "NEWCOMER0", record, sizeof record);
  for (int i = 0; i < 4; ++i) bareShell("/usr/sbin/setquota -u 32768 0 0 0 0 /volume/v1 > /dev/null");
  (void)bareFetch(kUserIdFile, "NEWCOMER0");
}

static void forgetUser() {
  bareRemove(kPasswordFile, "NEWCOMER");
  bareRemove(kUserIdFile, "NEWCOMER0");
}

static void deleteGroup() {
  char name[] = "STAFF";
  if (Nas1DelGroup(PROTO_SYSTEM, name) != 0) std::abort();
}

static void deleteGroupBare(int users) {
  (void)bareFetch(kGroupIdFile, "STAFF0");
  (void)bareWalk(kUserIdFile);
  for (int i = 0; i < users; ++i) bareResize(kUserIdFile, userKey(i), 0);
  bareRemove(kGroupIdFile, "STAFF0");
  (void)bareWalk(kShareFile);
}

std::vector<Row> accountRows() {
  std::vector<Row> rows;
  for (const int count : {10, 1000, 10000}) {
    rows.push_back({.job = "list the users",
                    .count = count,
                    .goal = "1.2",
                    .prepare = [count] { prepare(count); },
                    .library =
                        [count] {
                          std::vector<UserItem> items(static_cast<std::size_t>(count));
                          (void)Nas1ListUserItem(0, count, items.data(), count * static_cast<int>(sizeof(UserItem)));
                        },
                    .bare =
                        [count] {
                          const std::vector<UserItem> items(static_cast<std::size_t>(count));
                          (void)bareWalk(kUserIdFile);
                        },
                    .onDisk = count == 10000,
                    .memory = count == 10000});
  }
  for (const int count : {10, 1000, 10000}) {
    rows.push_back({.job = "add a user, four quota commands",
                    .count = count,
                    .goal = "0.85",
                    .prepare = [count] { prepare(count); },
                    .library = addUser,
                    .bare = addUserBare,
                    .before = forgetUser,
                    .onDisk = count == 10000});
  }
  for (const int count : {10, 1000, 10000}) {
    rows.push_back({.job = "delete a group of all users, no commands",
                    .count = count,
                    .goal = "1.2",
                    .prepare =
                        [count] {
                          prepare(count);
                          startNothing = true;
                        },
                    .library = deleteGroup,
                    .bare = [count] { deleteGroupBare(count); },
                    .before =
                        [count] {
                          storeUsers(count);
                          storeGroup();
                        },
                    .memory = count == 10000});
  }
  return rows;
}
