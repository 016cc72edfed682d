#pragma once
// The state of the appliance as an export holds it and an import brings it about. Texts are bytes in the appliance's
// code page. What a document does not mention has no value here and is left alone.

#include <nas1api.h>

#include <array>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "nfs_hosts.h"
#include "permission_lists.h"

using Permissions = std::vector<PermittedItem>;

enum { READ_ONLY_PASSWORD = 0, READ_WRITE_PASSWORD = 1 };  // as the library numbers them

struct ShareState {
  std::string name;
  std::optional<std::string> comment;
  std::optional<std::string> path;
  std::optional<bool> isHome;
  std::array<std::optional<std::string>, 2> passwords;
  std::optional<std::array<Permissions, std::size(permissionProtocols)>> permissions;
  std::optional<std::vector<Host>> hosts;
};

struct Account {
  std::string name;
  int source = PROTO_SYSTEM;

  auto operator<=>(const Account&) const = default;
};

struct GroupState {
  Account account;
  std::optional<std::uint32_t> id;
  std::optional<std::uint32_t> quota;
};

struct Membership {
  Account group;
  bool isPrimary = false;

  auto operator<=>(const Membership&) const = default;
};

struct UserState {
  Account account;
  std::optional<std::uint32_t> id;
  std::optional<std::uint32_t> quota;
  std::optional<std::vector<Membership>> groups;  // sorted
  std::optional<std::string> home;                // name of the share
  std::optional<std::string> password;
  bool hasRecord = true;  // of a local user: else it is known by name and number only
};

struct SnapshotState {
  std::string volume;
  std::array<std::uint32_t, 5> words = {};  // the reserved space, then what the scheduler alone understands
};

struct ProductText {
  std::string key;
  std::string text;
};

struct State {
  std::optional<std::map<std::string, std::string>> settings;  // values as words; parseSetting takes them
  std::optional<std::vector<GroupState>> groups;
  std::optional<std::vector<ModuleRecord>> modules;
  std::optional<std::vector<ProductText>> products;
  std::optional<std::vector<ShareState>> shares;
  std::optional<std::vector<SnapshotState>> snapshots;
  std::optional<std::vector<UserState>> users;
};
