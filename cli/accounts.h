#pragma once
// What the nouns about accounts have in common: sources by name, looking accounts up, setting quotas.

#include <nas1api.h>

#include <cstdint>
#include <string>
#include <vector>

#include "errors.h"
#include "output.h"

namespace CLI {
class App;
}

inline constexpr char kUserFile[] = "/etc/admin/user_id.gdbm";
inline constexpr char kGroupFile[] = "/etc/admin/group_id.gdbm";
inline constexpr char kPasswordFile[] = "/etc/admin/passwd.gdbm";

// Where an account lives: "local" or a protocol's name, and the number that the library has for it.
inline constexpr char kLocal[] = "local";
std::string sourceName(unsigned source);
ExitCode findSource(const std::string& name, int& source);
void addSourceOption(CLI::App& verb, std::string& source);

// All accounts that the appliance knows, by name. A file that cannot be read is complained about.
ExitCode readUsers(std::vector<UserItem>& users);
ExitCode readGroups(std::vector<GroupItem>& groups);

// Complains when accounts or groups cannot be read: who is in which group would not be known.
ExitCode checkAccountFiles();

// Look an account up without making it; the name is upper-cased, as it is stored. An unknown one is complained about.
ExitCode findUser(int source, std::string& name, UserItem& user);
ExitCode findGroup(int source, std::string& name, GroupItem& group);

// Brings the name of a new account into its stored form and refuses one that is too long, empty, or would be misread.
ExitCode checkNewName(int source, const char* kind, std::string& name, bool allowUnsafe);

// The name of the group that has a gid; empty when none has.
std::string groupName(const std::vector<GroupItem>& groups, std::uint32_t gid);

// The names of the groups that the appliance knows a user to be in; none for a user that it does not know. Nobody
// becomes known by it.
std::vector<std::string> groupsOf(int source, std::string user);

// Kilobytes are 32-bit numbers where a quota is applied.
inline constexpr long long kMostMegabytes = UINT32_MAX >> 10;

// Refuses a quota in megabytes that does not fit, counted in kilobytes.
ExitCode checkQuota(long long megabytes);

// An item as it is printed in a call.
std::string describe(const UserItem& user);
std::string describe(const GroupItem& group);

template <typename Item>
std::string nameOf(const Item& item) {
  return fieldText(item.name, sizeof item.name);
}
