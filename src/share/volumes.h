#pragma once
// Volumes: the mounted data areas that shares and home directories are made on, as the appliance's volume table
// /etc/fstab.zelmar lists them, one a line.

#include <cstddef>

#include "api/nas1api.h"
#include "config/product_config.h"

static_assert(offsetof(VolumeInfo, device) == 4);
static_assert(offsetof(VolumeInfo, mount) == 36);
static_assert(offsetof(VolumeInfo, name) == 68);
static_assert(offsetof(VolumeInfo, snapshot) == 100);
static_assert(offsetof(VolumeInfo, reserved) == 120);
static_assert(sizeof(VolumeInfo) == 248, "handed to callers");
static_assert(sizeof VolumeInfo::snapshot == kSnapshotWords * sizeof(std::uint32_t));

#pragma GCC visibility push(default)
extern "C" {
// Returns the number of lines in the volume table, blank ones included; 0 when it cannot be told. Runs a shell command.
int sysGetVolumeCount();
// As Nas1ListVolume, but clears nothing. A null buffer aborts the process.
int sysListVolume(VolumeInfo* buffer, int size);
}
#pragma GCC visibility pop
