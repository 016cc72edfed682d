// The process's code page: which bytes of a text belong together as one character.
#pragma once

#include "api/nas1api.h"

#pragma GCC visibility push(default)
extern "C" {

// mbLangInit: puts a code page in force for every text function of the process.
//   codepage    932, 936, 949 and 950 are double-byte; any other number is a single-byte code page
//   codingFlag  1: the server keeps names in EUC-JP, 0: in the client's own Shift-JIS; -1: not known.
//               Only code page 932 has names to convert.
// Returns 0.
int mbLangInit(int codepage, int codingFlag);

}  // extern "C"
#pragma GCC visibility pop

// Puts the configured code page in force unless one is already. Every exported text function starts with it. A text
// function that runs while the configuration is being read goes on with what is there: single bytes on a first use.
void ensureCodePage();

// What the code page's length routine says of a byte: 2 lead byte, 1 a unit of its own, 0 ordinary byte.
inline int lengthFrom(char byte) {
  const bool multibyte = g_is_multibyte_codepage != 0 && lang_skip_multibyte_char != nullptr;
  return multibyte ? lang_skip_multibyte_char(byte) : 0;
}

// Bytes of the unit that starts at `at`, which case conversion leaves alone; 0 for an ordinary byte.
// Never reaches over the NUL: a lead byte with nothing behind it is a unit of one byte.
inline int unitLength(const char* at) {
  const int length = lengthFrom(*at);
  return length == 2 && at[1] == '\0' ? 1 : length;
}

// Bytes to the next character: those of a unit, 1 for an ordinary byte. Not to be asked at the NUL.
inline int charLength(const char* at) {
  const int length = unitLength(at);
  return length > 0 ? length : 1;
}
