#pragma once
// How the live readers hand their values to callers of the configuration.

// Copies a text, cut to size - 1 characters and terminated; lengthOut (may be null) receives its length plus 1.
// Returns 0; -1 for a null buffer or a size below 1.
int giveText(int size, void* buffer, int* lengthOut, const char* text);

// Copies at most `size` of `bytes` bytes; lengthOut (may be null) receives how many.
// Returns 0; -1 for a null buffer or a size below 1.
int giveBytes(int size, void* buffer, int* lengthOut, const void* value, int bytes);
