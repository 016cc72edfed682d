#include "status/disks.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "config/stored_values.h"
#include "events/event_log.h"
#include "platform/driver.h"

static constexpr char kDiskConfigKey[] = "DISK_CONFIG";

static std::int32_t configuredInteger(const char* key) {
  std::int32_t value = 0;
  (void)NasGetConfig(key, sizeof value, &value, nullptr);
  return value;
}

// What other keys say about the disks; the stored record comes over it.
static void fillFromKeys(DiskConfig* config) {
  *config = {};
  config->raidLevel = configuredInteger("RAID_LEVEL");
  config->fileSystem = configuredInteger("FILE_SYSTEM");
  if (config->raidLevel == 6) {
    config->raidLevel = 5;
    config->flag = 1;
  } else if (config->raidLevel == 7) {
    config->raidLevel = -1;
  }
}

extern "C" int get_DISK_CONFIG(int size, void* buffer, int* lengthOut) {
  if (buffer == nullptr || size <= 0) return -1;
  DiskConfig config;
  fillFromKeys(&config);
  (void)readStored(kDiskConfigKey, sizeof config, &config, nullptr);
  const int copied = std::min(size, static_cast<int>(sizeof config));
  std::memcpy(buffer, &config, static_cast<std::size_t>(copied));
  if (lengthOut != nullptr) *lengthOut = copied;
  return 0;
}

extern "C" int set_DISK_CONFIG(int size, void* value) {
  if (value == nullptr || size < static_cast<int>(sizeof(DiskConfig))) return -1;
  return writeStored(kDiskConfigKey, sizeof(DiskConfig), value);
}

extern "C" int sysGetDiskConfig(DiskConfig* config) { return get_DISK_CONFIG(sizeof *config, config, nullptr); }

extern "C" int sysSetDiskConfig(const DiskConfig* config) {
  return set_DISK_CONFIG(sizeof *config, const_cast<DiskConfig*>(config));
}

extern "C" int Nas1GetDiskConfig(DiskConfig* config) { return config == nullptr ? -1 : sysGetDiskConfig(config); }

extern "C" int Nas1SetDiskConfig(const DiskConfig* config) {
  if (config == nullptr) return -1;
  const int result = sysSetDiskConfig(config);
  char program[80] = {};
  const int fd = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
  if (fd >= 0) {
    (void)!read(fd, program, sizeof program - 1);
    (void)close(fd);
  }
  (void)nas1_log(0, 2, "issued by %s", program);
  return result;
}

extern "C" int Nas1GetRaidStatus(void* status) {
  if (status == nullptr) return -1;
  int result = 0;
  {
    const DriverHandle driver;
    if (driver.fd < 0) return -1;
    if (driverQuery(driver.fd, DRIVER_RAID_STATUS, status, RAID_STATUS_SIZE) < 0) result = -2;
  }
  DiskConfig config;
  (void)sysGetDiskConfig(&config);
  const std::int32_t words[2] = {config.raidLevel, config.flag};
  std::memcpy(status, words, sizeof words);
  return result;
}

extern "C" int Nas1Shutdown(void) {
  // The device is not closed: the system is going down.
  const int fd = driverOpen();
  if (fd < 0) {
    (void)nas1_log(2, 3, "Error : Can't open nas1 device!");
    return -1;
  }
  return driverRequest(fd, DRIVER_SHUTDOWN, 0);
}
