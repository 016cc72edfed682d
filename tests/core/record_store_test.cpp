// Opening record files beside other processes: nothing that one of them stored may get lost, and nobody waits forever.

#include <chrono>

#include <dlfcn.h>
#include <sys/file.h>

#include "api/nas1api.h"
#include "core/record_store.h"
#include "frame/appliance.h"

namespace {

using RecordStore = ApplianceTest;

constexpr char kFile[] = "/etc/admin/some.gdbm";
constexpr int kMegabyte = 1024 * 1024;

struct stat statusOf(const char* path) {
  struct stat status = {};
  (void)stat(path, &status);
  return status;
}

// Opens as the callers do and closes again.
bool opens(int mode, const char* path = kFile) {
  GDBM_FILE const handle = openRecordset(path, 0, mode, 0665);
  if (handle == nullptr) return false;
  EXPECT_NE(0, fcntl(gdbm_fdesc(handle), F_GETFD) & FD_CLOEXEC) << "a command would inherit the file and its lock";
  return gdbm_close(handle) == 0;
}

// Stands before GDBM's own: what happens between its steps cannot be timed from another process.
int tries = 0;              // since a test set it to 0
int replacements = 0;       // how many of the next tries find the file replaced by another process meanwhile
bool foundNone = false;     // whether the last try was to make the file in its place
bool folderLocked = false;  // whether the last try was made with the folder locked
bool closedLocked = false;  // whether the settings were locked when GDBM last came to close a file
std::optional<std::string> closedContent;  // what they held then

bool isLocked(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  const bool locked = flock(fd, LOCK_EX | LOCK_NB) != 0;
  (void)close(fd);
  return locked;
}

// Stores one record, trying on as long as other processes keep the file busy.
void storePatiently(std::string key) {
  const datum bytes = {.dptr = key.data(), .dsize = static_cast<int>(key.size() + 1)};
  for (int i = 0; i < 500; ++i) {
    GDBM_FILE const records = openRecordset(kFile, 0, GDBM_WRCREAT, 0665);
    if (records == nullptr) continue;
    EXPECT_EQ(0, gdbm_store(records, bytes, bytes, GDBM_REPLACE));
    EXPECT_EQ(0, gdbm_close(records));
    return;
  }
  ADD_FAILURE() << key << " could not be stored";
}

std::string failureLine(const std::string& path) {
  return "info sys_db.c:44:openRecordset uid=0, euid=0, open_failed=" + path;
}

}  // namespace

extern "C" GDBM_FILE gdbm_open(const char* path, int blockSize, int flags, int mode, void (*fatal)(const char*)) {
  ++tries;
  folderLocked = isLocked("/etc/admin");
  foundNone = !exists(path) && path == std::string(kFile);
  const auto real = reinterpret_cast<decltype(&gdbm_open)>(dlsym(RTLD_NEXT, "gdbm_open"));
  GDBM_FILE const handle = real(path, blockSize, flags, mode, fatal);
  if (handle != nullptr && replacements > 0) {
    --replacements;
    std::filesystem::copy_file(path, "/etc/admin/new");
    std::filesystem::rename("/etc/admin/new", path);
  }
  return handle;
}

extern "C" int gdbm_close(GDBM_FILE handle) {
  closedLocked = isLocked(kSystemFile);
  closedContent = readFile(kSystemFile);
  return reinterpret_cast<decltype(&gdbm_close)>(dlsym(RTLD_NEXT, "gdbm_close"))(handle);
}

TEST_F(RecordStore, AReadersFirstTouchCreatesTheFileAndAFailureIsLogged) {
  writeFile(kFile + std::string(".made"), "of a process that died");
  const mode_t before = umask(0);
  EXPECT_TRUE(opens(GDBM_READER));
  (void)umask(before);
  EXPECT_EQ(0665U, statusOf(kFile).st_mode & 07777U);
  EXPECT_FALSE(foundNone) << "a process that dies now leaves a file that nobody can open";
  EXPECT_FALSE(exists(kFile + std::string(".made")));

  EXPECT_FALSE(opens(GDBM_READER, "/etc/admin/none/some.gdbm"));
  writeFile(kFile, "no record file at all, and long enough to be looked at as one: " + std::string(200, '.'));
  EXPECT_FALSE(opens(GDBM_READER));
  EXPECT_EQ((Lines{failureLine("/etc/admin/none/some.gdbm"), failureLine(kFile)}), systemLog());
}

