// Groups and users of an import.

#include <algorithm>
#include <map>

#include "accounts.h"
#include "calls.h"
#include "db_identities.h"
#include "record_files.h"
#include "settings.h"
#include "state_changes.h"

namespace {

enum { USER_IDS = 0, GROUP_IDS = 1 };

constexpr char kHomesOff[] = "0";

template <typename Item>
using Accounts = std::map<Account, const Item*>;

template <typename Item>
Accounts<Item> byAccount(const std::optional<std::vector<Item>>& items) {
  Accounts<Item> accounts;
  if (!items) return accounts;
  for (const Item& item : *items) accounts.emplace(item.account, &item);
  return accounts;
}

template <typename Item>
const Item* find(const Accounts<Item>& accounts, const Account& account) {
  const auto found = accounts.find(account);
  return found == accounts.end() ? nullptr : found->second;
}

// In the order of their numbers: then each gets its own as long as it is free.
template <typename Item>
std::vector<const Item*> byNumber(const std::vector<Item>& items) {
  std::vector<const Item*> sorted;
  for (const Item& item : items) sorted.push_back(&item);
  std::stable_sort(sorted.begin(), sorted.end(), [](const Item* a, const Item* b) {
    return a->id.value_or(UINT32_MAX) < b->id.value_or(UINT32_MAX);
  });
  return sorted;
}

template <typename Item>
void countNumber(const Item& wanted, std::uint32_t id, Changes& changes) {
  if (wanted.id && *wanted.id != id) ++changes.otherNumbers;
}

template <typename Item>
void describeItem(Item& item, const Account& account, std::uint32_t quota) {
  item = {};
  item.size = sizeof item;
  item.source = static_cast<std::uint32_t>(account.source);
  item.quota = quota;
  (void)account.name.copy(item.name, sizeof item.name - 1);
}

// The quota that the library gives a new account.
std::uint32_t defaultQuota(const Import& job, const Account& account, const char* key) {
  const bool synced = account.source != PROTO_SYSTEM && wantedSetting(job, "AUTO_SYNC_REMOTE_ACCOUNTS") == "1";
  return synced ? 0 : static_cast<std::uint32_t>(std::strtoul(wantedSetting(job, key).c_str(), nullptr, 10));
}

// ---- Groups

ExitCode addGroup(const GroupState& group, Changes& changes) {
  const Account& account = group.account;
  if (isOnlyShown("Nas1AddGroup", {account.source, account.name, nullptr})) return DONE;
  std::string name = account.name;
  GroupItem item;
  int size = 0;
  if (group.id) offerId(GROUP_IDS, *group.id);
  const bool isAdded = Nas1AddGroup(account.source, name.data(), nullptr) >= 0 &&
                       Nas1CheckGroupItem(account.source, name.c_str(), &item, &size) == 0;
  if (!isAdded) return explainFailure(kGroupFile, Use::change, ("the group " + name + " could not be added").c_str());
  changes.gids[account] = item.gid;
  countNumber(group, item.gid, changes);
  return DONE;
}

ExitCode storeGroup(const Account& account, std::uint32_t quota) {
  GroupItem item;
  describeItem(item, account, quota);
  if (isOnlyShown("Nas1SetGroupItem", {describedArgument(describe(item))})) return DONE;
  if (Nas1SetGroupItem(&item) == 0) return DONE;
  return explainFailure(kGroupFile, Use::change, "the quota of a group could not be set");
}

void addGroupChanges(const Import& job) {
  Changes& changes = job.changes;
  const Accounts<GroupState> present = byAccount(job.present.state.groups);
  for (const auto& [account, group] : present) changes.gids[account] = *group->id;
  if (!job.wanted.groups) return;
  for (const GroupState* const group : byNumber(*job.wanted.groups)) {
    const GroupState* const found = find(present, group->account);
    if (found == nullptr) changes.first.emplace_back([group, &changes] { return addGroup(*group, changes); });
    if (found != nullptr) countNumber(*group, *found->id, changes);
    const std::uint32_t quota =
        found != nullptr ? *found->quota : defaultQuota(job, group->account, "DEFAULT_GROUP_QUOTA");
    if (!group->quota || *group->quota == quota) continue;
    changes.first.emplace_back([group] { return storeGroup(group->account, *group->quota); });
  }
}

// ---- Users

// The library makes an account that it is asked for.
int addWithoutRecord(std::string& name, UserItem& item) {
  int size = 0;
  return Nas1GetUserItem(PROTO_SYSTEM, name.data(), &item, &size);
}

ExitCode addUser(const UserState& user, Changes& changes) {
  const Account& account = user.account;
  const bool onlyItem = account.source == PROTO_SYSTEM && !user.hasRecord;
  const bool onlyShown = onlyItem ? isOnlyShown("Nas1GetUserItem", {account.source, account.name})
                                  : isOnlyShown("Nas1AddUser", {account.source, account.name, maskedArgument()});
  if (onlyShown) return DONE;
  std::string name = account.name;
  UserItem item;
  int size = 0;
  if (user.id) offerId(USER_IDS, *user.id);
  const int result = onlyItem ? addWithoutRecord(name, item)
                              : Nas1AddUser(account.source, name.data(), user.password.value_or("").c_str());
  const bool isAdded = result >= 0 && Nas1CheckUserItem(account.source, name.c_str(), &item, &size) == 0;
  if (!isAdded) return explainFailure(kUserFile, Use::change, ("the user " + name + " could not be added").c_str());
  countNumber(user, item.uid, changes);
  return DONE;
}

ExitCode storeUser(const Account& account, const std::vector<Membership>& groups, std::uint32_t quota,
                   const Changes& changes) {
  std::string names;
  for (const Membership& membership : groups) names += " " + membership.group.name;
  if (isOnlyShown("Nas1SetUserItem",
                  {describedArgument(sourceName(static_cast<unsigned>(account.source)) + " user " + account.name +
                                     ", groups" + names + ", quota " + std::to_string(quota) + " MB")}))
    return DONE;
  UserItem item;
  describeItem(item, account, quota);
  std::uint32_t* slot = item.groups + 1;
  for (const Membership& membership : groups)
    *(membership.isPrimary ? item.groups : slot++) = changes.gids.at(membership.group);
  if (Nas1SetUserItem(&item) == 0) return DONE;
  return explainFailure(kUserFile, Use::change, "the groups and the quota of a user could not be set");
}

ExitCode storePassword(const UserState& user) {
  if (isOnlyShown("Nas1SetUserPasswd", {user.account.source, user.account.name, maskedArgument()})) return DONE;
  std::string name = user.account.name;
  if (Nas1SetUserPasswd(user.account.source, name.data(), user.password->c_str()) == 0) return DONE;
  return explainFailure(kPasswordFile, Use::change, "the password of a user could not be set");
}

// Groups that a user is to be in have to be there in the end.
ExitCode checkGroups(const Import& job, const UserState& user, const Accounts<GroupState>& wanted) {
  const bool othersGo = job.options.prune && job.wanted.groups.has_value();
  if (!user.groups) return DONE;
  for (const Membership& membership : *user.groups) {
    const bool isListed = find(wanted, membership.group) != nullptr;
    if (isListed || (!othersGo && job.changes.gids.contains(membership.group))) continue;
    return complain(UNKNOWN_OBJECT, "the user %s is to be in the group %s, which is neither in the document nor there",
                    user.account.name.c_str(), membership.group.name.c_str());
  }
  return DONE;
}

ExitCode checkRecord(const Import& job, const UserState& user, const UserState* present) {
  const char* const name = user.account.name.c_str();
  if (user.account.source != PROTO_SYSTEM) return DONE;
  if (present == nullptr && user.hasRecord && !user.password && !job.options.withoutPasswords) {
    return complain(REFUSED,
                    "the user %s is new, and the document has no password for it; export --with-secrets, or give "
                    "--no-passwords",
                    name);
  }
  if (present != nullptr && present->hasRecord && !user.hasRecord) {
    return complain(REFUSED, "the user %s has a password, and only deleting the user takes that away", name);
  }
  if (present != nullptr && !present->hasRecord && (user.password || !user.home.value_or("").empty())) {
    return complain(REFUSED,
                    "the user %s is known by name only and cannot get a password or home share; delete it first", name);
  }
  return DONE;
}

void addUserItem(const Import& job, const UserState& user, const UserState* present) {
  const std::vector<Membership> groups = present != nullptr ? *present->groups : std::vector<Membership>();
  const std::uint32_t quota =
      present != nullptr ? *present->quota : defaultQuota(job, user.account, "DEFAULT_USER_QUOTA");
  if (user.groups.value_or(groups) == groups && user.quota.value_or(quota) == quota) return;
  job.changes.first.emplace_back(
      [&user, wantedGroups = user.groups.value_or(groups), wantedQuota = user.quota.value_or(quota),
       &changes = job.changes] { return storeUser(user.account, wantedGroups, wantedQuota, changes); });
}

ExitCode storeAutoHome(const std::string& word) {
  SettingValue value;
  const ConfigKey& key = *configKeyNamed("AUTO_HOME");
  if (const ExitCode fault = parseSetting(key, false, word, value); fault != DONE) return fault;
  return storeSetting(key, false, value);
}

// Home shares come as the document lists them: the library must not make others by itself meanwhile.
void keepHomesOff(const Import& job) {
  const std::string wanted = wantedSetting(job, "AUTO_HOME");
  if (!wanted.starts_with('1')) return;
  job.changes.first.emplace_back([] { return storeAutoHome(kHomesOff); });
  job.changes.always.emplace_back([wanted] { return storeAutoHome(wanted); });
}

ExitCode addUserChanges(const Import& job) {
  if (!job.wanted.users) return DONE;
  const Accounts<UserState> present = byAccount(job.present.state.users);
  const Accounts<GroupState> wantedGroups = byAccount(job.wanted.groups);
  bool homesAreOff = false;
  for (const UserState* const user : byNumber(*job.wanted.users)) {
    const UserState* const found = find(present, user->account);
    if (const ExitCode fault = checkGroups(job, *user, wantedGroups); fault != DONE) return fault;
    if (const ExitCode fault = checkRecord(job, *user, found); fault != DONE) return fault;
    if (found != nullptr) {
      countNumber(*user, *found->id, job.changes);
      if (user->password && user->password != found->password)
        job.changes.first.emplace_back([user] { return storePassword(*user); });
    } else {
      if (!homesAreOff && user->account.source == PROTO_SYSTEM) {
        keepHomesOff(job);
        homesAreOff = true;
      }
      job.changes.first.emplace_back([user, &changes = job.changes] { return addUser(*user, changes); });
    }
    addUserItem(job, *user, found);
  }
  return DONE;
}

}  // namespace

ExitCode addAccountChanges(const Import& job) {
  addGroupChanges(job);
  return addUserChanges(job);
}
