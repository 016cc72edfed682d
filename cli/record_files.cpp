#include "record_files.h"

#include <gdbm.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "db_check.h"
#include "db_records.h"

namespace {

// As patient as the library itself.
constexpr int kTries = 20;
constexpr useconds_t kPauseUs = 1000;

constexpr char kDamaged[] = "%s is damaged (%s); nas1 db repair mends it";

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

// A list ends at the first record that cannot be read: the rest would be missing without a word.
ExitCode checkRecords(const char* file) {
  const auto* const entry = std::find_if(std::begin(recordFiles), std::end(recordFiles),
                                         [file](const RecordFileEntry& e) { return std::strcmp(e.path, file) == 0; });
  if (entry == std::end(recordFiles)) return DONE;
  RecordSet set;
  if (const ExitCode fault = readRecordSet(*entry, set); fault != DONE) return fault;
  if (!set.fault.empty()) return complain(DAMAGED, kDamaged, file, set.fault.c_str());
  for (const auto& [key, value] : set.records) {
    const std::string fault = recordFault(entry->kind, key, value);
    if (fault.empty()) continue;
    return complain(DAMAGED, "%s holds a record %s that cannot be read: %s; nas1 db repair takes it out", file,
                    keyText(key).c_str(), fault.c_str());
  }
  return DONE;
}

}  // namespace

ExitCode checkRecordFile(const char* file, Use use) {
  const int mode = use == Use::read ? R_OK : R_OK | W_OK;
  const std::string folder(file, static_cast<std::size_t>(std::strrchr(file, '/') - file));
  if (const ExitCode fault = checkAccess(folder, X_OK); fault != DONE) return fault;
  if (access(file, F_OK) != 0) return use == Use::read ? DONE : checkAccess(folder, W_OK | X_OK);
  if (const ExitCode fault = checkAccess(file, mode); fault != DONE) return fault;
  const gdbm_error error = openingError(file, use);
  if (error == GDBM_NO_ERROR) return use == Use::read ? checkRecords(file) : DONE;
  if (error == GDBM_CANT_BE_READER || error == GDBM_CANT_BE_WRITER) {
    return complain(BUSY, "%s is in use by another program; try again", file);
  }
  return complain(DAMAGED, kDamaged, file, gdbm_strerror(error));
}

ExitCode explainFailure(const char* file, Use use, const char* what) {
  const ExitCode fault = checkRecordFile(file, use);
  if (fault != DONE) return fault;
  return complain(LIBRARY_FAILED, "%s; the system log may say more", what);
}
