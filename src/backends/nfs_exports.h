#pragma once
// The NFS server's table of exports, /etc/exports.

#include <cstdio>

#pragma GCC visibility push(default)
extern "C" {
// Writes the table: a line for every share that is exported. Without any share the old lines stay in force.
// Returns 0; -1 when there was no memory (logged) or the file could not be written.
int Update_Export_Conf();

// Writes the line of one share: its host list's clients, or every client with NFS_EXPORT_PRIVILEGE when it has no list;
// nothing when that is neither "rw" nor "ro". Returns 0 when a host list was written, else -1.
int Process_Permitted_NFS(std::FILE* file, const char* share, const char* path);

// Appends the snapshots' exports, kept in /etc/snap_exports by the snapshot service with a word of its own before each.
// Returns 0; -1 when there are none.
int SnapShareAppend();
}
#pragma GCC visibility pop
