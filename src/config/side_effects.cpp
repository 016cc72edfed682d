#include "config/side_effects.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "api/nas1api.h"
#include "config/handlers.h"
#include "config/numeric_config.h"
#include "config/stored_values.h"
#include "core/command.h"
#include "events/event_log.h"
#include "platform/driver.h"

static constexpr char kUnit[] = "side_effects.cpp";
static constexpr char kNtpFile[] = "/etc/ntp.conf";
static constexpr int kServerNameSize = 64;

static int deviceError() {
  (void)nas1_log(2, 2, "open device error! /dev/nas1");
  return -1;
}

// Command lines: a result that nobody reads still costs a warning where the C library marks its function.
static void runWithLibc(const char* command) { (void)!std::system(command); }

static void ntpService(const char* action) { (void)runCommand(kUnit, __LINE__, "/etc/init.d/ntpd %s", action); }

static bool ntpEnabled() {
  int enabled = 0;
  (void)NasGetConfig("NTP_ENABLED", sizeof enabled, &enabled, nullptr);
  return enabled == 1;
}

// One of the two servers of the file: a stored one, or the value that is just being set. An empty one counts as none.
struct NtpServer {
  char stored[kServerNameSize + 1] = {};
  const char* name;
  int length;

  explicit NtpServer(const char* key) : name(stored) {
    (void)NasGetConfig(key, kServerNameSize, stored, nullptr);
    length = static_cast<int>(std::strlen(stored));
  }
  NtpServer(int size, const void* value)
      : name(static_cast<const char*>(value)),
        length(size > 0 ? static_cast<int>(strnlen(name, static_cast<std::size_t>(size))) : 0) {}
  NtpServer(const NtpServer&) = delete;
  NtpServer& operator=(const NtpServer&) = delete;

  void writeTo(std::FILE* file) const {
    if (length > 0) (void)std::fprintf(file, "server %.*s\n", length, name);
  }
};

static int writeNtpFile(const NtpServer& first, const NtpServer& second) {
  std::FILE* const file = std::fopen(kNtpFile, "we");
  if (file == nullptr) {
    (void)nas1_log(2, 2, "Can't modify ntp.conf to save the NTP server\n");
    return -1;
  }
  (void)std::fputs("server 127.127.1.0\n", file);
  first.writeTo(file);
  second.writeTo(file);
  (void)std::fputs("\nfudge 127.127.1.0 stratum 10\n", file);
  (void)std::fputs("\ndriftfile /mnt/param/misc/drift\n", file);
  (void)std::fclose(file);
  return 0;
}

// The daemon follows the setting even when its file could not be rewritten.
static int changeNtpServers(const NtpServer& first, const NtpServer& second) {
  const int result = writeNtpFile(first, second);
  if (ntpEnabled()) ntpService("restart");
  return result;
}

// Tells Samba's and the system's password files, and the driver whether there is a password at all.
static int syncAdminPassword(int size, const void* value) {
  runWithLibc("/bin/syncpasswd > /dev/null");
  const DriverHandle driver;
  if (driver.fd < 0) return deviceError();
  const bool empty = size <= 0 || *static_cast<const char*>(value) == '\0';
  (void)driverRequest(driver.fd, DRIVER_PASSWORD_SET, empty ? 0 : 1);
  return 0;
}

static int switchDirectPing(int size, const void* value) {
  // Kept: the device stays open, one descriptor a call.
  const int fd = driverOpen();
  if (fd < 0) return deviceError();
  (void)driverRequest(fd, DRIVER_DIRECT_PING, integerIn(size, value));
  return 0;
}

// Hands an integer to the driver; no driver is no error.
static int switchDriver(unsigned request, int size, const void* value) {
  const DriverHandle driver;
  if (driver.fd < 0) return 0;
  return driverRequest(driver.fd, request, integerIn(size, value)) < 0 ? -2 : 0;
}

extern "C" int set_TIME_ZONE(int size, void* value) {
  const int result = writeText("TIME_ZONE", size, value);
  if (result < 0) return result;
  (void)runCommand(kUnit, __LINE__, "/usr/sbin/timeconfig %.*s", size, static_cast<const char*>(value));
  return result;
}

extern "C" int set_NTP_ENABLED(int size, void* value) {
  if (size < 4 || value == nullptr) return -1;
  int current = 0;
  (void)NasGetConfig("NTP_ENABLED", sizeof current, &current, nullptr);
  const unsigned wanted = integerIn(size, value);
  if (current == 0 && wanted == 1) ntpService("restart");
  if (current == 1 && wanted == 0) ntpService("stop");
  return writeInteger("NTP_ENABLED", size, value);
}

extern "C" int set_NTP_SERVER_1(int size, void* value) {
  const int result = writeText("NTP_SERVER_1", size, value);
  if (result != 0) return result;
  return changeNtpServers(NtpServer(size, value), NtpServer("NTP_SERVER_2"));
}

extern "C" int set_NTP_SERVER_2(int size, void* value) {
  const int result = writeText("NTP_SERVER_2", size, value);
  if (result != 0) return result;
  return changeNtpServers(NtpServer("NTP_SERVER_1"), NtpServer(size, value));
}

extern "C" int set_ADMIN_PASSWORD(int size, void* value) {
  const int result = writeText("ADMIN_PASSWORD", size, value);
  return result < 0 ? result : syncAdminPassword(size, value);
}

extern "C" int set_ETHERNET_ENABLED(int size, void* value) {
  if (size < 4 || value == nullptr) return -1;
  const int result = writeInteger("NIC_DISABLED", size, value);
  runWithLibc("/sbin/nscript");
  runWithLibc("/etc/init.d/network restart");
  return result;
}

extern "C" int set_DIRECT_PING_ENABLED(int size, void* value) {
  if (size < 4 || value == nullptr) return -1;
  if (switchDirectPing(size, value) < 0) return -1;
  return writeInteger("DIRECT_PING_ENABLED", size, value);
}

int notifyDirectPing(int /*row*/, int size, void* value) { return switchDirectPing(size, value); }

int notifyNtpEnabled(int /*row*/, int size, void* value) {
  // Kept: switching off does not stop the daemon here.
  if (integerIn(size, value) == 1) ntpService("restart");
  return 0;
}

int notifyNtpServer(int row, int size, void* value) {
  const NtpServer changed(size, value);
  // Kept: a named change arrives with its row number, never with the numeric id of the first server, so a new first
  // server is written on both lines.
  if (row == CONFIG_NTP_SERVER_1) {
    (void)changeNtpServers(changed, NtpServer("NTP_SERVER_2"));
  } else {
    (void)changeNtpServers(NtpServer("NTP_SERVER_1"), changed);
  }
  return 0;
}

int notifyAdminPassword(int /*row*/, int size, void* value) { return syncAdminPassword(size, value); }

int notifyRaidSyncSkip(int /*row*/, int size, void* value) { return switchDriver(DRIVER_SKIP_RAID_SYNC, size, value); }

int notifySnapshotThreshold(int /*row*/, int size, void* value) {
  return switchDriver(DRIVER_SNAPSHOT_THRESHOLD, size, value);
}
