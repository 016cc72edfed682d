#include "errors.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "complaint_place.h"
#include "output.h"
#include "progress.h"

// clang-format off
const char* const exitMeanings[EXIT_CODE_COUNT] = {
    /* 0 */ "done",
    /* 1 */ "the library reported a failure",
    /* 2 */ "the command was not understood",
    /* 3 */ "no such share, key, connection, ...",
    /* 4 */ "it exists already, or the system refuses",
    /* 5 */ "read-only, or a table is full",
    /* 6 */ "a record file is in use by another program",
    /* 7 */ "a record file is damaged",
    /* 8 */ "the caller may not do that",
    /* 9 */ "the value is not safe to pass on",
};
// clang-format on

static std::string where;

void sayWhere(const std::string& place) { where = place; }

static void say(const char* format, va_list arguments) {
  char sentence[1024];
  (void)std::vsnprintf(sentence, sizeof sentence, format, arguments);
  // What was listed so far belongs before what is said about it.
  (void)std::fflush(stdout);
  // Names may hold anything: nothing in them may steer the terminal.
  clearProgress();
  (void)std::fprintf(stderr, "nas1: %s%s\n", where.c_str(), visible(sentence).c_str());
}

ExitCode complain(ExitCode code, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  say(format, arguments);
  va_end(arguments);
  return code;
}

void tell(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  say(format, arguments);
  va_end(arguments);
}

ExitCode unchanged() {
  tell("unchanged");
  return DONE;
}
