// The name server key lives in the resolver's own file and nowhere else.

#include <cstdio>
#include <cstring>

#include "config/handlers.h"

static constexpr char kResolverFile[] = "/etc/resolv.conf";
static constexpr std::size_t kAddressSize = 32;  // NUL included

// The first name server of the file; an empty text when there is none.
static void firstNameServer(char (&address)[kAddressSize]) {
  address[0] = '\0';
  std::FILE* const file = std::fopen(kResolverFile, "re");
  if (file == nullptr) return;
  char line[kAddressSize];
  while (address[0] == '\0') {
    if (std::fscanf(file, "nameserver %31s\n", address) == 1) break;
    // What did not match is the rest of its line; the next look starts behind that.
    if (std::fgets(line, sizeof line, file) == nullptr) break;
    (void)std::sscanf(line, "nameserver %31s", address);
  }
  (void)std::fclose(file);
}

extern "C" int get_IP_DNS(int size, void* buffer, int* lengthOut) {
  if (size <= 0 || buffer == nullptr) return -1;
  char address[kAddressSize];
  firstNameServer(address);
  auto* const text = static_cast<char*>(buffer);
  (void)std::snprintf(text, static_cast<std::size_t>(size), "%s", address);
  if (lengthOut != nullptr) *lengthOut = static_cast<int>(std::strlen(text) + 1);
  return 0;
}

extern "C" int set_IP_DNS(int size, void* value) {
  if (size <= 0 || value == nullptr) return -1;
  std::FILE* const file = std::fopen(kResolverFile, "w+e");
  if (file == nullptr) return -1;
  (void)std::fprintf(file, "nameserver %.*s\n", size, static_cast<const char*>(value));
  (void)std::fclose(file);
  return 0;
}
