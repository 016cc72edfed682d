// nas1 state: the whole state as one document, and back.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "calls.h"
#include "confirm.h"
#include "db_archive.h"
#include "input.h"
#include "interruption.h"
#include "nouns.h"
#include "progress.h"
#include "shares.h"
#include "state_changes.h"
#include "state_document.h"
#include "state_present.h"

namespace {

struct Arguments {
  std::string file;
  bool onlyChanged = false;
  bool withSecrets = false;
  bool json = false;  // changes nothing: the document is JSON
  bool yes = false;
  ImportOptions options;
};
Arguments arguments;

ExitCode exportState() {
  PresentState present;
  if (const ExitCode fault = readPresentState(present); fault != DONE) return fault;
  if (arguments.onlyChanged) dropDefaults(present);
  const std::string document = writeDocument(present.state, arguments.withSecrets);
  if (arguments.file.empty() || arguments.file == "-") {
    (void)std::fwrite(document.data(), 1, document.size(), stdout);
  } else if (!isDryRun()) {
    if (const ExitCode fault = writeAtomically(arguments.file, document); fault != DONE) return fault;
  }
  if (arguments.withSecrets) tell("the document holds passwords in clear");
  return DONE;
}

ExitCode makeAll(const std::vector<Change>& list) {
  for (const Change& change : list) {
    if (const ExitCode fault = change(); fault != DONE) return fault;
  }
  return DONE;
}

// Prints what is going to be done, as a dry run does.
ExitCode printPlan(const Changes& changes) {
  const bool dry = isDryRun();
  setDryRun(true);
  ExitCode result = makeAll(changes.first);
  if (result == DONE) result = makeAll(changes.always);
  setDryRun(dry);
  (void)std::fflush(stdout);
  return result;
}

ExitCode makeFirst(const Changes& changes) {
  const Interruption interruption;
  Progress progress("change", changes.first.size());
  std::size_t done = 0;
  for (const Change& change : changes.first) {
    progress.show(done);
    const ExitCode fault = change();
    if (fault != DONE) tell("of %zu changes %zu were made before that", changes.first.size(), done);
    if (fault != DONE) return fault;
    ++done;
    if (done == changes.first.size() || !interruption.hasCome()) continue;
    return complain(LIBRARY_FAILED, "interrupted: of %zu changes %zu were made; the same import makes the others",
                    changes.first.size(), done);
  }
  return DONE;
}

ExitCode make(const Changes& changes) {
  if (changes.concernShares) (void)EnableNas1ShareBatch(1);
  ExitCode result = makeFirst(changes);
  // Whatever became of the changes: nothing stays as it was for their time only, and the daemons learn of them.
  if (const ExitCode fault = makeAll(changes.always); result == DONE) result = fault;
  if (changes.concernShares) (void)EnableNas1ShareBatch(0);
  return result;
}

void tellNumbers(const Changes& changes) {
  if (changes.otherNumbers == 0) return;
  tell(
      "%zu users or groups have another number than in the document; what belongs to a number in the file systems "
      "does not follow",
      changes.otherNumbers);
}

ExitCode importState() {
  std::string content;
  State wanted;
  PresentState present;
  Changes changes;
  if (const ExitCode fault = readInput(arguments.file, content); fault != DONE) return fault;
  if (const ExitCode fault = readDocument(content, arguments.options.allowUnsafe, wanted); fault != DONE) return fault;
  content = {};
  if (const ExitCode fault = readPresentState(present); fault != DONE) return fault;
  if (const ExitCode fault = findChanges(wanted, present, arguments.options, changes); fault != DONE) return fault;
  if (changes.first.empty()) {
    tellNumbers(changes);
    return unchanged();
  }
  if (const ExitCode fault = printPlan(changes); fault != DONE || isDryRun()) return fault;
  if (!isConfirmed(arguments.yes)) return complain(REFUSED, "nothing was changed");
  const ExitCode result = make(changes);
  if (changes.concernShares) tellOfLeftExports();
  tellNumbers(changes);
  return result;
}

}  // namespace

void registerState(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const exportVerb = noun.add_subcommand("export", "Print or write the whole state as a JSON document");
  exportVerb->add_option("FILE", arguments.file, "Where to write it; standard output without it or for -");
  exportVerb->add_flag("--only-changed", arguments.onlyChanged, "Leave settings out that are as by default");
  exportVerb->add_flag("--with-secrets", arguments.withSecrets, "Export passwords, too");
  exportVerb->add_flag("--json", arguments.json, "Print JSON, as without it");
  exportVerb->callback([&result] { result = exportState(); });

  CLI::App* const importVerb = noun.add_subcommand("import", "Bring the appliance into the state of a document");
  importVerb->add_option("FILE", arguments.file, "The document; - for standard input")->required();
  importVerb->add_flag("--prune", arguments.options.prune, "Remove what the document does not list");
  importVerb->add_flag("--no-passwords", arguments.options.withoutPasswords,
                       "Make new users without a password where the document has none");
  importVerb->add_flag("--yes", arguments.yes, "Do not ask");
  importVerb->add_flag("--allow-unsafe", arguments.options.allowUnsafe,
                       "Hand values on that a shell or daemon may misread");
  addDryRunOption(*importVerb);
  importVerb->callback([&result] { result = importState(); });
}
