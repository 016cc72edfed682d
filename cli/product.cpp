// nas1 product: short texts that whoever builds a product on the appliance keeps with its settings.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <string>

#include "calls.h"
#include "config_keys.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"

namespace {

struct Arguments {
  std::string key;
  std::string text;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

constexpr std::size_t kMostCharacters = NAS_PRODUCT_TEXT_SIZE - 1;
constexpr std::size_t kMostKeyCharacters = 63;

std::string readText() {
  char text[NAS_PRODUCT_TEXT_SIZE] = {};
  (void)Nas1GetProductConfig(arguments.key.c_str(), text);
  return fieldText(text, sizeof text);
}

// One key names one record: a product's text must neither replace a setting nor show a password.
ExitCode checkKey() {
  if (arguments.key.empty()) return complain(USAGE, "the key is empty");
  if (arguments.key.size() > kMostKeyCharacters) {
    return complain(USAGE, "the key has %zu characters; it may have %zu", arguments.key.size(), kMostKeyCharacters);
  }
  if (isOwnRecord(arguments.key)) {
    return complain(REFUSED, "%s is a record of the appliance itself; nas1 config and nas1 snapshot are for those",
                    arguments.key.c_str());
  }
  return checkSafe(Field::freeText, "key", arguments.key, arguments.allowUnsafe);
}

ExitCode get() {
  if (const ExitCode fault = checkKey(); fault != DONE) return fault;
  // An unreadable record file would look like a text that was never set.
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  const std::string text = readText();
  if (arguments.output.json || !arguments.output.field.empty())
    return printObject(arguments.output, "product", {{"key", arguments.key}, {"text", text}});
  printBare(text);
  return DONE;
}

ExitCode set() {
  if (const ExitCode fault = checkKey(); fault != DONE) return fault;
  if (arguments.text.size() > kMostCharacters) {
    return complain(USAGE, "the text has %zu characters; it may have %zu", arguments.text.size(), kMostCharacters);
  }
  if (const ExitCode fault = checkSafe(Field::freeText, "text", arguments.text, arguments.allowUnsafe); fault != DONE)
    return fault;
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::change); fault != DONE) return fault;
  if (readText() == arguments.text) return unchanged();
  const int size = static_cast<int>(arguments.text.size()) + 1;
  if (isOnlyShown("Nas1SetProductConfig", {arguments.key, size, arguments.text})) return DONE;
  const int result = Nas1SetProductConfig(arguments.key.c_str(), size, arguments.text.c_str());
  if (result == 0 && readText() == arguments.text) return DONE;
  return explainFailure(kSystemFile, Use::change, "the text could not be stored");
}

}  // namespace

void registerProduct(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const getVerb = noun.add_subcommand("get", "Print a text");
  getVerb->add_option("KEY", arguments.key, "Its name, of your own choice")->required();
  addOutputOptions(*getVerb, arguments.output);
  getVerb->callback([&result] { result = get(); });

  CLI::App* const setVerb = noun.add_subcommand("set", "Store a text");
  setVerb->add_option("KEY", arguments.key, "Its name, of your own choice")->required();
  setVerb->add_option("TEXT", arguments.text, "At most 50 characters; an empty one for none")->required();
  setVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Allow control characters");
  addDryRunOption(*setVerb);
  setVerb->callback([&result] { result = set(); });
}
