#pragma once
// The hosts that may mount a share, as the library keeps them.

#include <nas1api.h>

#include <cstddef>
#include <string>
#include <vector>

#include "errors.h"

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

// Refuses a host that cannot be stored or would be misread.
ExitCode checkHost(const Host& host, bool allowUnsafe);

// Its options in the words of the export list, with commas between them. Parsing changes those that are named.
ExitCode parseOptions(const std::string& words, Host& host);
std::string optionWords(const Host& host);

// Takes the hosts of a list as it is stored into an empty one. Returns false when it does not hold as many.
bool takeHosts(const char* entries, std::size_t bytes, int count, std::vector<Host>& hosts);

// Returns false when the list cannot be read, as before there is a first one.
bool readHosts(const std::string& share, std::vector<Host>& hosts);

// Replaces the list of a share. Returns DONE, or complains with the reason.
ExitCode storeHosts(const std::string& share, const std::vector<Host>& hosts);
