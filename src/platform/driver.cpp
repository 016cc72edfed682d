#include "platform/driver.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/driver_wire.h"

namespace {

// A stand-in that has stopped answering must not stop every process that writes a log line.
constexpr timeval kPeerPatience = {.tv_sec = 5, .tv_usec = 0};

int connectStandIn() {
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  static_assert(sizeof(kDriverPath) <= sizeof(address.sun_path));
  std::memcpy(address.sun_path, kDriverPath, sizeof(kDriverPath));
  (void)setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kPeerPatience, sizeof(kPeerPatience));
  // The send limit also bounds connect() while the stand-in's queue is full.
  (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kPeerPatience, sizeof(kPeerPatience));
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return fd;
  const int reason = errno;
  (void)close(fd);
  errno = reason;
  return -1;
}

bool isStandIn(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

// A reply that comes after its time would be taken for that of the next request: such a connection is finished.
int abandon(int fd, int reason) {
  (void)shutdown(fd, SHUT_RDWR);
  errno = reason;
  return -1;
}

int askStandIn(int fd, const DriverWireRequest& request, void* record) {
  ssize_t sent = 0;
  do sent = send(fd, &request, sizeof(request), MSG_NOSIGNAL);
  while (sent < 0 && errno == EINTR);
  if (sent != static_cast<ssize_t>(sizeof(request))) return abandon(fd, sent < 0 ? errno : EIO);

  DriverWireReply reply = {};
  iovec parts[] = {{&reply, sizeof(reply)}, {record, request.replySize}};
  msghdr message = {};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  ssize_t received = 0;
  do received = recvmsg(fd, &message, 0);
  while (received < 0 && errno == EINTR);
  if (received < static_cast<ssize_t>(sizeof(reply))) return abandon(fd, received < 0 ? errno : EIO);
  if (reply.result < 0) errno = reply.error;
  return reply.result;
}

}  // namespace

int driverOpen() {
  const int fd = open(kDriverPath, O_RDONLY | O_CLOEXEC);
  // ENXIO is what open() says of a socket (and of a device without a driver, which connect() then refuses as well).
  if (fd < 0 && errno == ENXIO) return connectStandIn();
  return fd;
}

int driverRequest(int fd, unsigned request, unsigned argument) {
  if (isStandIn(fd)) return askStandIn(fd, {.request = request, .argument = argument, .replySize = 0}, nullptr);
  return ioctl(fd, request, static_cast<unsigned long>(argument));
}

int driverQuery(int fd, unsigned request, void* record, std::size_t size) {
  if (isStandIn(fd)) {
    const auto replySize = static_cast<std::uint32_t>(size);
    return askStandIn(fd, {.request = request, .argument = 0, .replySize = replySize}, record);
  }
  return ioctl(fd, request, record);
}

DriverHandle::~DriverHandle() {
  if (fd < 0) return;
  (void)close(fd);
}
