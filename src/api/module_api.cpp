// Module registry entries.

#include "api/nas1api.h"
#include "modules/module_registry.h"

extern "C" int Nas1ModuleAdd(const ModuleRecord* record) { return sysAddModule(record); }

extern "C" int Nas1ModuleMod(const ModuleRecord* record) {
  if (record == nullptr || record->description[0] == '\0') return -1;
  return sysModModule(record);
}

extern "C" int Nas1ModuleDel(const char* name) { return sysDelModule(name); }

extern "C" int Nas1ModuleList(int start, int count, void* buffer, int bufferSize) {
  return sysListModule(start, count, buffer, bufferSize);
}
