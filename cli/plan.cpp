// nas1 plan: what a command would change, found out by running it in a throw-away copy of the appliance's state.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "command_line.h"
#include "nouns.h"
#include "output.h"
#include "plan_copy.h"
#include "record_fields.h"
#include "text_diff.h"

namespace {

struct Arguments {
  std::string noun;
  std::vector<std::string> command;
  Output output;
};
Arguments arguments;

// What they are about is not in the copy.
constexpr const char* unplannable[] = {"plan", "verify", "completion", "conn", "log"};

struct Change {
  const char* kind;
  std::string object;
  std::string change;
};
using Changes = std::vector<Change>;

// ---- What has changed

void addRecords(const RecordSet& before, const RecordSet& after, Changes& changes) {
  Records all = before.records;
  all.insert(after.records.begin(), after.records.end());
  const auto valueIn = [](const RecordSet& set, const std::string& key) {
    const auto found = set.records.find(key);
    return found == set.records.end() ? "" : found->second;
  };
  for (const auto& [key, ignored] : all) {
    const std::string old = valueIn(before, key);
    const std::string current = valueIn(after, key);
    if (old == current) continue;
    const char* const what = old.empty() ? "added" : current.empty() ? "removed" : "changed";
    const std::string fields = recordChange(before.file->kind, key, old, current, arguments.output.secrets);
    changes.push_back(
        {"record", shortName(*before.file) + " " + keyText(key), what + (fields.empty() ? "" : ": " + fields)});
  }
}

void addFile(const std::string& path, const CopiedFile* before, const CopiedFile* after, Changes& changes) {
  const char* const what = before == nullptr ? "added" : after == nullptr ? "removed" : "changed";
  changes.push_back({"file", path, what});
  const std::string old = before == nullptr ? "" : before->content;
  const std::string current = after == nullptr ? "" : after->content;
  if ((old + current).find('\0') != std::string::npos) return;
  for (const std::string& line : diffLines(old, current)) changes.push_back({"file", path, line});
}

void addFiles(const CopyRun& run, Changes& changes) {
  CopiedFiles all = run.filesBefore;
  all.insert(run.filesAfter.begin(), run.filesAfter.end());
  for (const auto& [path, ignored] : all) {
    const auto before = run.filesBefore.find(path);
    const auto after = run.filesAfter.find(path);
    const bool wasThere = before != run.filesBefore.end();
    const bool isThere = after != run.filesAfter.end();
    if (wasThere && isThere && before->second == after->second) continue;
    addFile(path, wasThere ? &before->second : nullptr, isThere ? &after->second : nullptr, changes);
  }
}

void addFolders(const std::set<std::string>& before, const std::set<std::string>& after, Changes& changes) {
  for (const std::string& path : after) {
    if (!before.contains(path)) changes.push_back({"folder", path, "made"});
  }
  for (const std::string& path : before) {
    if (!after.contains(path)) changes.push_back({"folder", path, "removed with all that is in it"});
  }
}

Changes changesOf(const CopyRun& run) {
  Changes changes;
  for (std::size_t i = 0; i < run.recordsBefore.size(); ++i) {
    addRecords(run.recordsBefore[i], run.recordsAfter[i], changes);
  }
  addFiles(run, changes);
  addFolders(run.foldersBefore, run.foldersAfter, changes);
  for (const std::string& command : run.commands) changes.push_back({"command", command.substr(1), "run"});
  for (const std::string& request : run.requests) changes.push_back({"request", request, "sent to the driver"});
  return changes;
}

// ---- Printing

// Diffs go under the name of their file.
void printForPerson(const Changes& changes) {
  std::string section;
  for (const Change& change : changes) {
    if (section != change.kind) {
      (void)std::printf("%s%ss\n", section.empty() ? "" : "\n", change.kind);
      section = change.kind;
    }
    const std::string object = visible(change.object);
    const std::string text = visible(change.change);
    if (section == "command" || section == "request") {
      (void)std::printf("  %s\n", object.c_str());
    } else if (section == "file" && std::strchr("@ +-", change.change[0]) != nullptr) {
      (void)std::printf("    %s\n", text.c_str());
    } else {
      (void)std::printf("  %s: %s\n", object.c_str(), text.c_str());
    }
  }
}

ExitCode print(const Changes& changes) {
  if (isForPerson(arguments.output)) {
    printForPerson(changes);
    return DONE;
  }
  Listing listing = {"changes", {"kind", "object", "change"}, {}};
  for (const Change& change : changes) listing.rows.push_back({change.kind, change.object, change.change});
  return printListing(arguments.output, listing);
}

ExitCode report(const CopyRun& run) {
  const Changes changes = changesOf(run);
  if (const ExitCode fault = print(changes); fault != DONE) return fault;
  if (run.exitCode != DONE) {
    return complain(static_cast<ExitCode>(run.exitCode), "the command fails with exit code %d%s", run.exitCode,
                    changes.empty() ? " and changes nothing" : "; up to then it does what is shown");
  }
  if (changes.empty()) tell("the command changes nothing");
  return DONE;
}

int runCommand() { return runCommandLine(arguments.command); }

ExitCode plan() {
  const std::string& noun = arguments.noun;
  if (findNoun(noun) == nullptr) return complain(USAGE, "there is no noun %s; nas1 --help lists them", noun.c_str());
  if (std::find(std::begin(unplannable), std::end(unplannable), noun) != std::end(unplannable)) {
    return complain(USAGE, "nas1 %s cannot be planned: what it is about is in no file", noun.c_str());
  }
  return runInCopy(arguments.command, runCommand, report);
}

}  // namespace

void registerPlan(CLI::App& noun, ExitCode& result) {
  arguments = {};
  addOutputOptions(noun, arguments.output);
  addSecretsOption(noun, arguments.output);
  noun.add_option("COMMAND", arguments.noun, "The command without nas1, and whatever it takes")->required();
  // From its second word on everything belongs to the command that is planned.
  noun.prefix_command();
  noun.callback([&noun, &result] {
    arguments.command = {arguments.noun};
    const std::vector<std::string> rest = noun.remaining();
    arguments.command.insert(arguments.command.end(), rest.begin(), rest.end());
    result = plan();
  });
}
