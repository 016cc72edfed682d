// Case, comparison and copying of names in the code page in force.
//
// A double-byte character (and a half-width katakana) is one unit: it has no case and is compared byte for byte. Every
// other byte goes by the C library's character classes. A lead byte with no byte behind it is a unit of its own.
// Texts must not be null except where it is said. Each function puts the configured code page in force on first use.
#pragma once

#pragma GCC visibility push(default)
extern "C" {

// mbStrUpper, mbStrLower: change the case of a text in place. Return the text.
char* mbStrUpper(char* text);
char* mbStrLower(char* text);

// mbStrCaseCmp: compares two texts ignoring case. Of longer texts only the first 2047 bytes count.
// Returns 0 when they are equal; the difference of the lengths when these differ or a text is empty; the difference of
// the upper-case values at the first ordinary byte that differs; -1 or 1 for the order of the first units that differ.
int mbStrCaseCmp(const char* a, const char* b);

// mbStrnCaseCmp: whether the first `count` bytes of two texts are equal ignoring case.
// Returns 0 when they are or count is 0; else 1, also when a text is empty, count is negative, or the texts end
// before it: callers pass the length that must match.
int mbStrnCaseCmp(const char* a, const char* b, int count);

// mbStrEqual, mbStrnEqual, mbStrCsEqual: 1 when the texts are equal (ignoring case; the first `count` bytes ignoring
// case; byte for byte) or the same pointer, else 0; 0 when one is null, or when count is 0 for two different pointers.
int mbStrEqual(const char* a, const char* b);
int mbStrnEqual(const char* a, const char* b, int count);
int mbStrCsEqual(const char* a, const char* b);

// mbSafeStrcpy: copies at most `count` bytes of src and a NUL, so dst needs room for count + 1 bytes.
// A null src gives an empty dst; with a negative count nothing is written. Returns dst, which may be null.
char* mbSafeStrcpy(char* dst, const char* src, int count);

}  // extern "C"
#pragma GCC visibility pop

// As mbSafeStrcpy, but a lead byte that would be the last one copied is left out, so no character is cut in half.
char* copyWholeChars(char* dst, const char* src, int count);
