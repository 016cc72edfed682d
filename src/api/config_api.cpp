// Configuration entries, by name and by number.

#include <cstring>

#include "api/nas1api.h"
#include "api/protocol_ops.h"
#include "config/key_table.h"
#include "config/named_config.h"
#include "config/numeric_config.h"

// The key as the engines take it: at most 63 characters, so that no caller's text is looked at without a bound.
struct KeyCopy {
  char text[kKeyNameSize];

  explicit KeyCopy(const char* key) {
    const std::size_t length = strnlen(key, sizeof text - 1);
    std::memcpy(text, key, length);
    text[length] = '\0';
  }
};

extern "C" int NasGetConfig(const char* key, int size, void* buffer, int* lengthOut) {
  if (key == nullptr || key[0] == '\0') return -1;
  return sysGetConfigEx(KeyCopy(key).text, size, buffer, lengthOut);
}

static bool decidesTextFunctions(const char* key) {
  return std::strcmp(key, "CIFS_CODE_PAGE") == 0 || std::strcmp(key, "CODING_SYSTEM") == 0;
}

extern "C" int NasSetConfig(const char* key, int size, const void* value) {
  if (key == nullptr || key[0] == '\0') return -1;
  const KeyCopy copy(key);
  const int result = sysSetConfigEx(copy.text, size, value);
  if (result >= 0 && decidesTextFunctions(copy.text)) (void)NasApiInit();
  return result;
}

extern "C" int Nas1GetConfig(int id, int size, void* buffer, int* lengthOut) {
  if (buffer == nullptr || size <= 0) return -1;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return sysGetConfig(id, size, buffer, lengthOut);
}

// Trims blanks at both ends of the text in a value of size bytes, which need not be terminated.
static void trimWithin(char* value, std::size_t size) {
  const std::size_t length = strnlen(value, size);
  std::size_t end = length;
  while (end > 0 && value[end - 1] == ' ') value[--end] = '\0';
  std::size_t leading = 0;
  while (leading < end && value[leading] == ' ') ++leading;
  if (leading == 0) return;
  std::memmove(value, value + leading, end - leading);
  value[end - leading] = '\0';
}

extern "C" int Nas1SetConfig(int id, int size, void* value) {
  if (value == nullptr || size < 0) return -1;
  // Kept: integers are trimmed as texts too and lose bytes of 0x20.
  trimWithin(static_cast<char*>(value), static_cast<std::size_t>(size));
  const int result = broadcast(protocolOps, &ProtocolOps::setConfig, Stop::never, id, size, value);
  if (result >= 0 && (id == CONFIG_CIFS_CODE_PAGE || id == CONFIG_CODING_SYSTEM)) (void)NasApiInit();
  return result;
}
