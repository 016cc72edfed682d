// Snapshot and product settings: the entries.

#include "api/nas1api.h"
#include "config/product_config.h"
#include "core/command.h"

static constexpr char kUnit[] = "product_api.cpp";

extern "C" int Nas1GetSnapshotConfig(const char* volume, uint32_t* record) {
  return sysGetSnapshotConfig(volume, record);
}

extern "C" int Nas1SetSnapshotConfig(const char* volume, const uint32_t* record) {
  if (volume == nullptr || record == nullptr) return -1;
  const int result = sysSetSnapshotConfig(volume, record);
  // Also after a failed store: the scheduler then works on with what is stored.
  (void)runCommand(kUnit, __LINE__, "/sbin/takecron snapshot %s", volume);
  return result;
}

extern "C" int Nas1GetProductConfig(const char* key, char* text) { return sysGetProductConfig(key, text); }

extern "C" int Nas1SetProductConfig(const char* key, int size, const char* text) {
  return sysSetProductConfig(key, size, text);
}
