#pragma once
// The two halves of the throw-away appliance's start: outside, which makes the namespaces and passes signals in,
// and inside, process 1 of the new appliance.

#include <csignal>

// What the appliance's own failures end with; everything else is the command's own exit code.
inline constexpr int kNotPossible = 125;

// Signals that the outer half passes on to the command.
inline constexpr int relayedSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2};

// Says in one sentence what is not possible, with the reason in errno, and returns kNotPossible.
int notPossible(const char* what);

// Replaces the process by `command`; a command that cannot be started ends with 127 or 126 as in a shell.
[[noreturn]] void become(char** command);

// Runs `command` as process 1 of new mount, IPC, PID, UTS and network namespaces. Returns its exit code.
int runOutside(char** command);

// As process 1: answers /dev/nas1 and /dev/log, reaps orphans, runs `command`. Returns its exit code.
int runInside(char** command);
