#include "config/stored_values.h"

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/record_store.h"

static constexpr char kUnit[] = "stored_values.cpp";
static constexpr int kIntegerBytes = 4;

static int copyOut(const void* from, std::size_t have, int size, void* buffer, int* lengthOut) {
  const std::size_t copied = size > 0 ? std::min(have, static_cast<std::size_t>(size)) : 0;
  if (copied > 0) std::memcpy(buffer, from, copied);
  if (lengthOut != nullptr) *lengthOut = static_cast<int>(copied);
  return 0;
}

int readStored(const char* key, int size, void* buffer, int* lengthOut) {
  const RecordFile settings(kSystemFile, Access::lookup);
  if (settings.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, settings, key);
  if (value.data == nullptr) return -1;
  return copyOut(value.data, value.bytes, size, buffer, lengthOut);
}

int writeStored(const char* key, int size, const void* value) {
  if (size < 0) return -1;
  const RecordFile settings(kSystemFile, Access::change);
  if (settings.handle == nullptr) return -1;
  // Kept: only a file that cannot be opened counts as a failed store.
  (void)settings.store(key, value, static_cast<std::size_t>(size), GDBM_REPLACE);
  return 0;
}

int keepDefault(const char* key, int size, const void* value) {
  if (size < 0) return -1;
  const RecordFile settings(kSystemFile, Access::change);
  if (settings.handle == nullptr) return -1;
  (void)settings.store(key, value, static_cast<std::size_t>(size), GDBM_INSERT);
  return 0;
}

int readStoredText(const char* key, int size, void* buffer, int* lengthOut) {
  if (size <= 0 || buffer == nullptr) return -1;
  const RecordFile settings(kSystemFile, Access::lookup);
  if (settings.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, settings, key);
  if (value.data == nullptr) return -1;
  auto* const text = static_cast<char*>(buffer);
  const std::size_t length = strnlen(value.data, std::min(value.bytes, static_cast<std::size_t>(size) - 1));
  std::memcpy(text, value.data, length);
  text[length] = '\0';
  if (lengthOut != nullptr) *lengthOut = static_cast<int>(length + 1);
  return 0;
}

int readStoredInteger(const char* key, int size, void* buffer, int* lengthOut) {
  if (size <= 0 || buffer == nullptr) return -1;
  std::uint32_t word = 0;
  const int result = readStored(key, sizeof word, &word, nullptr);
  (void)get_Default_UINT(size, buffer, lengthOut, word);
  return result;
}

int writeText(const char* key, int size, const void* value) {
  if (key == nullptr || value == nullptr || size <= 0) return -1;
  if (static_cast<const char*>(value)[size - 1] != '\0') {
    syslog(LOG_ERR, "%s:%d Data of the Config[%s] is not ASCIIZ ", "protocols.c", 196, key);
  }
  return writeStored(key, size, value);
}

int writeInteger(const char* key, int size, const void* value) {
  if (size < kIntegerBytes) return -1;
  return writeStored(key, size, value);
}

unsigned integerIn(int size, const void* value) {
  std::uint32_t word = 0;
  if (value != nullptr && size > 0) std::memcpy(&word, value, static_cast<std::size_t>(std::min(size, kIntegerBytes)));
  return word;
}

extern "C" int get_Default_UINT(int size, void* buffer, int* lengthOut, unsigned value) {
  const std::uint32_t word = value;
  return copyOut(&word, sizeof word, size, buffer, lengthOut);
}

extern "C" int get_Default_String(int size, void* buffer, int* lengthOut, const char* text) {
  return copyOut(text, std::strlen(text) + 1, size, buffer, lengthOut);
}
