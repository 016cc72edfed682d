// nas1 config: the appliance's settings. A name reaches a key as the named calls of the library do, a number as the
// numbered ones do, which tell every protocol.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "config_keys.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "secret.h"
#include "values.h"

namespace {

struct Arguments {
  std::string key;
  std::optional<std::string> value;
  std::string file;
  std::string prefix;
  bool all = false;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

struct KeyType {
  int type;  // CFG_
  int size;  // bytes, of texts NUL included
};

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

std::string versionText(const char* record) {
  NasVersion version;
  std::memcpy(&version, record, sizeof version);
  char text[32];
  (void)std::snprintf(text, sizeof text, "%d.%02d.%.*s", version.majorNumber, version.minorNumber,
                      static_cast<int>(sizeof version.build), version.build);
  return text;
}

Cell valueCell(int type, const char* bytes) {
  std::uint32_t number;
  std::memcpy(&number, bytes, sizeof number);
  switch (type) {
    case CFG_INTEGER:
      return static_cast<long long>(number);
    case CFG_HEX: {
      char text[16];
      (void)std::snprintf(text, sizeof text, "0x%X", number);
      return text;
    }
    case CFG_RECORD:
      return versionText(bytes);
    default:
      return bytes;
  }
}

// Returns the library's result; the cell stays empty when it failed.
int readKey(const ConfigKey& key, bool byNumber, Cell& cell) {
  const int type = typeOf(key).type;
  char bytes[1024] = {};
  const int room = type == CFG_INTEGER || type == CFG_HEX ? 4
                   : type == CFG_RECORD                   ? static_cast<int>(sizeof(NasVersion))
                                                          : 1023;
  int length = 0;
  const int result =
      byNumber ? Nas1GetConfig(key.number, room, bytes, &length) : NasGetConfig(key.name, room, bytes, &length);
  if (result >= 0) cell = valueCell(type, bytes);
  return result;
}

Cell shownCell(const ConfigKey& key, const Cell& cell) {
  const auto* const text = std::get_if<std::string>(&cell);
  return key.kind == KEY_SECRET && text != nullptr ? secretCell(arguments.output, *text) : cell;
}

Cell numberCell(const ConfigKey& key) { return key.number < 0 ? Cell() : Cell(static_cast<long long>(key.number)); }

ExitCode get() {
  const ConfigKey* key;
  bool byNumber;
  if (const ExitCode fault = findConfigKey(arguments.key, key, byNumber); fault != DONE) return fault;
  // An unreadable record file would look like settings that were never made.
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  Cell value;
  if (readKey(*key, byNumber, value) < 0) {
    // Numbered keys have no default: nothing stored is no failure of anything.
    if (key->isNumberedOnly() && fpConfig[key->number].set != nullptr) {
      return complain(UNKNOWN_OBJECT, "%s was never set", key->name);
    }
    // Reading a setting for the first time stores its default.
    const std::string what = std::string(key->name) + " cannot be read";
    return explainFailure(kSystemFile, Use::change, what.c_str());
  }
  const Cell shown = shownCell(*key, value);
  if (arguments.output.json) {
    printObject(
        arguments.output, "key",
        {{"name", key->name}, {"number", numberCell(*key)}, {"type", typeName(typeOf(*key).type)}, {"value", shown}});
  } else {
    printBare(shown);
  }
  return DONE;
}

ExitCode list() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  Listing listing = {"keys", {"name", "number", "type", "value"}, {}};
  for (const ConfigKey& key : configKeys()) {
    if (key.isNumberedOnly() && !arguments.all) continue;
    if (!std::string(key.name).starts_with(arguments.prefix)) continue;
    Cell value;
    (void)readKey(key, key.isNumberedOnly(), value);
    listing.rows.push_back({key.name, numberCell(key), typeName(typeOf(key).type), shownCell(key, value)});
  }
  printListing(arguments.output, listing);
  return DONE;
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

int store(const ConfigKey& key, bool byNumber, int size, void* value) {
  return byNumber ? Nas1SetConfig(key.number, size, value) : NasSetConfig(key.name, size, value);
}

// The two name services of one machine must not be mixed up: the library refuses a name that the other one has.
bool isNameOfTheOther(const ConfigKey& key, const std::string& value) {
  const bool cifs = std::strcmp(key.name, "CIFS_SERVER_NAME") == 0;
  if (!cifs && std::strcmp(key.name, "NCP_SERVER_NAME") != 0) return false;
  char other[64] = {};
  return NasGetConfig(cifs ? "NCP_SERVER_NAME" : "CIFS_SERVER_NAME", sizeof other - 1, other, nullptr) >= 0 &&
         value == other;
}

ExitCode explainSet(const ConfigKey& key, int result, const std::string& value) {
  if (result >= 0) return DONE;
  if (result == -3) return complain(READ_ONLY, "%s is read-only", key.name);
  if (isNameOfTheOther(key, value)) {
    return complain(REFUSED, "%s cannot be %s: CIFS and NCP must have different server names", key.name, value.c_str());
  }
  const std::string what = std::string(key.name) + " could not be set";
  return explainFailure(kSystemFile, Use::change, what.c_str());
}

// The numbered call trims blanks even off integers: a byte of 0x20 at an end of one is lost.
bool survivesTrimming(std::uint32_t number) {
  char bytes[sizeof number + 1] = {};
  std::memcpy(bytes, &number, sizeof number);
  Nas1Remove_ht_space(bytes);
  return std::memcmp(bytes, &number, sizeof number) == 0;
}

ExitCode setNumber(const ConfigKey& key, bool byNumber, int type, const std::string& word) {
  std::uint32_t number = 0;
  if (const ExitCode fault = parseNumber(key, type, word, number); fault != DONE) return fault;
  if (byNumber && !survivesTrimming(number)) {
    return complain(REFUSED, "%s cannot become %s by its number: a byte of it would be taken for a blank%s", key.name,
                    word.c_str(), key.isNumberedOnly() ? "" : "; set it by its name");
  }
  return explainSet(key, store(key, byNumber, sizeof number, &number), word);
}

ExitCode setText(const ConfigKey& key, bool byNumber, int size, std::string text) {
  if (text.size() >= static_cast<std::size_t>(size)) {
    return complain(USAGE, "%s takes at most %d characters, not %zu", key.name, size - 1, text.size());
  }
  const std::string given = text;
  return explainSet(key, store(key, byNumber, static_cast<int>(text.size()) + 1, text.data()), given);
}

ExitCode readNewSecret(const ConfigKey& key, int size, std::string& value) {
  if (arguments.value) {
    return complain(
        USAGE,
        "a password is not given on the command line, where others see it; leave %s's value out and type it, "
        "pipe it in or give --file",
        key.name);
  }
  if (const ExitCode fault = readSecret(key.name, arguments.file, static_cast<std::size_t>(size) - 1, value);
      fault != DONE)
    return fault;
  return checkSafe(Target::freeText, key.name, value, arguments.allowUnsafe);
}

ExitCode readNewText(const ConfigKey& key, std::string& value) {
  if (!arguments.value) return complain(USAGE, "the new value of %s is missing", key.name);
  if (!arguments.file.empty()) return complain(USAGE, "--file is for passwords, and %s is none", key.name);
  value = *arguments.value;
  return checkSafe(key.kind == KEY_FREE_TEXT ? Target::freeText : Target::setting, key.name, value,
                   arguments.allowUnsafe);
}

ExitCode set() {
  const ConfigKey* key;
  bool byNumber;
  if (const ExitCode fault = findConfigKey(arguments.key, key, byNumber); fault != DONE) return fault;
  const KeyType type = typeOf(*key);
  // By number the library takes a read-only key for done.
  if (type.type == CFG_RECORD || (byNumber && fpConfig[key->number].set == nullptr)) return explainSet(*key, -3, "");
  std::string value;
  const ExitCode fault = key->kind == KEY_SECRET ? readNewSecret(*key, type.size, value) : readNewText(*key, value);
  if (fault != DONE) return fault;
  const bool number = type.type == CFG_INTEGER || type.type == CFG_HEX;
  return number ? setNumber(*key, byNumber, type.type, value) : setText(*key, byNumber, type.size, value);
}

}  // namespace

void registerConfig(CLI::App& noun, ExitCode& result) {
  CLI::App* const getVerb = noun.add_subcommand("get", "Print a setting");
  getVerb->add_option("KEY", arguments.key, "Name or number")->required();
  addOutputOptions(*getVerb, arguments.output);
  addSecretsOption(*getVerb, arguments.output);
  getVerb->callback([&result] { result = get(); });

  CLI::App* const setVerb = noun.add_subcommand("set", "Change a setting");
  setVerb->add_option("KEY", arguments.key, "Name or number; by number every protocol is told")->required();
  setVerb->add_option("VALUE", arguments.value, "New value; passwords are typed, piped in or read from --file");
  setVerb->add_option("--file", arguments.file, "File whose first line is the new password");
  setVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a value on that a shell or daemon may misread");
  setVerb->callback([&result] { result = set(); });

  CLI::App* const listVerb = noun.add_subcommand("list", "Print all settings that have a name");
  listVerb->add_option("PREFIX", arguments.prefix, "Only keys that begin with it");
  listVerb->add_flag("--all", arguments.all, "Those with a number only too");
  addOutputOptions(*listVerb, arguments.output);
  addSecretsOption(*listVerb, arguments.output);
  listVerb->callback([&result] { result = list(); });
}
