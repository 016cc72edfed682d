// Accounts: items, allocation of ids, lists, adding and deleting. The process starts of a quota (four commands) decide
// what an account with a default quota costs, so they are measured apart.

#include <benchmark/benchmark.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "accounts/account_items.h"
#include "accounts/identity.h"
#include "bench_support.h"

static std::string userName(int i) {
  char name[32];
  (void)std::snprintf(name, sizeof name, "USER%05d", i);
  return name;
}

// Forgets the allocation state, so that the next call loads it from the account file.
static void forgetIdentities() {
  const int id = shmget(ftok("/etc/admin", 'S'), 0, 0);
  if (id >= 0) (void)shmctl(id, IPC_RMID, nullptr);
}

// Stores local users with the lowest ids, all of one group, straight into the record file.
static void storeUsers(int count, std::uint32_t gid = 0) {
  GDBM_FILE const file = bareOpen(kUserIdFile, GDBM_WRCREAT);
  for (int i = 0; i < count; ++i) {
    char record[152] = {};
    UserItem item = {};
    item.size = sizeof item;
    item.uid = static_cast<std::uint32_t>(kFirstId + i);
    item.groups[3] = gid;
    std::memcpy(item.name, userName(i).c_str(), userName(i).size());
    std::memcpy(record + kItemOffset, &item, sizeof item);
    const std::string key = userName(i) + '0';
    const datum content = {record, sizeof record};
    (void)gdbm_store(file, {const_cast<char*>(key.c_str()), static_cast<int>(key.size() + 1)}, content, GDBM_REPLACE);
  }
  (void)gdbm_close(file);
}

static void prepare(int users, std::uint32_t gid = 0) {
  emptyAppliance();
  storeShares(0);
  storeUsers(users, gid);
  forgetIdentities();
  const int none = 0;
  bareStore(kSystemFile, "DEFAULT_USER_QUOTA", &none, sizeof none);
  bareStore(kSystemFile, "AUTO_HOME", "0", 2);
  (void)Nas1UserItemCount();
}

static void getItem(benchmark::State& state) {
  prepare(1000);
  UserItem item;
  int size = 0;
  char name[] = "USER00500";
  for (auto _ : state) benchmark::DoNotOptimize(Nas1GetUserItem(0, name, &item, &size));
}
static void getItemBare(benchmark::State& state) {
  prepare(1000);
  for (auto _ : state) benchmark::DoNotOptimize(bareFetch(kUserIdFile, "USER005000"));
}

// A remote account made and deleted again: an id, a record, the start key, no quota command.
static void makeItem(benchmark::State& state) {
  prepare(static_cast<int>(state.range(0)));
  const int one = 1;
  bareStore(kSystemFile, "AUTO_SYNC_REMOTE_ACCOUNTS", &one, sizeof one);
  UserItem item;
  int size = 0;
  char name[] = "GUEST";
  for (auto _ : state) {
    if (Nas1GetUserItem(PROTO_CIFS, name, &item, &size) != 0) state.SkipWithError("not made");
    if (Nas1DelUser(PROTO_CIFS, name) != 0) state.SkipWithError("not deleted");
  }
}
static void makeItemBare(benchmark::State& state) {
  prepare(static_cast<int>(state.range(0)));
  const char record[152] = {};
  const int start = 1;
  for (auto _ : state) {
    (void)bareFetch(kUserIdFile, "GUEST1");
    bareStore(kUserIdFile, "GUEST1", record, sizeof record);
    bareStore(kSystemFile, "UID_START", &start, sizeof start);
    (void)bareFetch(kSystemFile, "AUTO_SYNC_REMOTE_ACCOUNTS");
    (void)bareFetch(kUserIdFile, "GUEST1");
    bareRemove(kUserIdFile, "GUEST1");
    (void)bareFetch(kShareFile, "");
  }
}

