#include "db_records.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

// As patient as the library.
constexpr int kTries = 20;
constexpr useconds_t kPauseUs = 1000;

bool isCurrent(int fd, const char* path) {
  struct stat opened;
  struct stat named;
  return fstat(fd, &opened) == 0 && stat(path, &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

ExitCode explainUnopened(const char* path) {
  const int reason = errno;
  ExitCode code = LIBRARY_FAILED;
  if (reason == EACCES || reason == EPERM) code = NO_PRIVILEGE;
  if (reason == EROFS) code = READ_ONLY;
  return complain(code, "%s cannot be opened: %s", path, std::strerror(reason));
}

// A copy in memory: nobody is kept waiting, and nobody can cut it short, while GDBM finds its way through it.
ExitCode copyToMemory(const char* path, const OpenFile& file, OpenFile& copy) {
  copy.fd = memfd_create("records", MFD_CLOEXEC);
  if (copy.fd >= 0 && copyContent(file.fd, copy.fd) && lseek(copy.fd, 0, SEEK_SET) == 0) return DONE;
  return complain(LIBRARY_FAILED, "%s cannot be copied: %s", path, std::strerror(errno));
}

// GDBM closes the descriptor.
void readCopy(OpenFile& copy, RecordSet& set) {
  const int flags = GDBM_READER | GDBM_NOLOCK | GDBM_CLOERROR | GDBM_CLOEXEC;
  GDBM_FILE const db = gdbm_fd_open(copy.fd, set.file->path, 0, flags, nullptr);
  copy.fd = -1;
  if (db == nullptr) {
    set.fault = gdbm_strerror(gdbm_errno);
    return;
  }
  (void)walkRecords(db, set.records, set.fault);
  (void)gdbm_close(db);
}

std::string textOf(const datum& data) { return {data.dptr, static_cast<std::size_t>(data.dsize)}; }

}  // namespace

OpenFile::~OpenFile() {
  if (fd >= 0) (void)close(fd);
}

std::string shortName(const RecordFileEntry& file) { return std::strrchr(file.path, '/') + 1; }

std::string keyText(const std::string& key) {
  return !key.empty() && key.back() == '\0' ? key.substr(0, key.size() - 1) : key;
}

ExitCode openLocked(const char* path, int how, OpenFile& file) {
  for (int tries = 0; tries <= kTries; ++tries) {
    OpenFile opened(open(path, (how == LOCK_SH ? O_RDONLY : O_RDWR) | O_CLOEXEC));
    if (opened.fd < 0) return errno == ENOENT ? DONE : explainUnopened(path);
    // Whoever compacts a file puts another one in its place.
    if (flock(opened.fd, how | LOCK_NB) == 0 && isCurrent(opened.fd, path)) {
      std::swap(file.fd, opened.fd);
      return DONE;
    }
    (void)usleep(kPauseUs);
  }
  return complain(BUSY, "%s is in use by another program; try again", path);
}

bool copyContent(int from, int to) {
  off_t at = 0;
  for (;;) {
    const ssize_t copied = sendfile(to, from, &at, 1 << 30);
    if (copied == 0) return true;
    if (copied < 0 && errno != EINTR) return false;
  }
}

ExitCode readRecordSets(std::vector<RecordSet>& sets) {
  constexpr std::size_t kFiles = std::size(recordFiles);
  OpenFile copies[kFiles];
  {
    OpenFile files[kFiles];
    for (std::size_t i = 0; i < kFiles; ++i) {
      if (const ExitCode fault = openLocked(recordFiles[i].path, LOCK_SH, files[i]); fault != DONE) return fault;
    }
    for (std::size_t i = 0; i < kFiles; ++i) {
      if (files[i].fd < 0) continue;
      if (const ExitCode fault = copyToMemory(recordFiles[i].path, files[i], copies[i]); fault != DONE) return fault;
    }
  }
  sets.clear();
  for (std::size_t i = 0; i < kFiles; ++i) {
    RecordSet& set = sets.emplace_back();
    set.file = &recordFiles[i];
    set.exists = copies[i].fd >= 0;
    if (set.exists) readCopy(copies[i], set);
  }
  return DONE;
}

ExitCode readRecordSet(const RecordFileEntry& file, RecordSet& set) {
  set = {};
  set.file = &file;
  OpenFile copy;
  {
    OpenFile original;
    if (const ExitCode fault = openLocked(file.path, LOCK_SH, original); fault != DONE) return fault;
    set.exists = original.fd >= 0;
    if (!set.exists) return DONE;
    if (const ExitCode fault = copyToMemory(file.path, original, copy); fault != DONE) return fault;
  }
  readCopy(copy, set);
  return DONE;
}

bool walkRecords(GDBM_FILE db, Records& records, std::string& fault) {
  gdbm_count_t expected = 0;
  if (gdbm_needs_recovery(db) != 0 || gdbm_count(db, &expected) != 0) {
    const gdbm_error error = gdbm_last_errno(db);
    fault = gdbm_strerror(error == GDBM_NO_ERROR ? GDBM_NEED_RECOVERY : error);
    if (gdbm_needs_recovery(db) != 0) return false;
  }
  gdbm_count_t visited = 0;
  datum key = gdbm_firstkey(db);
  while (key.dptr != nullptr) {
    const datum value = gdbm_fetch(db, key);
    if (value.dptr == nullptr) {
      fault = gdbm_db_strerror(db);
    } else {
      records[textOf(key)] = textOf(value);
      std::free(value.dptr);
    }
    const datum next = gdbm_nextkey(db, key);
    std::free(key.dptr);
    key = next;
    ++visited;
  }
  if (fault.empty() && gdbm_last_errno(db) != GDBM_ITEM_NOT_FOUND) fault = gdbm_db_strerror(db);
  if (fault.empty() && (visited != expected || records.size() != expected)) fault = "Records are missing or doubled";
  return fault.empty();
}
