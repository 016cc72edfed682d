// The small checks that every entry makes on its text arguments, and the API's version.

#include <cstring>

#include "api/nas1api.h"

extern "C" unsigned Nas1CheckLength(const char* text, unsigned max) {
  if (text == nullptr) return ~0U;
  return std::strlen(text) + 1 > max ? 1 : 0;
}

extern "C" void Nas1Remove_ht_space(char* text) {
  std::size_t length = std::strlen(text);
  while (length > 0 && text[length - 1] == ' ') text[--length] = '\0';
  const std::size_t leading = std::strspn(text, " ");
  if (leading > 0) std::memmove(text, text + leading, length - leading + 1);
}

extern "C" char* Nas1UpStr(char* text) {
  NasStrUpper(text);
  return text;
}

extern "C" int Nas1ApiVersion(int* major, int* minor) {
  if (major != nullptr) *major = 0;
  if (minor != nullptr) *minor = 1;
  return 0;
}