static void listUsers(benchmark::State& state) {
  prepare(static_cast<int>(state.range(0)));
  std::vector<UserItem> items(static_cast<std::size_t>(state.range(0)));
  const int bytes = static_cast<int>(items.size() * sizeof(UserItem));
  for (auto _ : state) {
    if (Nas1ListUserItem(0, static_cast<int>(items.size()), items.data(), bytes) != state.range(0)) {
      state.SkipWithError("users are missing");
    }
  }
}
static void listUsersBare(benchmark::State& state) {
  prepare(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(bareWalk(kUserIdFile));
}

// Every user is a member, so every item is stored again; each store sets a quota on four volumes, 4 process starts a
// user.
static void deleteGroup(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    prepare(static_cast<int>(state.range(0)), kFirstId);
    char name[] = "STAFF";
    (void)Nas1AddGroup(0, name, nullptr);
    state.ResumeTiming();
    if (Nas1DelGroup(0, name) != 0) state.SkipWithError("not deleted");
  }
}
static void deleteGroupBare(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    prepare(static_cast<int>(state.range(0)), kFirstId);
    state.ResumeTiming();
    (void)bareWalk(kUserIdFile);
    const char record[152] = {};
    for (int i = 0; i < state.range(0); ++i) {
      bareStore(kUserIdFile, userName(i) + '0', record, sizeof record);
      for (int root = 0; root < 4; ++root) bareShell("/usr/sbin/setquota -u 32768 0 0 0 0 /volume/v1 > /dev/null");
    }
  }
}

// A local user without a default quota starts no quota command for the key's value, but its item is set: 4 starts; with
// one, deleting the user clears it: 8 starts.
static void addUser(benchmark::State& state) {
  prepare(static_cast<int>(state.range(0)));
  const int quota = static_cast<int>(state.range(1));
  bareStore(kSystemFile, "DEFAULT_USER_QUOTA", &quota, sizeof quota);
  (void)EnableNas1ShareBatch(1);
  char name[] = "NEWCOMER";
  for (auto _ : state) {
    if (Nas1AddUser(0, name, "secret") != 0) state.SkipWithError("not added");
    if (Nas1DelUser(0, name) != 0) state.SkipWithError("not deleted");
  }
}
static void addUserBare(benchmark::State& state) {
  prepare(static_cast<int>(state.range(0)));
  const char record[152] = {};
  const int start = 1;
  for (auto _ : state) {
    bareStore(kPasswordFile, "NEWCOMER", record, 100);
    (void)bareFetch(kUserIdFile, "NEWCOMER0");
    bareStore(kUserIdFile, "NEWCOMER0", record, sizeof record);
    bareStore(kSystemFile, "UID_START", &start, sizeof start);
    bareStore(kUserIdFile, "NEWCOMER0", record, sizeof record);
    for (int i = 0; i < (state.range(1) != 0 ? 8 : 4); ++i) {
      bareShell("/usr/sbin/setquota -u 32768 0 0 0 0 /volume/v1 > /dev/null");
    }
    bareRemove(kPasswordFile, "NEWCOMER");
    bareRemove(kUserIdFile, "NEWCOMER0");
  }
}

static constexpr auto us = benchmark::kMicrosecond;
BENCHMARK(getItem)->Name("account item get/library")->Unit(us);
BENCHMARK(getItemBare)->Name("account item get/bare")->Unit(us);
BENCHMARK(makeItem)->Name("account item made and deleted/library")->Arg(10)->Arg(10000)->Arg(32000)->Unit(us);
BENCHMARK(makeItemBare)->Name("account item made and deleted/bare")->Arg(10)->Arg(10000)->Arg(32000)->Unit(us);
BENCHMARK(listUsers)->Name("user list/library")->Arg(10)->Arg(1000)->Arg(10000)->Unit(us);
BENCHMARK(listUsersBare)->Name("user list/bare")->Arg(10)->Arg(1000)->Arg(10000)->Unit(us);
BENCHMARK(deleteGroup)->Name("group with all users deleted/library")->Arg(10)->Arg(100)->Iterations(1)->Unit(us);
BENCHMARK(deleteGroupBare)->Name("group with all users deleted/bare")->Arg(10)->Arg(100)->Iterations(1)->Unit(us);
BENCHMARK(addUser)
    ->Name("user added and deleted, batch/library")
    ->Args({10, 0})
    ->Args({10000, 0})
    ->Args({10, 5})
    ->Unit(us);
BENCHMARK(addUserBare)
    ->Name("user added and deleted, batch/bare")
    ->Args({10, 0})
    ->Args({10000, 0})
    ->Args({10, 5})
    ->Unit(us);
