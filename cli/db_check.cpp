#include "db_check.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "db_identities.h"
#include "output.h"

namespace {

constexpr useconds_t kSecondLookUs = 50000;

std::uint32_t wordAt(const std::string& value, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, value.data() + offset, sizeof word);
  return word;
}

// Whether a text ends within its field.
bool ends(const std::string& value, std::size_t offset, std::size_t size) {
  return strnlen(value.data() + offset, size) < size;
}

std::string textAt(const std::string& value, std::size_t offset) {
  return fieldText(value.data() + offset, NAS_NAME_SIZE);
}

std::string tooShort(const std::string& value, std::size_t bytes) {
  return "it has " + std::to_string(value.size()) + " bytes instead of " + std::to_string(bytes);
}

// ---- One record

constexpr char kNoEnd[] = "a text in it has no end";
constexpr char kWrongSize[] = "the size in it does not fit it";

std::string shareFault(const std::string& key, const std::string& value) {
  constexpr std::size_t least = layout::kShareInfo + sizeof(ShareInfo);
  if (value.size() < least) return tooShort(value, least);
  const std::size_t size = wordAt(value, layout::kShareInfo);
  if (size < sizeof(ShareInfo) || size > value.size() - layout::kShareInfo) return kWrongSize;
  const std::size_t path = layout::kShareInfo + offsetof(ShareInfo, path);
  const bool whole = ends(value, layout::kShareInfo + offsetof(ShareInfo, name), NAS_NAME_SIZE) &&
                     ends(value, layout::kShareInfo + offsetof(ShareInfo, comment), NAS_COMMENT_SIZE) &&
                     ends(value, path, layout::kShareInfo + size - path);
  if (!whole) return kNoEnd;
  const std::string name = textAt(value, layout::kShareInfo + offsetof(ShareInfo, name));
  return keyText(key).substr(0, NAS_NAME_SIZE - 1) == name ? "" : "it is the record of another share";
}

std::string permissionsFault(const std::string& value) {
  if (value.size() < layout::kListEntries) return tooShort(value, layout::kListEntries);
  const std::size_t count = wordAt(value, layout::kListCount);
  if (count > (value.size() - layout::kListEntries) / sizeof(PermittedItem))
    return "it counts more entries than it has";
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t name = layout::kListEntries + i * sizeof(PermittedItem) + offsetof(PermittedItem, name);
    if (!ends(value, name, NAS_NAME_SIZE)) return kNoEnd;
  }
  return "";
}

std::string nfsHostsFault(const std::string& value) {
  if (value.size() < layout::kListEntries) return tooShort(value, layout::kListEntries);
  std::size_t at = layout::kListEntries;
  for (std::uint32_t left = wordAt(value, layout::kListCount); left > 0; --left) {
    if (value.size() - at < sizeof(NfsHostEntry)) return "it counts more entries than it has";
    const std::size_t size = wordAt(value, at);
    if (size < sizeof(NfsHostEntry) || size > value.size() - at) return kWrongSize;
    const std::size_t host = at + offsetof(NfsHostEntry, host);
    if (!ends(value, host, at + size - host)) return kNoEnd;
    at += size;
  }
  return "";
}

// Keys of accounts end in the digit of their source.
template <typename Item>
std::string accountFault(const std::string& key, const std::string& value) {
  if (value.size() < layout::kItem + sizeof(Item)) return tooShort(value, layout::kItem + sizeof(Item));
  Item item;
  std::memcpy(&item, value.data() + layout::kItem, sizeof item);
  if (item.size != sizeof item) return kWrongSize;
  if (strnlen(item.name, sizeof item.name) == sizeof item.name) return kNoEnd;
  if (item.source >= PROTO_COUNT) return "its source is none";
  return keyText(key) == item.name + std::to_string(item.source) ? "" : "it is the record of another account";
}

std::string passwordFault(const std::string& value) {
  if (value.size() < layout::kPasswordRecord) return tooShort(value, layout::kPasswordRecord);
  const bool whole = ends(value, layout::kPassword, NAS_NAME_SIZE) && ends(value, layout::kHome, NAS_NAME_SIZE);
  return whole ? "" : kNoEnd;
}

std::string moduleFault(const std::string& value) {
  if (value.size() < sizeof(ModuleRecord)) return tooShort(value, sizeof(ModuleRecord));
  return ends(value, 0, sizeof(ModuleRecord::description)) ? "" : kNoEnd;
}

// ---- Records among each other

struct Sets {
  const std::vector<RecordSet>& all;

