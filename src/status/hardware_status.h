#pragma once
// The configuration items that live in the segment of protocol 0 and not in a record file: they are lost when the
// system goes down.

#pragma GCC visibility push(default)
extern "C" {

// Copy the word, at most 4 bytes; lengthOut (may be null) receives 4. Return 0; -1 bad argument or no segment.
int get_HW_EVENT_STATUS(int size, void* buffer, int* lengthOut);
int get_FILESYSTEM_STATUS(int size, void* buffer, int* lengthOut);

// Store the first 4 bytes of value, or the `size` bytes there are and zeros. Return 0; -1 bad argument or no segment.
int set_HW_EVENT_STATUS(int size, void* value);
int set_FILESYSTEM_STATUS(int size, void* value);
}
#pragma GCC visibility pop
