#pragma once
// The registry of add-on modules: one record per module in module.gdbm, under the module's name.

#include <cstddef>

#include "api/nas1api.h"

static_assert(offsetof(ModuleRecord, removalCommand) == 236);
static_assert(sizeof(ModuleRecord) == 364, "stored in module.gdbm");

#pragma GCC visibility push(default)
extern "C" {
// The work behind the module entries; see those. A null record, an empty name, and a null buffer to list into abort.
int sysAddModule(const ModuleRecord* record);
int sysModModule(const ModuleRecord* record);
int sysDelModule(const char* name);
int sysListModule(int start, int count, void* buffer, int bufferSize);
}
#pragma GCC visibility pop
