// Single settings, log lines, segments and shell commands.

#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "api/nas1api.h"
#include "bare.h"
#include "core/record_store.h"
#include "harness.h"
#include "status/segment.h"

static void storeSettings(int count) {
  emptyAppliance();
  GDBM_FILE const file = bareOpen(kSystemFile, GDBM_WRCREAT);
  const auto add = [file](const char* key, const char* value) {
    const datum content = {const_cast<char*>(value), static_cast<int>(std::strlen(value) + 1)};
    (void)gdbm_store(file, {const_cast<char*>(key), static_cast<int>(std::strlen(key) + 1)}, content, GDBM_REPLACE);
  };
  for (int i = 0; i < count; ++i) add(("FILLER_" + std::to_string(i)).c_str(), "val");
  add("CIFS_GROUP_NAME", "WORKGROUP");
  add("UPS_TIMEOUT", "9.9");
  add("TIME_ZONE", "UTC");
  (void)gdbm_close(file);
}

static Row get(int count) {
  return {.job = "get one setting",
          .count = count,
          .goal = count < 1000 ? "0.9" : "0.6",
          .prepare = [count] { storeSettings(count); },
          .library =
              [] {
                char value[32];
                (void)NasGetConfig("CIFS_GROUP_NAME", sizeof value, value, nullptr);
              },
          .bare = [] { (void)bareFetch(kSystemFile, "CIFS_GROUP_NAME"); },
          .onDisk = true};
}

static Row put(int count) {
  return {.job = "store one setting",
          .count = count,
          .goal = "1.10",
          .prepare = [count] { storeSettings(count); },
          .library = [] { (void)NasSetConfig("UPS_TIMEOUT", 4, "8.8"); },
          .bare = [] { bareStore(kSystemFile, "UPS_TIMEOUT", "8.8", 4); },
          .onDisk = true};
}

// What a line needs of the system: the driver asked for the daemon, the time zone read, the lock, the append.
static void logLineBare() {
  const int lock = semget(ftok("/etc/syslog.conf", 'n'), 1, IPC_CREAT | 0666);
  askDriverBare(0x4809, 4);
  (void)bareFetch(kSystemFile, "TIME_ZONE");
  (void)semctl(lock, 0, SETVAL, 1);
  sembuf step = {0, -1, SEM_UNDO};
  (void)semop(lock, &step, 1);
  std::FILE* const file = std::fopen("/var/log/nas1log", "a");
  (void)flock(fileno(file), LOCK_EX);
  (void)std::fputs("Sun Nov 22 12:00:00 2026 <INFO> [SW]   a line to measure with, number 42\n", file);
  (void)std::fclose(file);
  step.sem_op = 1;
  (void)semop(lock, &step, 1);
}

static void segmentBare() {
  const int id = shmget(ftok("/etc/samba", 'S'), kSegmentSize, IPC_CREAT | 0666);
  auto* const segment = static_cast<ConnectionSegment*>(shmat(id, nullptr, 0));
  while (__atomic_exchange_n(&segment->lock, 1U, __ATOMIC_SEQ_CST) != 0) (void)usleep(1);
  segment->reserved[0] = 1;
  __atomic_store_n(&segment->lock, 0U, __ATOMIC_SEQ_CST);
  (void)shmdt(segment);
}

static void* ballast = nullptr;
static std::size_t ballastBytes = 0;

static void holdMegabytes(int count) {
  if (ballast != nullptr) (void)munmap(ballast, ballastBytes);
  ballast = nullptr;
  ballastBytes = static_cast<std::size_t>(count) << 20;
  if (count == 0) return;
  ballast = mmap(nullptr, ballastBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  // In small pages, as a grown process has them.
  (void)madvise(ballast, ballastBytes, MADV_NOHUGEPAGE);
  std::memset(ballast, 1, ballastBytes);
}

static Row shell(const char* job, int megabytes, const char* goal) {
  return {.job = job,
          .goal = goal,
          .prepare = [megabytes] { holdMegabytes(megabytes); },
          .library = [] { (void)Nas1System("true"); },
          .bare = [] { bareShell("true > /dev/null"); },
          .after = [] { holdMegabytes(0); }};
}

std::vector<Row> settingRows() {
  return {get(130),
          get(32000),
          put(130),
          put(32000),
          {.job = "log line",
           .goal = "0.95",
           .prepare = [] { storeSettings(130); },
           .library = [] { (void)nas1_log(0, 2, "a line to measure with, number %d", 42); },
           .bare = logLineBare,
           .onDisk = true},
          {.job = "segment lock, one word, unlock",
           .goal = "1.10",
           .prepare = [] { storeSettings(130); },
           .library =
               [] {
                 const SegmentLock<ConnectionSegment> segment(PROTO_CIFS);
                 segment.data->reserved[0] = 1;
               },
           .bare = segmentBare},
          shell("shell command, small process", 0, "0.9"),
          shell("shell command, process of 10 MB", 10, "0.6"),
          shell("shell command, process of 1 GB", 1024, "0.05")};
}
