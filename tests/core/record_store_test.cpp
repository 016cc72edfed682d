// Opening record files beside other processes: nothing that one of them stored may get lost, and nobody waits forever.

#include <chrono>
#include <csignal>

#include <fcntl.h>
#include <gdbm.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/record_store.h"
#include "frame/appliance.h"

namespace {

constexpr char kFile[] = "/etc/admin/some.gdbm";
constexpr int kMegabyte = 1024 * 1024;

class RecordStore : public ApplianceTest {};

off_t sizeOf(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 ? status.st_size : -1;
}

mode_t modeOf(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 ? status.st_mode & 07777U : 0;
}

// Opens as the callers do, the way `mode` says, and closes again.
bool opens(int mode, const char* path = kFile) {
  GDBM_FILE const handle = openRecordset(path, 0, mode, 0665);
  if (handle == nullptr) return false;
  EXPECT_NE(0, fcntl(gdbm_fdesc(handle), F_GETFD) & FD_CLOEXEC) << "a command would inherit the file and its lock";
  return gdbm_close(handle) == 0;
}

datum datumOf(std::string& text) { return {.dptr = text.data(), .dsize = static_cast<int>(text.size() + 1)}; }

// Stores one record, trying on as long as other processes keep the file busy.
void storePatiently(std::string key) {
  for (int tries = 0; tries < 500; ++tries) {
    GDBM_FILE const records = openRecordset(kFile, 0, GDBM_WRCREAT, 0665);
    if (records == nullptr) continue;
    EXPECT_EQ(0, gdbm_store(records, datumOf(key), datumOf(key), GDBM_REPLACE));
    EXPECT_EQ(0, gdbm_close(records));
    return;
  }
  ADD_FAILURE() << key << " could not be stored";
}

// Child processes; `failed` awaits them and tells how many missed an expectation or were stopped.
struct Processes {
  std::vector<pid_t> pids;

