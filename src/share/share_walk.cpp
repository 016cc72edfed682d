#include "share/share_walk.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>

#include "core/record_store.h"
#include "share/share_database.h"

static constexpr char kUnit[] = "share_walk.cpp";
static constexpr std::size_t kFirstRoom = 4096;

AllShares::AllShares(const char* sourceUnit, int sourceLine) : unit(sourceUnit), line(sourceLine) {
  const RecordFile shares(kShareFile, Access::walk);
  if (shares.handle == nullptr) return;
  bool listing = true;
  walkKeys(kUnit, __LINE__, shares, [&](const FetchedValue& key) {
    ++counted;
    if (!listing) return true;
    const FetchedValue value(kUnit, __LINE__, gdbm_fetch(shares.handle, key.asDatum()));
    const ShareRecord* const record = storedShare(value);
    if (record == nullptr) syslog(LOG_ERR, "Warnning!%s:%d Data buffer is NULL", kUnit, __LINE__);
    listing = record != nullptr && append(record->info);
    return !outOfMemory;
  });
}

AllShares::~AllShares() {
  if (list != nullptr) sysFree(unit, line, list);
}

// Copies a block behind the others; the buffer doubles when it is full. False without memory: then there is no list.
bool AllShares::append(const ShareInfo& share) {
  if (share.size > room_ - bytes) {
    const std::size_t wanted = std::max({kFirstRoom, 2 * room_, bytes + share.size});
    auto* const larger = static_cast<char*>(sysMalloc(unit, line, wanted));
    if (larger != nullptr && list != nullptr) std::memcpy(larger, list, bytes);
    if (list != nullptr) sysFree(unit, line, list);
    list = larger;
    room_ = wanted;
  }
  if (list == nullptr) {
    outOfMemory = true;
    listed = 0;
    return false;
  }
  std::memcpy(list + bytes, &share, share.size);
  bytes += share.size;
  ++listed;
  return true;
}
