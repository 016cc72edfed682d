#include "status/reading.h"

#include <algorithm>
#include <cstring>

int giveText(int size, void* buffer, int* lengthOut, const char* text) {
  if (buffer == nullptr || size < 1) return -1;
  auto* const out = static_cast<char*>(buffer);
  const std::size_t length = strnlen(text, static_cast<std::size_t>(size) - 1);
  std::memcpy(out, text, length);
  out[length] = '\0';
  if (lengthOut != nullptr) *lengthOut = static_cast<int>(length) + 1;
  return 0;
}

int giveBytes(int size, void* buffer, int* lengthOut, const void* value, int bytes) {
  if (buffer == nullptr || size < 1) return -1;
  const int copied = std::min(size, bytes);
  std::memcpy(buffer, value, static_cast<std::size_t>(copied));
  if (lengthOut != nullptr) *lengthOut = copied;
  return 0;
}
