// Configuration, shares, the share list, one log line, one connection, one shell command.

#include <benchmark/benchmark.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "api/nas1api.h"
#include "backends/cifs.h"
#include "bench_support.h"

static constexpr char kSystemFile[] = "/etc/admin/system.gdbm";
static constexpr char kShareFile[] = "/etc/admin/share.gdbm";

static void storeSettings() {
  emptyAppliance();
  const int value = 7;
  for (int i = 0; i < 130; ++i) {
    char key[32];
    (void)std::snprintf(key, sizeof key, "FILLER_%03d", i);
    bareStore(kSystemFile, key, &value, sizeof value);
  }
  bareStore(kSystemFile, "CIFS_GROUP_NAME", "WORKGROUP", 10);
  bareStore(kSystemFile, "UPS_TIMEOUT", &value, sizeof value);
  bareStore(kSystemFile, "TIME_ZONE", "UTC", 4);
}

static void getByName(benchmark::State& state) {
  storeSettings();
  char value[32];
  for (auto _ : state) benchmark::DoNotOptimize(NasGetConfig("CIFS_GROUP_NAME", sizeof value, value, nullptr));
}
static void getById(benchmark::State& state) {
  storeSettings();
  char value[32];
  for (auto _ : state) benchmark::DoNotOptimize(Nas1GetConfig(3, sizeof value, value, nullptr));
}
static void getBare(benchmark::State& state) {
  storeSettings();
  for (auto _ : state) benchmark::DoNotOptimize(bareFetch(kSystemFile, "CIFS_GROUP_NAME"));
}
static void setByName(benchmark::State& state) {
  storeSettings();
  const int value = 9;
  for (auto _ : state) benchmark::DoNotOptimize(NasSetConfig("UPS_TIMEOUT", sizeof value, &value));
}
static void setById(benchmark::State& state) {
  storeSettings();
  int value = 9;
  for (auto _ : state) benchmark::DoNotOptimize(Nas1SetConfig(68, sizeof value, &value));
}
static void setBare(benchmark::State& state) {
  storeSettings();
  const int value = 9;
  for (auto _ : state) bareStore(kSystemFile, "UPS_TIMEOUT", &value, sizeof value);
}

// In batch mode an added share costs its record, three directory commands, the ACL key and the two default passwords.
static void shareAdd(benchmark::State& state) {
  storeSettings();
  storeShares(static_cast<int>(state.range(0)));
  (void)EnableNas1ShareBatch(1);
  int n = 0;
  for (auto _ : state) {
    char name[32];
    char path[64];
    (void)std::snprintf(name, sizeof name, "NEW%d", n);
    (void)std::snprintf(path, sizeof path, "/volume/v1/new%d", n++ % 8);
    if (Nas1ShareAdd(name, "a share to measure with", path) != 0) state.SkipWithError("not added");
  }
}

static void shareAddBare(benchmark::State& state) {
  storeSettings();
  storeShares(static_cast<int>(state.range(0)));
  int n = 0;
  for (auto _ : state) {
    char name[32];
    char command[128];
    char record[240] = {};
    (void)std::snprintf(name, sizeof name, "NEW%d", n);
    bareStore(kShareFile, name, record, sizeof record);
    (void)bareFetch(kSystemFile, "ACL_ENABLED");
    for (const char* const format :
         {"mkdir -p \"/volume/v1/new%d\" > /dev/null", "chown 32767 \"/volume/v1/new%d\" > /dev/null",
          "chmod 755 \"/volume/v1/new%d\" > /dev/null"}) {
      (void)std::snprintf(command, sizeof command, format, n % 8);
      bareShell(command);
    }
    for (const char* const key : {"DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD"}) {
      (void)bareFetch(kSystemFile, key);
      (void)bareFetch(kShareFile, name);
      bareStore(kShareFile, name, record, sizeof record);
    }
    ++n;
  }
}

static void shareList(benchmark::State& state) {
  emptyAppliance();
  storeShares(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    int count = 0;
    int bytes = 0;
    (void)Nas1ShareCountSize(&count, &bytes);
    std::vector<char> list(static_cast<std::size_t>(bytes));
    if (Nas1ShareList(0, count, list.data(), bytes) != state.range(0)) state.SkipWithError("shares are missing");
  }
}
static void twoWalksBare(benchmark::State& state) {
  emptyAppliance();
  storeShares(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(bareWalk(kShareFile));
    benchmark::DoNotOptimize(bareWalk(kShareFile));
  }
}

