#include "nfs_hosts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "calls.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "suggest.h"

namespace {

constexpr std::size_t kMostHostCharacters = 255;  // of a domain name
constexpr std::size_t kHeadSize = offsetof(NfsHostEntry, host);

// A netmask, or the number of its bits.
bool isMask(const std::string& mask) {
  in_addr address;
  if (inet_pton(AF_INET, mask.c_str(), &address) == 1) return true;
  unsigned bits = 0;
  const auto [end, error] = std::from_chars(mask.data(), mask.data() + mask.size(), bits);
  return error == std::errc() && end == mask.data() + mask.size() && bits <= 128 && mask.size() <= 3;
}

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

void append(std::vector<char>& entries, const Host& host) {
  NfsHostEntry head = {};
  const std::size_t size = kHeadSize + host.name.size() + 1;
  head.size = static_cast<std::uint32_t>(size);
  head.flags = host.flags;
  head.anonuid = host.anonuid;
  head.anongid = host.anongid;
  std::memcpy(head.mask, host.mask.data(), std::min(host.mask.size(), sizeof head.mask - 1));
  const auto* const bytes = reinterpret_cast<const char*>(&head);
  entries.insert(entries.end(), bytes, bytes + kHeadSize);
  entries.insert(entries.end(), host.name.c_str(), host.name.c_str() + host.name.size() + 1);
}

}  // namespace

ExitCode checkHost(const Host& host, bool allowUnsafe) {
  if (host.name.empty()) return complain(USAGE, "the name of a host is missing");
  if (host.name.size() > kMostHostCharacters) {
    return complain(USAGE, "the name of a host has %zu characters; it may have %zu", host.name.size(),
                    kMostHostCharacters);
  }
  if (host.has(NFS_HOST_MASK) && !isMask(host.mask)) {
    return complain(USAGE, "%s is no netmask; write 255.255.255.0 or 24", host.mask.c_str());
  }
  return checkSafe(Field::nfsHost, "host", host.name, allowUnsafe);
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

bool takeHosts(const char* entries, std::size_t bytes, int count, std::vector<Host>& hosts) {
  std::size_t at = 0;
  for (int i = 0; i < count && bytes - at >= sizeof(NfsHostEntry); ++i) {
    std::uint32_t size;
    std::memcpy(&size, entries + at, sizeof size);
    if (size < sizeof(NfsHostEntry) || size > bytes - at) return false;
    hosts.push_back(hostOf(entries + at, size));
    at += size;
  }
  return hosts.size() == static_cast<std::size_t>(count);
}

bool readHosts(const std::string& share, std::vector<Host>& hosts) {
  int count = 0;
  int bytes = 0;
  if (Nas1ShareGetPermittedNfsSize(share.c_str(), &count, &bytes) != 0) return false;
  std::vector<char> entries(static_cast<std::size_t>(std::max(bytes, 0)));
  const int listed = Nas1ShareGetPermittedNfs(share.c_str(), count, entries.data(), bytes);
  return takeHosts(entries.data(), entries.size(), listed, hosts) && listed == count;
}

ExitCode storeHosts(const std::string& share, const std::vector<Host>& hosts) {
  std::vector<char> entries;
  std::string names;
  for (const Host& host : hosts) {
    append(entries, host);
    names += (names.empty() ? "" : ", ") + host.name;
  }
  if (isOnlyShown("Nas1ShareSetPermittedNfs", {share, hosts.size(), describedArgument(names)})) return DONE;
  // An empty list still needs a place to point at.
  entries.push_back('\0');
  const int result = Nas1ShareSetPermittedNfs(share.c_str(), static_cast<int>(hosts.size()), entries.data());
  // The call tells of exports that could not be written, but not of a record that could not be stored.
  std::vector<Host> stored;
  const bool isStored = readHosts(share, stored) && stored == hosts;
  if (isStored && result == 0) return DONE;
  return explainFailure(
      kShareNfsFile, Use::change,
      isStored ? "the hosts are stored, but /etc/exports could not be written" : "the hosts could not be stored");
}
