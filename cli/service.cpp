// nas1 service: starts and stops what serves a protocol.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "calls.h"
#include "nouns.h"
#include "protocols.h"
#include "suggest.h"

namespace {

struct Arguments {
  std::string protocol;
  std::string how;
};
Arguments arguments;

constexpr Protocol protocols[] = {{"cifs", PROTO_CIFS}, {"nfs", PROTO_NFS}, {"ncp", PROTO_NCP},
                                  {"afp", PROTO_AFP},   {"ftp", PROTO_FTP}, {"snmp", PROTO_SNMP}};

// In the order of the library's numbers for them.
const std::vector<std::string> actions = {"start", "stop", "restart", "reload"};
enum { START = 0, STOP = 1, RESTART = 2, RELOAD = 3 };

bool canReload(int protocol) { return protocol == PROTO_CIFS || protocol == PROTO_AFP || protocol == PROTO_SNMP; }

ExitCode findAction(int& how) {
  const auto found = std::find(actions.begin(), actions.end(), arguments.how);
  how = static_cast<int>(found - actions.begin());
  if (found != actions.end()) return DONE;
  return complain(USAGE, "a service can start, stop, restart or reload, not %s%s", arguments.how.c_str(),
                  suggestion(arguments.how, actions).c_str());
}

// Only the settings bring a switched-off agent back.
void tellAboutAgent(int how) {
  int enabled = 0;
  constexpr int kSnmpState = 80;
  (void)Nas1GetConfig(kSnmpState, sizeof enabled, &enabled, nullptr);
  if (how != START && how != STOP && enabled == 0)
    tell("SNMP is switched off, so the agent was stopped; nas1 config set SNMP_STATE 1 switches it on");
}

ExitCode restart() {
  const Protocol* protocol;
  int how;
  if (const ExitCode fault = findProtocol(protocols, "a service", arguments.protocol, protocol); fault != DONE)
    return fault;
  if (const ExitCode fault = findAction(how); fault != DONE) return fault;
  if (how == RELOAD && !canReload(protocol->number))
    return complain(REFUSED, "%s cannot reload; nas1 service restart %s restart ends its sessions and starts it anew",
                    protocol->name, protocol->name);
  if (isOnlyShown("Nas1Restart", {protocol->number, how})) return DONE;
  const int result = Nas1Restart(protocol->number, how);
  if (result < 0)
    return complain(LIBRARY_FAILED, "the service of %s could not be told to %s", protocol->name,
                    actions[static_cast<std::size_t>(how)].c_str());
  // 0 means done everywhere but here.
  if (protocol->number == PROTO_CIFS && result == 0) {
    if (how != STOP) return complain(REFUSED, "Samba is not running, and only its init script can start it");
    tell("Samba is not running");
  }
  if (protocol->number == PROTO_SNMP) tellAboutAgent(how);
  return DONE;
}

}  // namespace

void registerService(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const verb = noun.add_subcommand("restart", "Start, stop, restart or reload what serves a protocol");
  verb->add_option("PROTOCOL", arguments.protocol, "cifs, nfs, ncp, afp, ftp or snmp")->required();
  verb->add_option("ACTION", arguments.how, "start, stop, restart, or reload, which drops no session")->required();
  addDryRunOption(*verb);
  verb->callback([&result] { result = restart(); });
}
