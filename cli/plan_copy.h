#pragma once
// A throw-away copy of the appliance's state, in which a command can run without any consequence. It is a view of the
// machine of its own, in which nothing can be written but copies:
//   - the folders with settings, record files and generated files are copied;
//   - of the volumes the folders that matter are there, empty;
//   - everything else can only be read;
//   - shell commands are noted down; only those that do nothing but look at files or make folders are run;
//   - the driver is a stand-in that notes requests down, and signals go nowhere.

#include <sys/types.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "db_records.h"
#include "errors.h"

struct CopiedFile {
  mode_t mode;
  std::string content;  // of a link its target

  auto operator<=>(const CopiedFile&) const = default;
};
using CopiedFiles = std::map<std::string, CopiedFile>;  // by path; record files are not among them

struct CopyRun {
  int exitCode = 0;
  std::vector<RecordSet> recordsBefore;
  std::vector<RecordSet> recordsAfter;
  CopiedFiles filesBefore;
  CopiedFiles filesAfter;
  std::set<std::string> foldersBefore;
  std::set<std::string> foldersAfter;
  std::vector<std::string> commands;  // in order; a text that begins with a mark: '+' run in the copy, '-' not run
  std::vector<std::string> requests;  // to the driver
};

// Runs `work` as a process of its own in a copy, then `report`, which still sees the copy.
//   paths   what `work` may be about, besides the paths of the shares
//   work    returns the exit code
// Returns what `report` returns, or complains when there can be no copy.
ExitCode runInCopy(const std::vector<std::string>& paths, const std::function<int()>& work,
                   const std::function<ExitCode(const CopyRun&)>& report);

// In the copy this program stands in the shell's place: whether it was called so, and doing its work then.
bool isShellOfCopy(int argc, char** argv);
int runAsShellOfCopy(const char* command);
