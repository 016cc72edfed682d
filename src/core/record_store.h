#pragma once
// Record files: GDBM hash files under /etc/admin, opened for one operation and closed before it returns.
// Text keys are stored with their NUL.

#include <gdbm.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string_view>

#include "core/memory.h"

inline constexpr char kSystemFile[] = "/etc/admin/system.gdbm";
inline constexpr char kShareFile[] = "/etc/admin/share.gdbm";
inline constexpr char kShareNfsFile[] = "/etc/admin/share_nfs.gdbm";
inline constexpr char kUserIdFile[] = "/etc/admin/user_id.gdbm";
inline constexpr char kGroupIdFile[] = "/etc/admin/group_id.gdbm";
inline constexpr char kPasswordFile[] = "/etc/admin/passwd.gdbm";
inline constexpr char kModuleFile[] = "/etc/admin/module.gdbm";

// The permission lists of protocols 0 to 4.
inline constexpr const char* kPermissionFiles[] = {"/etc/admin/user_local.gdbm", "/etc/admin/user_smb.gdbm",
                                                   "/etc/admin/user_nfs.gdbm", "/etc/admin/user_ncp.gdbm",
                                                   "/etc/admin/user_afp.gdbm"};

#pragma GCC visibility push(default)
extern "C" {
// Opens a record file: up to 200 tries, 100 microseconds apart while another process holds its lock; a missing file is
// created, for readers as well; a writer compacts a file of 8 MiB and more.
//   blockSize    0 for GDBM's default
//   mode         GDBM_READER for lookups and walks, GDBM_WRCREAT for changes; with GDBM_NOMMAP for single records
//   permissions  of a file that is created; 0665 throughout
// Returns a handle to close with gdbm_close, or null, with a line in the system log.
GDBM_FILE openRecordset(const char* path, int blockSize, int mode, int permissions);
}
#pragma GCC visibility pop

// Maps an open file into memory: a walk over all records is then four times as fast.
void mapFile(GDBM_FILE handle);

// What a record file is opened for.
enum class Access {
  lookup,  // single keys
  walk,    // all keys
  change,  // stores and deletes
};

// A record file held open for one operation.
struct RecordFile {
  GDBM_FILE handle;  // null: could not be opened within the tries

  RecordFile(const char* path, Access access);
  ~RecordFile() { close(); }
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // Ends the operation early: a file must never be opened again while this process still holds it.
  void close();
  // Stores under a text key, its NUL included; how is GDBM_INSERT or GDBM_REPLACE. Returns GDBM's result: 0 stored.
  [[nodiscard]] int store(const char* key, const void* value, std::size_t bytes, int how) const;
  // Deletes a text key; 0 when it was there.
  [[nodiscard]] int remove(const char* key) const;
};

// A record file for many lookups in a row, closed and opened again every few of them: opening it for each would cost
// several times the lookup, holding it for all would keep writers waiting for longer than they try.
struct LookupSeries {
  explicit LookupSeries(const char* recordFile) : path(recordFile) {}
  // The file to make the next lookup in; its handle is null when it could not be opened, which each call tries anew.
  const RecordFile& next();
  // Closes the file, for a change to be made in between.
  void close() { file.reset(); }

 private:
  const char* const path;
  std::optional<RecordFile> file;
  int left = 0;  // lookups until it is opened again
};

// The datum of a text key as GDBM wants it; GDBM does not change what it points to.
[[nodiscard]] datum keyDatum(const char* key);

// A datum that GDBM allocated, entered into the tracked allocator while it is held. data is null for a missing record,
// and for one that could not be read: a change must not take that for a missing one.
struct FetchedValue {
  const char* const unit;
  const int line;
  char* data;
  std::size_t bytes;
  bool unreadable;  // there is such a record, but a fault or a lack of memory came in between

  // Takes over a datum that a fetch or a key walk returned.
  FetchedValue(const char* sourceUnit, int sourceLine, datum fetched);
  FetchedValue(const char* sourceUnit, int sourceLine, const RecordFile& file, const char* key)
      : FetchedValue(sourceUnit, sourceLine, gdbm_fetch(file.handle, keyDatum(key))) {}
  ~FetchedValue();
  FetchedValue(const FetchedValue&) = delete;
  FetchedValue& operator=(const FetchedValue&) = delete;

  [[nodiscard]] datum asDatum() const { return {data, static_cast<int>(bytes)}; }
};

// Calls visit(key) for every key in the file's own order, until visit returns false.
template <typename Visit>
void walkKeys(const char* unit, int line, const RecordFile& file, Visit visit) {
  datum next = gdbm_firstkey(file.handle);
  while (next.dptr != nullptr) {
    const FetchedValue key(unit, line, next);
    if (key.data == nullptr || !visit(key)) return;
    next = gdbm_nextkey(file.handle, key.asDatum());
  }
}
