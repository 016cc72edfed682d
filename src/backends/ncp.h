#pragma once
// NCP: the NetWare file server's init script, and the accounts of a bindery server that is reached over IPX. The
// server's volumes do not come from the share database, so a share's change is nothing to it.

#include "config/notify_hooks.h"

#pragma GCC visibility push(default)
extern "C" {
// Steers the server: 0 start, 1 stop, 2 restart. Returns 0; -1 for any other mode and when the shell could not run the
// command.
int ncpRestart(int mode);

// The operations table's slots that have nothing to do: all return 0.
int ncpShareAdd(const char* name, const char* comment, const char* path);
int ncpShareDel(const char* name);
int ncpShareMod(const char* name, const char* comment, const char* path);
int ncpListConnection(int start, int count, void* buffer, int size);
int ncpSysEvent(int code, const void* argument);

// Drops the connection of a process from the table and ends the process with SIGTERM. Returns 0.
int ncpNetDisconnect(int unused, int pid);

// Accounts of the configured bindery server as items with size, source and name. A negative count refreshes the list
// file first and returns the number of accounts; -1 when that failed or left no list file. A listing without a list
// file writes nothing and returns 0.
int ncpGetUserList(int start, int count, void* buffer, int size);
int ncpGetGroupList(int start, int count, void* buffer, int size);

// Fetches the users of a bindery server into /mnt/param/nw/binderyuser; server is upper-cased in place.
// Returns 0; -1 when the server or its address is wrong or it cannot be reached.
int ncpGetUserListFromBindery(char* server);
// Does nothing: the script that fetches the users leaves the groups as well. Returns 0.
int ncpGetGroupListFromBindery(const char* server);
// The number on the first line of the list file; -1 without one.
int ncpGetUserListCountInBindery();
int ncpGetGroupListCountInBindery();
// Copies the names to buffers of 128 bytes. Return 1; 0, with names[0] set to null, without a list file.
int ncpShowUserListInBindery(char** names);
int ncpShowGroupListInBindery(char** names);
}
#pragma GCC visibility pop
