#include "module_fields.h"

#include <algorithm>
#include <cstring>

#include "code_page.h"

ModuleRecord moduleOf(const std::string& name, const std::string& text, const std::string& command) {
  ModuleRecord record = {};
  (void)name.copy(record.description, sizeof record.description - 1);
  (void)text.copy(record.description + kModuleTextOffset, kModuleTextSize - 1);
  (void)command.copy(record.removalCommand, kModuleCommandSize - 1);
  return record;
}

bool hasModuleText(const ModuleRecord& record) {
  if (moduleName(record).size() >= NAS_NAME_SIZE || moduleText(record).size() >= kModuleTextSize) return false;
  const ModuleRecord same = moduleOf(moduleName(record), moduleText(record), "");
  return std::memcmp(same.description, record.description, sizeof record.description) == 0;
}

std::string moduleData(const ModuleRecord& record) {
  std::string bytes(record.description, sizeof record.description);
  bytes.erase(0, std::min(moduleName(record).size() + 1, bytes.size()));
  bytes.erase(bytes.find_last_not_of('\0') + 1);
  return inHex(bytes);
}

bool putModuleData(ModuleRecord& record, const std::string& digits) {
  std::string bytes;
  const std::size_t at = moduleName(record).size() + 1;
  if (!fromHex(digits, bytes) || bytes.size() > sizeof record.description - at) return false;
  std::memset(record.description + at, 0, sizeof record.description - at);
  std::memcpy(record.description + at, bytes.data(), bytes.size());
  return true;
}
