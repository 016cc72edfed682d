#pragma once
// The table of client connections of one protocol, shared by all processes. Writers hold the segment's lock, readers
// hold none. Protocol 0 keeps other things in its segment and counts as having no table.

#include "api/nas1api.h"

#pragma GCC visibility push(default)
extern "C" {

// Adds a connection, or replaces the one with the same PID, which keeps its time. One connection whose process is gone
// is dropped first. Returns 0; -1 no table; -2 stored, but the driver cannot be opened; -3 the table is full.
int sysAddConnection(int protocol, const ConnectionRecord* record);

// Removes the connection of a process; the last one moves into its place.
// Returns 0, also for an empty table; -1 no table or no such PID, which is in the system log.
int sysDelConnection(int protocol, int pid);

// Returns the number of connections, 0 without a table.
int sysConnectionCount(int protocol);

// Drops the connections whose process is gone, then copies `count` records from index `start` on, each with the seconds
// since its client connected in place of the time. Returns the number copied, -1 without a table.
int sysListConnection(int protocol, int start, int count, void* buffer);
}
#pragma GCC visibility pop
