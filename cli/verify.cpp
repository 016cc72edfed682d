// nas1 verify: whether the generated files and the running daemons are as the databases have it.

#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "calls.h"
#include "db_check.h"
#include "nouns.h"
#include "output.h"
#include "verify_daemons.h"
#include "verify_files.h"

namespace {

struct Arguments {
  bool repair = false;
  Output output;
};
Arguments arguments;

// Daemons read their files again at their leisure.
constexpr int kLooks = 10;
constexpr unsigned kPauseUs = 300'000;

struct Look {
  Contents expected;
  Differences differences;
  std::vector<std::string> left;  // what is not compared, and why
};

ExitCode lookOnce(Look& look) {
  if (const ExitCode fault = expectedContents(look.expected); fault != DONE) return fault;
  compareFiles(look.expected, look.differences, look.left);
  compareDaemons(look.expected.at(kExports), look.differences, look.left);
  return DONE;
}

// Another process may be half way through a change: what is gone when looked at again was that.
ExitCode lookTwice(Look& look) {
  if (const ExitCode fault = lookOnce(look); fault != DONE) return fault;
  if (look.differences.empty()) return DONE;
  Look again;
  if (const ExitCode fault = lookOnce(again); fault != DONE) return fault;
  std::erase_if(look.differences, [&](const Difference& d) { return !again.differences.contains(d); });
  look.expected = again.expected;
  return DONE;
}

ExitCode repair(const Look& look, Differences& remaining) {
  std::set<std::string> places;
  for (const Difference& d : look.differences) places.insert(d.where);
  if (const ExitCode fault = rebuild(places); fault != DONE || isDryRun()) return fault;
  for (int i = 0; i < kLooks; ++i) {
    if (i > 0) (void)usleep(kPauseUs);
    remaining.clear();
    std::vector<std::string> ignored;
    compareFiles(look.expected, remaining, ignored);
    compareDaemons(look.expected.at(kExports), remaining, ignored);
    if (remaining.empty()) break;
  }
  return DONE;
}

// Whether the shell knows the test for a file that the library writes into its commands.
bool shellKnowsTest() { return Nas1System("[ -a / ] 2>/dev/null") == 0; }

Cell orNothing(const std::string& text) { return text.empty() ? Cell() : Cell(text); }

// Files made from records that cannot be read would lack shares, or open them to everybody.
ExitCode checkAllRecords() {
  std::vector<RecordSet> sets;
  if (const ExitCode fault = readRecordSets(sets); fault != DONE) return fault;
  return refuseDamage(sets);
}

ExitCode verify() {
  if (const ExitCode fault = checkAllRecords(); fault != DONE) return fault;
  Look look;
  if (const ExitCode fault = lookTwice(look); fault != DONE) return fault;
  const bool isRepaired = arguments.repair && !look.differences.empty() && !isDryRun();
  Differences remaining = look.differences;
  if (arguments.repair && !look.differences.empty()) {
    if (const ExitCode fault = repair(look, remaining); fault != DONE || isDryRun()) return fault;
  }
  Differences all = look.differences;
  all.insert(remaining.begin(), remaining.end());
  Listing listing = {"differences", {"where", "what", "expected", "found", "repaired"}, {}};
  for (const Difference& d : all) {
    listing.rows.push_back({d.where, d.what, orNothing(d.expected), orNothing(d.found), !remaining.contains(d)});
  }
  if (const ExitCode fault = printFindings(arguments.output, listing); fault != DONE) return fault;
  for (const std::string& reason : look.left) tell("%s", reason.c_str());
  if (!shellKnowsTest())
    tell("/bin/sh does not know \"[ -a FILE ]\": folders are made and removed in spite of /var/lock/zelmar_builduser");
  if (remaining.empty()) {
    tell(all.empty() ? "everything is as the databases have it" : "everything is as the databases have it again");
    return DONE;
  }
  return complain(LIBRARY_FAILED, "%zu difference%s%s", remaining.size(), remaining.size() == 1 ? "" : "s",
                  isRepaired ? " remain after making the files anew" : "; nas1 verify --repair makes the files anew");
}

}  // namespace

void registerVerify(CLI::App& noun, ExitCode& result) {
  arguments = {};
  noun.add_flag("--repair", arguments.repair, "Make what differs anew");
  addDryRunOption(noun);
  addOutputOptions(noun, arguments.output);
  noun.callback([&result] { result = verify(); });
}
