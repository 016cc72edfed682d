#include "core/command.h"

#include <cstdarg>
#include <cstdio>

#include "api/nas1api.h"
#include "core/memory.h"

int runCommand(const char* unit, int line, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);

  int result = kCommandNoMemory;
  if (length >= 0) {
    const std::size_t size = static_cast<std::size_t>(length) + 1;
    const TrackedBuffer command(unit, line, size);
    if (command.data != nullptr) {
      (void)std::vsnprintf(command.text(), size, format, again);
      result = Nas1System(command.text());
    }
  }
  va_end(again);
  return result;
}