  const RecordSet& of(RecordKind kind) const {
    return *std::find_if(all.begin(), all.end(), [kind](const RecordSet& set) { return set.file->kind == kind; });
  }
  bool has(RecordKind kind, const std::string& name) const { return of(kind).records.contains(name + '\0'); }
};

// Calls visit(key, value) for the sound records of a kind.
template <typename Visit>
void forEachSound(const RecordSet& set, Visit visit) {
  for (const auto& [key, value] : set.records) {
    if (recordFault(set.file->kind, key, value).empty()) visit(key, value);
  }
}

template <typename Item>
std::vector<Item> itemsOf(const RecordSet& set) {
  std::vector<Item> items;
  forEachSound(set, [&](const std::string&, const std::string& value) {
    std::memcpy(&items.emplace_back(), value.data() + layout::kItem, sizeof(Item));
  });
  return items;
}

std::uint32_t idOf(const UserItem& user) { return user.uid; }
std::uint32_t idOf(const GroupItem& group) { return group.gid; }

template <typename Item>
std::string keyOf(const Item& item) {
  return fieldText(item.name, sizeof item.name) + std::to_string(item.source) + '\0';
}

bool isInRange(std::uint32_t id) { return id - layout::kFirstId < layout::kIdCount; }

// A list that a damaged file may have lost its share to is no list of nothing.
void checkLists(const Sets& sets, std::vector<Finding>& findings) {
  if (!sets.of(RECORD_SHARE).fault.empty()) return;
  for (const RecordSet& set : sets.all) {
    if (set.file->kind != RECORD_PERMISSIONS && set.file->kind != RECORD_NFS_HOSTS) continue;
    for (const auto& [key, value] : set.records) {
      if (sets.of(RECORD_SHARE).records.contains(key)) continue;
      const char* const what = set.file->kind == RECORD_NFS_HOSTS ? "NFS hosts" : "permissions";
      findings.push_back({RULE_LIST_LEFT, set.file, key, std::string(what) + " of a share that is not there"});
    }
  }
}

void checkMemberships(const Sets& sets, std::vector<Finding>& findings) {
  if (!sets.of(RECORD_GROUP).fault.empty()) return;
  std::set<std::uint32_t> gids = {0};
  for (const GroupItem& group : itemsOf<GroupItem>(sets.of(RECORD_GROUP))) gids.insert(group.gid);
  for (const UserItem& user : itemsOf<UserItem>(sets.of(RECORD_USER))) {
    for (const std::uint32_t gid : user.groups) {
      if (gids.contains(gid)) continue;
      findings.push_back({RULE_GROUP_LEFT, sets.of(RECORD_USER).file, keyOf(user),
                          "in the group " + std::to_string(gid) + ", which is not there"});
    }
  }
}

void checkHomes(const Sets& sets, std::vector<Finding>& findings) {
  const RecordSet& shares = sets.of(RECORD_SHARE);
  const RecordSet& passwords = sets.of(RECORD_PASSWORD);
  std::set<std::string> homes;
  forEachSound(passwords, [&](const std::string& key, const std::string& value) {
    const std::string home = textAt(value, layout::kHome);
    homes.insert(home);
    if (home.empty() || !shares.fault.empty() || sets.has(RECORD_SHARE, home)) return;
    findings.push_back({RULE_HOME_LEFT, passwords.file, key, "the home share " + home + " is not there"});
  });
  if (!passwords.fault.empty()) return;
  forEachSound(shares, [&](const std::string& key, const std::string& value) {
    if (wordAt(value, layout::kHomeMark) != 1 || homes.contains(keyText(key))) return;
    findings.push_back({RULE_HOME_MARK, shares.file, key, "marked as a home share, but no user has it"});
  });
}

void checkHalves(const Sets& sets, std::vector<Finding>& findings) {
  if (!sets.of(RECORD_USER).fault.empty()) return;
  for (const auto& [key, value] : sets.of(RECORD_PASSWORD).records) {
    if (sets.has(RECORD_USER, keyText(key) + std::to_string(PROTO_SYSTEM))) continue;
    findings.push_back({RULE_HALF_USER, sets.of(RECORD_PASSWORD).file, key, "a password without an account"});
  }
}

template <typename Item>
void checkIds(const RecordSet& set, std::vector<Finding>& findings) {
  std::map<std::uint32_t, std::string> owners;
  for (const Item& item : itemsOf<Item>(set)) {
    const std::string id = std::to_string(idOf(item));
    if (!isInRange(idOf(item))) {
      findings.push_back({RULE_ID_RANGE, set.file, keyOf(item), "the number " + id + " is none of the appliance's"});
      continue;
    }
    const auto [owner, isFirst] = owners.emplace(idOf(item), keyOf(item));
    if (isFirst) continue;
    findings.push_back({RULE_ID_DOUBLED, set.file, keyOf(item),
                        "the number " + id + " is that of " + keyText(owner->second) + " too"});
  }
}

