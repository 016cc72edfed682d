#pragma once
// Configuration by name: the engines of NasGetConfig and NasSetConfig, driven by the key table.

#pragma GCC visibility push(default)
extern "C" {
// As NasGetConfig and NasSetConfig, for a key of at most 63 characters.
int sysGetConfigEx(const char* key, int size, void* buffer, int* lengthOut);
int sysSetConfigEx(const char* key, int size, const void* value);
}
#pragma GCC visibility pop
