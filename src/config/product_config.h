#pragma once
// Records that live in system.gdbm beside the configuration keys: a snapshot setting per volume, and product settings
// under keys of the caller's own. They have no defaults and nobody is notified.

#include <cstdint>

inline constexpr int kSnapshotWords = 5;
static_assert(kSnapshotWords * sizeof(std::uint32_t) == 20, "stored in system.gdbm");

#pragma GCC visibility push(default)
extern "C" {
// As Nas1GetSnapshotConfig tells.
int sysGetSnapshotConfig(const char* volume, std::uint32_t* record);
// Stores a volume's snapshot record of five words; nobody is told. Returns 0; -1 when the file could not be opened.
int sysSetSnapshotConfig(const char* volume, const std::uint32_t* record);

// As Nas1GetProductConfig and Nas1SetProductConfig tell.
int sysGetProductConfig(const char* key, char* text);
int sysSetProductConfig(const char* key, int size, const char* text);
}
#pragma GCC visibility pop
