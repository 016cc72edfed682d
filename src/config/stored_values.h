#pragma once
// Values as they stand in system.gdbm: under the key's name, exactly the bytes that were given.

// Copies min(size, stored bytes) of a key's value. lengthOut (may be null) receives the bytes copied.
// Returns 0; -1 when the key is absent or the file cannot be opened.
int readStored(const char* key, int size, void* buffer, int* lengthOut);

// Stores size bytes under a key. Returns 0, also when GDBM refuses the store; -1 when the file cannot be opened.
int writeStored(const char* key, int size, const void* value);

// Reads a text without looking at the defaults: at most size - 1 characters and a NUL. lengthOut (may be null) receives
// the copied length plus 1. Returns 0; -1 absent.
int readStoredText(const char* key, int size, void* buffer, int* lengthOut);

// Reads a 4-byte integer without looking at the defaults: min(size, 4) bytes of it, 0 when absent. lengthOut (may be
// null) receives the bytes copied. Returns 0; -1 absent.
int readStoredInteger(const char* key, int size, void* buffer, int* lengthOut);

// Stores a default under a key that has no value: one that another process has stored meanwhile, or that could not be
// read, stays. Returns 0, also then; -1 when the file cannot be opened.
int keepDefault(const char* key, int size, const void* value);

// Stores a text of size bytes; one that does not end with a NUL is stored all the same, with a warning.
int writeText(const char* key, int size, const void* value);

// Stores an integer; -1 for a size below 4.
int writeInteger(const char* key, int size, const void* value);

// The 4-byte integer in a value of size bytes; what the value does not have counts as 0.
unsigned integerIn(int size, const void* value);

#pragma GCC visibility push(default)
extern "C" {
// Copies min(size, 4) bytes of value; lengthOut (may be null) receives that count. Returns 0.
int get_Default_UINT(int size, void* buffer, int* lengthOut, unsigned value);
// Copies min(size, length + 1) bytes of text; lengthOut (may be null) receives that count. Returns 0.
int get_Default_String(int size, void* buffer, int* lengthOut, const char* text);
}
#pragma GCC visibility pop
