#include "modules/module_registry.h"

#include <algorithm>
#include <cstring>

#include "core/assert.h"
#include "core/record_store.h"
#include "events/event_log.h"

static constexpr char kUnit[] = "module.c";

static const char* nameOf(const ModuleRecord* record) { return record->description; }

// Stores a whole record; a name without a NUL before the removal command is refused.
static int storeModule(const ModuleRecord* record, int how) {
  if (record == nullptr || nameOf(record)[0] == '\0') sysAssert(kUnit, __LINE__);
  if (strnlen(nameOf(record), sizeof record->description) == sizeof record->description) return -1;
  const RecordFile modules(kModuleFile, Access::change);
  if (modules.handle == nullptr) return -1;
  return modules.store(nameOf(record), record, sizeof *record, how) == 0 ? 0 : -1;
}

static void logNoData(int line) { (void)nas1_log(0, 2, "Warnning!%s:%d Data buffer is NULL", kUnit, line); }

static const ModuleRecord* recordOf(const FetchedValue& value) {
  return value.bytes < sizeof(ModuleRecord) ? nullptr : reinterpret_cast<const ModuleRecord*>(value.data);
}

extern "C" int sysAddModule(const ModuleRecord* record) { return storeModule(record, GDBM_INSERT); }

extern "C" int sysModModule(const ModuleRecord* record) { return storeModule(record, GDBM_REPLACE); }

extern "C" int sysDelModule(const char* name) {
  if (name == nullptr) sysAssert(kUnit, __LINE__);
  const RecordFile modules(kModuleFile, Access::change);
  if (modules.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, modules, name);
  const ModuleRecord* const record = recordOf(value);
  if (record == nullptr) {
    logNoData(__LINE__);
    return -1;
  }
  char command[sizeof record->removalCommand + 1] = {};
  std::memcpy(command, record->removalCommand, sizeof record->removalCommand);
  // The registry stays open meanwhile: a module cannot be taken out twice.
  if (command[0] != '\0') (void)Nas1System(command);
  return modules.remove(name) == 0 ? 0 : -1;
}

static int countModules(const RecordFile& modules) {
  int count = 0;
  walkKeys(kUnit, __LINE__, modules, [&](const FetchedValue&) {
    ++count;
    return true;
  });
  return count;
}

extern "C" int sysListModule(int start, int count, void* buffer, int bufferSize) {
  const RecordFile modules(kModuleFile, Access::walk);
  if (modules.handle == nullptr) return 0;
  if (count < 1) return countModules(modules);
  if (buffer == nullptr) sysAssert(kUnit, __LINE__);
  auto* out = static_cast<char*>(buffer);
  int skip = std::max(start, 0);
  int copied = 0;
  walkKeys(kUnit, __LINE__, modules, [&](const FetchedValue& key) {
    if (skip > 0) {
      --skip;
      return true;
    }
    const FetchedValue value(kUnit, __LINE__, gdbm_fetch(modules.handle, key.asDatum()));
    const ModuleRecord* const record = recordOf(value);
    if (record == nullptr) {
      logNoData(__LINE__);
      return false;
    }
    if (bufferSize < static_cast<int>(sizeof *record)) {
      (void)nas1_log(0, 2, "Warnning!%s:%d:%s output buffer too small", kUnit, __LINE__, "sysListModule");
      return false;
    }
    bufferSize -= static_cast<int>(sizeof *record);
    std::memcpy(out, record, sizeof *record);
    out += sizeof *record;
    return ++copied < count;
  });
  return copied;
}
