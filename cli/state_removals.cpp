// What an import removes, or leaves: everything of the document's families that the document does not list.

#include <algorithm>
#include <set>

#include "accounts.h"
#include "calls.h"
#include "module_fields.h"
#include "record_files.h"
#include "safe_values.h"
#include "state_changes.h"

namespace {

constexpr std::size_t kMostNamed = 5;

const std::string& keyOf(const ShareState& share) { return share.name; }
const Account& keyOf(const GroupState& group) { return group.account; }
const Account& keyOf(const UserState& user) { return user.account; }
std::string keyOf(const ModuleRecord& record) { return moduleName(record); }

const std::string& nameOf(const std::string& name) { return name; }
const std::string& nameOf(const Account& account) { return account.name; }

// Those that are there and not in the document, when it has the family at all.
template <typename Item>
std::vector<const Item*> unlisted(const Import& job, std::optional<std::vector<Item>> State::*family) {
  std::vector<const Item*> items;
  const auto& wanted = job.wanted.*family;
  if (!wanted) return items;
  std::set<std::decay_t<decltype(keyOf(std::declval<Item>()))>> keys;
  for (const Item& item : *wanted) keys.insert(keyOf(item));
  for (const Item& item : *(job.present.state.*family)) {
    if (!keys.contains(keyOf(item))) items.push_back(&item);
  }
  return items;
}

template <typename Item>
void tellOf(const char* kind, const std::vector<const Item*>& items) {
  if (items.empty()) return;
  std::string names;
  for (std::size_t i = 0; i < std::min(items.size(), kMostNamed); ++i)
    names += (i == 0 ? "" : ", ") + nameOf(keyOf(*items[i]));
  tell("%s that the document does not list stay: %s%s (%zu); --prune removes them", kind, names.c_str(),
       items.size() > kMostNamed ? ", ..." : "", items.size());
}

// ---- Shares

// Its folder goes with a share.
ExitCode checkFolders(const Import& job, const std::vector<const ShareState*>& shares) {
  if (wantedSetting(job, "RESERVE_SHARE_PATH") == "1") return DONE;
  for (const ShareState* const share : shares) {
    const std::string what = "path of the share " + share->name;
    const ExitCode fault = checkSafe(Field::removedFolder, what.c_str(), *share->path, job.options.allowUnsafe);
    if (fault != DONE) return fault;
  }
  return DONE;
}

ExitCode deleteShare(const std::string& name) {
  if (isOnlyShown("Nas1ShareDel", {name})) return DONE;
  if (Nas1ShareDel(name.c_str()) == 0) return DONE;
  return explainFailure(kShareFile, Use::change, ("the share " + name + " could not be deleted").c_str());
}

// ---- Accounts

// A share that stays must not go with the user whose home it was.
ExitCode partHome(const Account& account) {
  if (isOnlyShown("NasSetUserConfig", {account.name, "home", int{NAS_NAME_SIZE}, ""})) return DONE;
  if (NasSetUserConfig(account.name.c_str(), "home", NAS_NAME_SIZE, "") == 0) return DONE;
  return explainFailure(kPasswordFile, Use::change, "the home share of a user could not be set");
}

ExitCode deleteUser(const Account& account) {
  std::string name = account.name;
  if (isOnlyShown("Nas1DelUser", {account.source, name})) return DONE;
  if (Nas1DelUser(account.source, name.data()) == 0) return DONE;
  return explainFailure(kUserFile, Use::change, ("the user " + name + " could not be deleted").c_str());
}

ExitCode deleteGroup(const Account& account) {
  std::string name = account.name;
  if (isOnlyShown("Nas1DelGroup", {account.source, name})) return DONE;
  if (Nas1DelGroup(account.source, name.data()) == 0) return DONE;
  return explainFailure(kGroupFile, Use::change, ("the group " + name + " could not be deleted").c_str());
}

// Each deletion would look through the lists of all shares.
ExitCode sweepTogether(int on) {
  if (!isOnlyShown("EnableNasDelPermBatch", {on})) (void)EnableNasDelPermBatch(on);
  return DONE;
}

void addUserRemovals(const Import& job, const std::vector<const UserState*>& users) {
  std::set<std::string> listed;
  for (const ShareState& share : job.wanted.shares.value_or(std::vector<ShareState>())) listed.insert(share.name);
  for (const UserState* const user : users) {
    const Account& account = user->account;
    const std::string home = user->home.value_or("");
    if (listed.contains(home)) job.changes.first.emplace_back([&account] { return partHome(account); });
    if (!home.empty()) job.changes.concernShares = true;
    job.changes.first.emplace_back([&account] { return deleteUser(account); });
  }
}

// The lists of the shares whose permissions the document leaves alone, without those who go.
template <typename Goes>
void addSweep(const Import& job, const std::vector<const ShareState*>& removed, Goes goes) {
  std::set<std::string> others;
  for (const ShareState* const share : removed) others.insert(share->name);
  for (const ShareState& share : job.wanted.shares.value_or(std::vector<ShareState>())) {
    if (share.permissions) others.insert(share.name);
  }
  for (const ShareState& share : *job.present.state.shares) {
    if (others.contains(share.name)) continue;
    for (std::size_t i = 0; i < share.permissions->size(); ++i) {
      Permissions entries = (*share.permissions)[i];
      const auto count = std::erase_if(
          entries, [&](const PermittedItem& entry) { return goes(entry, permissionProtocols[i].number); });
      if (count == 0) continue;
      job.changes.first.emplace_back(
          [&share, i, entries] { return storePermissions(share.name, permissionProtocols[i], entries); });
    }
  }
}

template <typename Item>
std::set<Account> accountsOf(const std::vector<const Item*>& items) {
  std::set<Account> accounts;
  for (const Item* const item : items) accounts.insert(item->account);
  return accounts;
}

ExitCode deleteModule(const std::string& name) {
  if (isOnlyShown("Nas1ModuleDel", {name})) return DONE;
  if (Nas1ModuleDel(name.c_str()) == 0) return DONE;
  return explainFailure(kModuleFile, Use::change, ("the module " + name + " could not be deleted").c_str());
}

}  // namespace

ExitCode addRemovals(const Import& job) {
  const auto shares = unlisted(job, &State::shares);
  const auto users = unlisted(job, &State::users);
  const auto groups = unlisted(job, &State::groups);
  const auto modules = unlisted(job, &State::modules);
  if (!job.options.prune) {
    tellOf("shares", shares);
    tellOf("users", users);
    tellOf("groups", groups);
    tellOf("modules", modules);
    return DONE;
  }
  if (const ExitCode fault = checkFolders(job, shares); fault != DONE) return fault;
  auto& changes = job.changes.first;
  if (!shares.empty()) job.changes.concernShares = true;
  for (const ShareState* const share : shares) changes.emplace_back([share] { return deleteShare(share->name); });
  if (!users.empty() || !groups.empty()) {
    changes.emplace_back([] { return sweepTogether(1); });
    job.changes.always.emplace_back([] { return sweepTogether(0); });
  }
  addUserRemovals(job, users);
  for (const GroupState* const group : groups)
    changes.emplace_back([&account = group->account] { return deleteGroup(account); });
  const std::set<Account> gone[] = {accountsOf(users), accountsOf(groups)};
  addSweep(job, shares, [&gone](const PermittedItem& entry, int protocol) {
    std::string name = nameOf(entry);
    return gone[isUser(entry) ? 0 : 1].contains({Nas1UpStr(name.data()), protocol});
  });
  for (const ModuleRecord* const module : modules)
    changes.emplace_back([name = moduleName(*module)] { return deleteModule(name); });
  return DONE;
}
