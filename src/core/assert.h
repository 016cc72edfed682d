#pragma once
// Broken invariants end the process, with a word to the log: going on would only damage records.

#pragma GCC visibility push(default)
extern "C" {
// Prints "FILE:LINE Assertion Failed!" to standard output and to the event log, then aborts.
[[noreturn]] void sysAssert(const char* file, int line);
}
#pragma GCC visibility pop
