#include "input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "db_records.h"

static bool readAll(int fd, std::string& content) {
  char piece[65536];
  for (;;) {
    const ssize_t bytes = read(fd, piece, sizeof piece);
    if (bytes == 0) return true;
    if (bytes > 0) content.append(piece, static_cast<std::size_t>(bytes));
    if (bytes < 0 && errno != EINTR) return false;
  }
}

ExitCode readInput(const std::string& file, std::string& content) {
  content.clear();
  const bool isStandard = file == "-";
  const OpenFile opened(isStandard ? -1 : open(file.c_str(), O_RDONLY | O_CLOEXEC));
  const int fd = isStandard ? STDIN_FILENO : opened.fd;
  if (fd >= 0 && readAll(fd, content)) return DONE;
  const char* const what = isStandard ? "standard input" : file.c_str();
  return complain(errno == ENOENT ? UNKNOWN_OBJECT : LIBRARY_FAILED, "%s cannot be read: %s", what,
                  std::strerror(errno));
}
