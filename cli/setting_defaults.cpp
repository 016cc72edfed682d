#include "setting_defaults.h"

#include <nas1api.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "settings.h"

static constexpr char kDefaultsFile[] = "/etc/default.zelmar";
static constexpr int kLineSize = 64;

// As the library reads it: the first line that begins with the key; the value behind one more character, up to a blank.
static std::string textOf(const ConfigKey& key) {
  std::FILE* const file = std::fopen(kDefaultsFile, "re");
  if (file == nullptr) return "";
  std::string text;
  char line[kLineSize];
  const std::size_t length = std::strlen(key.name);
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strncmp(line, key.name, length) != 0) continue;
    const std::string rest = line + length;
    if (rest.size() > 2) text = rest.substr(1, rest.size() - 2);
    break;
  }
  (void)std::fclose(file);
  return text.substr(0, text.find_first_of(" \t\r\n"));
}

std::string defaultOf(const ConfigKey& key) {
  const std::string text = textOf(key);
  const KeyType type = typeOf(key);
  if (!isNumber(type)) return text;
  const bool hex = type.type == CFG_HEX;
  const auto number = static_cast<std::uint32_t>(std::strtoull(text.c_str(), nullptr, hex ? 16 : 10));
  SettingValue value;
  value.isNumber = true;
  value.number = number;
  return wordOf(value.cell(key));
}
