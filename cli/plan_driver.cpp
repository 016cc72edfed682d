#include "plan_driver.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// What the library sends to a stand-in and takes from it.
struct Request {
  std::uint32_t number;
  std::uint32_t argument;
  std::uint32_t recordBytes;  // of the record that is to be filled; 0 for none
};
struct Reply {
  std::int32_t result;
  std::int32_t error;
};

// Returns false when the other side is gone.
bool answer(int connection, std::vector<std::string>& requests) {
  Request request;
  const ssize_t got = recv(connection, &request, sizeof request, MSG_DONTWAIT);
  if (got < 0) return errno == EAGAIN || errno == EINTR;
  if (got != sizeof request) return false;
  char text[32];
  (void)std::snprintf(text, sizeof text, request.recordBytes != 0 ? "0x%X" : "0x%X %u", request.number,
                      request.argument);
  requests.emplace_back(text);
  // A record stays as it is: whoever asks has cleared it.
  const Reply reply = {};
  return send(connection, &reply, sizeof reply, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof reply);
}

}  // namespace

bool CopyDriver::listenAt(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return false;
  sockets.push_back({.fd = fd, .events = POLLIN, .revents = 0});
  return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && listen(fd, SOMAXCONN) == 0;
}

void CopyDriver::serve(int watched) {
  sockets.insert(sockets.begin(), {.fd = watched, .events = POLLIN, .revents = 0});
  while (poll(sockets.data(), sockets.size(), -1) < 0 || sockets[0].revents == 0) {
    for (std::size_t i = sockets.size(); i-- > 2;) {
      if (sockets[i].revents == 0 || answer(sockets[i].fd, requests)) continue;
      (void)close(sockets[i].fd);
      sockets.erase(sockets.begin() + static_cast<std::ptrdiff_t>(i));
    }
    if (sockets.size() < 2 || sockets[1].revents == 0) continue;
    const int connection = accept4(sockets[1].fd, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) sockets.push_back({.fd = connection, .events = POLLIN, .revents = 0});
  }
  sockets.erase(sockets.begin());
}

CopyDriver::~CopyDriver() {
  for (const pollfd& socket : sockets) (void)close(socket.fd);
}
