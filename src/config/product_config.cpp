#include "config/product_config.h"

#include <cstring>

#include "api/nas1api.h"
#include "config/stored_values.h"

static constexpr char kSnapshotPrefix[] = "NAS1_SNAPSHOT_CONFIG";
static constexpr std::size_t kPrefixLength = sizeof kSnapshotPrefix - 1;
static constexpr std::size_t kVolumeLength = 32;  // characters of a volume's name that count
static constexpr int kRecordBytes = kSnapshotWords * sizeof(std::uint32_t);

// The key of a volume's snapshot record.
struct SnapshotKey {
  char text[kPrefixLength + kVolumeLength + 1];

  explicit SnapshotKey(const char* volume) {
    const std::size_t length = strnlen(volume, kVolumeLength);
    std::memcpy(text, kSnapshotPrefix, kPrefixLength);
    std::memcpy(text + kPrefixLength, volume, length);
    text[kPrefixLength + length] = '\0';
  }
};

extern "C" int sysGetSnapshotConfig(const char* volume, std::uint32_t* record) {
  if (volume == nullptr || record == nullptr) return 0;
  if (readStored(SnapshotKey(volume).text, kRecordBytes, record, nullptr) == 0) return 0;
  std::memset(record, 0, kRecordBytes);
  (void)NasGetConfig("DEF_SNAPSHOT_RESERVED", sizeof record[0], &record[0], nullptr);
  return 0;
}

extern "C" int sysSetSnapshotConfig(const char* volume, const std::uint32_t* record) {
  if (volume == nullptr || record == nullptr) return -1;
  return writeStored(SnapshotKey(volume).text, kRecordBytes, record);
}

extern "C" int sysGetProductConfig(const char* key, char* text) {
  if (key == nullptr || text == nullptr) return 0;
  if (readStoredText(key, NAS_PRODUCT_TEXT_SIZE, text, nullptr) < 0) std::memset(text, 0, NAS_PRODUCT_TEXT_SIZE);
  return 0;
}

extern "C" int sysSetProductConfig(const char* key, int size, const char* text) { return writeText(key, size, text); }
