// The appliance's identity: 16 bytes in a file, made from the first interface's hardware address.

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "config/computed_keys.h"
#include "core/command.h"

static constexpr char kUnit[] = "system_id.cpp";
static constexpr char kSystemIdFile[] = "/mnt/param/system.id";
static constexpr std::size_t kSystemIdSize = 16;
static constexpr mode_t kSystemIdMode = 0744;

int getSystemId(const char* /*key*/, int size, void* buffer, int* lengthOut) {
  if (buffer == nullptr || size <= 0 || lengthOut == nullptr) return -1;
  char id[kSystemIdSize];
  const int fd = open(kSystemIdFile, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return -1;
  const bool whole = read(fd, id, sizeof id) == static_cast<ssize_t>(sizeof id);
  (void)close(fd);
  if (!whole) return -1;
  *lengthOut = std::min(size, static_cast<int>(sizeof id));
  std::memcpy(buffer, id, static_cast<std::size_t>(*lengthOut));
  return 0;
}

// The hardware address of eth0 as 12 hexadecimal digits, the bytes behind them zero.
static bool makeSystemId(char (&id)[kSystemIdSize]) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  ifreq request = {};
  std::strncpy(request.ifr_name, "eth0", sizeof request.ifr_name - 1);
  const bool known = ioctl(fd, SIOCGIFHWADDR, &request) == 0;
  (void)close(fd);
  if (!known) return false;

  unsigned char address[6];
  std::memcpy(address, request.ifr_hwaddr.sa_data, sizeof address);
  std::memset(id, 0, sizeof id);
  (void)std::snprintf(id, sizeof id, "%2x%2x%2x%2x%2x%2x", address[0], address[1], address[2], address[3], address[4],
                      address[5]);
  std::replace(id, id + sizeof id - 1, ' ', '0');
  return true;
}

int setSystemId(const char* /*key*/, int /*size*/, const void* /*value*/, const ConfigKeyEntry* /*table*/) {
  char id[kSystemIdSize];
  if (!makeSystemId(id)) return -1;
  if (access(kSystemIdFile, W_OK) == 0) {
    (void)runCommand(kUnit, __LINE__, "mv -f %s %s~", kSystemIdFile, kSystemIdFile);
  }
  const int fd = open(kSystemIdFile, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kSystemIdMode);
  if (fd < 0) return -1;
  const bool written = write(fd, id, sizeof id) == static_cast<ssize_t>(sizeof id);
  return close(fd) == 0 && written ? 0 : -1;
}
