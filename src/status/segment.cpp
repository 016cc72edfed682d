#include "status/segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>

namespace {

// The path that gives a protocol's segment its key.
constexpr const char* keyPaths[kSegmentCount] = {"/etc/admin", "/etc/samba", "/etc/nfs", "/etc/nwserv.conf",
                                                 "/etc/atalk"};
constexpr int kKeyProject = 'S';

constexpr unsigned kLockPollUs = 100;
constexpr int kLockPolls = 100;

void* attached[kSegmentCount] = {};  // by protocol; null while not attached

bool hasSegment(int protocol) { return static_cast<unsigned>(protocol) < kSegmentCount; }

int openSegment(int protocol) {
  const key_t key = ftok(keyPaths[protocol], kKeyProject);
  if (key == -1) return -1;
  const int id = shmget(key, kSegmentSize, IPC_CREAT | IPC_EXCL | 0666);
  if (id < 0) return shmget(key, kSegmentSize, 0);
  syslog(LOG_INFO, "Creating new shared memory segment");
  return id;
}

// The kernel hands out a new segment zeroed; clearing it here could wipe what another process has stored meanwhile.
void* attach(int protocol) {
  const int id = openSegment(protocol);
  if (id < 0) {
    syslog(LOG_INFO, "Fail to get shared memory segment");
    return nullptr;
  }
  void* const segment = shmat(id, nullptr, 0);
  if (reinterpret_cast<std::intptr_t>(segment) == -1) {
    syslog(LOG_INFO, "Fail to attach shared memory segment");
    return nullptr;
  }
  return segment;
}

// Both layouts start with the lock word.
std::atomic_ref<std::uint32_t> lockWord(void* segment) {
  return std::atomic_ref<std::uint32_t>(*static_cast<std::uint32_t*>(segment));
}

void takeLock(void* segment) {
  for (int poll = 0; poll < kLockPolls; poll++) {
    if (lockWord(segment).exchange(1) == 0) return;
    (void)usleep(kLockPollUs);
  }
  // Kept: taken whether or not it became free, so that a holder that died cannot block the table.
  lockWord(segment).store(1);
}

}  // namespace

extern "C" void* sysAttachShareMem(int protocol) {
  if (!hasSegment(protocol)) return nullptr;
  if (attached[protocol] == nullptr) attached[protocol] = attach(protocol);
  return attached[protocol];
}

extern "C" void sysDeAttachShareMem(int protocol) {
  if (!hasSegment(protocol) || attached[protocol] == nullptr) return;
  (void)shmdt(attached[protocol]);
  attached[protocol] = nullptr;
}

extern "C" void* sysLockShareMem(int protocol) {
  if (!hasSegment(protocol)) return nullptr;
  // Kept: whoever has the segment attached gets it as it is, without the lock.
  if (attached[protocol] != nullptr) return attached[protocol];
  void* const segment = sysAttachShareMem(protocol);
  if (segment != nullptr) takeLock(segment);
  return segment;
}

extern "C" void sysUnlockShareMem(int protocol) {
  if (!hasSegment(protocol) || attached[protocol] == nullptr) return;
  lockWord(attached[protocol]).store(0);
  sysDeAttachShareMem(protocol);
}
