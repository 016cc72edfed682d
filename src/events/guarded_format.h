#pragma once
// Texts from template files are printf formats by design. Before one is formatted, its conversions are compared with
// the arguments that stand ready for it.

#include <utility>

#include "core/memory.h"

// Tells whether the conversions of a text take no other arguments than `kinds` supplies, in order: 's' a string, 'd' an
// int, 'f' a double. Fewer conversions are fine; a width or precision of more than three digits is not.
bool conversionsFit(const char* text, const char* kinds);

// Formats a text into a tracked block; one that does not fit its arguments stays as it stands, with a warning in the
// log. A null text counts as the empty one. Returns the block, to be freed with sysFree, or null without memory.
char* formatGuarded(const char* unit, int line, const char* kinds, const char* text, ...);

// A tracked text for the scope it stands in.
struct TrackedText {
  const char* const unit;
  const int line;
  char* data;

  TrackedText(const char* sourceUnit, int sourceLine, char* text) : unit(sourceUnit), line(sourceLine), data(text) {}
  ~TrackedText() { replace(nullptr); }
  TrackedText(const TrackedText&) = delete;
  TrackedText& operator=(const TrackedText&) = delete;

  // Frees the text and holds another one, or none.
  void replace(char* text) {
    if (data != nullptr) sysFree(unit, line, data);
    data = text;
  }
  // Hands the text over to the caller.
  [[nodiscard]] char* release() { return std::exchange(data, nullptr); }
  [[nodiscard]] const char* text() const { return data == nullptr ? "" : data; }
};
