#pragma once
// NFS: the server's exports from the share database, its init script, and the NIS client that goes with it.

#include "config/notify_hooks.h"

#pragma GCC visibility push(default)
extern "C" {
// Runs the server's init script: 0 start, 1 stop, 2 restart. Returns 0; -1 for another `how` and when the command could
// not be started.
int nfsRestart(int how);

// The operations table's slots. Each rewrites the whole list of exports, whatever changed, and makes the server read it
// again. Return 0; -1, with a line in the log, when it could not be written.
int nfsDbUpdate();
int nfsShareAdd(const char* name, const char* comment, const char* path);
// These leave the snapshots' exports out until the next add or full update.
int nfsShareDel(const char* name);
int nfsShareMod(const char* name, const char* comment, const char* path);
// The same after a share's host list was stored.
int nfsShareSetPermittedNfs();

// Events and permissions change nothing for NFS: all return 0.
int nfsSysEvent(int code, const void* argument);
int nfsAddPermittedItem();
int nfsDelPermittedItem();

// What nfsSetConfig does for the keys that concern NFS.
// Restarts the server and, where a NIS server is configured, the NIS client under the configured domain; 0 stops both.
// Returns 0.
int nfsEnable_NFS(int flag);
// Restarts the NIS client; 0 only stops it. Returns 0.
int nfsEnable_share_mode(int mode);
}
#pragma GCC visibility pop
