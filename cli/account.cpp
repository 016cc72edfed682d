// nas1 account: the accounts of remote servers, as the appliance can fetch them.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "nouns.h"
#include "output.h"
#include "protocols.h"
#include "safe_values.h"
#include "suggest.h"

namespace {

struct Arguments {
  std::string kind;
  std::string protocol;
  std::string server;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

// More names than any directory of this appliance's size has: the list file is damaged.
constexpr int kMostNames = 100000;
constexpr std::size_t kNameRoom = 128;

// One kind of account: how its list is fetched from a named server, and how the configured server's is counted.
struct Kind {
  const char* name;
  int (*fetch)(int source, char* server);
  int (*count)(int source);
  int (*show)(int source, char** names);
  int (*refresh)(int source, int start, int count, void* buffer, int size);
};

int fetchGroups(int source, char* server) { return Nas1GetGroupListFromRemoteServer(source, server); }

// Those with a directory behind them.
constexpr Protocol protocols[] = {{"cifs", PROTO_CIFS}, {"ncp", PROTO_NCP}};

constexpr Kind kinds[] = {
    {"users", Nas1GetUserListFromRemoteServer, Nas1GetUserListCountInRemoteServer, Nas1ShowUserListInRemoteServer,
     Nas1GetUserList},
    {"groups", fetchGroups, Nas1GetGroupListCountInRemoteServer, Nas1ShowGroupListInRemoteServer, Nas1GetGroupList},
};

ExitCode findKind(const Kind*& kind) {
  for (const Kind& candidate : kinds) {
    kind = &candidate;
    if (arguments.kind == candidate.name) return DONE;
  }
  return complain(USAGE, "remote servers have no list of %s%s; there are users and groups", arguments.kind.c_str(),
                  suggestion(arguments.kind, {"users", "groups"}).c_str());
}

// Brings the list file up to date, from the server given or from the configured one.
ExitCode refresh(const Kind& kind, int source) {
  const Field serverField = source == PROTO_CIFS ? Field::controller : Field::bindery;
  if (arguments.server.empty()) {
    if (kind.refresh(source, 0, -1, nullptr, 0) >= 0) return DONE;
    return complain(LIBRARY_FAILED, "the %s of the configured server could not be fetched", kind.name);
  }
  if (const ExitCode fault = checkSafe(serverField, "server", arguments.server, arguments.allowUnsafe); fault != DONE)
    return fault;
  const std::string server = arguments.server;
  if (kind.fetch(source, arguments.server.data()) == 0) return DONE;
  return complain(LIBRARY_FAILED, "the %s of %s could not be fetched", kind.name, server.c_str());
}

ExitCode readNames(const Kind& kind, int source, std::vector<std::string>& names) {
  const int count = kind.count(source);
  if (count < 0) return complain(LIBRARY_FAILED, "no list of %s was fetched", kind.name);
  if (count > kMostNames) return complain(DAMAGED, "the list of %s says that it has %d names", kind.name, count);
  if (count == 0) return DONE;
  std::vector<char> room(static_cast<std::size_t>(count) * kNameRoom);
  std::vector<char*> places;
  for (std::size_t at = 0; at < room.size(); at += kNameRoom) places.push_back(&room[at]);
  (void)kind.show(source, places.data());
  // The list went between counting and reading.
  if (places[0] == nullptr) return complain(LIBRARY_FAILED, "the list of %s is gone", kind.name);
  names.assign(places.begin(), places.end());
  return DONE;
}

ExitCode remote() {
  const Kind* kind;
  const Protocol* protocol;
  std::vector<std::string> names;
  if (const ExitCode fault = findKind(kind); fault != DONE) return fault;
  if (const ExitCode fault = findProtocol(protocols, "a list of accounts", arguments.protocol, protocol); fault != DONE)
    return fault;
  if (const ExitCode fault = refresh(*kind, protocol->number); fault != DONE) return fault;
  if (const ExitCode fault = readNames(*kind, protocol->number, names); fault != DONE) return fault;
  Listing listing = {kind->name, {"name"}, {}};
  for (const std::string& name : names) listing.rows.push_back({name});
  return printListing(arguments.output, listing);
}

}  // namespace

void registerAccount(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const verb =
      noun.add_subcommand("remote", "Fetch and print the users or groups of a domain controller or bindery server");
  verb->callback([&result] { result = remote(); });
  verb->add_option("KIND", arguments.kind, "users or groups")->required();
  verb->add_option("PROTOCOL", arguments.protocol, "cifs (domain controller) or ncp (bindery server)")->required();
  verb->add_option("SERVER", arguments.server, "Its name; without it, the configured one");
  verb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a name on that a shell may misread");
  addOutputOptions(*verb, arguments.output);
}
