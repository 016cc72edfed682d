// Searching in code-page text. A search looks at the first byte of each character only, so it never takes the second
// byte of a double-byte character, which may be any ASCII letter or sign, for a character of its own.
// In a single-byte code page these are the C library's routines. Texts must not be null.
#pragma once

// First and last place of a byte (counted modulo 256), or null. Searching for NUL finds the terminator.
char* findChar(const char* text, int byte);
char* findLastChar(const char* text, int byte);

// First place where `part` begins at a character, or null; an empty part is found at once.
char* findText(const char* text, const char* part);

// Cuts the next piece between bytes of `delimiters` out of a text: pass the text first, null afterwards.
// `rest` keeps the place between calls. Returns the piece, or null when none is left.
char* nextToken(char* text, const char* delimiters, char** rest);

// Puts `replacement` in the place of every byte of `text` that stands in `set`. The set is taken byte by byte.
// A replacement by NUL ends the text there.
void replaceChars(char* text, const char* set, int replacement);
