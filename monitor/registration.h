#pragma once
// How the monitor daemon makes itself known: to the driver, whose word every writer of the log takes for whom to send
// SIGHUP; and to init scripts and a second monitor, by a locked PID file.

#include <sys/types.h>

inline constexpr char kPidFile[] = "/run/nas1mond.pid";

// Locks the PID file, which stays open as long as this process and its children of the same program live. False:
// another monitor holds it, or it cannot be written (errno tells; EWOULDBLOCK for another monitor).
bool lockPidFile();

// Writes this process's PID into it; leaves it empty.
bool writePidFile();
void clearPidFile();

// Tells the driver which process the monitor is; 0 for none. False when the driver cannot be told.
bool tellDriver(pid_t pid);
