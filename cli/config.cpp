// nas1 config: the appliance's settings. A name reaches a key as the named calls of the library do, a number as the
// numbered ones do, which tell every protocol.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "calls.h"
#include "config_keys.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "secret.h"
#include "settings.h"

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
  if (readSetting(*key, byNumber, value) < 0) {
    // Numbered keys have no default: nothing stored is no failure of anything.
    if (key->isNumberedOnly() && fpConfig[key->number].set != nullptr) {
      return complain(UNKNOWN_OBJECT, "%s was never set", key->name);
    }
    // Reading a setting for the first time stores its default.
    const std::string what = std::string(key->name) + " cannot be read";
    return explainFailure(kSystemFile, Use::change, what.c_str());
  }
  const Cell shown = shownCell(*key, value);
  if (!arguments.output.json && arguments.output.field.empty()) {
    printBare(shown);
    return DONE;
  }
  return printObject(
      arguments.output, "key",
      {{"name", key->name}, {"number", numberCell(*key)}, {"type", typeName(typeOf(*key).type)}, {"value", shown}});
}

ExitCode list() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  Listing listing = {"keys", {"name", "number", "type", "value"}, {}};
  for (const ConfigKey& key : configKeys()) {
    if (key.isNumberedOnly() && !arguments.all) continue;
    if (!std::string(key.name).starts_with(arguments.prefix)) continue;
    Cell value;
    (void)readSetting(key, key.isNumberedOnly(), value);
    listing.rows.push_back({key.name, numberCell(key), typeName(typeOf(key).type), shownCell(key, value)});
  }
  return printListing(arguments.output, listing);
}

ExitCode readNewSecret(const ConfigKey& key, int size, std::string& value) {
  if (arguments.value) {
    return complain(
        USAGE,
        "a password is not given on the command line, where others see it; leave %s's value out and type it, "
        "pipe it in or give --file",
        key.name);
  }
  return readSecret(key.name, arguments.file, static_cast<std::size_t>(size) - 1, value);
}

ExitCode readNewText(const ConfigKey& key, std::string& value) {
  if (!arguments.value) return complain(USAGE, "the new value of %s is missing", key.name);
  if (!arguments.file.empty()) return complain(USAGE, "--file is for passwords, and %s is none", key.name);
  value = *arguments.value;
  return DONE;
}

ExitCode set() {
  const ConfigKey* key;
  bool byNumber;
  if (const ExitCode fault = findConfigKey(arguments.key, key, byNumber); fault != DONE) return fault;
  if (isReadOnly(*key, byNumber)) return complain(READ_ONLY, "%s is read-only", key->name);
  std::string word;
  SettingValue value;
  Cell present;
  const ExitCode given =
      key->kind == KEY_SECRET ? readNewSecret(*key, typeOf(*key).size, word) : readNewText(*key, word);
  if (given != DONE) return given;
  if (const ExitCode fault = parseSetting(*key, byNumber, word, value); fault != DONE) return fault;
  if (const ExitCode fault = checkSafeSetting(key->name, word, arguments.allowUnsafe); fault != DONE) return fault;
  if (readSetting(*key, byNumber, present) >= 0 && present == value.cell(*key)) return unchanged();
  return storeSetting(*key, byNumber, value);
}

}  // namespace

void registerConfig(CLI::App& noun, ExitCode& result) {
  arguments = {};
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
  addDryRunOption(*setVerb);
  setVerb->callback([&result] { result = set(); });

  CLI::App* const listVerb = noun.add_subcommand("list", "Print all settings that have a name");
  listVerb->add_option("PREFIX", arguments.prefix, "Only keys that begin with it");
  listVerb->add_flag("--all", arguments.all, "Those with a number only too");
  addOutputOptions(*listVerb, arguments.output);
  addSecretsOption(*listVerb, arguments.output);
  listVerb->callback([&result] { result = list(); });
}
