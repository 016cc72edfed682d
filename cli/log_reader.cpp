#include "log_reader.h"

#include <sys/stat.h>

#include <cstdio>

bool readOn(LogReader& reader) {
  std::FILE* const file = std::fopen(kLogFile, "re");
  if (file == nullptr) return false;
  struct stat status;
  const bool shorter = fstat(fileno(file), &status) == 0 && status.st_size < reader.position;
  if (shorter) {
    reader.position = 0;
    reader.text.clear();
  }
  (void)fseeko(file, reader.position, SEEK_SET);
  char part[16384];
  for (std::size_t bytes; (bytes = std::fread(part, 1, sizeof part, file)) > 0;) {
    reader.text.append(part, bytes);
    reader.position += static_cast<off_t>(bytes);
  }
  (void)std::fclose(file);
  // A log that has lost its oldest lines goes on behind the last line seen; one begun anew, at its beginning.
  const std::size_t seen = shorter ? reader.text.rfind(reader.lastLine) : std::string::npos;
  if (seen != std::string::npos) reader.text.erase(0, seen + reader.lastLine.size());
  return true;
}

std::vector<std::string> takeLines(LogReader& reader) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  for (std::size_t end; (end = reader.text.find('\n', at)) != std::string::npos; at = end + 1)
    lines.push_back(reader.text.substr(at, end - at));
  reader.text.erase(0, at);
  if (!lines.empty()) reader.lastLine = lines.back() + '\n';
  return lines;
}
