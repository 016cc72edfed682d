#include "share/nfs_hosts.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/assert.h"
#include "share/permissions.h"

static constexpr char kUnit[] = "nfs_hosts.cpp";

const NfsHostEntry* nfsHostEntryIn(const void* bytes, std::size_t left) {
  const auto* const entry = static_cast<const NfsHostEntry*>(bytes);
  if (left < sizeof(NfsHostEntry) || entry->size < sizeof(NfsHostEntry) || entry->size > left) return nullptr;
  const std::size_t room = entry->size - offsetof(NfsHostEntry, host);
  return strnlen(nfsHost(entry), room) < room ? entry : nullptr;
}

NfsHostList::NfsHostList(const char* unit, int line, const RecordFile& hosts, const char* share)
    : value(unit, line, hosts.handle != nullptr ? gdbm_fetch(hosts.handle, keyDatum(share)) : datum{}),
      result(hosts.handle != nullptr ? 0 : -1) {
  if (value.data == nullptr) return;
  // Hosts and permissions have the same head.
  const auto* const head = reinterpret_cast<const PermittedListHeader*>(value.data);
  if (value.bytes < sizeof(PermittedListHeader) || head->count < 0) {
    result = -1;
    return;
  }
  count = head->count;
  entries = value.data + sizeof(PermittedListHeader);
  bytes = value.bytes - sizeof(PermittedListHeader);
}

extern "C" int sysShareGetPermittedNfsSize(const char* share, int* count, int* bytes) {
  if (share == nullptr || share[0] == '\0') sysAssert(kUnit, __LINE__);
  const RecordFile hosts(kShareNfsFile, Access::lookup);
  const NfsHostList list(kUnit, __LINE__, hosts, share);
  if (list.result < 0) return -1;
  if (count != nullptr) *count = list.count;
  if (bytes != nullptr) *bytes = static_cast<int>(list.bytes);
  return 0;
}

extern "C" int sysShareGetPermittedNfs(const char* share, int count, void* out, int size) {
  if (share == nullptr || share[0] == '\0' || out == nullptr) sysAssert(kUnit, __LINE__);
  if (count < 1 || size < 1) return 0;
  const RecordFile hosts(kShareNfsFile, Access::lookup);
  const NfsHostList list(kUnit, __LINE__, hosts, share);
  std::size_t copied = 0;
  int whole = 0;
  forEachNfsHost(list, [&](const NfsHostEntry* entry) {
    if (entry->size > static_cast<std::size_t>(size) - copied) return false;
    copied += entry->size;
    return ++whole < count;
  });
  if (copied > 0) std::memcpy(out, list.entries, copied);
  return whole;
}

extern "C" int sysShareSetPermittedNfs(const char* share, int count, const void* entries) {
  if (share == nullptr || share[0] == '\0' || entries == nullptr) sysAssert(kUnit, __LINE__);
  const auto* const first = static_cast<const char*>(entries);
  // A stored value's length is an int.
  constexpr std::size_t kRoom = INT_MAX - sizeof(PermittedListHeader);
  std::size_t bytes = 0;
  for (int i = 0; i < count; ++i) {
    const NfsHostEntry* const entry = nfsHostEntryIn(first + bytes, kRoom - bytes);
    if (entry == nullptr) return -1;
    bytes += entry->size;
  }

  const TrackedBuffer value(kUnit, __LINE__, sizeof(PermittedListHeader) + bytes);
  if (value.data == nullptr) return -1;
  auto* const head = static_cast<PermittedListHeader*>(value.data);
  head->count = std::max(count, 0);
  std::memcpy(head + 1, first, bytes);
  const RecordFile hosts(kShareNfsFile, Access::change);
  if (hosts.handle == nullptr) return -1;
  // Kept: a store that GDBM refuses is not reported; the exports are then made from the old list.
  (void)hosts.store(share, value.data, sizeof(PermittedListHeader) + bytes, GDBM_REPLACE);
  return 0;
}
