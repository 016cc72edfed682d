// nas1 module: the add-on modules that are installed.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "calls.h"
#include "confirm.h"
#include "module_fields.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"

namespace {

struct Arguments {
  std::string name;
  std::string text;
  std::string command;
  bool replace = false;
  bool yes = false;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

std::vector<ModuleRecord> readModules() {
  std::vector<ModuleRecord> records(static_cast<std::size_t>(std::max(Nas1ModuleList(0, 0, nullptr, 0), 0)));
  if (records.empty()) return records;
  const int count = static_cast<int>(records.size());
  const int bytes = static_cast<int>(records.size() * sizeof(ModuleRecord));
  records.resize(static_cast<std::size_t>(std::max(Nas1ModuleList(0, count, records.data(), bytes), 0)));
  std::sort(records.begin(), records.end(), [](const auto& a, const auto& b) {
    return std::strncmp(a.description, b.description, sizeof a.description) < 0;
  });
  return records;
}

// Finds a module; complains when there is none.
ExitCode find(ModuleRecord& found) {
  if (const ExitCode fault = checkRecordFile(kModuleFile, Use::read); fault != DONE) return fault;
  for (const ModuleRecord& record : readModules()) {
    found = record;
    if (moduleName(record) == arguments.name) return DONE;
  }
  return complain(UNKNOWN_OBJECT, "there is no module %s; nas1 module list shows them", arguments.name.c_str());
}

ExitCode checkText(const char* what, const std::string& text, std::size_t size) {
  if (text.size() >= size)
    return complain(USAGE, "the %s has %zu characters; it may have %zu", what, text.size(), size - 1);
  return checkSafe(Field::freeText, what, text, arguments.allowUnsafe);
}

ExitCode add() {
  if (arguments.name.empty()) return complain(USAGE, "the name of the module is empty");
  if (const ExitCode fault = checkText("name", arguments.name, NAS_NAME_SIZE); fault != DONE) return fault;
  if (const ExitCode fault = checkText("description", arguments.text, kModuleTextSize); fault != DONE) return fault;
  if (const ExitCode fault = checkText("command", arguments.command, kModuleCommandSize); fault != DONE) return fault;
  const ModuleRecord record = moduleOf(arguments.name, arguments.text, arguments.command);
  const auto modules = readModules();
  const auto present = std::find_if(modules.begin(), modules.end(),
                                    [](const ModuleRecord& r) { return moduleName(r) == arguments.name; });
  if (arguments.replace && present != modules.end() && std::memcmp(&*present, &record, sizeof record) == 0)
    return unchanged();
  if (!arguments.replace && present != modules.end()) {
    return complain(REFUSED, "there is a module %s already; --replace changes it", arguments.name.c_str());
  }
  const char* const function = arguments.replace ? "Nas1ModuleMod" : "Nas1ModuleAdd";
  if (isOnlyShown(function, {describedArgument(arguments.name)})) return DONE;
  if ((arguments.replace ? Nas1ModuleMod(&record) : Nas1ModuleAdd(&record)) == 0) return DONE;
  return explainFailure(kModuleFile, Use::change, "the module could not be added");
}

ExitCode del() {
  ModuleRecord record = {};
  if (const ExitCode fault = find(record); fault != DONE) return fault;
  const std::string command = moduleCommand(record);
  if (!command.empty()) tell("the module %s is taken out by: %s", arguments.name.c_str(), command.c_str());
  if (!isConfirmed(arguments.yes)) return complain(REFUSED, "nothing was changed");
  if (isOnlyShown("Nas1ModuleDel", {arguments.name})) return DONE;
  if (Nas1ModuleDel(arguments.name.c_str()) == 0) return DONE;
  return explainFailure(kModuleFile, Use::change, "the module could not be deleted");
}

ExitCode list() {
  if (const ExitCode fault = checkRecordFile(kModuleFile, Use::read); fault != DONE) return fault;
  Listing listing = {"modules", {"name", "description", "removal_command"}, {}};
  for (const ModuleRecord& record : readModules())
    listing.rows.push_back({moduleName(record), moduleText(record), moduleCommand(record)});
  return printListing(arguments.output, listing);
}

ExitCode show() {
  ModuleRecord record = {};
  if (const ExitCode fault = find(record); fault != DONE) return fault;
  return printObject(
      arguments.output, "module",
      {{"name", moduleName(record)}, {"description", moduleText(record)}, {"removal_command", moduleCommand(record)}});
}

}  // namespace

void registerModule(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const addVerb = noun.add_subcommand("add", "Register a module");
  addVerb->add_option("NAME", arguments.name, "At most 31 characters")->required();
  addVerb->add_option("--description", arguments.text, "What it is, at most 203 characters");
  addVerb->add_option("--on-removal", arguments.command, "Shell command that takes it out, at most 127 characters");
  addVerb->add_flag("--replace", arguments.replace, "Replace what is registered under the name");
  addVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Allow control characters");
  addDryRunOption(*addVerb);
  addVerb->callback([&result] { result = add(); });

  CLI::App* const delVerb =
      noun.add_subcommand("del", "Run a module's removal command and delete it from the register");
  delVerb->add_option("NAME", arguments.name, "Name of the module")->required();
  delVerb->add_flag("--yes", arguments.yes, "Do not ask");
  addDryRunOption(*delVerb);
  delVerb->callback([&result] { result = del(); });

  CLI::App* const listVerb = noun.add_subcommand("list", "Print all modules");
  addOutputOptions(*listVerb, arguments.output);
  listVerb->callback([&result] { result = list(); });

  CLI::App* const showVerb = noun.add_subcommand("show", "Print one module");
  showVerb->add_option("NAME", arguments.name, "Name of the module")->required();
  addOutputOptions(*showVerb, arguments.output);
  showVerb->callback([&result] { result = show(); });
}
