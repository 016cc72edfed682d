// nas1 user: the users of the appliance, local ones and those of remote sources that it knows.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "accounts.h"
#include "calls.h"
#include "confirm.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "secret.h"
#include "shares.h"

namespace {

struct Arguments {
  std::string name;
  std::string source = kLocal;
  std::optional<long long> megabytes;
  std::string file;
  bool withoutPassword = false;
  bool yes = false;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

constexpr std::size_t kPasswordLength = NAS_NAME_SIZE - 1;
enum { SOFT_LIMIT = 0, IN_USE = 1, HARD_LIMIT = 2 };

// A field of a local user's record; empty when there is none.
std::string recordField(const std::string& name, const char* type) {
  char text[NAS_NAME_SIZE] = {};
  return NasGetUserConfig(name.c_str(), type, sizeof text, text, nullptr) == 0 ? text : "";
}

// Accounts that a protocol has made known have none.
bool hasRecord(const std::string& name) {
  char text[NAS_NAME_SIZE];
  return NasGetUserConfig(name.c_str(), "passwd", sizeof text, text, nullptr) == 0;
}

int numberOf(const char* key) {
  int number = 0;
  return NasGetConfig(key, sizeof number, &number, nullptr) == 0 ? number : 0;
}

// The user that the arguments name, and its source.
ExitCode findNamed(int& source, UserItem& user) {
  if (const ExitCode fault = findSource(arguments.source, source); fault != DONE) return fault;
  return findUser(source, arguments.name, user);
}

ExitCode askPassword(std::string& password) {
  if (arguments.withoutPassword) return DONE;
  const ExitCode fault = readSecret("password", arguments.file, kPasswordLength, password);
  return fault != DONE ? fault : checkSafe(Field::freeText, "password", password, arguments.allowUnsafe);
}

// Looks whether the files that hold a user of a source can be changed. With a home come the exports of all shares, made
// from the hosts of each.
ExitCode checkUserFiles(int source) {
  for (const char* const file : {kUserFile, kPasswordFile, kShareFile, kShareNfsFile}) {
    if (const ExitCode fault = checkRecordFile(file, Use::change); fault != DONE) return fault;
    if (source != PROTO_SYSTEM) break;
  }
  return DONE;
}

// What a refused addition means.
ExitCode explainAddition(int source, int result) {
  if (const ExitCode fault = checkUserFiles(source); fault != DONE) return fault;
  const char* const name = arguments.name.c_str();
  switch (result) {
    case -2:
      return complain(REFUSED, "the home share of %s cannot be made: a share of that name is there", name);
    case -3:
      return complain(REFUSED, "there is no volume to make the home share of %s on", name);
    default:
      return complain(LIBRARY_FAILED, "the user %s could not be added; the system log may say more", name);
  }
}

ExitCode add() {
  int source = 0;
  if (const ExitCode fault = findSource(arguments.source, source); fault != DONE) return fault;
  if (const ExitCode fault = checkNewName(source, "user", arguments.name, arguments.allowUnsafe); fault != DONE)
    return fault;
  UserItem item;
  int size = 0;
  std::string stored = arguments.name;
  if (Nas1CheckUserItem(source, Nas1UpStr(stored.data()), &item, &size) == 0)
    return complain(REFUSED, "there is a user %s already", stored.c_str());
  char homes[2] = {};
  (void)NasGetConfig("AUTO_HOME", sizeof homes, homes, nullptr);
  const bool wanted = source == PROTO_SYSTEM && homes[0] == '1';
  if (wanted) {
    if (const ExitCode fault = checkSafe(Field::homeName, "name", arguments.name, arguments.allowUnsafe); fault != DONE)
      return fault;
    if (const ExitCode fault = checkNamesake(arguments.name, arguments.allowUnsafe); fault != DONE) return fault;
    if (const ExitCode fault = checkRecordFile(kShareNfsFile, Use::change); fault != DONE) return fault;
  }
  std::string password;
  if (source == PROTO_SYSTEM) {
    if (const ExitCode fault = askPassword(password); fault != DONE) return fault;
  }
  if (isOnlyShown("Nas1AddUser", {source, arguments.name, maskedArgument()})) return DONE;
  const int result = Nas1AddUser(source, arguments.name.data(), password.c_str());
  if (result < 0) return explainAddition(source, result);
  if (wanted && recordField(stored, "home").empty())
    tell("the user is there, but its home share could not be made; the log may say more");
  return DONE;
}

// Says what goes with a user.
void announce(const std::string& home) {
  const char* const name = arguments.name.c_str();
  if (home.empty()) return tell("the user %s goes", name);
  if (numberOf("RESERVE_HOME") != 0) return tell("the user %s goes; the share %s stays", name, home.c_str());
  const bool kept = numberOf("RESERVE_SHARE_PATH") == 1;
  tell(kept ? "the user %s goes, and the share %s; its folder stays"
            : "the user %s goes, and the share %s with its folder and all that is in it",
       name, home.c_str());
}

ExitCode del() {
  int source = 0;
  UserItem user;
  if (const ExitCode fault = findNamed(source, user); fault != DONE) return fault;
  // What goes first would be gone even if the rest could not go: look before whether it can.
  if (const ExitCode fault = checkUserFiles(source); fault != DONE) return fault;
  const std::string home = source == PROTO_SYSTEM ? recordField(arguments.name, "home") : "";
  announce(home);
  if (!isConfirmed(arguments.yes)) return complain(REFUSED, "nothing was changed");
  if (isOnlyShown("Nas1DelUser", {source, arguments.name})) return DONE;
  if (Nas1DelUser(source, arguments.name.data()) != 0)
    return explainFailure(kUserFile, Use::change, "the user could not be deleted");
  if (!home.empty()) tellOfLeftExports();
  return DONE;
}

ExitCode list() {
  std::vector<UserItem> users;
  std::vector<GroupItem> groups;
  if (const ExitCode fault = readUsers(users); fault != DONE) return fault;
  if (const ExitCode fault = readGroups(groups); fault != DONE) return fault;
  Listing listing = {"users", {"name", "source", "uid", "primary_group", "quota_mb"}, {}};
  for (const UserItem& user : users) {
    listing.rows.push_back({nameOf(user), sourceName(user.source), static_cast<long long>(user.uid),
                            groupName(groups, user.groups[0]), static_cast<long long>(user.quota)});
  }
  return printListing(arguments.output, listing);
}

ExitCode show() {
  int source = 0;
  UserItem user;
  std::vector<GroupItem> groups;
  if (const ExitCode fault = findNamed(source, user); fault != DONE) return fault;
  if (const ExitCode fault = readGroups(groups); fault != DONE) return fault;
  const bool local = source == PROTO_SYSTEM;
  return printObject(
      arguments.output, "user",
      {{"name", nameOf(user)},
       {"source", sourceName(user.source)},
       {"uid", static_cast<long long>(user.uid)},
       {"primary_group", groupName(groups, user.groups[0])},
       {"quota_mb", static_cast<long long>(user.quota)},
       {"home_share", local ? Cell(recordField(arguments.name, "home")) : Cell()},
       {"password", local ? secretCell(arguments.output, recordField(arguments.name, "passwd")) : Cell()}});
}

ExitCode passwd() {
  int source = 0;
  UserItem user;
  if (const ExitCode fault = findNamed(source, user); fault != DONE) return fault;
  std::string password;
  if (const ExitCode fault = askPassword(password); fault != DONE) return fault;
  if (hasRecord(arguments.name) && recordField(arguments.name, "passwd") == password) return unchanged();
  if (isOnlyShown("Nas1SetUserPasswd", {source, arguments.name, maskedArgument()})) return DONE;
  if (Nas1SetUserPasswd(source, arguments.name.data(), password.c_str()) != 0)
    return explainFailure(kPasswordFile, Use::change, "the password could not be set");
  return DONE;
}

// What the system's own report says, volume by volume.
ExitCode showQuota(const UserItem& user) {
  int count = 0;
  int bytes = 0;
  (void)Nas1GetVolumeCount(&count, &bytes);
  std::vector<VolumeInfo> volumes(static_cast<std::size_t>(std::max(count, 1)));
  const int listed = Nas1ListVolume(volumes.data(), static_cast<int>(volumes.size() * sizeof(VolumeInfo)));
  volumes.resize(static_cast<std::size_t>(std::max(listed, 0)));
  Listing listing = {"quotas", {"volume", "soft_mb", "used_mb", "hard_mb"}, {}};
  for (const VolumeInfo& volume : volumes) {
    const std::string device = fieldText(volume.device, sizeof volume.device);
    if (const ExitCode fault = checkSafe(Field::volumeDevice, "device of a volume", device, false); fault != DONE)
      return fault;
    auto& row = listing.rows.emplace_back(std::vector<Cell>{fieldText(volume.mount, sizeof volume.mount)});
    for (const int which : {SOFT_LIMIT, IN_USE, HARD_LIMIT})
      row.emplace_back(static_cast<long long>(Nas1GetQuota(0, static_cast<int>(user.uid), device.c_str(), which)));
  }
  return printListing(arguments.output, listing);
}

ExitCode quota() {
  int source = 0;
  UserItem user;
  if (const ExitCode fault = findNamed(source, user); fault != DONE) return fault;
  if (!arguments.megabytes) return showQuota(user);
  if (const ExitCode fault = checkQuota(*arguments.megabytes); fault != DONE) return fault;
  const auto megabytes = static_cast<std::uint32_t>(*arguments.megabytes);
  if (user.quota == megabytes) return unchanged();
  user.quota = megabytes;
  if (isOnlyShown("Nas1SetUserItem", {describedArgument(describe(user))})) return DONE;
  if (Nas1SetUserItem(&user) != 0) return explainFailure(kUserFile, Use::change, "the quota could not be set");
  return DONE;
}

ExitCode groups() {
  int source = 0;
  UserItem user;
  std::vector<GroupItem> known;
  if (const ExitCode fault = findNamed(source, user); fault != DONE) return fault;
  if (const ExitCode fault = readGroups(known); fault != DONE) return fault;
  Listing listing = {"groups", {"name", "gid", "primary"}, {}};
  for (std::size_t slot = 0; slot < std::size(user.groups); ++slot) {
    if (user.groups[slot] == 0) continue;
    listing.rows.push_back({groupName(known, user.groups[slot]), static_cast<long long>(user.groups[slot]), slot == 0});
  }
  return printListing(arguments.output, listing);
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

// A verb about one user.
CLI::App* addUserVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = addVerb(noun, result, name, about, run);
  verb->add_option("NAME", arguments.name, "Name of the user")->required();
  return verb;
}

}  // namespace

void registerUser(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const addOne =
      addUserVerb(noun, result, "add", "Add a user and, where AUTO_HOME begins with 1, its home share", add);
  addSourceOption(*addOne, arguments.source);
  addOne->add_option("--file", arguments.file, "File whose first line is the password");
  addOne->add_flag("--no-password", arguments.withoutPassword, "Do not ask for a password");
  addOne->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a value on that a shell or daemon may misread");
  addDryRunOption(*addOne);

  CLI::App* const delOne = addUserVerb(
      noun, result, "del", "Delete a user, its permissions and, unless RESERVE_HOME is set, its home share", del);
  addSourceOption(*delOne, arguments.source);
  delOne->add_flag("--yes", arguments.yes, "Do not ask");
  addDryRunOption(*delOne);

  addOutputOptions(*addVerb(noun, result, "list", "Print all users", list), arguments.output);

  CLI::App* const showOne = addUserVerb(noun, result, "show", "Print one user", show);
  addSourceOption(*showOne, arguments.source);
  addOutputOptions(*showOne, arguments.output);
  addSecretsOption(*showOne, arguments.output);

  CLI::App* const passwdOne =
      addUserVerb(noun, result, "passwd", "Set a local user's password: typed, piped in or from --file", passwd);
  passwdOne->add_option("--file", arguments.file, "File whose first line is the password");
  passwdOne->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a value on that a program may misread");
  addDryRunOption(*passwdOne);

  CLI::App* const quotaOne = addUserVerb(
      noun, result, "quota", "Set a user's quota on every volume, or print what the system reports of it", quota);
  quotaOne->add_option("MEGABYTES", arguments.megabytes, "The new quota; 0 for none");
  addSourceOption(*quotaOne, arguments.source);
  addDryRunOption(*quotaOne);
  addOutputOptions(*quotaOne, arguments.output);

  CLI::App* const groupsOne = addUserVerb(noun, result, "groups", "Print the groups that a user is in", groups);
  addSourceOption(*groupsOne, arguments.source);
  addOutputOptions(*groupsOne, arguments.output);
}
