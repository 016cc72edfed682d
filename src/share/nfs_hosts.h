#pragma once
// NFS hosts: per share, which clients may mount it and how; one list per share in share_nfs.gdbm, under the share's
// name.

#include <cstddef>
#include <cstdint>

#include "api/nas1api.h"
#include "core/record_store.h"

static_assert(offsetof(NfsHostEntry, flags) == 4);
static_assert(offsetof(NfsHostEntry, anonuid) == 8);
static_assert(offsetof(NfsHostEntry, anongid) == 12);
static_assert(offsetof(NfsHostEntry, mask) == 16);
static_assert(offsetof(NfsHostEntry, host) == 32);
static_assert(sizeof(NfsHostEntry) == 33, "the smallest entry: an empty host name's NUL");

// The host name of an entry, in a buffer that holds all of its `size` bytes.
inline const char* nfsHost(const NfsHostEntry* entry) {
  return reinterpret_cast<const char*>(entry) + offsetof(NfsHostEntry, host);
}

// The entry at the start of `left` bytes; null when it does not fit them or its host name has no NUL.
const NfsHostEntry* nfsHostEntryIn(const void* bytes, std::size_t left);

// A share's list as stored.
struct NfsHostList {
  const FetchedValue value;
  int result;     // 0, also without a list; -1: the file could not be opened, or the value is no list
  int count = 0;  // entries that the list claims to have
  const char* entries = nullptr;
  std::size_t bytes = 0;  // of the entries

  NfsHostList(const char* unit, int line, const RecordFile& hosts, const char* share);
};

// Calls visit(entry) for the entries of a list in order, as many as are whole, until it returns false.
template <typename Visit>
void forEachNfsHost(const NfsHostList& list, Visit visit) {
  std::size_t at = 0;
  for (int i = 0; i < list.count; ++i) {
    const NfsHostEntry* const entry = nfsHostEntryIn(list.entries + at, list.bytes - at);
    if (entry == nullptr || !visit(entry)) return;
    at += entry->size;
  }
}

#pragma GCC visibility push(default)
extern "C" {
// The operations behind the Nas1ShareGetPermittedNfs family. A null or empty share aborts the process, as do null
// entries.

// Stores the number of entries and their bytes, 0 and 0 without a list; either pointer may be null.
// Returns 0; -1 when the file cannot be opened or the record is no list.
int sysShareGetPermittedNfsSize(const char* share, int* count, int* bytes);
// Copies whole entries to out, at most count and as many as fit. Returns the number copied.
int sysShareGetPermittedNfs(const char* share, int count, void* out, int size);
// Replaces the list. Returns 0, whatever the store did; -1 for an unusable entry, an unopenable file or no memory.
int sysShareSetPermittedNfs(const char* share, int count, const void* entries);
}
#pragma GCC visibility pop
