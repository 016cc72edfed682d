// Volumes: the entries.

#include <climits>
#include <cstring>

#include "api/nas1api.h"
#include "share/volumes.h"

extern "C" int Nas1GetVolumeCount(int* count, int* bytes) {
  int volumes = 0;
  if (count != nullptr) {
    volumes = sysGetVolumeCount();
    *count = volumes;
  }
  constexpr int kMost = INT_MAX / static_cast<int>(sizeof(VolumeInfo));
  if (bytes != nullptr) *bytes = (volumes < kMost ? volumes : kMost) * static_cast<int>(sizeof(VolumeInfo));
  return 0;
}

extern "C" int Nas1ListVolume(VolumeInfo* buffer, int size) {
  if (buffer == nullptr || size <= 0) return 0;
  std::memset(static_cast<void*>(buffer), 0, static_cast<std::size_t>(size));
  return sysListVolume(buffer, size);
}
