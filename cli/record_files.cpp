#include "record_files.h"

#include <gdbm.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

// As patient as the library itself.
constexpr int kTries = 20;
constexpr useconds_t kPauseUs = 1000;

// What GDBM says about a file: GDBM_NO_ERROR when it opens.
gdbm_error openingError(const char* file, Use use) {
  const int mode = (use == Use::read ? GDBM_READER : GDBM_WRITER) | GDBM_CLOEXEC;
  for (int tries = 0;; ++tries) {
    GDBM_FILE const handle = gdbm_open(file, 0, mode, 0, nullptr);
    if (handle != nullptr) {
      (void)gdbm_close(handle);
      return GDBM_NO_ERROR;
    }
    const gdbm_error error = gdbm_errno;
    // Whoever writes first fills an empty file; to a reader it is one whose records are gone.
    if (error == GDBM_EMPTY_DATABASE && use == Use::change) return GDBM_NO_ERROR;
    // Another process may be at it for a moment only; an empty file is one that is just being made.
    const bool passing = error == GDBM_CANT_BE_READER || error == GDBM_CANT_BE_WRITER || error == GDBM_EMPTY_DATABASE;
    if (!passing || tries == kTries) return error;
    (void)usleep(kPauseUs);
  }
}

ExitCode checkAccess(const std::string& path, int mode) {
  if (access(path.c_str(), mode) == 0) return DONE;
  switch (errno) {
    case EACCES:
    case EPERM:
      return complain(NO_PRIVILEGE, "you may not %s %s; run nas1 as root", mode & W_OK ? "change" : "read",
                      path.c_str());
    case EROFS:
      return complain(READ_ONLY, "%s cannot be changed: its file system is read-only", path.c_str());
    default:
      return complain(LIBRARY_FAILED, "%s cannot be used: %s", path.c_str(), std::strerror(errno));
  }
}

}  // namespace

ExitCode checkRecordFile(const char* file, Use use) {
  const int mode = use == Use::read ? R_OK : R_OK | W_OK;
  const std::string folder(file, static_cast<std::size_t>(std::strrchr(file, '/') - file));
  if (const ExitCode fault = checkAccess(folder, X_OK); fault != DONE) return fault;
  if (access(file, F_OK) != 0) return use == Use::read ? DONE : checkAccess(folder, W_OK | X_OK);
  if (const ExitCode fault = checkAccess(file, mode); fault != DONE) return fault;
  const gdbm_error error = openingError(file, use);
  if (error == GDBM_NO_ERROR) return DONE;
  if (error == GDBM_CANT_BE_READER || error == GDBM_CANT_BE_WRITER) {
    return complain(BUSY, "%s is in use by another program; try again", file);
  }
  return complain(DAMAGED, "%s is damaged (%s); put a copy in its place or repair it", file, gdbm_strerror(error));
}

ExitCode explainFailure(const char* file, Use use, const char* what) {
  const ExitCode fault = checkRecordFile(file, use);
  if (fault != DONE) return fault;
  return complain(LIBRARY_FAILED, "%s; the system log may say more", what);
}
