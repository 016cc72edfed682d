#include "state_present.h"

#include <algorithm>
#include <cstring>

#include "config_keys.h"
#include "db_check.h"
#include "output.h"
#include "setting_defaults.h"
#include "settings.h"
#include "volumes.h"

namespace {

const RecordSet& setOf(const std::vector<RecordSet>& sets, const char* path) {
  return *std::find_if(sets.begin(), sets.end(),
                       [path](const RecordSet& set) { return std::strcmp(set.file->path, path) == 0; });
}

template <typename T>
T readAt(const std::string& value, std::size_t offset) {
  T item;
  std::memcpy(&item, value.data() + offset, sizeof item);
  return item;
}

std::string textAt(const std::string& value, std::size_t offset, std::size_t size = NAS_NAME_SIZE) {
  return fieldText(value.data() + offset, size);
}

// ---- Settings

void readSettings(PresentState& present, const RecordSet& stored) {
  auto& settings = present.state.settings.emplace();
  for (const ConfigKey& key : configKeys()) {
    Cell value;
    if (key.kind == KEY_OWN || readSetting(key, key.isNumberedOnly(), value) < 0) continue;
    settings[key.name] = wordOf(value);
    if (stored.records.contains(std::string(key.name) + '\0')) present.storedSettings.insert(key.name);
  }
}

// What is in the file beside the settings and the appliance's own records.
void readProducts(State& state, const RecordSet& stored) {
  auto& products = state.products.emplace();
  for (const auto& [key, value] : stored.records) {
    const std::string name = keyText(key);
    const std::string text = fieldText(value.data(), std::min<std::size_t>(value.size(), NAS_PRODUCT_TEXT_SIZE - 1));
    if (!isOwnRecord(name) && !text.empty()) products.push_back({name, text});
  }
}

void readSnapshots(PresentState& present, const RecordSet& stored) {
  auto& snapshots = present.state.snapshots.emplace();
  for (const VolumeInfo& volume : allVolumes(nullptr)) {
    SnapshotState& snapshot = snapshots.emplace_back();
    snapshot.volume = fieldText(volume.name, sizeof volume.name);
    (void)Nas1GetSnapshotConfig(snapshot.volume.c_str(), snapshot.words.data());
    if (stored.records.contains(kSnapshotRecord + snapshot.volume + '\0'))
      present.storedSnapshots.insert(snapshot.volume);
  }
  std::sort(snapshots.begin(), snapshots.end(), [](const auto& a, const auto& b) { return a.volume < b.volume; });
}

// ---- Shares

Permissions permissionsIn(const std::string& value) {
  Permissions entries;
  const auto count = readAt<std::uint32_t>(value, layout::kListCount);
  for (std::uint32_t i = 0; i < count; ++i) {
    auto entry = readAt<PermittedItem>(value, layout::kListEntries + i * sizeof(PermittedItem));
    if (!isUser(entry)) entry.type = PERMITTED_GROUP;
    entries.push_back(entry);
  }
  sortPermissions(entries);
  return entries;
}

ShareState shareOf(const std::string& key, const std::string& value) {
  ShareState share;
  share.name = keyText(key);
  share.comment = textAt(value, layout::kShareInfo + offsetof(ShareInfo, comment), NAS_COMMENT_SIZE);
  const std::size_t path = layout::kShareInfo + offsetof(ShareInfo, path);
  share.path = textAt(value, path, value.size() - path);
  share.isHome = readAt<std::uint32_t>(value, layout::kHomeMark) != 0;
  share.passwords = {textAt(value, layout::kReadPassword), textAt(value, layout::kWritePassword)};
  share.permissions.emplace();
  share.hosts.emplace();
  return share;
}

void readShares(PresentState& present, const std::vector<RecordSet>& sets) {
  auto& shares = present.state.shares.emplace();
  const RecordSet& records = setOf(sets, "/etc/admin/share.gdbm");
  for (const auto& [key, value] : records.records) {
    ShareState& share = shares.emplace_back(shareOf(key, value));
    for (std::size_t i = 0; i < std::size(permissionProtocols); ++i) {
      const Records& lists = setOf(sets, permissionFile(permissionProtocols[i])).records;
      const auto list = lists.find(key);
      if (list != lists.end()) (*share.permissions)[i] = permissionsIn(list->second);
    }
    const Records& hosts = setOf(sets, "/etc/admin/share_nfs.gdbm").records;
    const auto list = hosts.find(key);
    if (list == hosts.end()) continue;
    const std::string& entries = list->second;
    (void)takeHosts(entries.data() + layout::kListEntries, entries.size() - layout::kListEntries,
                    readAt<int>(entries, layout::kListCount), *share.hosts);
  }
  for (const RecordSet& set : sets) {
    if (set.file->kind != RECORD_PERMISSIONS && set.file->kind != RECORD_NFS_HOSTS) continue;
    for (const auto& [key, ignored] : set.records) {
      if (!records.records.contains(key)) present.leftLists.insert(keyText(key));
    }
  }
}

// ---- Accounts

using GroupsById = std::map<std::uint32_t, Account>;

GroupsById readGroupStates(State& state, const RecordSet& records) {
  GroupsById groupsById;
  auto& groups = state.groups.emplace();
  for (const auto& [key, value] : records.records) {
    const auto item = readAt<GroupItem>(value, layout::kItem);
    const Account account = {fieldText(item.name, sizeof item.name), static_cast<int>(item.source)};
    groups.push_back({account, item.gid, item.quota});
    groupsById[item.gid] = account;
  }
  return groupsById;
}

std::vector<Membership> membershipsOf(const UserItem& user, const GroupsById& groupsById) {
  std::map<Account, bool> memberships;
  for (std::size_t slot = 0; slot < std::size(user.groups); ++slot) {
    const auto group = groupsById.find(user.groups[slot]);
    if (group != groupsById.end()) {
      memberships.emplace(group->second, slot == 0);
    } else if (user.groups[slot] != 0) {
      tell("%s is in the group %u, which is not there; nas1 db repair --leftovers mends that", user.name,
           user.groups[slot]);
    }
  }
  std::vector<Membership> sorted;
  for (const auto& [group, isPrimary] : memberships) sorted.push_back({group, isPrimary});
  return sorted;
}

void readUserStates(State& state, const std::vector<RecordSet>& sets, const GroupsById& groupsById) {
  auto& users = state.users.emplace();
  const Records& passwords = setOf(sets, "/etc/admin/passwd.gdbm").records;
  for (const auto& [key, value] : setOf(sets, "/etc/admin/user_id.gdbm").records) {
    const auto item = readAt<UserItem>(value, layout::kItem);
    UserState& user = users.emplace_back();
    user.account = {fieldText(item.name, sizeof item.name), static_cast<int>(item.source)};
    user.id = item.uid;
    user.quota = item.quota;
    user.groups = membershipsOf(item, groupsById);
    if (item.source != PROTO_SYSTEM) continue;
    const auto record = passwords.find(user.account.name + '\0');
    user.hasRecord = record != passwords.end();
    if (!user.hasRecord) continue;
    user.password = textAt(record->second, layout::kPassword);
    user.home = textAt(record->second, layout::kHome);
  }
}

// By name, then by source.
template <typename Item>
void sortAccounts(std::vector<Item>& accounts) {
  std::sort(accounts.begin(), accounts.end(), [](const Item& a, const Item& b) { return a.account < b.account; });
}

void readModules(State& state, const RecordSet& records) {
  auto& modules = state.modules.emplace();
  for (const auto& [key, value] : records.records) modules.push_back(readAt<ModuleRecord>(value, 0));
}

}  // namespace

