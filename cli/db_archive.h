#pragma once
// A backup: the records of all record files in one file, with a checksum.
//
//   nas1 backup 1
//   file NAME RECORDS      for each record file, then for each of its records
//   KEYBYTES VALUEBYTES      with as many bytes of key and value behind the line
//   end CHECKSUM           CRC-32 of everything before this line, in hexadecimal

#include <string>
#include <vector>

#include "db_records.h"
#include "errors.h"

std::string archiveOf(const std::vector<RecordSet>& sets);

// Reads an archive; a record file that it does not have is an empty set.
// Returns false, with a reason in `fault`, unless it is whole.
bool readArchive(const std::string& archive, std::vector<RecordSet>& sets, std::string& fault);

// Writes a file that only root can read; whatever was there is replaced when the new content is safely on the disk.
ExitCode writeAtomically(const std::string& path, const std::string& content);
