#include "config/defaults_file.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr char kDefaultsFile[] = "/etc/default.zelmar";
static constexpr int kLineSize = 64;  // a longer line continues as a further line

// The value behind a key and its separator. The line's last character goes unseen: it is the newline.
static void takeValue(const char* line, std::size_t keyLength, char (&text)[kDefaultTextSize]) {
  const std::size_t lineLength = std::strlen(line);
  std::size_t length = lineLength > keyLength + 1 ? lineLength - keyLength - 1 : 0;
  std::memset(text, 0, sizeof text);
  if (length == 0) return;
  std::memcpy(text, line + keyLength + 1, --length);
  text[strcspn(text, " \t\r\n")] = '\0';
}

DefaultValue findDefault(const char* key, char (&text)[kDefaultTextSize]) {
  std::FILE* const file = std::fopen(kDefaultsFile, "re");
  if (file == nullptr) return DefaultValue::noFile;
  const std::size_t keyLength = std::strlen(key);
  DefaultValue result = DefaultValue::absent;
  char line[kLineSize];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    // Kept: only the key's own length is compared, so a longer key on an earlier line is taken for this one.
    if (std::strncmp(line, key, keyLength) != 0) continue;
    takeValue(line, keyLength, text);
    result = DefaultValue::found;
    break;
  }
  (void)std::fclose(file);
  return result;
}

bool parseDefaultInteger(const char* text, int base, unsigned* value) {
  const char* const digits = text + strspn(text, " \t\n\v\f\r");
  const bool negative = *digits == '-';
  // strtoull would see a second sign as part of a number.
  const char* const unsignedDigits =
      negative && std::isxdigit(static_cast<unsigned char>(digits[1])) == 0 ? "" : digits + negative;
  errno = 0;
  const unsigned long long magnitude = std::strtoull(unsignedDigits, nullptr, base);
  if (errno == ERANGE || magnitude > UINT32_MAX) return false;
  const auto word = static_cast<std::uint32_t>(negative ? 0 - magnitude : magnitude);
  if (word == 0x7FFFFFFF || word == 0x80000000) return false;
  *value = word;
  return true;
}
