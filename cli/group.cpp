// nas1 group: the groups of the appliance and who is in them.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "accounts.h"
#include "calls.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"

namespace {

struct Arguments {
  std::string name;
  std::string user;
  std::string source = kLocal;
  std::optional<long long> megabytes;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

bool isMember(const UserItem& user, std::uint32_t gid) {
  return std::find(std::begin(user.groups), std::end(user.groups), gid) != std::end(user.groups);
}

// The group that the arguments name, and its source.
ExitCode findNamed(int& source, GroupItem& group) {
  if (const ExitCode fault = findSource(arguments.source, source); fault != DONE) return fault;
  return findGroup(source, arguments.name, group);
}

// The group and the user that the arguments name; both are of one source.
ExitCode findBoth(int& source, GroupItem& group, UserItem& user) {
  if (const ExitCode fault = findNamed(source, group); fault != DONE) return fault;
  return findUser(source, arguments.user, user);
}

ExitCode add() {
  int source = 0;
  if (const ExitCode fault = findSource(arguments.source, source); fault != DONE) return fault;
  if (const ExitCode fault = checkNewName(source, "group", arguments.name, arguments.allowUnsafe); fault != DONE)
    return fault;
  GroupItem group;
  int size = 0;
  if (Nas1CheckGroupItem(source, Nas1UpStr(arguments.name.data()), &group, &size) == 0)
    return complain(REFUSED, "there is a group %s already", arguments.name.c_str());
  if (isOnlyShown("Nas1AddGroup", {source, arguments.name, nullptr})) return DONE;
  if (Nas1AddGroup(source, arguments.name.data(), nullptr) < 0)
    return explainFailure(kGroupFile, Use::change, "the group could not be added");
  return DONE;
}

ExitCode del() {
  int source = 0;
  GroupItem group;
  if (const ExitCode fault = findNamed(source, group); fault != DONE) return fault;
  if (isOnlyShown("Nas1DelGroup", {source, arguments.name})) return DONE;
  if (Nas1DelGroup(source, arguments.name.data()) != 0)
    return explainFailure(kGroupFile, Use::change, "the group could not be deleted");
  return DONE;
}

ExitCode list() {
  std::vector<GroupItem> groups;
  std::vector<UserItem> users;
  if (const ExitCode fault = readGroups(groups); fault != DONE) return fault;
  if (const ExitCode fault = readUsers(users); fault != DONE) return fault;
  Listing listing = {"groups", {"name", "source", "gid", "members", "quota_mb"}, {}};
  for (const GroupItem& group : groups) {
    const auto members =
        std::count_if(users.begin(), users.end(), [&](const UserItem& user) { return isMember(user, group.gid); });
    listing.rows.push_back({nameOf(group), sourceName(group.source), static_cast<long long>(group.gid),
                            static_cast<long long>(members), static_cast<long long>(group.quota)});
  }
  return printListing(arguments.output, listing);
}

ExitCode show() {
  int source = 0;
  GroupItem group;
  if (const ExitCode fault = findNamed(source, group); fault != DONE) return fault;
  return printObject(arguments.output, "group",
                     {{"name", nameOf(group)},
                      {"source", sourceName(group.source)},
                      {"gid", static_cast<long long>(group.gid)},
                      {"quota_mb", static_cast<long long>(group.quota)}});
}

// Of every source: the library's own list of members knows local users only.
ExitCode members() {
  int source = 0;
  GroupItem group;
  std::vector<UserItem> users;
  if (const ExitCode fault = findNamed(source, group); fault != DONE) return fault;
  if (const ExitCode fault = readUsers(users); fault != DONE) return fault;
  Listing listing = {"members", {"name", "source", "uid", "primary"}, {}};
  for (const UserItem& user : users) {
    if (!isMember(user, group.gid)) continue;
    listing.rows.push_back(
        {nameOf(user), sourceName(user.source), static_cast<long long>(user.uid), user.groups[0] == group.gid});
  }
  return printListing(arguments.output, listing);
}

ExitCode showQuota(const GroupItem& group) {
  const auto megabytes = static_cast<long long>(group.quota);
  if (arguments.output.json || !arguments.output.field.empty())
    return printObject(arguments.output, "group", {{"name", nameOf(group)}, {"quota_mb", megabytes}});
  printBare(megabytes);
  return DONE;
}

ExitCode quota() {
  int source = 0;
  GroupItem group;
  if (const ExitCode fault = findNamed(source, group); fault != DONE) return fault;
  if (!arguments.megabytes) return showQuota(group);
  if (const ExitCode fault = checkQuota(*arguments.megabytes); fault != DONE) return fault;
  const auto megabytes = static_cast<std::uint32_t>(*arguments.megabytes);
  if (group.quota == megabytes) return unchanged();
  group.quota = megabytes;
  if (isOnlyShown("Nas1SetGroupItem", {describedArgument(describe(group))})) return DONE;
  if (Nas1SetGroupItem(&group) != 0) return explainFailure(kGroupFile, Use::change, "the quota could not be set");
  return DONE;
}

ExitCode primary() {
  int source = 0;
  GroupItem group;
  UserItem user;
  if (const ExitCode fault = findBoth(source, group, user); fault != DONE) return fault;
  const bool room = isMember(user, group.gid) || isMember(user, 0);
  if (!room)
    return complain(READ_ONLY, "%s is in %zu groups already, and in no more", nameOf(user).c_str(),
                    std::size(user.groups));
  if (user.groups[0] == group.gid) return unchanged();
  if (isOnlyShown("Nas1SetPrimaryGroup", {source, arguments.user, arguments.name})) return DONE;
  if (Nas1SetPrimaryGroup(source, arguments.user.c_str(), arguments.name.c_str()) != 0)
    return explainFailure(kUserFile, Use::change, "the primary group could not be set");
  return DONE;
}

ExitCode leave() {
  int source = 0;
  GroupItem group;
  UserItem user;
  if (const ExitCode fault = findBoth(source, group, user); fault != DONE) return fault;
  if (!isMember(user, group.gid))
    return complain(UNKNOWN_OBJECT, "%s is not in the group %s", nameOf(user).c_str(), nameOf(group).c_str());
  if (isOnlyShown("Nas1LeaveGroup", {source, arguments.user, arguments.name})) return DONE;
  if (Nas1LeaveGroup(source, arguments.user.data(), arguments.name.data()) != 0)
    return explainFailure(kUserFile, Use::change, "the user could not be taken out of the group");
  return DONE;
}

// The library's own join never adds: memberships are written with the user. Slot 0 is left to the primary group.
ExitCode join() {
  int source = 0;
  GroupItem group;
  UserItem user;
  if (const ExitCode fault = findBoth(source, group, user); fault != DONE) return fault;
  if (Nas1JoinGroup(source, arguments.user.data(), arguments.name.data()) == 0) return unchanged();
  auto* const slot = std::find(std::begin(user.groups) + 1, std::end(user.groups), 0U);
  if (slot == std::end(user.groups)) {
    return complain(READ_ONLY, "%s is in %zu groups besides its primary one already, and in no more",
                    nameOf(user).c_str(), std::size(user.groups) - 1);
  }
  *slot = group.gid;
  if (isOnlyShown("Nas1SetUserItem", {describedArgument(describe(user))})) return DONE;
  if (Nas1SetUserItem(&user) != 0) return explainFailure(kUserFile, Use::change, "the user could not join the group");
  return DONE;
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

// A verb about one group.
CLI::App* addGroupVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = addVerb(noun, result, name, about, run);
  verb->add_option("NAME", arguments.name, "Name of the group")->required();
  addSourceOption(*verb, arguments.source);
  return verb;
}

void addUserArgument(CLI::App& verb) {
  verb.add_option("USER", arguments.user, "Name of the user, of the same source")->required();
}

}  // namespace

void registerGroup(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const addOne = addGroupVerb(noun, result, "add", "Add a group", add);
  addOne->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a name on that a program may misread");
  CLI::App* const delOne =
      addGroupVerb(noun, result, "del", "Delete a group, its memberships and its permissions", del);
  addOutputOptions(*addVerb(noun, result, "list", "Print all groups", list), arguments.output);
  addOutputOptions(*addGroupVerb(noun, result, "show", "Print one group", show), arguments.output);
  addOutputOptions(*addGroupVerb(noun, result, "members", "Print the users in a group", members), arguments.output);
  CLI::App* const quotaOne =
      addGroupVerb(noun, result, "quota", "Set a group's quota on every volume, or print it", quota);
  quotaOne->add_option("MEGABYTES", arguments.megabytes, "The new quota; 0 for none");
  addOutputOptions(*quotaOne, arguments.output);
  CLI::App* const primaryOne = addGroupVerb(noun, result, "primary", "Make a group a user's primary one", primary);
  CLI::App* const joinOne = addGroupVerb(noun, result, "join", "Put a user into a group", join);
  CLI::App* const leaveOne = addGroupVerb(noun, result, "leave", "Take a user out of a group", leave);
  for (CLI::App* const verb : {primaryOne, joinOne, leaveOne}) addUserArgument(*verb);
  for (CLI::App* const verb : {addOne, delOne, quotaOne, primaryOne, joinOne, leaveOne}) addDryRunOption(*verb);
}
