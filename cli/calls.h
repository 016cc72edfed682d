#pragma once
// The calls that change something. With --dry-run they are printed instead of made.

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <string>

namespace CLI {
class App;
}

// Adds --dry-run to a verb that changes something.
void addDryRunOption(CLI::App& verb);
bool isDryRun();
// For commands that carry out others: the option holds for all of them.
void setDryRun(bool dry);

// An argument of a call as it is printed.
struct CallArgument {
  std::string spelled;

  CallArgument(const std::string& text);
  CallArgument(const char* text);
  CallArgument(std::nullptr_t) : spelled("NULL") {}
  template <std::integral Number>
  CallArgument(Number number) : spelled(std::to_string(number)) {}
};

// A password, and a record or list in words of its own.
CallArgument maskedArgument();
CallArgument describedArgument(const std::string& words);

// Prints a call when it is not to be made. Returns whether that is so:
//   if (isOnlyShown("Nas1ShareDel", {name})) return DONE;
bool isOnlyShown(const char* function, std::initializer_list<CallArgument> arguments);
