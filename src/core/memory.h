#pragma once
// The tracked allocator: every working buffer is listed with the unit and line that took it, so that leaks and double
// frees can be told. Blocks that GDBM allocated are entered into the same list and released through it.

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(default)
extern "C" {
// Returns a tracked block of size bytes, each 0xCC, or null. Give it back with sysFree.
void* sysMalloc(const char* file, int line, std::size_t size);

// Enters a block that malloc made elsewhere. Returns the block; null for a null block, and when no memory was left to
// list it: the block is then already freed.
void* sysTraceBuf(const char* file, int line, void* block, std::size_t size);

// Releases a tracked block. An unknown one is reported with the whole list on standard output and left alone.
void sysFree(const char* file, int line, void* block);

// Prints the counters and every tracked block to standard output.
void sysPrintMemLink();
}
#pragma GCC visibility pop

// A tracked block for the scope it stands in; data is null when there was no memory.
struct TrackedBuffer {
  const char* const file;
  const int line;
  void* const data;

  TrackedBuffer(const char* sourceFile, int sourceLine, std::size_t bytes)
      : file(sourceFile), line(sourceLine), data(sysMalloc(sourceFile, sourceLine, bytes)) {}
  ~TrackedBuffer() {
    if (data != nullptr) sysFree(file, line, data);
  }
  TrackedBuffer(const TrackedBuffer&) = delete;
  TrackedBuffer& operator=(const TrackedBuffer&) = delete;

  [[nodiscard]] char* text() const { return static_cast<char*>(data); }
};
