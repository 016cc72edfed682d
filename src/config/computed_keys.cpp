#include "config/computed_keys.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "api/nas1api.h"
#include "config/handlers.h"
#include "config/key_table.h"
#include "config/stored_values.h"

using Reader = int (*)(int size, void* buffer, int* lengthOut);

// The readers of one kind of live value for the three interfaces.
struct InterfaceReaders {
  const char* prefix;
  Reader readers[3];
};

static constexpr InterfaceReaders interfaceReaders[] = {
    {"ETHERNET_ADDRESS_", {getHwAddr1, getHwAddr2, getHwAddr3}},
    {"CURRENT_IP_ADDRESS_", {getIpAddr1, getIpAddr2, getIpAddr3}},
    {"CURRENT_IP_MASK_", {getIpMask1, getIpMask2, getIpMask3}},
    {"CURRENT_IP_GATEWAY_", {getGw1, getGw2, getGw3}},
};

int getLiveInterface(const char* key, int size, void* buffer, int* lengthOut) {
  for (const InterfaceReaders& row : interfaceReaders) {
    const std::size_t length = std::strlen(row.prefix);
    if (std::strncmp(key, row.prefix, length) != 0) continue;
    // The key's last character numbers the interface.
    const auto interface = static_cast<std::size_t>(key[std::strlen(key) - 1] - '1');
    return interface < std::size(row.readers) ? row.readers[interface](size, buffer, lengthOut) : -1;
  }
  if (std::strcmp(key, "CURRENT_DEFAULT_GATEWAY") == 0) return getDefaultGateway(size, buffer, lengthOut);
  return -1;
}

int getSensor(const char* key, int size, void* buffer, int* lengthOut) {
  if (std::strcmp(key, "CPU_SPEED") == 0) return get_CPU_SPEED(size, buffer, lengthOut);
  if (std::strcmp(key, "CPU_VOLTAGE") == 0) return get_CPU_VOLTAGE(size, buffer, lengthOut);
  if (std::strcmp(key, "CPU_THERMAL") == 0) return get_CPU_Temp(size, buffer, lengthOut);
  return -1;
}

int getVersionRecord(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  return GetNasVersion(size, buffer, lengthOut);
}

int getLvmInstalled(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  return get_LVM_ENABLED(size, buffer, lengthOut);
}

int getResolver(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  return get_IP_DNS(size, buffer, lengthOut);
}

int getHardwareStatus(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  return get_HW_EVENT_STATUS(size, buffer, lengthOut);
}

int getFileSystemStatus(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  return get_FILESYSTEM_STATUS(size, buffer, lengthOut);
}

int serverNameFromAddress(const char* key, int size, void* buffer, int* lengthOut) {
  char address[NAS_NAME_SIZE] = {};
  if (getHwAddr1(sizeof address, address, nullptr) < 0) return -1;
  char name[NAS_NAME_SIZE + 3];
  const bool ncp = std::strcmp(key, "NCP_SERVER_NAME") == 0;
  (void)std::snprintf(name, sizeof name, "%s%.*s", ncp ? "NCP" : "", NAS_NAME_SIZE - 1, address);
  (void)std::snprintf(static_cast<char*>(buffer), static_cast<std::size_t>(size), "%s", name);
  if (lengthOut != nullptr) *lengthOut = static_cast<int>(std::strlen(static_cast<const char*>(buffer)) + 1);
  return 0;
}

int adminPasswordInstead(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  return NasGetConfig("ADMIN_PASSWORD", size, buffer, lengthOut);
}

// Two services of one name on the wire would shadow each other.
static int setDistinctName(const char* key, const char* otherKey, int size, const void* value) {
  char other[NAS_NAME_SIZE + 1] = {};
  const bool known = NasGetConfig(otherKey, NAS_NAME_SIZE, other, nullptr) >= 0;
  const auto* const name = static_cast<const char*>(value);
  const std::size_t length = strnlen(name, static_cast<std::size_t>(size));
  if (known && length == std::strlen(other) && std::memcmp(name, other, length) == 0) return -1;
  return writeStored(key, size, value);
}

int setCifsServerName(const char* key, int size, const void* value, const ConfigKeyEntry* /*table*/) {
  return setDistinctName(key, "NCP_SERVER_NAME", size, value);
}

int setNcpServerName(const char* key, int size, const void* value, const ConfigKeyEntry* /*table*/) {
  return setDistinctName(key, "CIFS_SERVER_NAME", size, value);
}

int setResolver(const char* /*key*/, int size, const void* value, const ConfigKeyEntry* /*table*/) {
  return set_IP_DNS(size, const_cast<void*>(value));
}

int setHardwareStatus(const char* /*key*/, int size, const void* value, const ConfigKeyEntry* /*table*/) {
  return set_HW_EVENT_STATUS(size, const_cast<void*>(value));
}

int setFileSystemStatus(const char* /*key*/, int size, const void* value, const ConfigKeyEntry* /*table*/) {
  return set_FILESYSTEM_STATUS(size, const_cast<void*>(value));
}
