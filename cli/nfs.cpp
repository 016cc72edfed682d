// nas1 nfs: the hosts that may mount a share.

#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstring>
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
#include "suggest.h"

namespace {

struct Arguments {
  std::string share;
  std::vector<std::string> hosts;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

// ---- Options, in the words of the export list

struct Option {
  const char* word;
  unsigned set;
  unsigned clear;
  int Host::*number;  // what the number behind the word is; null: there is none
};

// clang-format off
constexpr Option options[] = {
    {"ro",             0,                    NFS_HOST_WRITE,       nullptr},
    {"rw",             NFS_HOST_WRITE,       0,                    nullptr},
    {"root_squash",    NFS_HOST_ROOT_SQUASH, NFS_HOST_ALL_SQUASH,  nullptr},
    {"no_root_squash", 0,                    NFS_HOST_ROOT_SQUASH, nullptr},
    {"all_squash",     NFS_HOST_ALL_SQUASH,  NFS_HOST_ROOT_SQUASH, nullptr},
    {"no_all_squash",  0,                    NFS_HOST_ALL_SQUASH,  nullptr},
    {"anonuid=",       NFS_HOST_ANONUID,     0,                    &Host::anonuid},
    {"anongid=",       NFS_HOST_ANONGID,     0,                    &Host::anongid},
};
// clang-format on

const Option* findOption(const std::string& word) {
  const std::string name = word.substr(0, word.find('=') == std::string::npos ? word.size() : word.find('=') + 1);
  const auto* const found =
      std::find_if(std::begin(options), std::end(options), [&](const Option& o) { return name == o.word; });
  return found == std::end(options) ? nullptr : found;
}

ExitCode unknownOption(const std::string& word) {
  std::vector<std::string> words;
  for (const Option& option : options) words.emplace_back(option.word);
  return complain(USAGE, "there is no option %s%s; nas1 nfs set --help lists them", word.c_str(),
                  suggestion(word, words).c_str());
}

ExitCode parseOption(const std::string& word, Host& host) {
  const Option* const option = findOption(word);
  if (option == nullptr) return unknownOption(word);
  host.flags = (host.flags & ~option->clear) | option->set;
  if (option->number == nullptr) return DONE;
  const std::string digits = word.substr(std::strlen(option->word));
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, host.*option->number);
  if (error == std::errc() && end == last) return DONE;
  return complain(USAGE, "%s takes the number of an account, not %s", option->word, digits.c_str());
}

ExitCode parseOptions(const std::string& words, Host& host) {
  for (std::size_t at = 0; at <= words.size();) {
    const std::size_t comma = std::min(words.find(',', at), words.size());
    if (const ExitCode fault = parseOption(words.substr(at, comma - at), host); fault != DONE) return fault;
    at = comma + 1;
  }
  if (host.has(NFS_HOST_ANONUID | NFS_HOST_ANONGID) && !host.has(NFS_HOST_ALL_SQUASH))
    return complain(USAGE, "anonuid and anongid are for hosts with all_squash, and %s has it not", host.name.c_str());
  return DONE;
}

std::string optionWords(const Host& host) {
  std::string words = host.has(NFS_HOST_WRITE) ? "rw" : "ro";
  if (!host.has(NFS_HOST_ALL_SQUASH))
    return words + (host.has(NFS_HOST_ROOT_SQUASH) ? ",root_squash" : ",no_root_squash");
  words += ",all_squash";
  if (host.has(NFS_HOST_ANONUID)) words += ",anonuid=" + std::to_string(host.anonuid);
  if (host.has(NFS_HOST_ANONGID)) words += ",anongid=" + std::to_string(host.anongid);
  return words;
}

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
