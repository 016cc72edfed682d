#include "share/volumes.h"

#include <cstdio>
#include <cstring>

#include "core/assert.h"

static constexpr char kUnit[] = "volumes.cpp";
static constexpr char kVolumeTable[] = "/etc/fstab.zelmar";
static constexpr char kNumberOfLastLine[] = "echo `cat -n /etc/fstab.zelmar | awk '{print $1}'` | awk '{print $NF}'";
static constexpr int kLineSize = 256;  // NUL included
static constexpr std::size_t kNameStart = sizeof "/volume/" - 1;

// Takes a word over into a field, cut to it; the field is zero behind the text.
template <std::size_t N>
static void setField(char (&field)[N], const char* word) {
  std::memset(field, 0, N);
  std::memcpy(field, word, strnlen(word, N - 1));
}

// Describes the volume of one line of the table; false for a line without two words.
static bool describeVolume(const char* line, VolumeInfo* volume) {
  char device[kLineSize];
  char mount[kLineSize];
  static_assert(kLineSize == 256, "the widths below");
  if (std::sscanf(line, "%255s %255s", device, mount) != 2) return false;

  volume->size = sizeof *volume;
  setField(volume->device, device);
  setField(volume->mount, mount);
  const std::size_t mountLength = std::strlen(volume->mount);
  setField(volume->name, volume->mount + (mountLength < kNameStart ? mountLength : kNameStart));
  uint32_t snapshot[kSnapshotWords] = {};
  (void)Nas1GetSnapshotConfig(volume->name, snapshot);
  std::memcpy(volume->snapshot, snapshot, sizeof volume->snapshot);
  return true;
}

extern "C" int sysGetVolumeCount() {
  std::FILE* const output = popen(kNumberOfLastLine, "re");
  if (output == nullptr) return 0;
  int count = 0;
  if (std::fscanf(output, "%d", &count) != 1 || count < 0) count = 0;
  (void)pclose(output);
  return count;
}

extern "C" int sysListVolume(VolumeInfo* buffer, int size) {
  if (buffer == nullptr) sysAssert(kUnit, __LINE__);
  std::FILE* const table = std::fopen(kVolumeTable, "re");
  if (table == nullptr) return 0;
  constexpr int kEntryBytes = sizeof(VolumeInfo);
  int listed = 0;
  char line[kLineSize];
  // Kept: a line without two words ends the list, a blank one too, although the count goes on behind it.
  for (int left = size; left >= kEntryBytes && std::fgets(line, sizeof line, table) != nullptr; left -= kEntryBytes) {
    VolumeInfo volume = {};
    if (!describeVolume(line, &volume)) break;
    buffer[listed++] = volume;
  }
  (void)std::fclose(table);
  return listed;
}
