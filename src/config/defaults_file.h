#pragma once
// Factory defaults: /etc/default.zelmar, one setting a line: the key, one separator character, the value.

// What the defaults file says about a key.
enum class DefaultValue {
  noFile,  // it could not be opened
  absent,  // no line begins with the key
  found,
};

inline constexpr int kDefaultTextSize = 64;  // bytes of the longest value, NUL included

// Finds the first line that begins with the key's characters and hands out its value, which ends at its first white
// space. text receives at most kDefaultTextSize bytes, NUL included.
DefaultValue findDefault(const char* key, char (&text)[kDefaultTextSize]);

// Reads an unsigned number as a 32-bit strtoul does: a sign is allowed, out of range is refused, and so are the two
// values that stand for "no value". Returns false when refused.
bool parseDefaultInteger(const char* text, int base, unsigned* value);
