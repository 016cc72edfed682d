#pragma once
// Puts record files in the place of others: no other process ever sees half of one.

#include <gdbm.h>

#include <string>
#include <vector>

#include "db_records.h"
#include "errors.h"

// Replaces all record files by these sets. Either all are replaced or none.
ExitCode replaceRecordSets(const std::vector<RecordSet>& sets);

struct Repair {
  std::string keptAs;             // path of the damaged file
  std::size_t saved = 0;          // records
  std::vector<std::string> lost;  // records that were found and could not be saved
  std::size_t unreadable = 0;     // places where GDBM found nothing that it could read; several may be the same
  std::string firstUnreadable;
};

// Has GDBM recover a copy of a file, takes out the records that are not sound, and puts the copy in the file's place.
// Returns DONE; DAMAGED, with a complaint and the file as it was, when GDBM cannot.
ExitCode repairFile(const RecordFileEntry& file, Repair& repair);