static void cifsRewrite(benchmark::State& state) {
  emptyAppliance();
  storeShares(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::FILE* const file = std::fopen("/etc/samba/smb.conf", "w");
    ReadAllShareFromDB(file);
    (void)std::fclose(file);
  }
}

static void logLine(benchmark::State& state) {
  storeSettings();
  for (auto _ : state) benchmark::DoNotOptimize(nas1_log(0, 2, "a line to measure with, number %d", 42));
}

// What a line needs of the system: the driver asked for the daemon, the time zone read, the lock, the append.
static void logLineBare(benchmark::State& state) {
  storeSettings();
  const int lock = semget(ftok("/etc/syslog.conf", 'n'), 1, IPC_CREAT | 0666);
  for (auto _ : state) {
    askDriverBare(0x4809, 4);
    (void)bareFetch(kSystemFile, "TIME_ZONE");
    (void)semctl(lock, 0, SETVAL, 1);
    sembuf step = {0, -1, SEM_UNDO};
    (void)semop(lock, &step, 1);
    std::FILE* const file = std::fopen("/var/log/nas1log", "a");
    (void)flock(fileno(file), LOCK_EX);
    (void)std::fprintf(file, "Sun Nov 22 12:00:00 2026 <INFO> [SW]   a line to measure with, number %d\n", 42);
    (void)std::fclose(file);
    step.sem_op = 1;
    (void)semop(lock, &step, 1);
  }
}

static void addConnection(benchmark::State& state) {
  storeSettings();
  ConnectionRecord record = {};
  record.pid = static_cast<std::uint32_t>(getpid());
  for (auto _ : state) benchmark::DoNotOptimize(Nas1AddConnection(PROTO_CIFS, &record));
}

// Attached, looked at and detached twice (the sweep, the record), the time zone read, the driver told.
static void addConnectionBare(benchmark::State& state) {
  storeSettings();
  (void)Nas1ConnectionCount(PROTO_CIFS);  // makes the segment
  const int segment = shmget(ftok("/etc/samba", 'S'), 213064, 0);
  for (auto _ : state) {
    for (int i = 0; i < 2; ++i) {
      auto* const words = static_cast<volatile int*>(shmat(segment, nullptr, 0));
      benchmark::DoNotOptimize(words[1]);
      (void)shmdt(const_cast<int*>(words));
    }
    (void)bareFetch(kSystemFile, "TIME_ZONE");
    askDriverBare(0x480D, 0);
  }
}

static void shellCommand(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Nas1System("true"));
}
static void shellCommandBare(benchmark::State& state) {
  for (auto _ : state) bareShell("true > /dev/null");
}

BENCHMARK(getByName)->Name("config get by name/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(getBare)->Name("config get by name/bare")->Unit(benchmark::kMicrosecond);
BENCHMARK(getById)->Name("config get by id/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(getBare)->Name("config get by id/bare")->Unit(benchmark::kMicrosecond);
BENCHMARK(setByName)->Name("config set by name/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(setBare)->Name("config set by name/bare")->Unit(benchmark::kMicrosecond);
BENCHMARK(setById)->Name("config set by id/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(setBare)->Name("config set by id/bare")->Unit(benchmark::kMicrosecond);
BENCHMARK(shareAdd)->Name("share add, batch/library")->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(shareAddBare)->Name("share add, batch/bare")->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(shareList)
    ->Name("share count and list/library")
    ->Arg(10)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(twoWalksBare)
    ->Name("share count and list/bare")
    ->Arg(10)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(cifsRewrite)
    ->Name("CIFS share list file/library")
    ->Arg(10)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(twoWalksBare)
    ->Name("CIFS share list file/bare")
    ->Arg(10)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(logLine)->Name("log line/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(logLineBare)->Name("log line/bare")->Unit(benchmark::kMicrosecond);
BENCHMARK(addConnection)->Name("connection add/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(addConnectionBare)->Name("connection add/bare")->Unit(benchmark::kMicrosecond);
BENCHMARK(shellCommand)->Name("shell command/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(shellCommandBare)->Name("shell command/bare")->Unit(benchmark::kMicrosecond);
