#pragma once
// FTP: a daemon that is only started and stopped.

#include "config/notify_hooks.h"

#pragma GCC visibility push(default)
extern "C" {
// Steers the daemon: 0 start, 1 stop, 2 stop and start. Returns 0; -1 for any other `how` and when the shell could not
// run the command.
int ftpRestart(int how);
}
#pragma GCC visibility pop
