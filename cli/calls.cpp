#include "calls.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "output.h"
#include "progress.h"

static bool dryRun = false;

// As a text of the language that the call is written in.
static std::string quoted(const std::string& text) {
  std::string spelled = "\"";
  for (const char c : visible(text)) {
    if (c == '"') spelled += '\\';
    spelled += c;
  }
  return spelled + '"';
}

CallArgument::CallArgument(const std::string& text) : spelled(quoted(text)) {}
CallArgument::CallArgument(const char* text) : spelled(quoted(text)) {}

CallArgument describedArgument(const std::string& words) {
  CallArgument argument(0);
  argument.spelled = "{" + visible(words) + "}";
  return argument;
}

CallArgument maskedArgument() { return {"********"}; }

void addDryRunOption(CLI::App& verb) { verb.add_flag("--dry-run", dryRun, "Change nothing; show what would be done"); }

bool isDryRun() { return dryRun; }

void setDryRun(bool dry) { dryRun = dry; }

bool isOnlyShown(const char* function, std::initializer_list<CallArgument> arguments) {
  if (!dryRun) return false;
  std::string call = function;
  const char* before = "(";
  for (const CallArgument& argument : arguments) {
    call += before + argument.spelled;
    before = ", ";
  }
  clearProgress();
  (void)std::puts((call + (arguments.size() == 0 ? "()" : ")")).c_str());
  return true;
}
