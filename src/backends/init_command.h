#pragma once
// Init scripts and administration commands, one table per daemon, indexed by what is asked of it: 0 start, 1 stop,
// 2 restart, 3 reload where the daemon can.

#include <span>

// Runs a command and tells whether the shell could run it; how the command itself ended does not count.
// Returns 0; -1 when the shell could not.
int runInitCommand(const char* command);

// The same for one row of a table; -1 for a `how` outside it, with nothing run.
int runInitCommand(std::span<const char* const> commands, int how);
