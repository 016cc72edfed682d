#include "collector/collector.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr char kRecord[] = "/var/log/appliance/syslog";
constexpr std::size_t kTimestampSize = 16;  // "Nov  2 22:30:00 "

// By severity, the low three bits of a message's priority.
constexpr const char* severities[] = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};

bool hasTimestamp(std::string_view text) {
  return text.size() >= kTimestampSize && std::isalpha(static_cast<unsigned char>(text[0])) != 0 && text[3] == ' ' &&
         text[9] == ':' && text[12] == ':' && text[15] == ' ';
}

// "<14>Nov  2 22:30:00 tag[pid]: text" becomes "info text".
std::string readable(std::string_view message) {
  unsigned long priority = 13;  // user.notice, for a message that names none
  if (message.starts_with('<')) {
    const std::size_t end = message.find('>');
    if (end != std::string_view::npos) {
      priority = std::strtoul(std::string(message.substr(1, end - 1)).c_str(), nullptr, 10);
      message.remove_prefix(end + 1);
    }
  }
  if (hasTimestamp(message)) message.remove_prefix(kTimestampSize);
  const std::size_t tagEnd = message.find(' ');  // a tag has no blanks and ends with a colon
  if (tagEnd != std::string_view::npos && tagEnd > 0 && message[tagEnd - 1] == ':') message.remove_prefix(tagEnd + 1);
  while (message.ends_with('\n') || message.ends_with('\0')) message.remove_suffix(1);

  std::string line = std::string(severities[priority & 7]) + ' ';
  for (const char c : message) {
    if (c == '\n') {
      line += "\\n";  // one message stays one line
    } else {
      line += c;
    }
  }
  return line + '\n';
}

}  // namespace

int collectorListen(const char* path) {
  const int collector = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (collector < 0) return -1;
  sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
  (void)std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
  if (bind(collector, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || chmod(path, 0666) != 0) {
    (void)close(collector);
    return -1;
  }
  return collector;
}

bool collectorTake(int socket) {
  static char message[65536];
  const ssize_t got = recv(socket, message, sizeof message, MSG_DONTWAIT);
  if (got < 0) return false;
  const std::string line = readable({message, static_cast<std::size_t>(got)});
  const int file = open(kRecord, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0) return true;
  // A line that cannot be written is lost, as with any system log on a full disk.
  (void)!write(file, line.data(), line.size());
  (void)close(file);
  return true;
}
