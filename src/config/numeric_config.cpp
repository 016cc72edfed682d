#include "config/numeric_config.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>

#include "config/handlers.h"
#include "config/stored_values.h"

static constexpr char kDefaultCommunity[] = "opensv";

static int readNamed(const char* key, int size, void* buffer, int* lengthOut) {
  return NasGetConfig(key, size, buffer, lengthOut);
}

// An absent value reads as 0.
static int readIntegerOrZero(const char* key, int size, void* buffer, int* lengthOut) {
  if (readStoredInteger(key, size, buffer, lengthOut) == 0) return 0;
  return get_Default_UINT(size, buffer, lengthOut, 0);
}

static int readCommunity(const char* key, int size, void* buffer, int* lengthOut) {
  if (readStoredText(key, size, buffer, lengthOut) == 0) return 0;
  if (size <= 0 || buffer == nullptr) return -1;
  int copied = 0;
  (void)get_Default_String(size, buffer, &copied, kDefaultCommunity);
  static_cast<char*>(buffer)[copied - 1] = '\0';
  if (lengthOut != nullptr) *lengthOut = copied;
  return 0;
}

extern "C" {
// Handlers that come out of the list: how each kind reads and writes the record of its key.
#define GETTER(name, key, read) \
  int get_##name(int size, void* buffer, int* lengthOut) { return read(key, size, buffer, lengthOut); }
#define SETTER(name, key, write) \
  int set_##name(int size, void* value) { return write(key, size, value); }
#define TEXT_ID(id, name) GETTER(name, #name, readNamed) SETTER(name, #name, writeText)
#define INTEGER_ID(id, name) GETTER(name, #name, readNamed) SETTER(name, #name, writeInteger)
#define ACTING_ID(id, name) GETTER(name, #name, readNamed)
#define STORED_TEXT_ID(id, name) GETTER(name, #name, readStoredText) SETTER(name, #name, writeText)
#define STORED_INTEGER_ID(id, name) GETTER(name, #name, readIntegerOrZero) SETTER(name, #name, writeInteger)
#define COMMUNITY_ID(id, name) GETTER(name, #name, readCommunity) SETTER(name, #name, writeText)
#define OWN_ID(id, name)
#define READ_ONLY_ID(id, getter)
#define EMPTY_ID(id)
#include "config/numeric_ids.inc"

// Written by hand because name and key differ, or reading and writing do.
GETTER(FILESYSTEM_WRITEBACK_STATUS, "FILESYSTEM_WRITEBACK_ENABLE", readNamed)
SETTER(FILESYSTEM_WRITEBACK_STATUS, "FILESYSTEM_WRITEBACK_ENABLE", writeInteger)
GETTER(ETHERNET_ENABLED, "NIC_DISABLED", readIntegerOrZero)
GETTER(Full_SYSnUSER_Backup_Date, "Full_SYS_n_USER_Backup_Date", readStoredText)
SETTER(Full_SYSnUSER_Backup_Date, "Full_SYS_n_USER_Backup_Date", writeText)
SETTER(LVM_ENABLED, "LVM_ENABLED", writeInteger)

int get_LVM_ENABLED(int size, void* buffer, int* lengthOut) {
  return get_Default_UINT(size, buffer, lengthOut, static_cast<unsigned>(NasGetServiceInstall("lvm")));
}
}

const ConfigHandlers fpConfig[CONFIG_COUNT] = {
#define HANDLERS_OF(id, name) {get_##name, set_##name},
#define TEXT_ID HANDLERS_OF
#define INTEGER_ID HANDLERS_OF
#define ACTING_ID HANDLERS_OF
#define STORED_TEXT_ID HANDLERS_OF
#define STORED_INTEGER_ID HANDLERS_OF
#define COMMUNITY_ID HANDLERS_OF
#define OWN_ID HANDLERS_OF
#define READ_ONLY_ID(id, getter) {getter, nullptr},
#define EMPTY_ID(id) {nullptr, nullptr},
#include "config/numeric_ids.inc"
};

// The list is in order and without gaps.
static constexpr int listedIds[] = {
#define ID_OF(id, name) id,
#define TEXT_ID ID_OF
#define INTEGER_ID ID_OF
#define ACTING_ID ID_OF
#define STORED_TEXT_ID ID_OF
#define STORED_INTEGER_ID ID_OF
#define COMMUNITY_ID ID_OF
#define OWN_ID ID_OF
#define READ_ONLY_ID ID_OF
#define EMPTY_ID(id) id,
#include "config/numeric_ids.inc"
};
static constexpr bool idsAreInOrder() {
  int expected = 0;
  for (const int id : listedIds) {
    if (id != expected++) return false;
  }
  return expected == CONFIG_COUNT;
}
static_assert(idsAreInOrder());

static bool unknownId(int id) { return static_cast<unsigned>(id) >= CONFIG_COUNT; }

static void logNotImplemented(int line, int id) {
  syslog(LOG_ERR, "%s:%d NotImplement for Type: %d", "system.c", line, id);
}

extern "C" int sysGetConfig(int id, int size, void* buffer, int* lengthOut) {
  if (unknownId(id) || buffer == nullptr || size <= 0) return -1;
  if (fpConfig[id].get == nullptr) {
    logNotImplemented(1266, id);
    return 0;
  }
  int length = 0;
  return fpConfig[id].get(size, buffer, lengthOut != nullptr ? lengthOut : &length);
}

extern "C" int sysSetConfig(int id, int size, void* value) {
  if (unknownId(id) || value == nullptr || size <= 0) return -1;
  if (fpConfig[id].set == nullptr) {
    logNotImplemented(1291, id);
    return 0;
  }
  return fpConfig[id].set(size, value);
}
