// nas1 nfs: the hosts that may mount a share.

#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "calls.h"
#include "nfs_hosts.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "shares.h"

namespace {

struct Arguments {
  std::string share;
  std::vector<std::string> hosts;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

// ---- Hosts

// Takes HOST[/MASK][=OPTION,...] apart.
ExitCode parseHost(const std::string& word, Host& host) {
  const std::size_t equals = word.find('=');
  const std::string client = word.substr(0, equals);
  const std::size_t slash = client.find('/');
  host.name = client.substr(0, slash);
  if (slash != std::string::npos) {
    host.mask = client.substr(slash + 1);
    host.flags |= NFS_HOST_MASK;
  }
  if (const ExitCode fault = checkHost(host, arguments.allowUnsafe); fault != DONE) return fault;
  return equals == std::string::npos ? DONE : parseOptions(word.substr(equals + 1), host);
}

ExitCode parseHosts(std::vector<Host>& hosts) {
  for (const std::string& word : arguments.hosts) {
    Host host;
    if (const ExitCode fault = parseHost(word, host); fault != DONE) return fault;
    const bool doubled = std::any_of(hosts.begin(), hosts.end(),
                                     [&](const Host& h) { return h.name == host.name && h.mask == host.mask; });
    if (doubled) return complain(USAGE, "the host %s is named twice", host.name.c_str());
    hosts.push_back(host);
  }
  return DONE;
}

ExitCode replaceHosts(const std::vector<Host>& hosts) {
  std::vector<Host> present;
  if (const ExitCode fault = checkRecordFile(kShareNfsFile, Use::change); fault != DONE) return fault;
  if (readHosts(arguments.share, present) && present == hosts) return unchanged();
  return storeHosts(arguments.share, hosts);
}

// ---- Verbs

ExitCode set() {
  std::vector<Host> hosts;
  if (const ExitCode fault = parseHosts(hosts); fault != DONE) return fault;
  const std::optional<Share> share = findShare(arguments.share);
  if (!share) return noSuchShare(arguments.share);
  if (const ExitCode fault = checkSafe(Field::exportedPath, "path", share->path, arguments.allowUnsafe); fault != DONE)
    return fault;
  return replaceHosts(hosts);
}

// What everybody may do with a share without hosts; empty for nothing.
std::string everybodysPrivilege() {
  char text[NAS_NAME_SIZE] = {};
  (void)NasGetConfig("NFS_EXPORT_PRIVILEGE", sizeof text, text, nullptr);
  const std::string privilege = fieldText(text, sizeof text);
  if (privilege == "rw" || privilege == "RW") return "read and write";
  if (privilege == "ro" || privilege == "RO") return "read";
  return "";
}

ExitCode clear() {
  if (!findShare(arguments.share)) return noSuchShare(arguments.share);
  if (const ExitCode fault = replaceHosts({}); fault != DONE) return fault;
  const std::string privilege = isDryRun() ? "" : everybodysPrivilege();
  if (!privilege.empty()) {
    tell("without hosts, everybody may mount %s and %s, as NFS_EXPORT_PRIVILEGE says", arguments.share.c_str(),
         privilege.c_str());
  }
  return DONE;
}

ExitCode list() {
  std::vector<Share> shares;
  if (const ExitCode fault = checkRecordFile(kShareFile, Use::read); fault != DONE) return fault;
  if (const ExitCode fault = checkRecordFile(kShareNfsFile, Use::read); fault != DONE) return fault;
  if (arguments.share.empty()) {
    shares = allShares();
  } else if (const std::optional<Share> share = findShare(arguments.share)) {
    shares = {*share};
  } else {
    return noSuchShare(arguments.share);
  }
  Listing listing = {"hosts", {"share", "host", "options"}, {}};
  ExitCode result = DONE;
  for (const Share& share : shares) {
    std::vector<Host> hosts;
    // Before there is a first list there is no file either.
    if (!readHosts(share.name, hosts) && access(kShareNfsFile, F_OK) == 0)
      result = complain(DAMAGED, "the list of %s cannot be read whole; set it again", share.name.c_str());
    for (const Host& host : hosts) {
      const std::string client = host.name + (host.has(NFS_HOST_MASK) ? "/" + host.mask : "");
      listing.rows.push_back({share.name, client, optionWords(host)});
    }
  }
  if (const ExitCode fault = printListing(arguments.output, listing); fault != DONE) return fault;
  return result;
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

}  // namespace

void registerNfs(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const listVerb = addVerb(noun, result, "list", "Print the hosts that may mount a share", list);
  listVerb->add_option("SHARE", arguments.share, "Name of the share; all of them without it");
  addOutputOptions(*listVerb, arguments.output);

  CLI::App* const setVerb = addVerb(noun, result, "set", "Replace the hosts of a share", set);
  setVerb->add_option("SHARE", arguments.share, "Name of the share")->required();
  setVerb->add_option("HOST", arguments.hosts, "HOST[/MASK][=OPTION,...]; a name, an address or a network")->required();
  setVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a value on that the NFS server may misread");
  addDryRunOption(*setVerb);
  setVerb->footer(
      "Options: ro (as without) or rw; root_squash (as without), no_root_squash or all_squash,\n"
      "and with all_squash anonuid=NUMBER and anongid=NUMBER.");

  CLI::App* const clearVerb = addVerb(noun, result, "clear", "Take all hosts off a share's list", clear);
  clearVerb->add_option("SHARE", arguments.share, "Name of the share")->required();
  addDryRunOption(*clearVerb);
}