// ---- Numbers in use

template <typename Item>
void checkTaken(const RecordSet& set, const TakenIds& taken, std::vector<Finding>& findings) {
  if (!taken.isLoaded || !set.fault.empty()) return;
  std::vector<bool> recorded(layout::kIdCount);
  for (const Item& item : itemsOf<Item>(set)) {
    if (isInRange(idOf(item))) recorded[idOf(item) - layout::kFirstId] = true;
  }
  for (std::uint32_t i = 0; i < layout::kIdCount; ++i) {
    if (recorded[i] == taken.ids[i]) continue;
    const std::string id = std::to_string(layout::kFirstId + i);
    findings.push_back(
        {RULE_IDS_TAKEN, set.file, "",
         "the number " + id +
             (recorded[i] ? " counts as free, but an account has it" : " counts as taken, but no account has it")});
  }
}

std::vector<Finding> allFindings(const std::vector<RecordSet>& sets) {
  std::vector<Finding> findings = findingsIn(sets);
  TakenIds taken[2];
  readTakenIds(taken);
  checkTaken<UserItem>(Sets{sets}.of(RECORD_USER), taken[0], findings);
  checkTaken<GroupItem>(Sets{sets}.of(RECORD_GROUP), taken[1], findings);
  std::sort(findings.begin(), findings.end());
  findings.erase(std::unique(findings.begin(), findings.end()), findings.end());
  return findings;
}

}  // namespace

std::string recordFault(RecordKind kind, const std::string& key, const std::string& value) {
  const bool isNamed = key.size() > (kind == RECORD_SETTING ? 0 : 1) && key.find('\0') == key.size() - 1;
  if (!isNamed) return "its name is none";
  switch (kind) {
    case RECORD_SHARE:
      return shareFault(key, value);
    case RECORD_NFS_HOSTS:
      return nfsHostsFault(value);
    case RECORD_PERMISSIONS:
      return permissionsFault(value);
    case RECORD_USER:
      return accountFault<UserItem>(key, value);
    case RECORD_GROUP:
      return accountFault<GroupItem>(key, value);
    case RECORD_PASSWORD:
      return passwordFault(value);
    case RECORD_MODULE:
      return moduleFault(value);
    default:
      return "";
  }
}

std::vector<Finding> findingsIn(const std::vector<RecordSet>& all) {
  std::vector<Finding> findings;
  for (const RecordSet& set : all) {
    if (!set.fault.empty()) findings.push_back({RULE_UNREADABLE, set.file, "", "damaged: " + set.fault});
    for (const auto& [key, value] : set.records) {
      const std::string fault = recordFault(set.file->kind, key, value);
      if (!fault.empty()) findings.push_back({RULE_UNSOUND, set.file, key, "cannot be read: " + fault});
    }
  }
  const Sets sets{all};
  checkLists(sets, findings);
  checkMemberships(sets, findings);
  checkHomes(sets, findings);
  checkHalves(sets, findings);
  checkIds<UserItem>(sets.of(RECORD_USER), findings);
  checkIds<GroupItem>(sets.of(RECORD_GROUP), findings);
  return findings;
}

ExitCode refuseDamage(const std::vector<RecordSet>& sets) {
  const std::vector<Finding> findings = findingsIn(sets);
  for (const Finding& f : findings) {
    if (f.rule > RULE_UNSOUND) continue;
    const std::string what = f.key.empty() ? " is" : ": the record " + keyText(f.key);
    return complain(DAMAGED, "%s%s %s; nas1 db repair mends it", f.file->path, what.c_str(), f.text.c_str());
  }
  return DONE;
}

ExitCode checkRecords(std::vector<Finding>& findings) {
  std::vector<RecordSet> sets;
  if (const ExitCode fault = readRecordSets(sets); fault != DONE) return fault;
  findings = allFindings(sets);
  if (findings.empty()) return DONE;
  (void)usleep(kSecondLookUs);
  if (const ExitCode fault = readRecordSets(sets); fault != DONE) return fault;
  const std::vector<Finding> again = allFindings(sets);
  std::erase_if(findings, [&](const Finding& f) { return !std::binary_search(again.begin(), again.end(), f); });
  return DONE;
}
