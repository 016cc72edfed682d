#pragma once
// How the command ends and what it says when something did not work. Data goes to standard output, all else here.

// The exit codes, in order; scripts rely on them.
enum ExitCode {
  DONE = 0,
  LIBRARY_FAILED = 1,
  USAGE = 2,
  UNKNOWN_OBJECT = 3,
  REFUSED = 4,
  READ_ONLY = 5,
  BUSY = 6,
  DAMAGED = 7,
  NO_PRIVILEGE = 8,
  UNSAFE_VALUE = 9,
  EXIT_CODE_COUNT = 10
};

// What each of them means, for the help text.
extern const char* const exitMeanings[EXIT_CODE_COUNT];

// complain: one sentence on standard error that says what did not work, why, and what to do. Returns the code.
[[nodiscard]] __attribute__((format(printf, 2, 3))) ExitCode complain(ExitCode code, const char* format, ...);

// tell: something the user should know although all went well, on standard error too.
__attribute__((format(printf, 1, 2))) void tell(const char* format, ...);

// After a verb found everything as it was to become: says so and returns DONE. Nothing was called.
[[nodiscard]] ExitCode unchanged();
