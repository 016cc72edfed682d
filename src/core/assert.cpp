#include "core/assert.h"

#include <cstdio>
#include <cstdlib>

#include "events/event_log.h"

extern "C" void sysAssert(const char* file, int line) {
  std::printf("%s:%d Assertion Failed!\n", file, line);
  // abort() does not flush, and the line is all that says why the process went down.
  (void)std::fflush(stdout);
  (void)nas1_log(0, 2, "%s:%d Assertion Failed!\n", file, line);
  std::abort();
}
