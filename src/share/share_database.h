#pragma once
// The share database: one record per share in share.gdbm, under the share's name.

#include <cstddef>
#include <cstdint>

#include "api/nas1api.h"

// The head of a stored share; its ShareInfo follows.
struct [[gnu::packed]] ShareSettings {
  std::uint32_t reserved;         // 0
  char ro_passwd[NAS_NAME_SIZE];  // read-only password, NUL-terminated, empty until set
  char rw_passwd[NAS_NAME_SIZE];  // read-write password
  std::uint32_t is_home;          // 1 marks the home share of a user
  std::uint8_t reservedTail[28];  // 0
};
static_assert(offsetof(ShareSettings, ro_passwd) == 4);
static_assert(offsetof(ShareSettings, rw_passwd) == 36);
static_assert(offsetof(ShareSettings, is_home) == 68);
static_assert(offsetof(ShareSettings, reservedTail) == 72);
static_assert(sizeof(ShareSettings) == 100, "stored in share.gdbm");

static_assert(offsetof(ShareInfo, name) == 4);
static_assert(offsetof(ShareInfo, comment) == 36);
static_assert(offsetof(ShareInfo, path) == 100);
static_assert(sizeof(ShareInfo) == 104, "stored in share.gdbm and handed to callers");

// The whole fixed part of a stored share; the path runs on past it.
struct [[gnu::packed]] ShareRecord {
  ShareSettings settings;
  ShareInfo info;
};
static_assert(sizeof(ShareRecord) == 204, "stored in share.gdbm");

// The path of a share in a buffer that holds all of its `size` bytes.
inline const char* sharePath(const ShareInfo* info) {
  return reinterpret_cast<const char*>(info) + offsetof(ShareInfo, path);
}
inline char* sharePath(ShareInfo* info) { return reinterpret_cast<char*>(info) + offsetof(ShareInfo, path); }

struct FetchedValue;

// The share of a stored value; null when the value is missing, cut, or its size word does not fit it.
const ShareRecord* storedShare(const FetchedValue& value);

// Stores both passwords of a share that was just added. Returns 0; -1 unknown share or failed store.
int storeFirstPasswords(const char* name, const char* readOnly, const char* readWrite);

#pragma GCC visibility push(default)
extern "C" {
// The system row's share operations. Each opens the record file, does its work and closes it. Null arguments, an empty
// name and an empty path abort the process.

// Stores a new share and creates its directory. Returns 0; -1 when the name exists or the store failed.
int sysShareAdd(const char* name, const char* comment, const char* path);
// Drops the share's NFS hosts and permission lists, then the share. Returns 0; -1 when a file could not be opened (the
// files after it are left untouched), the share is unknown or could not be deleted.
int sysShareDel(const char* name);
// Gives a share another comment and path; passwords and home mark stay. Returns 0; -1 unknown share or failed store.
int sysShareMod(const char* name, const char* comment, const char* path);

// Copies a share's ShareInfo, as much as fits. Returns 0; -1 unknown share.
int sysGetShareInfo(const char* name, void* buffer, int size);
// Copies up to count ShareInfo blocks from the start-th key on. Returns the number copied.
int sysShareList(int start, int count, void* buffer, int size);
// Counts the shares and the bytes of all ShareInfo blocks; bytes may be null. Returns 0.
int sysShareGetCountSize(int* count, int* bytes);

// One setting of a share, as NasShareGetConfig and NasShareSetConfig tell.
int sysShareGetConfig(const char* name, const char* type, int length, void* out, int* outLength);
int sysShareSetConfig(const char* name, const char* type, int length, const void* value);
// A password; which is 0 for read-only. out holds 33 bytes. Returns 0; -1.
int sysShareGetPassword(const char* name, int which, char* out);
int sysShareSetPassword(const char* name, int which, const char* password);
}
#pragma GCC visibility pop
