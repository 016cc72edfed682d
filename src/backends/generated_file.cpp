#include "backends/generated_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

static std::FILE* openLocked(const char* path, int flags, const char* mode) {
  const int fd = open(path, flags | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  // Where a file system has no locks, going on without is better than leaving the daemon with old shares.
  while (flock(fd, LOCK_EX) != 0 && errno == EINTR) {
  }
  std::FILE* const file = fdopen(fd, mode);
  if (file == nullptr) (void)close(fd);
  return file;
}

static std::FILE* openFor(const char* path, FileUse use) {
  switch (use) {
    case FileUse::reading:
      return openLocked(path, O_RDONLY, "r");
    case FileUse::rewriting:
      return openLocked(path, O_RDWR, "r+");
    case FileUse::appending:
      return openLocked(path, O_WRONLY | O_APPEND | O_CREAT, "a");
  }
  return nullptr;
}

LockedFile::LockedFile(const char* filePath, FileUse use) : path(filePath), file(openFor(filePath, use)) {}

LockedFile::~LockedFile() {
  if (file == nullptr) return;
  // Flush first: fclose alone would write the last lines after another process had been let in.
  (void)std::fflush(file);
  (void)flock(fileno(file), LOCK_UN);
  (void)std::fclose(file);
}

bool LockedFile::startOver() {
  if (file == nullptr) file = openLocked(path, O_RDWR | O_CREAT, "r+");
  // Emptied under the lock: cutting the file before would leave a hole in what another process is writing.
  return file != nullptr && ftruncate(fileno(file), 0) == 0;
}

bool LockedFile::finish() const { return std::fflush(file) == 0 && std::ferror(file) == 0; }
