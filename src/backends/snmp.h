#pragma once
// SNMP: the agent's configuration file from the stored settings, its init script, and the traps of events.

#include <cstdio>

#include "config/notify_hooks.h"

#pragma GCC visibility push(default)
extern "C" {
// Steers the agent: 0 start, 1 stop; 2 and 3 follow SNMP_STATE: set, the configuration file is rewritten and the agent
// restarted; clear, the agent is stopped.
// Returns 0; -1 for any other `how`, when the shell could not run the command (0 and 1), and when the file could not be
// written (2 and 3; the agent is then left alone).
int snmpRestart(int how);

// Rewrites the configuration file and lets the agent read it again, whatever SNMP_STATE is. Returns 0; -1 when the file
// could not be written or the shell not run the command.
int snmpReload();

// Writes the content of the configuration file to an open stream.
void WriteSNMPConfFromDB(std::FILE* stream);
}
#pragma GCC visibility pop