ExitCode readPresentState(PresentState& present) {
  std::vector<RecordSet> sets;
  State& state = present.state;
  if (const ExitCode fault = readRecordSets(sets); fault != DONE) return fault;
  if (const ExitCode fault = refuseDamage(sets); fault != DONE) return fault;
  const RecordSet& settings = setOf(sets, "/etc/admin/system.gdbm");
  readSettings(present, settings);
  readProducts(state, settings);
  readSnapshots(present, settings);
  readShares(present, sets);
  readUserStates(state, sets, readGroupStates(state, setOf(sets, "/etc/admin/group_id.gdbm")));
  sortAccounts(*state.groups);
  sortAccounts(*state.users);
  readModules(state, setOf(sets, "/etc/admin/module.gdbm"));
  return DONE;
}

void dropDefaults(PresentState& present) {
  std::erase_if(*present.state.settings, [&](const auto& setting) {
    const ConfigKey& key = *configKeyNamed(setting.first);
    // Keys that have a number only have no defaults; the name server stands in a file of the system alone.
    const bool isSet = present.storedSettings.contains(setting.first) || setting.first == "IP_DNS";
    return !isSet || (!key.isNumberedOnly() && setting.second == defaultOf(key));
  });
  std::erase_if(*present.state.snapshots,
                [&](const SnapshotState& snapshot) { return !present.storedSnapshots.contains(snapshot.volume); });
}
