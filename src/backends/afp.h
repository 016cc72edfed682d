#pragma once
// AFP: the AppleTalk file server's volume list from the share database, and its init script.

#include "config/notify_hooks.h"

#pragma GCC visibility push(default)
extern "C" {
// Steers the server: 0 start, 1 stop, 2 restart, 3 reload. Returns 0; -1 for any other `how` and when the shell could
// not run the command.
int afpRestart(int how);

// Rewrites /etc/atalk/AppleVolumes.default: one line per share, its path, then its name. Without any share the file
// stays as it is. Returns 0; -1 when the shares could not be read or the file not be written.
int afpUpdateAppleVolumes();

// The operations table's slots. The share slots rewrite the whole list whatever changed; none of them makes the server
// read it again.
int afpDbUpdate();
int afpShareAdd(const char* name, const char* comment, const char* path);
int afpShareDel(const char* name);
int afpShareMod(const char* name, const char* comment, const char* path);

// Drops the connection of a process from the table and kills the process. Returns kill's result.
int afpNetDisconnect(int unused, int pid);

// These have nothing to do: they return 0.
int afpListConnection(int start, int count, void* buffer, int size);
int afpSysEvent(int code, const void* argument);
}
#pragma GCC visibility pop
