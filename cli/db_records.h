#pragma once
// The records of the record files as they are, sound or not: all files copied at one moment, under GDBM's own locks,
// and read at leisure.

#include <gdbm.h>

#include <map>
#include <span>
#include <string>
#include <vector>

#include "errors.h"
#include "record_layouts.h"

// A descriptor that is closed with its scope.
struct OpenFile {
  int fd = -1;
  OpenFile() = default;
  explicit OpenFile(int opened) : fd(opened) {}
  OpenFile(OpenFile&& other) noexcept : fd(other.fd) { other.fd = -1; }
  OpenFile& operator=(OpenFile&&) = delete;
  ~OpenFile();
};

using Records = std::map<std::string, std::string>;  // keys and values as stored

struct RecordSet {
  const RecordFileEntry* file = nullptr;
  bool exists = false;
  std::string fault;  // why not all of it could be read; empty when it could
  Records records;    // those that could be read
};

// "share.gdbm", as the file is called in what is printed.
std::string shortName(const RecordFileEntry& file);

// Keys are printed without their NUL.
std::string keyText(const std::string& key);

// Opens a file and waits a moment for its lock, which goes with the descriptor; GDBM keeps to it as well.
//   how   LOCK_SH or LOCK_EX
//   file  receives the descriptor; -1 for a missing file
// Returns DONE, also for a missing file; else complains.
ExitCode openLocked(const char* path, int how, OpenFile& file);

// Copies `from` to `to`, from beginning to end. Returns false with errno set.
bool copyContent(int from, int to);

// Reads all files as they were at one moment.
ExitCode readRecordSets(std::vector<RecordSet>& sets);

// Reads one file; a missing one is an empty set.
ExitCode readRecordSet(const RecordFileEntry& file, RecordSet& set);

// The records that can be reached in an open file; false with a reason in `fault` when there would have been more.
bool walkRecords(GDBM_FILE db, Records& records, std::string& fault);