TEST_F(RecordStore, ALockedFileIsTriedForAWhile) {
  storeRecord(kFile, "a", "1");
  {
    const OtherProcess writer(kFile, GDBM_WRITER);
    const auto start = std::chrono::steady_clock::now();
    tries = 0;
    EXPECT_FALSE(opens(GDBM_READER));
    EXPECT_EQ(200, tries);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_LE(std::chrono::milliseconds(20), took) << "200 pauses of 100 microseconds";
    EXPECT_GT(std::chrono::seconds(5), took);
  }
  {
    const OtherProcess reader(kFile, GDBM_READER);
    EXPECT_TRUE(opens(GDBM_READER)) << "readers do not exclude each other";
    EXPECT_FALSE(opens(GDBM_WRCREAT));
  }
  {
    const OtherProcess writer(kFile, GDBM_WRITER, 3000);
    EXPECT_TRUE(opens(GDBM_WRCREAT)) << "let go in time";
  }
}

TEST_F(RecordStore, AWriterCompactsALargeFile) {
  storeRecord(kFile, "kept", "value");
  const auto storeBulk = [](int megabytes) { storeRecord(kFile, "bulk", std::string(megabytes * kMegabyte, 'b')); };
  storeBulk(9);
  storeRecord(kFile, "bulk", "");
  EXPECT_TRUE(opens(GDBM_READER));
  EXPECT_LT(9 * kMegabyte, statusOf(kFile).st_size) << "readers leave it alone";
  ASSERT_EQ(0, chmod(kFile, 0605));
  EXPECT_TRUE(opens(GDBM_WRCREAT));
  EXPECT_GT(kMegabyte, statusOf(kFile).st_size);
  EXPECT_EQ(0605U, statusOf(kFile).st_mode & 07777U) << "the new file is the old one's heir";
  EXPECT_EQ("value", storedRecord(kFile, "kept"));

  storeBulk(7);
  const ino_t before = statusOf(kFile).st_ino;
  EXPECT_TRUE(opens(GDBM_WRCREAT));
  EXPECT_EQ(before, statusOf(kFile).st_ino) << "below 8 MiB it stays as it is";
}

TEST_F(RecordStore, ProcessesThatCreateTheSameFileLoseNoRecord) {
  Processes others;
  for (int round = 0; round < 20; ++round) {
    (void)unlink(kFile);
    for (int i = 0; i < 4; ++i) others.start([i] { storePatiently("key" + std::to_string(i)); });
    ASSERT_EQ(0, others.failed());
    ASSERT_EQ((Lines{"key0", "key1", "key2", "key3"}), storedKeys(kFile)) << "round " << round;
  }

  // The guard against it: creators, and nobody else, open the file with its folder locked.
  const auto lockedWhile = [](int mode) {
    EXPECT_TRUE(opens(mode));
    return folderLocked;
  };
  EXPECT_FALSE(lockedWhile(GDBM_WRCREAT));
  EXPECT_FALSE(lockedWhile(GDBM_READER));
  (void)unlink(kFile);
  EXPECT_TRUE(lockedWhile(GDBM_READER));
  writeFile(kFile, "");
  EXPECT_TRUE(lockedWhile(GDBM_WRCREAT)) << "an empty file is as good as none";
}

TEST_F(RecordStore, AFileThatWasReplacedMeanwhileIsOpenedAgain) {
  storePatiently("before");
  tries = 0;
  replacements = 3;
  storePatiently("behind");
  EXPECT_EQ(4, tries);
  EXPECT_EQ((Lines{"before", "behind"}), storedKeys(kFile)) << "stored where nobody reads";
}

TEST_F(RecordStore, NobodyWaitsForTheDisk) {
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(0, Nas1SetProductConfig(std::to_string(i).c_str(), 6, "value"));
    ASSERT_FALSE(closedLocked) << "GDBM awaits the disk when it closes a file";
    ASSERT_EQ(closedContent, readFile(kSystemFile)) << "written without the lock";
  }
}
