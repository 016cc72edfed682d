// The configuration items that live in the segment of protocol 0 and not in a record file: they are lost when the
// system goes down. Contracts as for all numeric ids; a value of fewer than 4 bytes is filled up with zeros.

#include <algorithm>
#include <cstring>

#include "config/handlers.h"
#include "status/segment.h"

namespace {

using StatusWord = std::uint32_t IdentitySegment::*;

std::size_t wordBytes(int size) { return std::min<std::size_t>(static_cast<std::size_t>(size), sizeof(std::uint32_t)); }

int getStatus(StatusWord word, int size, void* buffer, int* lengthOut) {
  if (size < 0 || buffer == nullptr) return -1;
  const AttachedSegment<IdentitySegment> segment(PROTO_SYSTEM);
  if (segment.data == nullptr) return -1;
  const std::uint32_t status = segment.data->*word;
  std::memcpy(buffer, &status, wordBytes(size));
  if (lengthOut != nullptr) *lengthOut = sizeof(status);
  return 0;
}

int setStatus(StatusWord word, int size, const void* value) {
  if (size < 0 || value == nullptr) return -1;
  std::uint32_t status = 0;
  std::memcpy(&status, value, wordBytes(size));
  const SegmentLock<IdentitySegment> lock(PROTO_SYSTEM);
  if (lock.data == nullptr) return -1;
  lock.data->*word = status;
  return 0;
}

}  // namespace

extern "C" int get_HW_EVENT_STATUS(int size, void* buffer, int* lengthOut) {
  return getStatus(&IdentitySegment::hardwareEventStatus, size, buffer, lengthOut);
}

extern "C" int get_FILESYSTEM_STATUS(int size, void* buffer, int* lengthOut) {
  return getStatus(&IdentitySegment::fileSystemStatus, size, buffer, lengthOut);
}

extern "C" int set_HW_EVENT_STATUS(int size, void* value) {
  return setStatus(&IdentitySegment::hardwareEventStatus, size, value);
}

extern "C" int set_FILESYSTEM_STATUS(int size, void* value) {
  return setStatus(&IdentitySegment::fileSystemStatus, size, value);
}
