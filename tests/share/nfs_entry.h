#pragma once
// Host entries and lists of them, as bytes.

#include "frame/appliance.h"

inline std::string nfsEntry(const std::string& host, unsigned flags = 0, int anonuid = 0, int anongid = 0,
                            const char* mask = "") {
  const std::uint32_t size = static_cast<std::uint32_t>(sizeof(NfsHostEntry) + host.size());
  NfsHostEntry entry = {.size = size, .flags = flags, .anonuid = anonuid, .anongid = anongid, .mask = {}, .host = {}};
  std::memcpy(entry.mask, mask, strnlen(mask, sizeof entry.mask));
  return bytesOf(entry).substr(0, sizeof entry - 1) + host + '\0';
}

// An entry with another size word than its own.
inline std::string nfsEntrySized(std::uint32_t size, const std::string& host) {
  return nfsEntry(host).replace(0, sizeof size, bytesOf(size));
}

// A list as stored: the head with its count, then the entries.
inline std::string nfsList(int count, const std::string& entries) {
  return std::string(36, '\xCC') + bytesOf(std::int32_t{count}) + entries;
}
