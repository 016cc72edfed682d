// nas1 conn: the clients that are connected to the file services.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "calls.h"
#include "nouns.h"
#include "output.h"
#include "protocols.h"
#include "safe_values.h"

namespace {

struct Arguments {
  std::string protocol;
  int pid = 0;
  std::string text;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

// Those that have a connection table.
constexpr Protocol protocols[] = {{"cifs", PROTO_CIFS}, {"nfs", PROTO_NFS}, {"ncp", PROTO_NCP}, {"afp", PROTO_AFP}};

ExitCode chooseProtocol(const Protocol*& protocol) {
  return findProtocol(protocols, "a connection table", arguments.protocol, protocol);
}

// Returns false when the protocol's table cannot be reached.
bool readConnections(int protocol, std::vector<ConnectionRecord>& records) {
  records.resize(CONNECTION_MAX);
  const int bytes = static_cast<int>(records.size() * sizeof(ConnectionRecord));
  const int listed = Nas1ListConnection(protocol, 0, CONNECTION_MAX, records.data(), bytes);
  records.resize(static_cast<std::size_t>(std::max(listed, 0)));
  return listed >= 0;
}

ExitCode addToListing(const Protocol& protocol, Listing& listing) {
  std::vector<ConnectionRecord> records;
  if (!readConnections(protocol.number, records)) {
    return complain(LIBRARY_FAILED, "the connection table of %s cannot be reached; is the service installed?",
                    protocol.name);
  }
  std::sort(records.begin(), records.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
  for (const ConnectionRecord& record : records) {
    const std::string client = fieldText(record.data, sizeof record.data);
    listing.rows.push_back(
        {protocol.name, static_cast<long long>(record.pid), static_cast<long long>(record.time), client});
  }
  const int counted = Nas1ConnectionCount(protocol.number);
  if (protocol.number == PROTO_NFS && counted > 0)
    tell("%d connections of nfs are counted but cannot be listed", counted);
  return DONE;
}

ExitCode list() {
  Listing listing = {"connections", {"protocol", "pid", "seconds", "client"}, {}};
  ExitCode result = DONE;
  if (!arguments.protocol.empty()) {
    const Protocol* protocol;
    if (const ExitCode fault = chooseProtocol(protocol); fault != DONE) return fault;
    result = addToListing(*protocol, listing);
    if (result != DONE) return result;
  } else {
    for (const Protocol& protocol : protocols) {
      if (const ExitCode fault = addToListing(protocol, listing); fault != DONE) result = fault;
    }
  }
  if (const ExitCode fault = printListing(arguments.output, listing); fault != DONE) return fault;
  return result;
}

ExitCode kick() {
  const Protocol* protocol;
  if (const ExitCode fault = chooseProtocol(protocol); fault != DONE) return fault;
  // NFS has no list to look into, and its clients no sessions to end.
  if (protocol->number == PROTO_NFS) return complain(REFUSED, "nfs has no sessions that could be ended");
  std::vector<ConnectionRecord> records;
  if (!readConnections(protocol->number, records)) {
    return complain(LIBRARY_FAILED, "the connection table of %s cannot be reached", protocol->name);
  }
  // The library ends any process that it is given: only one that serves a client may be.
  const bool listed = std::any_of(records.begin(), records.end(), [](const auto& r) { return r.pid == arguments.pid; });
  if (arguments.pid <= 0 || !listed) {
    return complain(UNKNOWN_OBJECT, "no client of %s is served by process %d; nas1 conn list shows them",
                    protocol->name, arguments.pid);
  }
  if (isOnlyShown("Nas1NetDisconnect", {protocol->number, 0, arguments.pid})) return DONE;
  if (Nas1NetDisconnect(protocol->number, 0, arguments.pid) < 0) {
    return complain(REFUSED, "%s cannot end a session", protocol->name);
  }
  return DONE;
}

ExitCode add() {
  const Protocol* protocol;
  if (const ExitCode fault = chooseProtocol(protocol); fault != DONE) return fault;
  ConnectionRecord record = {};
  if (arguments.pid <= 0) return complain(USAGE, "a process has a number above 0, not %d", arguments.pid);
  if (arguments.text.size() >= sizeof record.data) {
    return complain(USAGE, "the text has %zu characters; it may have %zu", arguments.text.size(),
                    sizeof record.data - 1);
  }
  if (const ExitCode fault = checkSafe(Field::freeText, "text", arguments.text, arguments.allowUnsafe); fault != DONE)
    return fault;
  record.pid = arguments.pid;
  std::memcpy(record.data, arguments.text.data(), arguments.text.size());
  const std::string described = std::to_string(record.pid) + ", " + arguments.text;
  if (isOnlyShown("Nas1AddConnection", {protocol->number, describedArgument(described)})) return DONE;
  switch (Nas1AddConnection(protocol->number, &record)) {
    case 0:
      return DONE;
    case -2:
      return complain(LIBRARY_FAILED, "the connection was added, but the driver behind /dev/nas1 could not be told");
    case -3:
      return complain(READ_ONLY, "the connection table of %s is full", protocol->name);
    default:
      return complain(LIBRARY_FAILED, "the connection table of %s cannot be reached", protocol->name);
  }
}

}  // namespace

void registerConn(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const listVerb =
      noun.add_subcommand("list", "Print connected clients; those whose process is gone are dropped");
  listVerb->add_option("PROTOCOL", arguments.protocol, "cifs, nfs, ncp or afp; all of them without it");
  addOutputOptions(*listVerb, arguments.output);
  listVerb->callback([&result] { result = list(); });

  CLI::App* const kickVerb = noun.add_subcommand("kick", "End a client's session");
  kickVerb->add_option("PROTOCOL", arguments.protocol, "cifs, ncp or afp")->required();
  kickVerb->add_option("PID", arguments.pid, "The process that serves it")->required();
  addDryRunOption(*kickVerb);
  kickVerb->callback([&result] { result = kick(); });

  CLI::App* const addVerb = noun.add_subcommand("add", "Register a client, for services that cannot do it themselves");
  addVerb->add_option("PROTOCOL", arguments.protocol, "cifs, nfs, ncp or afp")->required();
  addVerb->add_option("PID", arguments.pid, "The process that serves it; the entry lives as long as that")->required();
  addVerb->add_option("TEXT", arguments.text, "Who it is");
  addVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Allow control characters in the text");
  addDryRunOption(*addVerb);
  addVerb->callback([&result] { result = add(); });
}
