#pragma once
// What has to be done to bring the appliance from one state into another.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "errors.h"
#include "state_model.h"
#include "state_present.h"

struct ImportOptions {
  bool prune = false;             // remove what the document does not list of its families
  bool withoutPasswords = false;  // make new users without one where the document has none
  bool allowUnsafe = false;
};

// A call, or a few that belong together. In a dry run it is printed instead of made.
using Change = std::function<ExitCode()>;

struct Changes {
  std::vector<Change> first;              // in this order, up to one that fails
  std::vector<Change> always;             // then these, whatever became of the first
  bool concernShares = false;             // what the daemons serve has to be rebuilt
  std::size_t otherNumbers = 0;           // accounts that do not get the number that the document gives them
  std::map<Account, std::uint32_t> gids;  // of the groups that there are by now
};

// Finds the fewest changes. Complains about a document that contradicts itself or what there is.
// The states, and `changes` itself, must last as long as the changes are made.
ExitCode findChanges(const State& wanted, const PresentState& present, const ImportOptions& options, Changes& changes);

// ---- The parts, in the order in which they have to be made

struct Import {
  const State& wanted;
  const PresentState& present;
  const ImportOptions& options;
  Changes& changes;
};

void addSettingChanges(const Import& job);
ExitCode addRemovals(const Import& job);
ExitCode addAccountChanges(const Import& job);
ExitCode addShareChanges(const Import& job);
ExitCode addOtherChanges(const Import& job);  // modules, snapshot settings, products' texts

// The value that a setting is to have: the document's, else the present one.
std::string wantedSetting(const Import& job, const char* key);
