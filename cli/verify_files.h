#pragma once
// The files that the library generates for the daemons: what they hold, and what they would hold if they were made
// anew.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "errors.h"

inline constexpr char kExports[] = "/etc/exports";

// One thing that is not as the databases have it.
struct Difference {
  std::string where;     // a file, or a daemon
  std::string what;      // in there
  std::string expected;  // empty: it should not be there
  std::string found;     // empty: it is not there

  auto operator<=>(const Difference&) const = default;
};
using Differences = std::set<Difference>;

// Makes files anew through the library, for differences in these places; with --dry-run only prints the calls.
// Returns DONE, or complains.
ExitCode rebuild(const std::set<std::string>& places);

// What each generated file should hold, found out by making it anew in a copy of the appliance.
using Contents = std::map<std::string, std::string>;  // by path
ExitCode expectedContents(Contents& expected);

// Differences between the files as they are and these contents. `left` receives what is not compared, and why.
void compareFiles(const Contents& expected, Differences& differences, std::vector<std::string>& left);

// The entries of a generated file: what each of them is about, and the rest of it.
std::map<std::string, std::string> entriesOf(const std::string& content);
