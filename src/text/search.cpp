#include "text/search.h"

#include <cstring>

#include "text/code_page.h"

char* findChar(const char* text, int byte) {
  const char wanted = static_cast<char>(byte);
  if (g_is_multibyte_codepage == 0) return const_cast<char*>(std::strchr(text, wanted));
  for (; *text != '\0'; text += charLength(text)) {
    if (*text == wanted) return const_cast<char*>(text);
  }
  return wanted == '\0' ? const_cast<char*>(text) : nullptr;
}

char* findLastChar(const char* text, int byte) {
  const char wanted = static_cast<char>(byte);
  // A lead byte can only be told from a trail byte by walking from the beginning.
  char* last = nullptr;
  for (char* found = findChar(text, wanted); found != nullptr; found = findChar(found + charLength(found), wanted)) {
    last = found;
    if (*found == '\0') break;
  }
  return last;
}

char* findText(const char* text, const char* part) {
  if (g_is_multibyte_codepage == 0) return const_cast<char*>(std::strstr(text, part));
  const std::size_t length = std::strlen(part);
  for (; *text != '\0'; text += charLength(text)) {
    if (std::strncmp(text, part, length) == 0) return const_cast<char*>(text);
  }
  return length == 0 ? const_cast<char*>(text) : nullptr;
}

char* nextToken(char* text, const char* delimiters, char** rest) {
  if (text == nullptr) text = *rest;
  while (*text != '\0' && findChar(delimiters, *text) != nullptr) text += charLength(text);
  if (*text == '\0') {
    *rest = text;
    return nullptr;
  }
  char* end = text;
  while (*end != '\0' && findChar(delimiters, *end) == nullptr) end += charLength(end);
  *rest = *end == '\0' ? end : end + charLength(end);
  *end = '\0';
  return text;
}

void replaceChars(char* text, const char* set, int replacement) {
  const char byte = static_cast<char>(replacement);
  for (; *set != '\0'; ++set) {
    for (char* found = findChar(text, *set); found != nullptr; found = findChar(found + 1, *set)) {
      *found = byte;
      if (byte == '\0') break;
    }
  }
}
