#pragma once
// Disks through the driver: the map from the driver's disk indexes to the numbers that the administrator sees, RAID
// status, the stored disk configuration, shutdown.

#include <cstddef>
#include <cstdint>

#include "api/nas1api.h"

static_assert(offsetof(DiskConfig, fileSystem) == 4);
static_assert(offsetof(DiskConfig, flag) == 8);
static_assert(sizeof(DiskConfig) == 176, "stored in system.gdbm under DISK_CONFIG");

#pragma GCC visibility push(default)
extern "C" {
// Reads a hot-swap configuration: the line that begins with "disks". A file that cannot be opened is in the system log.
void parseConfig(const char* path);
// Takes the list of device paths of such a line.
void parsePollingDisks(const char* value);

// As Nas1GetDiskConfig and Nas1SetDiskConfig, and the handlers of the record behind them.
int sysGetDiskConfig(DiskConfig* config);
int sysSetDiskConfig(const DiskConfig* config);
int get_DISK_CONFIG(int size, void* buffer, int* lengthOut);
int set_DISK_CONFIG(int size, void* value);
}
#pragma GCC visibility pop
