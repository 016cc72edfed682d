// nas1 db: the record files themselves: check, repair, compact, back up, restore.

#include <gdbm.h>
#include <nas1api.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "calls.h"
#include "confirm.h"
#include "db_archive.h"
#include "db_check.h"
#include "db_mend.h"
#include "db_records.h"
#include "db_replace.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "shares.h"

namespace {

struct Arguments {
  std::string path;
  bool leftovers = false;
  bool yes = false;
  Output output;
};
Arguments arguments;

ExitCode check() {
  std::vector<Finding> findings;
  if (const ExitCode fault = checkRecords(findings); fault != DONE) return fault;
  Listing listing = {"findings", {"file", "record", "finding"}, {}};
  for (const Finding& f : findings) listing.rows.push_back({shortName(*f.file), keyText(f.key), f.text});
  if (const ExitCode fault = printFindings(arguments.output, listing); fault != DONE) return fault;
  if (!findings.empty()) {
    return complain(DAMAGED, "%zu finding%s; nas1 db repair --dry-run shows what can be done", findings.size(),
                    findings.size() == 1 ? "" : "s");
  }
  tell("the record files are sound");
  return DONE;
}

// ---- Repair

using Rows = std::vector<std::vector<Cell>>;

ExitCode repairFiles(const std::vector<Finding>& findings, Rows& rows) {
  for (const RecordFileEntry& file : recordFiles) {
    const bool isFaulty = std::any_of(findings.begin(), findings.end(),
                                      [&](const Finding& f) { return f.file == &file && f.rule <= RULE_UNSOUND; });
    if (!isFaulty) continue;
    Repair repair;
    if (const ExitCode fault = repairFile(file, repair); fault != DONE) return fault;
    rows.push_back(
        {shortName(file), "", std::to_string(repair.saved) + " records saved; it was kept as " + repair.keptAs});
    if (repair.unreadable != 0) {
      rows.push_back({shortName(file), "",
                      "unreadable: " + std::to_string(repair.unreadable) +
                          (repair.unreadable == 1 ? " place: " : " places, the first: ") + repair.firstUnreadable +
                          "; a record that was nowhere else is lost"});
    }
    for (const std::string& lost : repair.lost) rows.push_back({shortName(file), "", "lost: " + lost});
    tell("%s was repaired; nas1 verify --repair lets the daemons follow", file.path);
  }
  return DONE;
}

ExitCode mendLeftovers(Rows& rows) {
  std::vector<Finding> findings;
  if (const ExitCode fault = checkRecords(findings); fault != DONE) return fault;
  for (const Finding& f : findings) {
    std::string done;
    if (!mend(f, done)) return explainFailure(f.file->path, Use::change, "the record could not be changed");
    rows.push_back({shortName(*f.file), keyText(f.key), f.text + ": " + done});
  }
  return DONE;
}

void showPlan(const std::vector<Finding>& findings, Rows& rows) {
  for (const Finding& f : findings) {
    if (f.rule > RULE_UNSOUND && !arguments.leftovers) continue;
    rows.push_back({shortName(*f.file), keyText(f.key), f.text + ": " + remedy(f.rule)});
  }
}

ExitCode repair() {
  std::vector<Finding> findings;
  if (const ExitCode fault = checkRecords(findings); fault != DONE) return fault;
  Listing listing = {"repairs", {"file", "record", "repair"}, {}};
  ExitCode result = DONE;
  if (isDryRun()) {
    showPlan(findings, listing.rows);
  } else {
    result = repairFiles(findings, listing.rows);
    if (result == DONE && arguments.leftovers) result = mendLeftovers(listing.rows);
  }
  if (const ExitCode fault = printFindings(arguments.output, listing); fault != DONE) return fault;
  if (result == DONE && listing.rows.empty()) {
    tell(findings.empty() ? "the record files are sound" : "no file is damaged; --leftovers mends the rest");
  }
  return result;
}

// ---- Compact

long long bytesOf(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 ? static_cast<long long>(status.st_size) : 0;
}

// A file that is damaged would lose what cannot be reached.
ExitCode checkSound(const RecordFileEntry& file, RecordSet& set) {
  if (const ExitCode fault = readRecordSet(file, set); fault != DONE) return fault;
  if (set.fault.empty()) return DONE;
  return complain(DAMAGED, "%s is damaged (%s); nas1 db repair mends it", file.path, set.fault.c_str());
}

ExitCode compactFile(const RecordFileEntry& file) {
  if (const ExitCode fault = checkRecordFile(file.path, Use::change); fault != DONE) return fault;
  GDBM_FILE const db = gdbm_open(file.path, 0, GDBM_WRITER | GDBM_CLOEXEC, 0, nullptr);
  if (db == nullptr) return explainFailure(file.path, Use::change, "the file could not be opened");
  const bool isCompact = gdbm_reorganize(db) == 0 && gdbm_sync(db) == 0;
  const std::string reason = isCompact ? "" : gdbm_db_strerror(db);
  (void)gdbm_close(db);
  return isCompact ? DONE : complain(LIBRARY_FAILED, "%s could not be compacted: %s", file.path, reason.c_str());
}

ExitCode compact() {
  Listing listing = {"files", {"file", "records", "bytes_before", "bytes_after"}, {}};
  ExitCode result = DONE;
  for (const RecordFileEntry& file : recordFiles) {
    RecordSet set;
    result = checkSound(file, set);
    const long long before = bytesOf(file.path);
    if (result == DONE && set.exists && !isDryRun()) result = compactFile(file);
    if (result != DONE) break;
    if (!set.exists) continue;
    listing.rows.push_back({shortName(file), static_cast<long long>(set.records.size()), before, Cell()});
    if (!isDryRun()) listing.rows.back().back() = bytesOf(file.path);
  }
  if (const ExitCode fault = printListing(arguments.output, listing); fault != DONE) return fault;
  return result;
}

// ---- Backup

std::size_t countOf(const std::vector<RecordSet>& sets) {
  std::size_t count = 0;
  for (const RecordSet& set : sets) count += set.records.size();
  return count;
}

ExitCode backUp() {
  if (arguments.path == "-")
    return complain(USAGE, "a backup is not for standard output; give a file, ./- for one of that name");
  std::vector<RecordSet> sets;
  if (const ExitCode fault = readRecordSets(sets); fault != DONE) return fault;
  if (const ExitCode fault = refuseDamage(sets); fault != DONE) return fault;
  if (isDryRun()) return DONE;
  if (const ExitCode fault = writeAtomically(arguments.path, archiveOf(sets)); fault != DONE) return fault;
  tell("%zu records are in %s; it holds passwords in clear", countOf(sets), arguments.path.c_str());
  return DONE;
}

ExitCode readBackup(std::vector<RecordSet>& sets) {
  std::ifstream file(arguments.path, std::ios::binary);
  // Reading a folder would be an exception.
  std::error_code ignored;
  if (!file || std::filesystem::is_directory(arguments.path, ignored))
    return complain(UNKNOWN_OBJECT, "the backup %s cannot be read", arguments.path.c_str());
  const std::string archive{std::istreambuf_iterator<char>(file), {}};
  std::string fault;
  if (!readArchive(archive, sets, fault)) {
    return complain(REFUSED, "the backup %s is not restored: %s", arguments.path.c_str(), fault.c_str());
  }
  return refuseDamage(sets);
}

void addDifferences(const RecordSet& now, const RecordSet& then, Listing& listing) {
  long long added = 0;
  long long changed = 0;
  long long removed = 0;
  for (const auto& [key, value] : then.records) {
    const auto found = now.records.find(key);
    if (found == now.records.end())
      ++added;
    else if (found->second != value)
      ++changed;
  }
  for (const auto& [key, value] : now.records) removed += then.records.contains(key) ? 0 : 1;
  if (added + changed + removed != 0) listing.rows.push_back({shortName(*now.file), added, changed, removed});
}

void makeMissingFolders() {
  for (const Share& share : allShares()) {
    if (share.path.empty() || access(share.path.c_str(), F_OK) == 0) continue;
    if (checkSafe(Field::removedFolder, "path", share.path, false) != DONE) continue;
    (void)Nas1SysMkdir(share.path.c_str());
    tell("the folder %s of the share %s was made anew: a backup holds records, not files", share.path.c_str(),
         share.name.c_str());
  }
}

ExitCode restore() {
  std::vector<RecordSet> sets;
  std::vector<RecordSet> present;
  if (const ExitCode fault = readBackup(sets); fault != DONE) return fault;
  if (const ExitCode fault = readRecordSets(present); fault != DONE) return fault;
  Listing listing = {"files", {"file", "added", "changed", "removed"}, {}};
  for (std::size_t i = 0; i < sets.size(); ++i) addDifferences(present[i], sets[i], listing);
  if (const ExitCode fault = printListing(arguments.output, listing); fault != DONE) return fault;
  if (isDryRun()) return DONE;
  tell("all %zu records are replaced by those of %s", countOf(present), arguments.path.c_str());
  if (!isConfirmed(arguments.yes)) return complain(REFUSED, "nothing was changed");
  if (const ExitCode fault = replaceRecordSets(sets); fault != DONE) return fault;
  makeMissingFolders();
  (void)EnableNas1ShareBatch(1);
  (void)EnableNas1ShareBatch(0);
  tell("the file services follow; settings of network and time do when the appliance starts again");
  return DONE;
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

}  // namespace

void registerDb(CLI::App& noun, ExitCode& result) {
  arguments = {};
  addOutputOptions(*addVerb(noun, result, "check", "Look for damaged files, broken records and loose ends", check),
                   arguments.output);

  CLI::App* const repairVerb = addVerb(noun, result, "repair", "Recover damaged files; they are kept beside", repair);
  repairVerb->add_flag("--leftovers", arguments.leftovers, "Mend records that do not fit together, too");
  addDryRunOption(*repairVerb);
  addOutputOptions(*repairVerb, arguments.output);

  CLI::App* const compactVerb = addVerb(noun, result, "compact", "Give unused space in the files back", compact);
  addDryRunOption(*compactVerb);
  addOutputOptions(*compactVerb, arguments.output);

  CLI::App* const backupVerb = addVerb(noun, result, "backup", "Write all records into one file", backUp);
  backupVerb->add_option("FILE", arguments.path, "The backup")->required();

  CLI::App* const restoreVerb = addVerb(noun, result, "restore", "Replace all records by those of a backup", restore);
  restoreVerb->add_option("FILE", arguments.path, "The backup")->required();
  restoreVerb->add_flag("--yes", arguments.yes, "Do not ask");
  addDryRunOption(*restoreVerb);
  addOutputOptions(*restoreVerb, arguments.output);
}
