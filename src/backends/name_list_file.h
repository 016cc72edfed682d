#pragma once
// List files that external commands leave with the accounts of a remote server: the first line holds the number of
// names, each further line one name. Lines are read with a limit of 80 bytes.

#include <cstdio>

#include "core/memory.h"

inline constexpr int kListLineSize = 80;   // bytes of a line, NUL in the newline's place
inline constexpr int kListNameSize = 128;  // bytes of a name's buffer, NUL included

// Reads one line into kListLineSize bytes, without its newline; what does not fit is dropped. False at the end of the
// file.
bool readListLine(std::FILE* file, char* line);

// The number on the first line, 0 for a text or a negative number; `missing` when the file cannot be opened.
int nameListCount(const char* path, int missing);

// Fills names[0] to names[count - 1], buffers of kListNameSize bytes each, as many as the first line says; a name that
// the file does not have is empty. False, with names[0] set to null, when the file cannot be opened.
bool nameListShow(const char* path, char** names);

// The names that a list file really has, never more than its first line says.
struct NameList {
  int count;
  const TrackedBuffer block;
  char** const names;

  explicit NameList(const char* path);
};

// Writes account items for the names from `start` on, packed into a buffer that the caller cleared: at most `count`, as
// many as fit. `fill(item, name)` fills one Item. Returns the number written.
template <typename Item, typename Fill>
int nameListItems(const char* path, int start, int count, void* buffer, int size, Fill fill) {
  const NameList list(path);
  auto* items = static_cast<Item*>(buffer);
  int written = 0;
  for (int i = start < 0 ? 0 : start; i < list.count && written < count; ++i, ++written) {
    if (size < static_cast<int>(sizeof(Item))) break;
    fill(&items[written], list.names[i]);
    size -= static_cast<int>(sizeof(Item));
  }
  return written;
}
