#include "registration.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>

static int pidFile = -1;

bool lockPidFile() {
  pidFile = open(kPidFile, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  return pidFile >= 0 && flock(pidFile, LOCK_EX | LOCK_NB) == 0;
}

bool writePidFile() { return ftruncate(pidFile, 0) == 0 && dprintf(pidFile, "%d\n", getpid()) > 0; }

void clearPidFile() { (void)!ftruncate(pidFile, 0); }

// The driver of the throw-away appliance keeps the PID in a file. A real one has a request of its own for this, which
// is between the monitor and the driver and no part of nas1api.h: that request belongs here.
bool tellDriver(pid_t pid) {
  std::FILE* const file = std::fopen("/run/nas1-driver/daemon-pid", "we");
  if (file == nullptr) return false;
  const bool written = std::fprintf(file, "%d\n", pid) > 0;
  return std::fclose(file) == 0 && written;
}