  template <typename Body>
  void start(Body body) {
    const pid_t pid = fork();
    if (pid != 0) {
      pids.push_back(pid);
      return;
    }
    body();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int failed() {
    int count = 0;
    for (const pid_t pid : pids) {
      int status = 0;
      (void)waitpid(pid, &status, 0);
      count += status != 0;
    }
    pids.clear();
    return count;
  }
};

// Another process that has a file open and locked until this one lets it go.
struct OtherProcess {
  pid_t pid;
  explicit OtherProcess(int mode, unsigned holdUs = 0) {
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    pid = fork();
    if (pid == 0) {
      GDBM_FILE const handle = gdbm_open(kFile, 0, mode, 0665, nullptr);
      (void)!write(ready[1], "", 1);
      if (holdUs == 0) pause();
      (void)usleep(holdUs);
      _exit(handle == nullptr || gdbm_close(handle) != 0 ? 1 : 0);
    }
    char byte;
    EXPECT_EQ(1, read(ready[0], &byte, 1));
    (void)close(ready[0]);
    (void)close(ready[1]);
  }
  ~OtherProcess() {
    (void)kill(pid, SIGKILL);
    (void)waitpid(pid, nullptr, 0);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
};

std::string failureLine(const std::string& path) {
  return "info sys_db.c:44:openRecordset uid=0, euid=0, open_failed=" + path;
}

// Makes a file of more than 9 MiB that holds a single small record.
void makeLargeFile() {
  for (int i = 0; i < 10; ++i) storeRecord(kFile, "bulk" + std::to_string(i), std::string(kMegabyte, 'b'));
  storeRecord(kFile, "kept", "value");
  GDBM_FILE const records = gdbm_open(kFile, 0, GDBM_WRITER, 0, nullptr);
  ASSERT_NE(nullptr, records);
  for (int i = 0; i < 10; ++i) {
    std::string key = "bulk" + std::to_string(i);
    ASSERT_EQ(0, gdbm_delete(records, datumOf(key)));
  }
  ASSERT_EQ(0, gdbm_close(records));
  ASSERT_LT(9 * kMegabyte, sizeOf(kFile));
}

}  // namespace

TEST_F(RecordStore, AReadersFirstTouchCreatesTheFile) {
  const mode_t before = umask(0);
  EXPECT_TRUE(opens(GDBM_READER));
  (void)umask(before);
  EXPECT_EQ(0665U, modeOf(kFile));
  EXPECT_EQ(Lines{}, storedKeys(kFile));
  EXPECT_EQ(Lines{}, systemLog());
}

TEST_F(RecordStore, WhatCannotBeOpenedFailsWithOneLine) {
  EXPECT_FALSE(opens(GDBM_READER, "/etc/admin/none/some.gdbm"));
  EXPECT_FALSE(opens(GDBM_WRCREAT, "/etc/admin"));
  writeFile(kFile, "no record file at all, and long enough to be looked at as one: " + std::string(200, '.'));
  EXPECT_FALSE(opens(GDBM_READER));
  EXPECT_EQ((Lines{failureLine("/etc/admin/none/some.gdbm"), failureLine("/etc/admin"), failureLine(kFile)}),
            systemLog());
}

TEST_F(RecordStore, ALockedFileIsTriedForAWhile) {
  storeRecord(kFile, "a", "1");
  using Clock = std::chrono::steady_clock;
  for (const int mode : {GDBM_READER, GDBM_WRCREAT}) {
    const OtherProcess writer(GDBM_WRITER);
    const auto start = Clock::now();
    EXPECT_FALSE(opens(mode));
    const auto took = Clock::now() - start;
    EXPECT_LE(std::chrono::milliseconds(20), took) << "200 pauses of 100 microseconds";
    EXPECT_GT(std::chrono::seconds(5), took);
  }
  {
    const OtherProcess reader(GDBM_READER);
    EXPECT_TRUE(opens(GDBM_READER)) << "readers do not exclude each other";
    EXPECT_FALSE(opens(GDBM_WRCREAT));
  }
  EXPECT_EQ(Lines(3, failureLine(kFile)), systemLog());
  {
    const OtherProcess writer(GDBM_WRITER, 3000);
    EXPECT_TRUE(opens(GDBM_WRCREAT)) << "let go in time";
  }
  EXPECT_EQ(3U, systemLog().size());
}

TEST_F(RecordStore, AWriterCompactsALargeFile) {
  makeLargeFile();
  EXPECT_TRUE(opens(GDBM_READER));
  EXPECT_LT(9 * kMegabyte, sizeOf(kFile)) << "readers leave it alone";
  ASSERT_EQ(0, chmod(kFile, 0605));
  EXPECT_TRUE(opens(GDBM_WRCREAT));
  EXPECT_GT(kMegabyte, sizeOf(kFile));
  EXPECT_EQ(0605U, modeOf(kFile)) << "the new file is the old one's heir";
  EXPECT_EQ("value", storedRecord(kFile, "kept"));

  // Live data of that size stays; 8 MiB less a record is not touched at all.
  for (int i = 0; i < 7; ++i) storeRecord(kFile, "bulk" + std::to_string(i), std::string(kMegabyte, 'b'));
  struct stat before;
  ASSERT_EQ(0, stat(kFile, &before));
  ASSERT_GT(8 * kMegabyte, before.st_size);
  EXPECT_TRUE(opens(GDBM_WRCREAT));
  struct stat after;
  ASSERT_EQ(0, stat(kFile, &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(RecordStore, ProcessesThatCreateTheSameFileLoseNoRecord) {
  for (int round = 0; round < 40; ++round) {
    (void)unlink(kFile);
    Processes writers;
    for (int i = 0; i < 4; ++i) {
      writers.start([&] { storePatiently("key" + std::to_string(i)); });
    }
    ASSERT_EQ(0, writers.failed());
    ASSERT_EQ((Lines{"key0", "key1", "key2", "key3"}), storedKeys(kFile)) << "round " << round;
  }
}

// The fault itself needs a process that stops between two instructions, so that its guard is looked at as well.
TEST_F(RecordStore, OnlyCreationWaitsForTheFolder) {
  const int folder = open("/etc/admin", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(0, flock(folder, LOCK_EX));
  const auto opensInTime = [](bool present) {
    (void)unlink(kFile);
    if (present) storeRecord(kFile, "a", "1");
    Processes other;
    other.start([] {
      (void)alarm(1);
      (void)opens(GDBM_WRCREAT);
    });
    return other.failed() == 0;
  };
  EXPECT_TRUE(opensInTime(true));
  EXPECT_FALSE(opensInTime(false));
  (void)close(folder);
  EXPECT_TRUE(opensInTime(false));
}

TEST_F(RecordStore, ARecordStoredBesideReorganisationsIsNotLost) {
  constexpr int kRecords = 150;
  constexpr int kWriters = 3;
  storePatiently("first");
  Processes compacting;
  compacting.start([] {
    for (;;) {
      GDBM_FILE const records = gdbm_open(kFile, 0, GDBM_WRCREAT, 0665, nullptr);
      if (records == nullptr) continue;
      (void)gdbm_reorganize(records);
      (void)gdbm_close(records);
    }
  });
  Processes writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.start([w] {
      for (int i = 0; i < kRecords; ++i) storePatiently(std::to_string(w) + " key " + std::to_string(i));
    });
  }
  EXPECT_EQ(0, writers.failed());
  (void)kill(compacting.pids[0], SIGTERM);
  EXPECT_EQ(1, compacting.failed());
  EXPECT_EQ(kWriters * kRecords + 1, static_cast<int>(storedKeys(kFile).size()));
}
