#include "events/guarded_format.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "events/event_log.h"

// The kind of argument that a conversion character takes; 0 for one that is never allowed.
static char kindOf(char conversion) {
  if (conversion == '\0') return 0;
  if (std::strchr("diuxXoc", conversion) != nullptr) return 'd';
  if (std::strchr("fFeEgGaA", conversion) != nullptr) return 'f';
  return conversion == 's' ? 's' : '\0';
}

// Skips the digits of a width or precision; false when no sensible text needs that many.
static bool skipDigits(const char*& c) {
  static constexpr std::size_t kMostDigits = 3;
  const std::size_t digits = std::strspn(c, "0123456789");
  c += digits;
  return digits <= kMostDigits;
}

bool conversionsFit(const char* text, const char* kinds) {
  for (const char* c = std::strchr(text, '%'); c != nullptr; c = std::strchr(c, '%')) {
    ++c;
    if (*c == '%') {
      ++c;
      continue;
    }
    // Flags, width and precision; "*" and length modifiers would take other arguments than are there.
    c += std::strspn(c, "-+ #0");
    if (!skipDigits(c)) return false;
    if (*c == '.' && !skipDigits(++c)) return false;
    const char kind = kindOf(*c);
    if (kind == 0 || kind != *kinds) return false;
    ++kinds;
    ++c;
  }
  return true;
}

static char* copyOf(const char* unit, int line, const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  auto* const copy = static_cast<char*>(sysMalloc(unit, line, size));
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

static char* formatted(const char* unit, int line, const char* text, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length = std::vsnprintf(nullptr, 0, text, arguments);
  char* block = nullptr;
  if (length >= 0) {
    const std::size_t size = static_cast<std::size_t>(length) + 1;
    block = static_cast<char*>(sysMalloc(unit, line, size));
    if (block != nullptr) (void)std::vsnprintf(block, size, text, again);
  }
#pragma GCC diagnostic pop
  va_end(again);
  return block;
}

char* formatGuarded(const char* unit, int line, const char* kinds, const char* text, ...) {
  if (text == nullptr) text = "";
  if (!conversionsFit(text, kinds)) {
    (void)nas1_log(0, 2, "%s:%d warning! text does not fit its arguments: %s", unit, line, text);
    return copyOf(unit, line, text);
  }
  va_list arguments;
  va_start(arguments, text);
  char* const block = formatted(unit, line, text, arguments);
  va_end(arguments);
  return block;
}
