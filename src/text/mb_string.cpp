#include "text/mb_string.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "text/code_page.h"

namespace {

// Bytes of a text that a comparison looks at.
constexpr std::size_t kCompareMax = 2047;

// The classes are defined for unsigned bytes only.
int upperOf(char byte) { return std::toupper(static_cast<unsigned char>(byte)); }

int lowerOf(char byte) { return std::tolower(static_cast<unsigned char>(byte)); }

char* convertCase(char* text, int (*convert)(char byte)) {
  for (char* at = text; *at != '\0';) {
    const int unit = unitLength(at);
    if (unit == 0) *at = static_cast<char>(convert(*at));
    at += unit > 0 ? unit : 1;
  }
  return text;
}

// Order of the first `length` bytes as -1, 0 or 1, looking at nothing behind a NUL.
int orderOfBytes(const char* a, const char* b, int length) {
  const int order = std::strncmp(a, b, static_cast<std::size_t>(length));
  return (order > 0) - (order < 0);
}

}  // namespace

char* mbStrUpper(char* text) {
  ensureCodePage();
  return convertCase(text, upperOf);
}

char* mbStrLower(char* text) {
  ensureCodePage();
  return convertCase(text, lowerOf);
}

int mbStrCaseCmp(const char* a, const char* b) {
  ensureCodePage();
  const int length = static_cast<int>(strnlen(a, kCompareMax));
  const int otherLength = static_cast<int>(strnlen(b, kCompareMax));
  // Kept: texts of different lengths are ordered by length alone.
  if (length != otherLength || length == 0) return length - otherLength;
  for (int i = 0; i < length;) {
    const int unit = std::min(unitLength(a + i), length - i);
    const int order = unit > 0 ? orderOfBytes(a + i, b + i, unit) : upperOf(a[i]) - upperOf(b[i]);
    if (order != 0) return order;
    i += unit > 0 ? unit : 1;
  }
  return 0;
}

int mbStrnCaseCmp(const char* a, const char* b, int count) {
  ensureCodePage();
  while (count > 0 && *a != '\0' && *b != '\0') {
    const int unit = unitLength(a);
    const bool equal = unit > 0 ? orderOfBytes(a, b, unit) == 0 : upperOf(*a) == upperOf(*b);
    if (!equal) return 1;
    const int step = unit > 0 ? unit : 1;
    a += step;
    b += step;
    count -= step;
  }
  // Kept: texts that end together before the count are different, and so is a count that cuts a character in half.
  return count == 0 ? 0 : 1;
}

int mbStrEqual(const char* a, const char* b) {
  ensureCodePage();
  if (a == b) return 1;
  if (a == nullptr || b == nullptr) return 0;
  return mbStrCaseCmp(a, b) == 0 ? 1 : 0;
}

int mbStrnEqual(const char* a, const char* b, int count) {
  ensureCodePage();
  if (a == b) return 1;
  if (a == nullptr || b == nullptr || count == 0) return 0;
  return mbStrnCaseCmp(a, b, count) == 0 ? 1 : 0;
}

int mbStrCsEqual(const char* a, const char* b) {
  ensureCodePage();
  if (a == b) return 1;
  if (a == nullptr || b == nullptr) return 0;
  return std::strcmp(a, b) == 0 ? 1 : 0;
}

char* mbSafeStrcpy(char* dst, const char* src, int count) {
  ensureCodePage();
  if (dst == nullptr || count < 0) return dst;
  const std::size_t length = src == nullptr ? 0 : strnlen(src, static_cast<std::size_t>(count));
  if (length > 0) std::memmove(dst, src, length);
  dst[length] = '\0';
  return dst;
}

char* copyWholeChars(char* dst, const char* src, int count) {
  if (dst == nullptr || count < 0) return dst;
  int copied = 0;
  int previousLead = -2;
  for (; src != nullptr && copied < count && src[copied] != '\0'; ++copied) {
    // A byte right behind a lead byte is its trail byte, whatever it looks like.
    if (copied >= previousLead + 2 && lengthFrom(src[copied]) == 2) previousLead = copied;
    dst[copied] = src[copied];
  }
  dst[copied > 0 && previousLead == copied - 1 ? copied - 1 : copied] = '\0';
  return dst;
}
