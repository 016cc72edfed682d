#include "settings.h"

#include <nas1api.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include "calls.h"
#include "record_files.h"

namespace {

std::string versionText(const char* record) {
  NasVersion version;
  std::memcpy(&version, record, sizeof version);
  char text[32];
  (void)std::snprintf(text, sizeof text, "%d.%02d.%.*s", version.majorNumber, version.minorNumber,
                      static_cast<int>(sizeof version.build), version.build);
  return text;
}

Cell numberCell(int type, std::uint32_t number) {
  if (type == CFG_INTEGER) return static_cast<long long>(number);
  char text[16];
  (void)std::snprintf(text, sizeof text, "0x%X", number);
  return text;
}

ExitCode parseNumber(const ConfigKey& key, int type, const std::string& word, std::uint32_t& number) {
  const bool hex = type == CFG_HEX;
  const bool prefixed = hex && (word.starts_with("0x") || word.starts_with("0X"));
  const char* const first = word.data() + (prefixed ? 2 : 0);
  const char* const last = word.data() + word.size();
  const auto [end, error] = std::from_chars(first, last, number, hex ? 16 : 10);
  if (error == std::errc() && end == last) return DONE;
  return complain(USAGE, "%s takes a %s number from 0 to %s, not %s", key.name, hex ? "hexadecimal" : "decimal",
                  hex ? "FFFFFFFF" : "4294967295", word.c_str());
}

// The numbered call trims blanks even off integers: a byte of 0x20 at an end of one is lost.
bool survivesTrimming(std::uint32_t number) {
  char bytes[sizeof number + 1] = {};
  std::memcpy(bytes, &number, sizeof number);
  Nas1Remove_ht_space(bytes);
  return std::memcmp(bytes, &number, sizeof number) == 0;
}

// The two name services of one machine must not be mixed up: the library refuses a name that the other one has.
bool isNameOfTheOther(const ConfigKey& key, const std::string& value) {
  const bool cifs = std::strcmp(key.name, "CIFS_SERVER_NAME") == 0;
  if (!cifs && std::strcmp(key.name, "NCP_SERVER_NAME") != 0) return false;
  char other[64] = {};
  return NasGetConfig(cifs ? "NCP_SERVER_NAME" : "CIFS_SERVER_NAME", sizeof other - 1, other, nullptr) >= 0 &&
         value == other;
}

}  // namespace

KeyType typeOf(const ConfigKey& key) {
  if (key.isNumberedOnly()) return {key.numberedType, key.numberedSize};
  int size = 0;
  const int type = NasGetConfig(key.name, 0, nullptr, &size);
  return {type, size};
}

const char* typeName(int type) {
  static constexpr const char* names[] = {"integer", "text", "hex", "record"};
  return static_cast<unsigned>(type) < std::size(names) ? names[type] : "unknown";
}

bool isNumber(const KeyType& type) { return type.type == CFG_INTEGER || type.type == CFG_HEX; }

int readSetting(const ConfigKey& key, bool byNumber, Cell& cell) {
  const KeyType type = typeOf(key);
  char bytes[1024] = {};
  const int room = isNumber(type) ? 4 : type.type == CFG_RECORD ? static_cast<int>(sizeof(NasVersion)) : 1023;
  int length = 0;
  const int result =
      byNumber ? Nas1GetConfig(key.number, room, bytes, &length) : NasGetConfig(key.name, room, bytes, &length);
  if (result < 0) return result;
  if (isNumber(type)) {
    std::uint32_t number;
    std::memcpy(&number, bytes, sizeof number);
    cell = numberCell(type.type, number);
  } else {
    cell = type.type == CFG_RECORD ? versionText(bytes) : std::string(bytes);
  }
  return result;
}

std::string wordOf(const Cell& cell) {
  if (const auto* const number = std::get_if<long long>(&cell)) return std::to_string(*number);
  const auto* const text = std::get_if<std::string>(&cell);
  return text == nullptr ? "" : *text;
}

bool isReadOnly(const ConfigKey& key, bool byNumber) {
  return typeOf(key).type == CFG_RECORD || (byNumber && fpConfig[key.number].set == nullptr);
}

Cell SettingValue::cell(const ConfigKey& key) const { return isNumber ? numberCell(typeOf(key).type, number) : text; }

ExitCode parseSetting(const ConfigKey& key, bool byNumber, const std::string& word, SettingValue& value) {
  const KeyType type = typeOf(key);
  value = {.isNumber = isNumber(type), .number = 0, .text = word};
  if (!value.isNumber) {
    if (byNumber) {
      Nas1Remove_ht_space(value.text.data());
      value.text.resize(std::strlen(value.text.c_str()));
    }
    if (value.text.size() < static_cast<std::size_t>(type.size)) return DONE;
    return complain(USAGE, "%s takes at most %d characters, not %zu", key.name, type.size - 1, value.text.size());
  }
  if (const ExitCode fault = parseNumber(key, type.type, word, value.number); fault != DONE) return fault;
  if (!byNumber || survivesTrimming(value.number)) return DONE;
  return complain(REFUSED, "%s cannot become %s by its number: a byte of it would be taken for a blank%s", key.name,
                  word.c_str(), key.isNumberedOnly() ? "" : "; set it by its name");
}

bool fitsNumberedCall(const ConfigKey& key, const SettingValue& value) {
  if (key.number < 0 || fpConfig[key.number].set == nullptr) return false;
  return value.isNumber ? survivesTrimming(value.number) : !value.text.starts_with(' ') && !value.text.ends_with(' ');
}

ExitCode storeSetting(const ConfigKey& key, bool byNumber, const SettingValue& value) {
  SettingValue stored = value;
  void* const bytes = value.isNumber ? static_cast<void*>(&stored.number) : stored.text.data();
  const int size = value.isNumber ? static_cast<int>(sizeof stored.number) : static_cast<int>(stored.text.size()) + 1;
  const CallArgument shown = key.kind == KEY_SECRET ? maskedArgument()
                             : value.isNumber       ? CallArgument(value.number)
                                                    : CallArgument(value.text);
  const bool onlyShown = byNumber ? isOnlyShown("Nas1SetConfig", {key.number, size, shown})
                                  : isOnlyShown("NasSetConfig", {key.name, size, shown});
  if (onlyShown) return DONE;
  const int result = byNumber ? Nas1SetConfig(key.number, size, bytes) : NasSetConfig(key.name, size, bytes);
  if (result >= 0) return DONE;
  if (result == -3) return complain(READ_ONLY, "%s is read-only", key.name);
  if (isNameOfTheOther(key, value.text)) {
    return complain(REFUSED, "%s cannot be %s: CIFS and NCP must have different server names", key.name,
                    value.text.c_str());
  }
  const std::string what = std::string(key.name) + " could not be set";
  return explainFailure(kSystemFile, Use::change, what.c_str());
}
