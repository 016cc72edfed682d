#include "driver/driver.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/driver_wire.h"

namespace {

constexpr char kRecord[] = "/var/log/appliance/driver";
constexpr char kDaemonPidFile[] = "/run/nas1-driver/daemon-pid";
constexpr char kRefuseFile[] = "/run/nas1-driver/refuse";
constexpr std::uint32_t kMaxRecord = 4096;  // bytes of a record in a reply

// Requests that fill a record of the caller. All others hand over a value and are only recorded.
enum Query : std::uint32_t { QUERY_VERSION = 0x4804, QUERY_DAEMON_PID = 0x4809, QUERY_RAID = 0x480A };

struct Reply {
  DriverWireReply head;
  unsigned char record[kMaxRecord];
};

void recordRequest(const DriverWireRequest& request) {
  const int file = open(kRecord, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0) return;
  char line[64];
  const int length = request.replySize != 0
                         ? std::snprintf(line, sizeof line, "0x%X\n", request.request)
                         : std::snprintf(line, sizeof line, "0x%X %u\n", request.request, request.argument);
  // A record that cannot be written shows as a missing line; the caller must be answered all the same.
  (void)!write(file, line, static_cast<std::size_t>(length));
  (void)close(file);
}

bool isRefused(std::uint32_t request) {
  FILE* list = std::fopen(kRefuseFile, "re");
  if (list == nullptr) return false;
  bool refused = false;
  for (char line[64]; !refused && std::fgets(line, sizeof line, list) != nullptr;)
    refused = std::strtoul(line, nullptr, 16) == request;
  (void)std::fclose(list);
  return refused;
}

std::int32_t daemonPid() {
  FILE* file = std::fopen(kDaemonPidFile, "re");
  if (file == nullptr) return 0;
  char text[32] = "";
  const long pid = std::fgets(text, sizeof text, file) != nullptr ? std::strtol(text, nullptr, 10) : 0;
  (void)std::fclose(file);
  return static_cast<std::int32_t>(pid);
}

// Fills the reply from a file of raw bytes; without the file nothing is filled. Returns the bytes filled.
std::uint32_t fillFromFile(const char* path, std::uint32_t size, unsigned char* record) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  const ssize_t got = read(file, record, size);
  (void)close(file);
  return got > 0 ? static_cast<std::uint32_t>(got) : 0;
}

// Answers one request into `reply`; returns the number of record bytes that follow its head.
std::uint32_t answer(const DriverWireRequest& request, Reply& reply) {
  const std::uint32_t size = request.replySize < kMaxRecord ? request.replySize : kMaxRecord;
  if (isRefused(request.request)) {
    reply.head = {.result = -1, .error = EINVAL};
    return 0;
  }
  reply.head = {.result = 0, .error = 0};
  if (size == 0) return 0;
  switch (request.request) {
    case QUERY_VERSION:
      return fillFromFile("/run/nas1-driver/version", size, reply.record);
    case QUERY_RAID:
      return fillFromFile("/run/nas1-driver/raid", size, reply.record);
    case QUERY_DAEMON_PID: {
      const std::int32_t pid = daemonPid();
      const std::uint32_t bytes = size < sizeof pid ? size : sizeof pid;
      std::memcpy(reply.record, &pid, bytes);
      return bytes;
    }
    default:
      reply.head = {.result = -1, .error = ENOTTY};
      return 0;
  }
}

}  // namespace

int driverListen(const char* path) {
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (listener < 0) return -1;
  sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
  (void)std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || chmod(path, 0666) != 0 ||
      listen(listener, SOMAXCONN) != 0) {
    (void)close(listener);
    return -1;
  }
  return listener;
}

int driverAccept(int listener) { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); }

bool driverAnswer(int connection) {
  DriverWireRequest request;
  const ssize_t got = recv(connection, &request, sizeof request, MSG_DONTWAIT);
  if (got < 0) return errno == EAGAIN || errno == EINTR;
  if (got != sizeof request) return false;
  recordRequest(request);
  Reply reply;
  const std::size_t bytes = sizeof reply.head + answer(request, reply);
  // The caller may have gone without waiting; that must not end the appliance.
  return send(connection, &reply, bytes, MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(bytes);
}
