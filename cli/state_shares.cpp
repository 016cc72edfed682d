// Shares of an import, with all that hangs on them.

#include <strings.h>

#include <algorithm>
#include <map>
#include <set>

#include "accounts.h"
#include "calls.h"
#include "record_files.h"
#include "shares.h"
#include "state_changes.h"

namespace {

constexpr const char* passwordDefaults[] = {"DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD"};

using Shares = std::map<std::string, const ShareState*>;

ExitCode explain(const ShareState& share, const char* what) {
  return explainFailure(kShareFile, Use::change, ("the share " + share.name + " could not be " + what).c_str());
}

ExitCode addShare(const ShareState& share) {
  const std::string comment = share.comment.value_or("");
  const char* const path = share.path->c_str();
  if (isOnlyShown("Nas1ShareAdd", {share.name, comment, path})) return DONE;
  std::string name = share.name;
  if (Nas1ShareAdd(name.data(), comment.c_str(), path) != 0) return explain(share, "added");
  return checkFolderOf(name, path);
}

ExitCode modifyShare(const ShareState& share, const std::string& comment, const std::string& path) {
  if (isOnlyShown("Nas1ShareMod", {share.name, comment, path})) return DONE;
  if (Nas1ShareMod(share.name.c_str(), comment.c_str(), path.c_str()) != 0) return explain(share, "changed");
  return checkFolderOf(share.name, path);
}

ExitCode markHome(const ShareState& share) {
  const std::uint32_t mark = *share.isHome ? 1 : 0;
  if (isOnlyShown("NasShareSetConfig", {share.name, "is_home", sizeof mark, mark})) return DONE;
  return NasShareSetConfig(share.name.c_str(), "is_home", sizeof mark, &mark) == 0 ? DONE : explain(share, "changed");
}

ExitCode storePassword(const ShareState& share, std::size_t which) {
  const int number = static_cast<int>(which);
  if (isOnlyShown("Nas1ShareSetPassword", {share.name, number, maskedArgument()})) return DONE;
  const int result = Nas1ShareSetPassword(share.name.c_str(), number, share.passwords[which]->c_str());
  return result == 0 ? DONE : explain(share, "given its password");
}

ExitCode storeHome(const UserState& user) {
  if (isOnlyShown("NasSetUserConfig", {user.account.name, "home", int{NAS_NAME_SIZE}, *user.home})) return DONE;
  if (NasSetUserConfig(user.account.name.c_str(), "home", NAS_NAME_SIZE, user.home->c_str()) == 0) return DONE;
  return explainFailure(kPasswordFile, Use::change, "the home share of a user could not be set");
}

// The hosts in the order in which they stand, as the export list would have them.
bool areSameHosts(const std::vector<Host>& a, const std::vector<Host>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Host& x, const Host& y) {
    return x.name == y.name && x.mask == y.mask && optionWords(x) == optionWords(y);
  });
}

// What a share is before its own settings are looked at: the present one, or a new one as the library makes it.
ShareState startOf(const Import& job, const ShareState& share, const ShareState* present) {
  if (present != nullptr) return *present;
  ShareState made;
  made.isHome = false;
  for (std::size_t i = 0; i < made.passwords.size(); ++i) {
    const std::string word = wantedSetting(job, passwordDefaults[i]);
    made.passwords[i] = word == "name" ? share.name : word;
  }
  made.permissions.emplace();
  made.hosts.emplace();
  return made;
}

// Lists that a share left behind would be those of the next one of its name.
bool hasLeftLists(const Import& job, const ShareState& share) { return job.present.leftLists.contains(share.name); }

void addSettings(const Import& job, const ShareState& share, const ShareState& start) {
  auto& changes = job.changes.first;
  if (share.isHome && share.isHome != start.isHome) changes.emplace_back([&share] { return markHome(share); });
  for (std::size_t i = 0; i < share.passwords.size(); ++i) {
    if (share.passwords[i] && share.passwords[i] != start.passwords[i])
      changes.emplace_back([&share, i] { return storePassword(share, i); });
  }
}

