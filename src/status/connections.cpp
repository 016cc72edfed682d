#include "status/connections.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "events/event_log.h"
#include "platform/driver.h"
#include "status/segment.h"

static_assert(offsetof(ConnectionRecord, data) == 8);
static_assert(sizeof(ConnectionRecord) == 104, "lists hold records end to end");

namespace {

using Table = ConnectionSegment;

constexpr int kNoSegment = -2;

bool hasTable(int protocol) { return protocol > PROTO_SYSTEM && protocol < kSegmentCount; }

// Whatever stands in the count word, no index leaves the array.
int usedRecords(const Table& table) {
  return std::clamp(__atomic_load_n(&table.count, __ATOMIC_ACQUIRE), 0, int{CONNECTION_MAX});
}

// Readers take no lock. The exchange is a barrier both ways: a record is whole before the count covers it, and is
// cleared only when the count no longer does.
void setUsedRecords(Table& table, int count) { (void)__atomic_exchange_n(&table.count, count, __ATOMIC_SEQ_CST); }

// Index of the first record that satisfies `matches`, or -1.
template <typename Matches>
int findRecord(const Table& table, Matches matches) {
  const ConnectionRecord* const end = table.records + usedRecords(table);
  const ConnectionRecord* const found = std::find_if(table.records, end, matches);
  return found == end ? -1 : static_cast<int>(found - table.records);
}

// Stores a record under the lock; `now` was taken before, because it opens files.
int storeRecord(int protocol, ConnectionRecord record, std::int32_t now) {
  const SegmentLock<Table> lock(protocol);
  if (lock.data == nullptr) return -1;
  Table& table = *lock.data;
  const int known = findRecord(table, [&](const ConnectionRecord& r) { return r.pid == record.pid; });
  if (known >= 0) {
    record.time = table.records[known].time;
    table.records[known] = record;
    return 0;
  }
  const int count = usedRecords(table);
  if (count >= CONNECTION_MAX) return -3;
  record.time = now;
  table.records[count] = record;
  setUsedRecords(table, count + 1);
  return 0;
}

enum class Removal { done, emptyTable, unknownPid, noSegment };

Removal removeRecord(int protocol, int pid) {
  const SegmentLock<Table> lock(protocol);
  if (lock.data == nullptr) return Removal::noSegment;
  Table& table = *lock.data;
  const int count = usedRecords(table);
  if (count < 1) return Removal::emptyTable;
  const int index = findRecord(table, [&](const ConnectionRecord& r) { return r.pid == pid; });
  if (index < 0) return Removal::unknownPid;
  const int last = count - 1;
  if (index != last) table.records[index] = table.records[last];
  setUsedRecords(table, last);
  table.records[last] = {};
  return Removal::done;
}

// Drops the first connection whose process is gone. Returns 0, -1 when there is none, kNoSegment.
int collectOnce(int protocol) {
  int pid = 0;
  {
    const SegmentLock<Table> lock(protocol);
    if (lock.data == nullptr) return kNoSegment;
    const int gone = findRecord(*lock.data, [](const ConnectionRecord& r) { return getpgid(r.pid) == -1; });
    if (gone < 0) return -1;
    pid = lock.data->records[gone].pid;
  }
  syslog(LOG_INFO, "%s:%d garbageCollectOnce PID=%d", "sharemem.c", 293, pid);
  return sysDelConnection(protocol, pid);
}

void collectAll(int protocol) {
  const int count = sysConnectionCount(protocol);
  for (int i = 0; i < count; i++)
    if (collectOnce(protocol) < 0) return;
}

}  // namespace

extern "C" int sysAddConnection(int protocol, const ConnectionRecord* record) {
  if (!hasTable(protocol) || record == nullptr) return -1;
  (void)collectOnce(protocol);
  const auto now = static_cast<std::int32_t>(nas_time(nullptr));
  const int stored = storeRecord(protocol, *record, now);
  if (stored < 0) return stored;

  const DriverHandle driver;
  if (driver.fd < 0) {
    (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_SW, "open device error! /dev/nas1");
    return -2;
  }
  (void)driverRequest(driver.fd, DRIVER_CONNECTION_ADDED, 1);  // only news to the driver: a refusal changes nothing
  return 0;
}

extern "C" int sysDelConnection(int protocol, int pid) {
  switch (hasTable(protocol) ? removeRecord(protocol, pid) : Removal::noSegment) {
    case Removal::done:
    case Removal::emptyTable:
      return 0;
    case Removal::unknownPid:
      syslog(LOG_INFO, "NotFound!Connections: %d", pid);
      return -1;
    case Removal::noSegment:
      syslog(LOG_ERR, "share memory error");
      return -1;
  }
  return -1;
}

extern "C" int sysConnectionCount(int protocol) {
  if (!hasTable(protocol)) return 0;
  const AttachedSegment<Table> segment(protocol);
  return segment.data == nullptr ? 0 : usedRecords(*segment.data);
}

extern "C" int sysListConnection(int protocol, int start, int count, void* buffer) {
  if (!hasTable(protocol)) return -1;
  collectAll(protocol);
  if (buffer == nullptr) return 0;
  const auto now = static_cast<std::uint32_t>(nas_time(nullptr));
  const AttachedSegment<Table> segment(protocol);
  if (segment.data == nullptr) return -1;
  const int used = usedRecords(*segment.data);
  const int first = std::clamp(start, 0, used);
  const int copied = std::clamp(count, 0, used - first);
  auto* out = static_cast<char*>(buffer);
  for (int i = first; i < first + copied; i++, out += sizeof(ConnectionRecord)) {
    ConnectionRecord record = segment.data->records[i];
    // Unsigned: a time that another process left damaged must not overflow.
    record.time = static_cast<std::int32_t>(now - static_cast<std::uint32_t>(record.time));
    std::memcpy(out, &record, sizeof(record));
  }
  return copied;
}
