#pragma once
// Counts what a call asks of the system: this program's own gdbm_open, fsync, posix_spawn and so on stand in front of
// the real ones, for the library and for GDBM alike. Unlike times, these numbers are the same on every machine.

#include <functional>
#include <string>

struct Counts {
  int readers;  // record files opened for reading
  int writers;  // record files opened for changes; each of them is a sync when it is closed
  int syncs;    // fsync, fdatasync, msync
  int starts;   // processes; none of them is really started, but for those whose output the library reads
  int records;  // fetches, steps to a key, stores and deletions in record files
  long bytes;   // read from files through read() and handed over by GDBM, which maps the files that it walks
};

// What `call` asks for.
Counts counted(const std::function<void()>& call);

std::string text(const Counts& counts);