void addLists(const Import& job, const ShareState& share, const ShareState& start) {
  auto& changes = job.changes.first;
  const bool surely = hasLeftLists(job, share);
  for (std::size_t i = 0; share.permissions && i < share.permissions->size(); ++i) {
    if (!surely && areIdentical((*share.permissions)[i], (*start.permissions)[i])) continue;
    changes.emplace_back(
        [&share, i] { return storePermissions(share.name, permissionProtocols[i], (*share.permissions)[i]); });
  }
  if (!share.hosts || (!surely && areSameHosts(*share.hosts, *start.hosts))) return;
  job.changes.concernShares = true;
  changes.emplace_back([&share] { return storeHosts(share.name, *share.hosts); });
}

ExitCode addShareItself(const Import& job, const ShareState& share, const ShareState* present) {
  auto& changes = job.changes.first;
  if (present == nullptr) {
    if (!share.path)
      return complain(USAGE, "the share %s is new, and the document has no path for it", share.name.c_str());
    job.changes.concernShares = true;
    changes.emplace_back([&share] { return addShare(share); });
    return checkWayTo(*share.path);
  }
  const std::string comment = share.comment.value_or(*present->comment);
  const std::string path = share.path.value_or(*present->path);
  if (comment == *present->comment && path == *present->path) return DONE;
  changes.emplace_back([&share, comment, path] { return modifyShare(share, comment, path); });
  return path == *present->path ? DONE : checkWayTo(path);
}

Shares byName(const std::optional<std::vector<ShareState>>& items) {
  Shares shares;
  if (!items) return shares;
  for (const ShareState& share : *items) shares.emplace(share.name, &share);
  return shares;
}

struct IgnoringCase {
  bool operator()(const std::string& a, const std::string& b) const { return strcasecmp(a.c_str(), b.c_str()) < 0; }
};

// A new share next to one whose name differs in case alone: Samba would take the two for one.
ExitCode checkNamesakes(const Import& job, const Shares& wanted, const Shares& present) {
  if (job.options.allowUnsafe) return DONE;
  const bool othersGo = job.options.prune && job.wanted.shares.has_value();
  std::set<std::string, IgnoringCase> names;
  for (const auto& [name, ignored] : present) {
    if (!othersGo || wanted.contains(name)) names.insert(name);
  }
  for (const auto& [name, ignored] : wanted) {
    if (present.contains(name)) continue;
    const auto [namesake, isAlone] = names.insert(name);
    if (!isAlone) return complainOfNamesake(name, *namesake);
  }
  return DONE;
}

ExitCode addHomes(const Import& job, const Shares& wanted, const Shares& present) {
  if (!job.wanted.users) return DONE;
  std::map<Account, std::string> homes;
  std::set<std::string> given;
  for (const UserState& user : *job.present.state.users) homes[user.account] = user.home.value_or("");
  const bool othersGo = job.options.prune && job.wanted.shares.has_value();
  for (const UserState& user : *job.wanted.users) {
    const std::string home = user.home.value_or("");
    const bool isThere = home.empty() || wanted.contains(home) || (!othersGo && present.contains(home));
    if (!isThere) {
      return complain(UNKNOWN_OBJECT, "the home share %s of the user %s is neither in the document nor there",
                      home.c_str(), user.account.name.c_str());
    }
    if (!home.empty() && !given.insert(home).second)
      return complain(REFUSED, "the share %s is the home of two users in the document", home.c_str());
    const auto found = homes.find(user.account);
    if (user.home && home != (found == homes.end() ? "" : found->second))
      job.changes.first.emplace_back([&user] { return storeHome(user); });
  }
  return DONE;
}

}  // namespace

ExitCode addShareChanges(const Import& job) {
  const Shares wanted = byName(job.wanted.shares);
  const Shares present = byName(job.present.state.shares);
  if (const ExitCode fault = checkNamesakes(job, wanted, present); fault != DONE) return fault;
  for (const auto& [name, share] : wanted) {
    const auto found = present.find(name);
    const ShareState* const there = found == present.end() ? nullptr : found->second;
    if (const ExitCode fault = addShareItself(job, *share, there); fault != DONE) return fault;
    const ShareState start = startOf(job, *share, there);
    addSettings(job, *share, start);
    addLists(job, *share, start);
  }
  return addHomes(job, wanted, present);
}
