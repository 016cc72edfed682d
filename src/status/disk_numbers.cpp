// The map from the driver's disk indexes to the numbers on the appliance's front: disks are numbered in the order of
// their drive letters, however the hot-swap configuration lists them.

#include <syslog.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/memory.h"
#include "status/disks.h"

static constexpr char kUnit[] = "nas1api.c";
static constexpr char kHotSwapFile[] = "/etc/hotswap.conf";
static constexpr char kDisksKey[] = "disks";
static constexpr char kDevicePrefix[] = "/dev/";
static constexpr std::size_t kTextSize = 129;  // 128 characters and a NUL
static constexpr std::size_t kDriveLetter = 7;

extern "C" {
int DiskNumMap[DISK_COUNT];
}

namespace {

struct DiskName {
  char text[128];  // cut to 127 characters

  [[nodiscard]] signed char letter() const { return static_cast<signed char>(text[kDriveLetter]); }
};
static_assert(sizeof(DiskName) == 128);

// The disks that parsePollingDisks found; tracked memory, released by initDiskNumMap and by the next list.
DiskName* diskNames = nullptr;
int diskCount = 0;

void forgetDisks() {
  if (diskNames != nullptr) sysFree(kUnit, __LINE__, diskNames);
  diskNames = nullptr;
  diskCount = 0;
}

bool isDisk(const char* token) { return std::strncmp(token, kDevicePrefix, sizeof kDevicePrefix - 1) == 0; }

// Calls visit(token) for each blank-separated word of a list of at most 128 characters, until it returns false.
template <typename Visit>
void forEachToken(const char* value, Visit visit) {
  char copy[kTextSize] = {};
  std::memcpy(copy, value, strnlen(value, sizeof copy - 1));
  char* rest = nullptr;
  for (char* token = strtok_r(copy, " ", &rest); token != nullptr; token = strtok_r(nullptr, " ", &rest)) {
    if (!visit(token)) return;
  }
}

void logUnknown(int line, const char* token) {
  syslog(LOG_WARNING, "%s:%d:%s, unknown disk= (%s) \n", kUnit, line, "parsePollingDisks", token);
}

int countDisks(const char* value) {
  int count = 0;
  forEachToken(value, [&](const char* token) {
    if (isDisk(token)) {
      ++count;
      syslog(LOG_DEBUG, "%s:%d:%s, disk= (%s) \n", kUnit, 2966, "parsePollingDisks", token);
    } else {
      logUnknown(2969, token);
    }
    return true;
  });
  return count;
}

// The user's number of the listed disk i: disks with a smaller drive letter come before it.
int numberOf(int i) {
  const signed char letter = diskNames[i].letter();
  return 1 + static_cast<int>(std::count_if(diskNames, diskNames + diskCount,
                                            [letter](const DiskName& other) { return other.letter() < letter; }));
}

}  // namespace

extern "C" void parsePollingDisks(const char* value) {
  if (value == nullptr) return;
  // The last list of a file counts.
  forgetDisks();
  diskCount = countDisks(value);
  if (diskCount < 1) {
    syslog(LOG_DEBUG, "%s:%d:%s, i_disk_count =%d\n", kUnit, 2999, "parsePollingDisks", diskCount);
    return;
  }
  const std::size_t bytes = static_cast<std::size_t>(diskCount) * sizeof(DiskName);
  diskNames = static_cast<DiskName*>(sysMalloc(kUnit, __LINE__, bytes));
  if (diskNames == nullptr) {
    diskCount = 0;
    return;
  }
  std::memset(diskNames, 0, bytes);
  // Kept: an unknown word uses up an index as well, so its entry stays empty and the last disks are dropped.
  int index = 0;
  forEachToken(value, [&](const char* token) {
    if (isDisk(token)) {
      DiskName& name = diskNames[index];
      std::memcpy(name.text, token, strnlen(token, sizeof name.text - 1));
      syslog(LOG_DEBUG, "%s:%d:%s, g_p_hdDeviceName[%d].name = (%s) \n", kUnit, 2988, "parsePollingDisks", index,
             name.text);
    } else {
      logUnknown(2990, token);
    }
    return ++index < diskCount;
  });
}

extern "C" void parseConfig(const char* path) {
  if (path == nullptr) return;
  std::FILE* const file = std::fopen(path, "re");
  if (file == nullptr) {
    syslog(LOG_ERR, "%s:%d:%s, open file (%s) error : %m\n", kUnit, 3047, "parseConfig", path);
    return;
  }
  const std::size_t keyLength = sizeof kDisksKey - 1;
  char line[kTextSize];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strncmp(line, kDisksKey, keyLength) != 0) continue;
    std::size_t end = std::strlen(line);
    while (end > keyLength && std::strchr(" \t\r\n", line[end - 1]) != nullptr) line[--end] = '\0';
    parsePollingDisks(end > keyLength ? line + keyLength + 1 : "");
  }
  (void)std::fclose(file);
}

extern "C" void initDiskNumMap() {
  forgetDisks();
  parseConfig(kHotSwapFile);
  for (int i = 0; i < DISK_COUNT; ++i) DiskNumMap[i] = i + 1;
  for (int i = 0; i < std::min<int>(diskCount, DISK_COUNT); ++i) DiskNumMap[i] = numberOf(i);
  forgetDisks();
}
