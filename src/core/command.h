#pragma once
// Shell commands put together from a format and run through Nas1System.

inline constexpr int kCommandNoMemory = -2;

// Formats a command of any length into a tracked buffer of the caller's unit and line and runs it.
// Returns Nas1System's result; kCommandNoMemory when there was no memory for the text.
[[gnu::format(printf, 3, 4)]] int runCommand(const char* unit, int line, const char* format, ...);
