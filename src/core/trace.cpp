#include "core/trace.h"

#include <cstdarg>

#include "events/event_log.h"

extern "C" void sysTrace(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  (void)vNas1Log(0, 2, format, arguments);
  va_end(arguments);
}
