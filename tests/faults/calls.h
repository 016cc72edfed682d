#pragma once
// A small appliance's record files, and the calls that change them, for the programs that damage files and make system
// calls fail.

#include <map>
#include <string>

// One call of the public API that changes record files. Each leaves something else than the sample.
struct Call {
  const char* name;
  int (*run)();
  const char* file;   // the record file that decides the result
  bool resultIsFree;  // 0 whatever the store did, by contract
  const char*
      inSteps;  // name of the records that are stored in several steps, of which a fault may leave some; or null
};
inline constexpr int kCallCount = 13;
extern const Call calls[kCallCount];

// Fills the record files with shares, accounts, permissions, hosts, modules and settings, and keeps a copy.
void makeSample();
// Puts the copy back; numeric ids are loaded anew.
void restoreSample();
// Bytes that the tracked allocator holds, and open descriptors.
int heldBytes();
int openDescriptors();

// Every record of every file, by "FILE KEY"; a file that cannot be walked has the one record "FILE unreadable".
using Records = std::map<std::string, std::string>;
Records allRecords();
