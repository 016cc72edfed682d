#pragma once
// The appliance's own driver behind /dev/nas1. Every request goes through here, so that no other room has to know
// whether the path is the character device or, off the appliance, the socket of a stand-in.

#include <cstddef>

inline constexpr char kDriverPath[] = "/dev/nas1";

enum DriverRequest : unsigned {
  DRIVER_VERSION = 0x4804,             // query: firmware version
  DRIVER_DIRECT_PING = 0x4807,         // value: the DIRECT_PING_ENABLED setting
  DRIVER_DAEMON_PID = 0x4809,          // query: PID of the monitor daemon, 32-bit
  DRIVER_RAID_STATUS = 0x480A,         // query: RAID status
  DRIVER_SHUTDOWN = 0x480B,            // value: 0
  DRIVER_CONNECTION_ADDED = 0x480D,    // value: 1
  DRIVER_PASSWORD_SET = 0x480F,        // value: 1 when the administrator has a password, else 0
  DRIVER_SNAPSHOT_THRESHOLD = 0x4813,  // value: the USE_SNAP_SPACE_THRESHOLD setting
  DRIVER_SKIP_RAID_SYNC = 0x4814,      // value: the SKIP_RAID_SYNC setting
};

// Opens the driver read-only, close-on-exec. Returns the descriptor, or -1 with errno set. The caller closes it;
// DriverHandle below does so by itself.
[[nodiscard]] int driverOpen();

// Hands one value to the driver. Returns the driver's result; negative (errno set) when it refuses or is gone.
int driverRequest(int fd, unsigned request, unsigned argument);

// Lets the driver fill a record of `size` bytes; what it does not fill stays as it was. The device itself decides how
// much it writes, so `size` must be that of the request's record. Returns as driverRequest.
int driverQuery(int fd, unsigned request, void* record, std::size_t size);

// The driver held open for one operation.
struct DriverHandle {
  const int fd;  // -1: not reachable
  DriverHandle() : fd(driverOpen()) {}
  ~DriverHandle();
  DriverHandle(const DriverHandle&) = delete;
  DriverHandle& operator=(const DriverHandle&) = delete;
};
