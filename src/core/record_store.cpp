#include "core/record_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kTries = 200;
constexpr useconds_t kPauseUs = 100;
constexpr off_t kReorganiseBytes = 8 * 1024 * 1024;
constexpr int kPermissions = 0665;
constexpr int kLookupsPerOpening = 32;  // some 0.1 ms

// GDBM looks at a new file's size before it has the file's lock, so two processes that create the same file could wipe
// each other's first record. This lock on the file's directory keeps them apart while a missing or empty file is
// opened.
struct CreationLock {
  int directory = -1;

  explicit CreationLock(const char* path) {
    char name[4096];
    const char* const slash = std::strrchr(path, '/');
    const std::size_t length = slash == nullptr ? 0 : static_cast<std::size_t>(slash - path);
    if (length == 0 || length >= sizeof name) return;
    std::memcpy(name, path, length);
    name[length] = '\0';
    directory = open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) (void)flock(directory, LOCK_EX);
  }
  ~CreationLock() {
    if (directory >= 0) (void)close(directory);
  }
  CreationLock(const CreationLock&) = delete;
  CreationLock& operator=(const CreationLock&) = delete;
};

// A process that dies while GDBM makes a file would leave one that nobody can open any more: the file is made under
// another name and gets its own once it is whole. Whatever fails here, the open that follows tells.
void makeWhole(const char* path, int blockSize, int permissions) {
  char name[4096];
  const int length = std::snprintf(name, sizeof name, "%s.made", path);
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof name) return;
  (void)unlink(name);  // of one that died
  GDBM_FILE const handle = gdbm_open(name, blockSize, GDBM_NEWDB | GDBM_NOMMAP | GDBM_CLOEXEC, permissions, nullptr);
  if (handle == nullptr) return;
  (void)gdbm_close(handle);
  (void)!link(name, path);  // never over a file that has come meanwhile
  (void)unlink(name);
}

bool missing(const char* path) {
  struct stat status;
  return stat(path, &status) != 0 && errno == ENOENT;
}

bool missingOrEmpty(const char* path) {
  struct stat status;
  return stat(path, &status) != 0 || status.st_size == 0;
}

bool forChanges(int mode) { return (mode & GDBM_OPENMASK) == GDBM_WRCREAT; }

GDBM_FILE tryOpen(const char* path, int blockSize, int mode, int permissions) {
  const int flags = mode | GDBM_CLOEXEC;
  if (forChanges(mode) && missingOrEmpty(path)) {
    const CreationLock lock(path);
    if (lock.directory >= 0 && missing(path)) makeWhole(path, blockSize, permissions);
    return gdbm_open(path, blockSize, flags, permissions, nullptr);
  }
  return gdbm_open(path, blockSize, flags, permissions, nullptr);
}

// A reorganisation renames a new file over the old one: a handle opened just before holds a file that nobody reads.
bool stillAtPath(const struct stat& opened, const char* path) {
  struct stat named;
  return stat(path, &named) == 0 && named.st_ino == opened.st_ino && named.st_dev == opened.st_dev;
}

void reorganise(GDBM_FILE handle) {
  mapFile(handle);
  (void)gdbm_reorganize(handle);
  // The handle now stands on the new file, which GDBM opened without the flag.
  (void)fcntl(gdbm_fdesc(handle), F_SETFD, FD_CLOEXEC);
}

}  // namespace

void mapFile(GDBM_FILE handle) {
  int on = 1;
  (void)gdbm_setopt(handle, GDBM_SETMMAP, &on, sizeof on);
}

extern "C" GDBM_FILE openRecordset(const char* path, int blockSize, int mode, int permissions) {
  for (int attempts = 0; attempts < kTries; ++attempts) {
    GDBM_FILE const handle = tryOpen(path, blockSize, mode, permissions);
    if (handle != nullptr) {
      struct stat status;
      const bool known = fstat(gdbm_fdesc(handle), &status) == 0;
      if (!known || stillAtPath(status, path)) {
        if (forChanges(mode) && known && status.st_size >= kReorganiseBytes) reorganise(handle);
        return handle;
      }
      (void)gdbm_close(handle);
    } else if (gdbm_errno == GDBM_FILE_OPEN_ERROR) {
      // Missing: a reader's first touch creates an empty file.
      mode = GDBM_WRCREAT | (mode & GDBM_NOMMAP);
      continue;
    }
    (void)usleep(kPauseUs);
  }
  syslog(LOG_INFO, "%s:%d:%s uid=%d, euid=%d, open_failed=%s", "sys_db.c", 44, "openRecordset",
         static_cast<int>(getuid()), static_cast<int>(geteuid()), path);
  return nullptr;
}

// One record costs less through plain reads and writes than through the page faults of a mapping, and a change that
// meets a full disk then fails, where a mapping would end the process. Asked for at the open: switching the mapping off
// later syncs the file once more.
static int modeFor(Access access) {
  switch (access) {
    case Access::lookup:
      return GDBM_READER | GDBM_NOMMAP;
    case Access::walk:
      return GDBM_READER;
    case Access::change:
      return GDBM_WRCREAT | GDBM_NOMMAP;
  }
  return GDBM_READER;
}

RecordFile::RecordFile(const char* path, Access access)
    : handle(openRecordset(path, 0, modeFor(access), kPermissions)) {}

void RecordFile::close() {
  if (handle == nullptr) return;
  // GDBM has written everything by now and only sees that it reaches the disk, which may take longer than others are
  // ready to wait for the lock.
  (void)flock(gdbm_fdesc(handle), LOCK_UN);
  (void)gdbm_close(handle);
  handle = nullptr;
}

const RecordFile& LookupSeries::next() {
  if (!file || file->handle == nullptr || left == 0) {
    file.reset();
    file.emplace(path, Access::lookup);
    left = kLookupsPerOpening;
  }
  --left;
  return *file;
}

// The result of a change. GDBM calls a change done whose last write, that of the index, has failed; only its error
// tells.
static int written(GDBM_FILE handle, int result) {
  return result == 0 && gdbm_needs_recovery(handle) != 0 ? -1 : result;
}

int RecordFile::store(const char* key, const void* value, std::size_t bytes, int how) const {
  const datum content = {const_cast<char*>(static_cast<const char*>(value)), static_cast<int>(bytes)};
  return written(handle, gdbm_store(handle, keyDatum(key), content, how));
}

int RecordFile::remove(const char* key) const { return written(handle, gdbm_delete(handle, keyDatum(key))); }

datum keyDatum(const char* key) { return {const_cast<char*>(key), static_cast<int>(std::strlen(key) + 1)}; }

FetchedValue::FetchedValue(const char* sourceUnit, int sourceLine, datum fetched)
    : unit(sourceUnit), line(sourceLine), data(nullptr), bytes(0), unreadable(false) {
  if (fetched.dptr == nullptr) {
    unreadable = gdbm_errno != GDBM_ITEM_NOT_FOUND;
    return;
  }
  bytes = fetched.dsize > 0 ? static_cast<std::size_t>(fetched.dsize) : 0;
  data = static_cast<char*>(sysTraceBuf(unit, line, fetched.dptr, bytes));
  if (data != nullptr) return;
  bytes = 0;
  unreadable = true;
}

FetchedValue::~FetchedValue() {
  if (data != nullptr) sysFree(unit, line, data);
}
