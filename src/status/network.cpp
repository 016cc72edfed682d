#include "status/network.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/computed_keys.h"
#include "config/handlers.h"
#include "status/reading.h"

namespace {

constexpr char kRoutePath[] = "/proc/net/route";
constexpr char kDefaultDestination[] = "00000000";

constexpr const char* interfaceNames[] = {"eth0", "eth1", "eth2"};

enum Interface { ETH0, ETH1, ETH2 };

struct AddressText {
  char text[INET_ADDRSTRLEN];
};

// Asks the kernel one thing about an interface; false when the interface, or what was asked for, does not exist.
bool askInterface(const char* name, unsigned long what, ifreq& answer) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  answer = {};
  std::strncpy(answer.ifr_name, name, sizeof(answer.ifr_name) - 1);
  const bool known = ioctl(fd, what, &answer) == 0;
  (void)close(fd);
  return known;
}

bool readAddress(const char* name, unsigned long what, AddressText& out) {
  ifreq answer;
  if (!askInterface(name, what, answer)) return false;
  // The mask comes in the same member as the address.
  sockaddr_in address;
  std::memcpy(&address, &answer.ifr_addr, sizeof(address));
  return inet_ntop(AF_INET, &address.sin_addr, out.text, sizeof(out.text)) != nullptr;
}

// Finds the first default route of an interface, or of any when `name` is null.
bool readGateway(const char* name, AddressText& out) {
  std::FILE* const routes = std::fopen(kRoutePath, "re");
  if (routes == nullptr) return false;
  char line[512];
  char interface[16 + 1];
  char destination[128 + 1];
  char gateway[128 + 1];
  bool found = false;
  while (!found && std::fgets(line, sizeof(line), routes) != nullptr) {
    if (std::sscanf(line, "%16s %128s %128s", interface, destination, gateway) != 3) continue;
    found =
        std::strcmp(destination, kDefaultDestination) == 0 && (name == nullptr || std::strcmp(interface, name) == 0);
  }
  (void)std::fclose(routes);
  if (!found) return false;
  // The kernel prints the address word as it lies in memory.
  const in_addr address = {.s_addr = static_cast<in_addr_t>(std::strtoul(gateway, nullptr, 16))};
  return inet_ntop(AF_INET, &address, out.text, sizeof(out.text)) != nullptr;
}

// 12 hexadecimal digits: a server name made of them, prefix included, fits the 15 characters of a NetBIOS name.
int giveHardwareAddress(Interface number, int size, void* buffer, int* lengthOut) {
  ifreq answer;
  if (!askInterface(interfaceNames[number], SIOCGIFHWADDR, answer)) return -1;
  unsigned char address[6];
  std::memcpy(address, answer.ifr_hwaddr.sa_data, sizeof(address));
  char text[2 * sizeof(address) + 1];
  (void)std::snprintf(text, sizeof(text), "%02X%02X%02X%02X%02X%02X", address[0], address[1], address[2], address[3],
                      address[4], address[5]);
  return giveText(size, buffer, lengthOut, text);
}

int giveAddress(Interface number, unsigned long what, int size, void* buffer, int* lengthOut) {
  AddressText address;
  if (!readAddress(interfaceNames[number], what, address)) return -1;
  return giveText(size, buffer, lengthOut, address.text);
}

int giveGateway(const char* name, int size, void* buffer, int* lengthOut) {
  AddressText gateway;
  if (!readGateway(name, gateway)) return -1;
  return giveText(size, buffer, lengthOut, gateway.text);
}

}  // namespace

int getDefaultGateway(int size, void* buffer, int* lengthOut) { return giveGateway(nullptr, size, buffer, lengthOut); }

// One row an interface.
#define INTERFACE_READERS(n, number)                                     \
  extern "C" int getHwAddr##n(int size, void* buffer, int* lengthOut) {  \
    return giveHardwareAddress(number, size, buffer, lengthOut);         \
  }                                                                      \
  extern "C" int getIpAddr##n(int size, void* buffer, int* lengthOut) {  \
    return giveAddress(number, SIOCGIFADDR, size, buffer, lengthOut);    \
  }                                                                      \
  extern "C" int getIpMask##n(int size, void* buffer, int* lengthOut) {  \
    return giveAddress(number, SIOCGIFNETMASK, size, buffer, lengthOut); \
  }                                                                      \
  extern "C" int getGw##n(int size, void* buffer, int* lengthOut) {      \
    return giveGateway(interfaceNames[number], size, buffer, lengthOut); \
  }
INTERFACE_READERS(1, ETH0)
INTERFACE_READERS(2, ETH1)
INTERFACE_READERS(3, ETH2)
#undef INTERFACE_READERS

extern "C" int getInetConfig(int size, void* buffer, int* lengthOut) {
  char text[3 * (IFNAMSIZ + 3 * INET_ADDRSTRLEN + 4) + 1] = {};
  std::size_t length = 0;
  for (const char* name : interfaceNames) {
    AddressText address;
    AddressText mask;
    AddressText gateway;
    if (!readAddress(name, SIOCGIFADDR, address) || !readAddress(name, SIOCGIFNETMASK, mask)) continue;
    const bool routed = readGateway(name, gateway);
    length += static_cast<std::size_t>(std::snprintf(text + length, sizeof(text) - length, "%s %s %s %s\n", name,
                                                     address.text, mask.text, routed ? gateway.text : "-"));
  }
  if (length == 0) return -1;
  return giveText(size, buffer, lengthOut, text);
}

extern "C" int getHostname(int size, void* buffer, int* lengthOut) {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof(name) - 1) != 0) return -1;
  return giveText(size, buffer, lengthOut, name);
}
