#pragma once
// A line for developers in the event log.

#pragma GCC visibility push(default)
extern "C" {
// Formats like printf and logs as information of the software.
[[gnu::format(printf, 1, 2)]] void sysTrace(const char* format, ...);
}
#pragma GCC visibility pop
