#pragma once
// CIFS: Samba's share list from the share database, its init script, and the accounts of a domain controller.

#include <cstdarg>
#include <cstdio>

#include "config/notify_hooks.h"

#pragma GCC visibility push(default)
extern "C" {
// Steers a running Samba: 0 start, 1 stop, 2 restart, 3 rewrite the share list and reload; any other mode does nothing.
// Returns 1; 0 when smbd or nmbd has no PID (nothing is done, not even for "start"); -1 when the share list could not
// be written (the daemons are left alone).
int cifsRestart(int mode);

// The operations table's slots. The share slots rewrite the whole list whatever changed.
int cifsDbUpdate();
int cifsShareAdd(const char* name, const char* comment, const char* path);
int cifsShareDel(const char* name);
int cifsShareMod(const char* name, const char* comment, const char* path);

// Drops the connection of a process from the table and ends the process with SIGTERM. Returns 0.
int cifsNetDisconnect(int unused, int pid);

// Accounts of the configured domain controller as items with size, source and name. A negative count refreshes the list
// file first and returns the number of accounts, -1 when that failed.
int cifsGetUserList(int start, int count, void* buffer, int size);
int cifsGetGroupList(int start, int count, void* buffer, int size);

// Probes a domain controller, or fetches its accounts into /etc/samba/pdcusers and pdcgroups. Return 0; -1.
int cifsCheckPDCExist(const char* name);
int cifsGetUserListFromPDC(char* name);
int cifsGetGroupListFromPDC(const char* name);
// The number on the first line of the list file; 0 without one.
int cifsGetUserListCountInPDC();
int cifsGetGroupListCountInPDC();
// Copies the names to buffers of 128 bytes. Return 0; -1, with names[0] set to null, without a list file.
int cifsShowUserListInPDC(char** names);
int cifsShowGroupListInPDC(char** names);

// The PID of "smbd" or "nmbd" from its PID file, whether or not it still runs; 0 without one.
int cifsGetProcessPid(const char* name);
// Writes the share list to an open stream.
void ReadAllShareFromDB(std::FILE* stream);

// Samba knows no shared list of connections and no share passwords: both return 0.
int cifsListConnection();
int cifsShareSetPassword();

// Bounded formatting into a buffer of max + 1 bytes. Return the length; -1 when the text is longer than max.
[[gnu::format(printf, 3, 4)]] int cifs_slprintf(char* buffer, int max, const char* format, ...);
[[gnu::format(printf, 3, 0)]] int cifs_vslprintf(char* buffer, int max, const char* format, va_list arguments);
}
#pragma GCC visibility pop
