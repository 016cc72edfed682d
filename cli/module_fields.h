#pragma once
// What this front end makes of a module's record: of its descriptive bytes, the name in a field and one text behind it.
// Another front end may have put something else behind the name.

#include <nas1api.h>

#include <string>

#include "output.h"

inline constexpr char kModuleFile[] = "/etc/admin/module.gdbm";

inline constexpr std::size_t kModuleTextOffset = NAS_NAME_SIZE;
inline constexpr std::size_t kModuleTextSize = sizeof(ModuleRecord::description) - kModuleTextOffset;
inline constexpr std::size_t kModuleCommandSize = sizeof(ModuleRecord::removalCommand);

inline std::string moduleName(const ModuleRecord& r) { return fieldText(r.description, sizeof r.description); }
inline std::string moduleText(const ModuleRecord& r) {
  return fieldText(r.description + kModuleTextOffset, kModuleTextSize);
}
inline std::string moduleCommand(const ModuleRecord& r) { return fieldText(r.removalCommand, kModuleCommandSize); }

// A record in the form that this front end gives it; the texts fit their fields.
ModuleRecord moduleOf(const std::string& name, const std::string& text, const std::string& command);

// Whether a record has that form.
bool hasModuleText(const ModuleRecord& record);

// What stands behind the name, in hexadecimal without the zeros at the end; and a record with that, if it fits.
std::string moduleData(const ModuleRecord& record);
bool putModuleData(ModuleRecord& record, const std::string& digits);
