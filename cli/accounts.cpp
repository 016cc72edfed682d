#include "accounts.h"

#include <strings.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>

#include "record_files.h"
#include "safe_values.h"
#include "suggest.h"

namespace {

// By number.
constexpr const char* sourceNames[PROTO_COUNT] = {kLocal, "cifs", "nfs", "ncp", "afp", "ftp", "snmp"};

template <typename Item>
ExitCode readItems(const char* file, int counted, int (*list)(int, int, void*, int), std::vector<Item>& items) {
  // A file that cannot be opened lists like an empty one.
  if (const ExitCode fault = checkRecordFile(file, Use::read); fault != DONE) return fault;
  items.resize(static_cast<std::size_t>(std::max(counted, 1)));
  const int count = static_cast<int>(items.size());
  const int listed = list(0, count, items.data(), count * static_cast<int>(sizeof(Item)));
  items.resize(static_cast<std::size_t>(std::max(listed, 0)));
  std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
    const int order = nameOf(a).compare(nameOf(b));
    return order != 0 ? order < 0 : a.source < b.source;
  });
  return DONE;
}

template <typename Item>
ExitCode findItem(const char* kind, const char* file, int (*check)(int, const char*, void*, int*), int source,
                  std::string& name, Item& item) {
  int size = 0;
  (void)Nas1UpStr(name.data());
  if (check(source, name.c_str(), &item, &size) == 0) return DONE;
  if (const ExitCode fault = checkRecordFile(file, Use::read); fault != DONE) return fault;
  return complain(UNKNOWN_OBJECT, "there is no %s %s of the source %s; nas1 %s list shows them", kind, name.c_str(),
                  sourceNames[source], kind);
}

}  // namespace

std::string sourceName(unsigned source) {
  return source < std::size(sourceNames) ? sourceNames[source] : std::to_string(source);
}

ExitCode checkAccountFiles() {
  const ExitCode fault = checkRecordFile(kUserFile, Use::read);
  return fault != DONE ? fault : checkRecordFile(kGroupFile, Use::read);
}

ExitCode findSource(const std::string& name, int& source) {
  for (source = 0; source < PROTO_COUNT; ++source) {
    if (strcasecmp(sourceNames[source], name.c_str()) == 0) return DONE;
  }
  const std::vector<std::string> names(std::begin(sourceNames), std::end(sourceNames));
  return complain(UNKNOWN_OBJECT, "accounts have no source %s%s; it is local, cifs, nfs, ncp, afp, ftp or snmp",
                  name.c_str(), suggestion(name, names).c_str());
}

void addSourceOption(CLI::App& verb, std::string& source) {
  verb.add_option("--source", source, "Where the account lives: local (as without it), cifs, nfs, ncp, afp, ...");
}

ExitCode readUsers(std::vector<UserItem>& users) {
  return readItems(kUserFile, Nas1UserItemCount(), Nas1ListUserItem, users);
}

ExitCode readGroups(std::vector<GroupItem>& groups) {
  return readItems(kGroupFile, Nas1GroupItemCount(), Nas1ListGroupItem, groups);
}

ExitCode findUser(int source, std::string& name, UserItem& user) {
  return findItem("user", kUserFile, Nas1CheckUserItem, source, name, user);
}

ExitCode findGroup(int source, std::string& name, GroupItem& group) {
  return findItem("group", kGroupFile, Nas1CheckGroupItem, source, name, group);
}

ExitCode checkNewName(int source, const char* kind, std::string& name, bool allowUnsafe) {
  // As the library does.
  if (source == PROTO_SYSTEM) {
    Nas1Remove_ht_space(name.data());
    name.resize(std::strlen(name.c_str()));
  }
  if (name.empty()) return complain(USAGE, "the name of the %s is empty", kind);
  if (Nas1CheckLength(name.c_str(), NAS_NAME_SIZE) != 0) {
    return complain(USAGE, "the name has %zu characters; it may have %d", name.size(), NAS_NAME_SIZE - 1);
  }
  // A local name becomes that of a share and part of its path.
  return checkSafe(source == PROTO_SYSTEM ? Field::localAccount : Field::remoteAccount, "name", name, allowUnsafe);
}

std::string groupName(const std::vector<GroupItem>& groups, std::uint32_t gid) {
  const auto found = std::find_if(groups.begin(), groups.end(), [gid](const auto& group) { return group.gid == gid; });
  return gid == 0 || found == groups.end() ? "" : nameOf(*found);
}

std::vector<std::string> groupsOf(int source, std::string user) {
  UserItem item;
  int size = 0;
  if (Nas1CheckUserItem(source, Nas1UpStr(user.data()), &item, &size) != 0) return {};
  std::vector<GroupItem> groups;
  if (readGroups(groups) != DONE) return {};
  std::vector<std::string> names;
  for (const std::uint32_t gid : item.groups) {
    for (const GroupItem& group : groups) {
      if (gid != 0 && group.gid == gid) names.push_back(nameOf(group));
    }
  }
  return names;
}

std::string describe(const UserItem& user) {
  std::string words = sourceName(user.source) + " user " + nameOf(user) + ", groups";
  for (const std::uint32_t gid : user.groups) {
    if (gid != 0) words += " " + std::to_string(gid);
  }
  return words + ", quota " + std::to_string(user.quota) + " MB";
}

std::string describe(const GroupItem& group) {
  return sourceName(group.source) + " group " + nameOf(group) + ", quota " + std::to_string(group.quota) + " MB";
}

ExitCode checkQuota(long long megabytes) {
  if (megabytes >= 0 && megabytes <= kMostMegabytes) return DONE;
  return complain(USAGE, "a quota of %lld megabytes is out of range; it is 0 (none) to %lld", megabytes,
                  kMostMegabytes);
}
