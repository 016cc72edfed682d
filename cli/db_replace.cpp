#include "db_replace.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "db_check.h"
#include "db_identities.h"

namespace {

constexpr char kFolder[] = "/etc/admin";
constexpr mode_t kMode = 0665;

// A GDBM file that is closed with its scope.
struct Database {
  GDBM_FILE handle;

  Database(const std::string& path, int mode)
      : handle(gdbm_open(path.c_str(), 0, mode | GDBM_NOMMAP | GDBM_CLOEXEC, kMode, nullptr)) {}
  ~Database() { (void)close(); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Everything on the disk, nothing failed meanwhile.
  bool close() {
    if (handle == nullptr) return false;
    const bool synced = gdbm_sync(handle) == 0;
    const bool closed = gdbm_close(handle) == 0;
    handle = nullptr;
    return synced && closed;
  }
};

// A file that goes with its scope unless it has found its place.
struct TemporaryFile {
  std::string path;
  ~TemporaryFile() {
    if (!path.empty()) (void)unlink(path.c_str());
  }
};

datum datumOf(const std::string& text) { return {const_cast<char*>(text.data()), static_cast<int>(text.size())}; }

// The names in the folder are safe once the folder is.
void syncFolder() {
  const OpenFile folder(open(kFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.fd >= 0) (void)fsync(folder.fd);
}

ExitCode cannotBeMade(const std::string& path) {
  const char* const reason = gdbm_errno != GDBM_NO_ERROR ? gdbm_strerror(gdbm_errno) : std::strerror(errno);
  return complain(LIBRARY_FAILED, "%s cannot be written: %s; nothing was changed", path.c_str(), reason);
}

// Gives a new file the owner and rights of the one in whose place it comes.
void takeAfter(const std::string& path, const OpenFile& present) {
  struct stat status;
  if (present.fd < 0 || fstat(present.fd, &status) != 0) return;
  (void)!chown(path.c_str(), status.st_uid, status.st_gid);
  (void)chmod(path.c_str(), status.st_mode & 07777);
}

ExitCode writeSet(const RecordSet& set, TemporaryFile& made) {
  const std::string path = std::string(set.file->path) + ".new";
  Database db(path, GDBM_NEWDB);
  made.path = path;
  if (db.handle == nullptr) return cannotBeMade(path);
  for (const auto& [key, value] : set.records) {
    if (gdbm_store(db.handle, datumOf(key), datumOf(value), GDBM_INSERT) != 0) return cannotBeMade(path);
  }
  return db.close() ? DONE : cannotBeMade(path);
}

// Everything that has been replaced goes back when one of them fails.
ExitCode swapAll(const std::vector<RecordSet>& sets, std::vector<TemporaryFile>& made) {
  for (std::size_t i = 0; i < sets.size(); ++i) {
    const char* const path = sets[i].file->path;
    const std::string old = std::string(path) + ".old";
    (void)unlink(old.c_str());
    const bool isThere = link(path, old.c_str()) == 0;
    if ((isThere || errno == ENOENT) && rename(made[i].path.c_str(), path) == 0) {
      made[i].path = isThere ? old : "";
      continue;
    }
    const int reason = errno;
    (void)unlink(old.c_str());
    while (i-- > 0) {
      (void)(made[i].path.empty() ? unlink(sets[i].file->path) : rename(made[i].path.c_str(), sets[i].file->path));
      made[i].path.clear();
    }
    return complain(LIBRARY_FAILED, "%s cannot be replaced: %s; nothing was changed", path, std::strerror(reason));
  }
  return DONE;
}

__attribute__((format(printf, 2, 3))) void noteLoss(void* repair, const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  (void)std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  auto& told = *static_cast<Repair*>(repair);
  if (told.unreadable++ == 0) told.firstUnreadable = text;
}

void dropUnsound(GDBM_FILE db, const RecordFileEntry& file, Repair& repair) {
  Records records;
  std::string fault;
  (void)walkRecords(db, records, fault);
  for (const auto& [key, value] : records) {
    const std::string reason = recordFault(file.kind, key, value);
    if (reason.empty()) {
      ++repair.saved;
    } else if (gdbm_delete(db, datumOf(key)) == 0) {
      repair.lost.push_back("the record " + keyText(key) + ": " + reason);
    }
  }
}

ExitCode beyondRecovery(const RecordFileEntry& file, const char* reason) {
  return complain(DAMAGED,
                  "%s is beyond recovery (%s) and stays as it is; restore a backup with nas1 db restore, or remove it "
                  "to start with none of its records",
                  file.path, reason);
}

ExitCode recoverCopy(const RecordFileEntry& file, const std::string& copy, Repair& repair) {
  Database db(copy, GDBM_WRITER);
  if (db.handle == nullptr) return beyondRecovery(file, gdbm_strerror(gdbm_errno));
  gdbm_recovery recovery = {};
  recovery.errfun = noteLoss;
  recovery.data = &repair;
  if (gdbm_recover(db.handle, &recovery, GDBM_RCVR_ERRFUN | GDBM_RCVR_FORCE) != 0) {
    return beyondRecovery(file, gdbm_db_strerror(db.handle));
  }
  dropUnsound(db.handle, file, repair);
  return db.close() ? DONE : beyondRecovery(file, gdbm_strerror(gdbm_errno));
}

std::string timeStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  char text[32];
  (void)std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", localtime_r(&now, &parts));
  return text;
}

// Gives a damaged file a second name, which stays when a good one takes its place.
bool keep(const RecordFileEntry& file, std::string& name) {
  const std::string stem = std::string(file.path) + ".damaged-" + timeStamp();
  name = stem;
  for (int number = 2; link(file.path, name.c_str()) != 0; ++number) {
    if (errno != EEXIST) return false;
    name = stem + "-" + std::to_string(number);
  }
  return true;
}

}  // namespace

ExitCode replaceRecordSets(const std::vector<RecordSet>& sets) {
  std::vector<TemporaryFile> made(sets.size());
  for (std::size_t i = 0; i < sets.size(); ++i) {
    if (const ExitCode fault = writeSet(sets[i], made[i]); fault != DONE) return fault;
  }
  // Locked all at once, so that no change gets lost half way between the old files and the new ones.
  std::vector<OpenFile> present(sets.size());
  for (std::size_t i = 0; i < sets.size(); ++i) {
    if (const ExitCode fault = openLocked(sets[i].file->path, LOCK_EX, present[i]); fault != DONE) return fault;
    takeAfter(made[i].path, present[i]);
  }
  if (const ExitCode fault = swapAll(sets, made); fault != DONE) return fault;
  syncFolder();
  forgetTakenIds();
  return DONE;
}

ExitCode repairFile(const RecordFileEntry& file, Repair& repair) {
  OpenFile damaged;
  if (const ExitCode fault = openLocked(file.path, LOCK_EX, damaged); fault != DONE) return fault;
  if (damaged.fd < 0) return DONE;
  TemporaryFile copy;
  {
    const std::string path = std::string(file.path) + ".new";
    const OpenFile target(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    copy.path = path;
    if (target.fd < 0 || !copyContent(damaged.fd, target.fd)) {
      return complain(LIBRARY_FAILED, "%s cannot be copied: %s", file.path, std::strerror(errno));
    }
  }
  if (const ExitCode fault = recoverCopy(file, copy.path, repair); fault != DONE) return fault;
  takeAfter(copy.path, damaged);
  if (!keep(file, repair.keptAs) || rename(copy.path.c_str(), file.path) != 0) {
    return complain(LIBRARY_FAILED, "%s cannot be replaced: %s", file.path, std::strerror(errno));
  }
  copy.path.clear();
  syncFolder();
  if (file.kind == RECORD_USER || file.kind == RECORD_GROUP) forgetTakenIds();
  return DONE;
}
