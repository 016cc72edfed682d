#pragma once
// The daemons' files that back-ends write, under a lock so that the lines of two processes never mix.

#include <cstdio>

enum class FileUse { reading, rewriting, appending };

// A file under an exclusive flock for the scope it stands in.
struct LockedFile {
  const char* const path;
  std::FILE* file;  // null: could not be opened; before startOver also when it does not exist yet

  // Waits for the lock on a file that exists, to append also on a new one; its content stays. What a rewrite depends on
  // is read after this: of two processes the last to write is then the last to have read.
  LockedFile(const char* filePath, FileUse use);
  ~LockedFile();
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  // Empties the file, or creates it, to be written from the start. False when it cannot be written.
  [[nodiscard]] bool startOver();
  // Hands everything written to the system. False when something was lost, on a full disk for instance.
  [[nodiscard]] bool finish() const;
};
