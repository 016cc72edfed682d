#pragma once
// The appliance's log as it grows: whole lines, each once, also after it has lost its oldest ones.

#include <sys/types.h>

#include <string>
#include <vector>

inline constexpr char kLogFile[] = "/var/log/nas1log";

// How far the log has been read.
struct LogReader {
  off_t position = 0;
  std::string text;      // what was read and not taken yet
  std::string lastLine;  // the last line taken, with its newline
};

// Reads what was added to the log; false (errno set) when it cannot be opened.
bool readOn(LogReader& reader);

// Takes the whole lines that were read, without their newlines.
std::vector<std::string> takeLines(LogReader& reader);
