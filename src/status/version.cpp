// The version of the appliance's software, NAS_VERSION. Contract as for all numeric ids.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "api/nas1api.h"
#include "config/handlers.h"
#include "platform/driver.h"
#include "status/reading.h"

static_assert(offsetof(NasVersion, build) == 2);
static_assert(sizeof(NasVersion) == 18, "the natural size of NAS_VERSION");

namespace {

constexpr char kReleasePath[] = "/etc/zelmar-release";

bool readRelease(NasVersion& version) {
  std::FILE* const release = std::fopen(kReleasePath, "re");
  if (release == nullptr) return false;
  int majorNumber = -1;
  int minorNumber = -1;
  char build[sizeof(version.build)] = {};
  const int fields = std::fscanf(release, "%d.%2d.%15s", &majorNumber, &minorNumber, build);
  (void)std::fclose(release);
  if (fields != 3 || majorNumber < 0 || majorNumber > UINT8_MAX || minorNumber < 0) return false;
  version.majorNumber = static_cast<std::uint8_t>(majorNumber);
  version.minorNumber = static_cast<std::uint8_t>(minorNumber);
  std::memcpy(version.build, build, sizeof(build));
  return true;
}

bool readFirmware(NasVersion& version) {
  const DriverHandle driver;
  if (driver.fd < 0) return false;
  unsigned char record[64] = {};  // roomy: how much the driver writes is its own decision
  if (driverQuery(driver.fd, DRIVER_VERSION, record, sizeof(record)) < 0) return false;
  std::memcpy(&version, record, sizeof(version));
  version.build[sizeof(version.build) - 1] = '\0';
  return true;
}

}  // namespace

extern "C" int GetNasVersion(int size, void* buffer, int* lengthOut) {
  NasVersion version = {};
  if (!readRelease(version) && !readFirmware(version)) return -1;
  return giveBytes(size, buffer, lengthOut, &version, sizeof(version));
}
