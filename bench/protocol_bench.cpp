// What the file protocols and the permissions cost: the exports, permission checks, events.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "api/nas1api.h"
#include "backends/nfs_exports.h"
#include "bench_support.h"
#include "core/record_store.h"

// Opens of record files by one rewrite: the shares, the default privilege, and the host list of every share.
static void exportsRewrite(benchmark::State& state) {
  emptyAppliance();
  storeShares(static_cast<int>(state.range(0)));
  bareStore(kSystemFile, "NFS_EXPORT_PRIVILEGE", "rw", 3);
  bareStore(kShareNfsFile, "filler", "", 1);
  for (auto _ : state) benchmark::DoNotOptimize(Update_Export_Conf());
}
static void exportsRewriteBare(benchmark::State& state) {
  emptyAppliance();
  storeShares(static_cast<int>(state.range(0)));
  bareStore(kSystemFile, "NFS_EXPORT_PRIVILEGE", "rw", 3);
  bareStore(kShareNfsFile, "filler", "", 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(bareWalk(kShareFile));
    (void)bareFetch(kSystemFile, "NFS_EXPORT_PRIVILEGE");
    for (int i = 0; i < state.range(0); ++i) (void)bareFetch(kShareNfsFile, "SHARE00000", false);
  }
}

static void storePermissions(int count) {
  emptyAppliance();
  storeShares(1);
  std::vector<PermittedItem> items(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    items[static_cast<std::size_t>(i)] = {};
    items[static_cast<std::size_t>(i)].type = i % 2;
    (void)std::snprintf(items[static_cast<std::size_t>(i)].name, 32, "Account%05d", i);
  }
  (void)Nas1SetPermittedList("SHARE00000", PROTO_CIFS, count, items.data());
}

static void checkPermission(benchmark::State& state) {
  storePermissions(static_cast<int>(state.range(0)));
  char names[16][32];
  const char* groups[17] = {};
  for (int i = 0; i < 16; ++i) {
    (void)std::snprintf(names[i], sizeof names[i], "ACCOUNT%05d", 2 * i + 1);
    groups[i] = names[i];
  }
  for (auto _ : state) benchmark::DoNotOptimize(Nas1CheckPermission("SHARE00000", PROTO_CIFS, "ACCOUNT00000", groups));
}
static void checkPermissionBare(benchmark::State& state) {
  storePermissions(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const std::string list = bareFetch(kPermissionFiles[PROTO_CIFS], "SHARE00000", false);
    int matches = 0;
    for (std::size_t at = 40; at + 40 <= list.size(); at += 40) {
      for (int i = 0; i < 17; ++i) matches += strncasecmp(list.data() + at + 8, "ACCOUNT00000", 32) == 0 ? 1 : 0;
    }
    benchmark::DoNotOptimize(matches);
  }
}

static void addPermission(benchmark::State& state) {
  storePermissions(static_cast<int>(state.range(0)));
  PermittedItem item = {};
  std::strcpy(item.name, "NEWCOMER");
  for (auto _ : state) {
    if (Nas1AddPermittedItem("SHARE00000", PROTO_CIFS, &item) != 0) state.SkipWithError("not added");
    if (Nas1DelPermittedItem("SHARE00000", PROTO_CIFS, "NEWCOMER") != 0) state.SkipWithError("not deleted");
  }
}
static void addPermissionBare(benchmark::State& state) {
  storePermissions(static_cast<int>(state.range(0)));
  const char* const file = kPermissionFiles[PROTO_CIFS];
  for (auto _ : state) {
    (void)bareFetch(kShareFile, "SHARE00000", false);
    for (int i = 0; i < 2; ++i) bareReplace(file, "SHARE00000");
  }
}

static void loadTemplates(benchmark::State& state) {
  emptyAppliance();
  for (auto _ : state) {
    if (NasMailMsgInit(0) != 1) state.SkipWithError("no templates");
    (void)NasMailMsgFree(0);
  }
}

static void event(benchmark::State& state) {
  emptyAppliance();
  const int action = state.range(0) != 0 ? 1 << 13 : 0;
  const int on = 1;
  bareStore(kSystemFile, "EVENT_ACTION", &action, sizeof action);
  bareStore(kSystemFile, "SNMP_STATE", &on, sizeof on);
  bareStore(kSystemFile, "SNMP_TRAP_STATE", &on, sizeof on);
  for (auto _ : state) benchmark::DoNotOptimize(Nas1Event(13, nullptr));
}

static constexpr auto us = benchmark::kMicrosecond;
BENCHMARK(exportsRewrite)->Name("exports rewrite/library")->Arg(10)->Arg(1000)->Arg(10000)->Unit(us);
BENCHMARK(exportsRewriteBare)->Name("exports rewrite/bare")->Arg(10)->Arg(1000)->Arg(10000)->Unit(us);
BENCHMARK(checkPermission)->Name("permission check, 16 groups/library")->Arg(10)->Arg(1000)->Unit(us);
BENCHMARK(checkPermissionBare)->Name("permission check, 16 groups/bare")->Arg(10)->Arg(1000)->Unit(us);
BENCHMARK(addPermission)->Name("permission added and deleted/library")->Arg(10)->Arg(1000)->Unit(us);
BENCHMARK(addPermissionBare)->Name("permission added and deleted/bare")->Arg(10)->Arg(1000)->Unit(us);
BENCHMARK(loadTemplates)->Name("alert templates loaded and freed/library")->Unit(us);
BENCHMARK(event)->Name("event, 1 with mail and trap/library")->Arg(0)->Arg(1)->Unit(us);
