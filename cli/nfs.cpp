// nas1 nfs: the hosts that may mount a share.

#include <arpa/inet.h>
#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "shares.h"
#include "suggest.h"
#include "values.h"

namespace {

struct Arguments {
  std::string share;
  std::vector<std::string> hosts;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

constexpr std::size_t kMostHostCharacters = 255;  // of a domain name

// A host, or a network of them.
struct Host {
  std::string name;
  std::string mask;  // empty: a single host
  unsigned flags = NFS_HOST_ROOT_SQUASH;
  int anonuid = 0;
  int anongid = 0;

  bool has(unsigned flag) const { return (flags & flag) != 0; }
  bool operator==(const Host&) const = default;
};

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

// A netmask, or the number of its bits.
bool isMask(const std::string& mask) {
  in_addr address;
  if (inet_pton(AF_INET, mask.c_str(), &address) == 1) return true;
  unsigned bits = 0;
  const auto [end, error] = std::from_chars(mask.data(), mask.data() + mask.size(), bits);
  return error == std::errc() && end == mask.data() + mask.size() && bits <= 128;
}

ExitCode checkHost(const Host& host) {
  const char* const name = host.name.c_str();
  if (host.name.empty()) return complain(USAGE, "the name of a host is missing");
  if (host.name.size() > kMostHostCharacters) {
    return complain(USAGE, "the name of a host has %zu characters; it may have %zu", host.name.size(),
                    kMostHostCharacters);
  }
  if (host.has(NFS_HOST_MASK) && !isMask(host.mask)) {
    return complain(USAGE, "%s is no netmask; write 255.255.255.0 or 24", host.mask.c_str());
  }
  if (host.name[0] == '-' && !arguments.allowUnsafe) {
    return complain(UNSAFE_VALUE,
                    "the host %s begins with -, which the NFS server's export list would take for options", name);
  }
  return checkSafe(Target::exportClient, "host", host.name, arguments.allowUnsafe);
}

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
  if (const ExitCode fault = checkHost(host); fault != DONE) return fault;
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

// ---- Lists

constexpr std::size_t kHeadSize = offsetof(NfsHostEntry, host);

Host hostOf(const char* bytes, std::size_t size) {
  NfsHostEntry head;
  std::memcpy(&head, bytes, kHeadSize);
  Host host;
  host.name = fieldText(bytes + kHeadSize, size - kHeadSize);
  host.flags = head.flags;
  if (host.has(NFS_HOST_MASK)) host.mask = fieldText(head.mask, sizeof head.mask);
  if (host.has(NFS_HOST_ANONUID)) host.anonuid = head.anonuid;
  if (host.has(NFS_HOST_ANONGID)) host.anongid = head.anongid;
  return host;
}

// Returns false when the list cannot be read.
bool readHosts(const char* share, std::vector<Host>& hosts) {
  int count = 0;
  int bytes = 0;
  if (Nas1ShareGetPermittedNfsSize(share, &count, &bytes) != 0) return false;
  std::vector<char> entries(static_cast<std::size_t>(std::max(bytes, 0)));
  const int listed = Nas1ShareGetPermittedNfs(share, count, entries.data(), bytes);
  std::size_t at = 0;
  for (int i = 0; i < listed && entries.size() - at >= sizeof(NfsHostEntry); ++i) {
    std::uint32_t size;
    std::memcpy(&size, entries.data() + at, sizeof size);
    if (size < sizeof(NfsHostEntry) || size > entries.size() - at) return false;
    hosts.push_back(hostOf(entries.data() + at, size));
    at += size;
  }
  return listed == count;
}

void append(std::vector<char>& entries, const Host& host) {
  NfsHostEntry head = {};
  const std::size_t size = kHeadSize + host.name.size() + 1;
  head.size = static_cast<std::uint32_t>(size);
  head.flags = host.flags;
  head.anonuid = host.anonuid;
  head.anongid = host.anongid;
  std::memcpy(head.mask, host.mask.data(), host.mask.size());
  const auto* const bytes = reinterpret_cast<const char*>(&head);
  entries.insert(entries.end(), bytes, bytes + kHeadSize);
  entries.insert(entries.end(), host.name.c_str(), host.name.c_str() + host.name.size() + 1);
}

ExitCode replaceHosts(const std::vector<Host>& hosts) {
  const char* const share = arguments.share.c_str();
  std::vector<Host> present;
  if (const ExitCode fault = checkRecordFile(kShareNfsFile, Use::change); fault != DONE) return fault;
  if (readHosts(share, present) && present == hosts) {
    tell("unchanged");
    return DONE;
  }
  std::vector<char> entries;
  for (const Host& host : hosts) append(entries, host);
  // An empty list still needs a place to point at.
  entries.push_back('\0');
  const int result = Nas1ShareSetPermittedNfs(share, static_cast<int>(hosts.size()), entries.data());
  // The call tells of exports that could not be written, but not of a record that could not be stored.
  std::vector<Host> stored;
  const bool isStored = readHosts(share, stored) && stored == hosts;
  if (isStored && result == 0) return DONE;
  return explainFailure(
      kShareNfsFile, Use::change,
      isStored ? "the hosts are stored, but /etc/exports could not be written" : "the hosts could not be stored");
}

// ---- Verbs

ExitCode set() {
  std::vector<Host> hosts;
  if (const ExitCode fault = parseHosts(hosts); fault != DONE) return fault;
  const std::optional<Share> share = findShare(arguments.share);
  if (!share) return noSuchShare(arguments.share);
  if (const ExitCode fault = checkSafe(Target::exportedPath, "path", share->path, arguments.allowUnsafe); fault != DONE)
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
  const std::string privilege = everybodysPrivilege();
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
    if (!readHosts(share.name.c_str(), hosts) && access(kShareNfsFile, F_OK) == 0)
      result = complain(DAMAGED, "the list of %s cannot be read whole; set it again", share.name.c_str());
    for (const Host& host : hosts) {
      const std::string client = host.name + (host.has(NFS_HOST_MASK) ? "/" + host.mask : "");
      listing.rows.push_back({share.name, client, optionWords(host)});
    }
  }
  printListing(arguments.output, listing);
  return result;
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

}  // namespace

void registerNfs(CLI::App& noun, ExitCode& result) {
  CLI::App* const listVerb = addVerb(noun, result, "list", "Print the hosts that may mount a share", list);
  listVerb->add_option("SHARE", arguments.share, "Name of the share; all of them without it");
  addOutputOptions(*listVerb, arguments.output);

  CLI::App* const setVerb = addVerb(noun, result, "set", "Replace the hosts of a share", set);
  setVerb->add_option("SHARE", arguments.share, "Name of the share")->required();
  setVerb->add_option("HOST", arguments.hosts, "HOST[/MASK][=OPTION,...]; a name, an address or a network")->required();
  setVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a value on that the NFS server may misread");
  setVerb->footer(
      "Options: ro (as without) or rw; root_squash (as without), no_root_squash or all_squash,\n"
      "and with all_squash anonuid=NUMBER and anongid=NUMBER.");

  CLI::App* const clearVerb = addVerb(noun, result, "clear", "Take all hosts off a share's list", clear);
  clearVerb->add_option("SHARE", arguments.share, "Name of the share")->required();
}
