#include "config/named_config.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "api/nas1api.h"
#include "config/defaults_file.h"
#include "config/key_table.h"
#include "config/stored_values.h"
#include "events/event_log.h"

static constexpr char kUnit[] = "system.c";

static constexpr int kUnknownKey = -2;
static constexpr int kNoHandler = -3;

static int unknownKey(int line, const char* key) {
  (void)nas1_log(0, 2, "%s:%d Not Support for Type: %s", kUnit, line, key);
  return kUnknownKey;
}

static int noHandler(int line, int row) {
  (void)nas1_log(0, 2, "%s:%d NotImplement for Type: %d", kUnit, line, row);
  return kNoHandler;
}

static int textLengthIn(const void* buffer, int size) {
  return static_cast<int>(strnlen(static_cast<const char*>(buffer), static_cast<std::size_t>(size)));
}

// Turns the text of a default into the value of its type; `result` is what stands when the default is refused.
static int convertDefault(const ConfigKeyEntry& entry, const char* text, int size, void* buffer, int* lengthOut,
                          int result) {
  if (entry.type == CFG_TEXT) {
    *lengthOut = std::min(size, static_cast<int>(std::strlen(text)) + 1);
    std::memcpy(buffer, text, static_cast<std::size_t>(*lengthOut));
    return 0;
  }
  if (entry.type == CFG_INTEGER || entry.type == CFG_HEX) {
    *lengthOut = std::min(size, 4);
    std::uint32_t value = 0;
    if (!parseDefaultInteger(text, entry.type == CFG_INTEGER ? 10 : 16, &value)) return result;
    std::memcpy(buffer, &value, static_cast<std::size_t>(*lengthOut));
    return 0;
  }
  (void)nas1_log(0, 2, "%s:%d NotImplement for data Type: %d", kUnit, 469, entry.type);
  return kNoHandler;
}

// Answers a key that was never stored. What the defaults file says becomes the stored value.
static int readDefault(const ConfigKeyEntry& entry, int size, void* buffer, int* lengthOut, int result) {
  char text[kDefaultTextSize];
  switch (findDefault(entry.name, text)) {
    case DefaultValue::noFile:
      return result;
    case DefaultValue::absent:
      std::memset(buffer, 0, static_cast<std::size_t>(size));
      *lengthOut = entry.type == CFG_TEXT ? 1 : size;
      return 0;
    case DefaultValue::found:
      break;
  }
  result = convertDefault(entry, text, size, buffer, lengthOut, result);
  // Kept: a refused integer is written back as well, with what the buffer holds.
  if (entry.set == nullptr) return result;
  if (isPlainlyStored(entry)) return keepDefault(entry.name, *lengthOut, buffer);
  return entry.set(entry.name, *lengthOut, buffer, keyTable);
}

extern "C" int sysGetConfigEx(const char* key, int size, void* buffer, int* lengthOut) {
  int ownLength = 0;
  if (lengthOut == nullptr) lengthOut = &ownLength;
  if (key == nullptr) return -1;
  const int row = findKey(key);
  if (row < 0) return unknownKey(510, key);
  const ConfigKeyEntry& entry = keyTable[row];
  if (size < 0) return -1;
  if (buffer == nullptr || size == 0) {
    *lengthOut = entry.size;
    return entry.type;
  }
  if (entry.get == nullptr) return noHandler(500, row);

  const int result = entry.get(key, size, buffer, lengthOut);
  if (result >= 0) {
    if (entry.type == CFG_TEXT) *lengthOut = textLengthIn(buffer, size) + 1;
    return result;
  }
  if (entry.fallback != nullptr) return entry.fallback(key, size, buffer, lengthOut);
  return readDefault(entry, size, buffer, lengthOut, result);
}

extern "C" int sysSetConfigEx(const char* key, int size, const void* value) {
  if (key == nullptr) return -1;
  const int row = findKey(key);
  if (row < 0) return unknownKey(554, key);
  if (value == nullptr || size <= 0) return -1;
  const ConfigKeyEntry& entry = keyTable[row];
  if (entry.set == nullptr) return noHandler(549, row);
  const int result = entry.set(key, size, value, keyTable);
  if (result < 0 || entry.notify == nullptr) return result;
  // Kept: the row number, not the numeric id; the back-ends read it as an id.
  (void)entry.notify(row, size, const_cast<void*>(value));
  return result;
}
