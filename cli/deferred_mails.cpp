#include "deferred_mails.h"

#include <unistd.h>

#include <cstdio>

#include <nas1api.h>

namespace {

constexpr char kPendingFile[] = "/var/log/MailEvent";
constexpr char kArgumentFile[] = "/var/log/RestoreEvent";
constexpr std::uint32_t kKnownEvents = (1U << EVENT_COUNT) - 1;

// The whole mask, with bits that stand for no event.
std::uint32_t readPending() {
  std::FILE* const file = std::fopen(kPendingFile, "re");
  if (file == nullptr) return 0;
  unsigned long mask = 0;
  if (std::fscanf(file, "%lX", &mask) != 1) mask = 0;
  (void)std::fclose(file);
  return static_cast<std::uint32_t>(mask);
}

// An empty list is no file.
void writePending(std::uint32_t mask) {
  if (mask == 0) {
    (void)unlink(kPendingFile);
    return;
  }
  std::FILE* const file = std::fopen(kPendingFile, "we");
  if (file == nullptr) return;
  (void)std::fprintf(file, "%X", mask);
  (void)std::fclose(file);
}

}  // namespace

std::uint32_t deferred::pending() { return readPending() & kKnownEvents; }

std::string deferred::keptArgument() {
  std::FILE* const file = std::fopen(kArgumentFile, "re");
  if (file == nullptr) return "";
  int number = 0;
  const bool read = std::fscanf(file, "%d", &number) == 1;
  (void)std::fclose(file);
  return read ? std::to_string(number) : "";
}

std::uint32_t deferred::replay() {
  const std::uint32_t waiting = pending();
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    if ((waiting >> code & 1U) == 0) continue;
    std::int32_t mark = -1;
    (void)Nas1Event(code, &mark);
    // Read again: another program may have deferred a mail meanwhile.
    writePending(readPending() & kKnownEvents & ~(1U << code));
  }
  if (waiting == 0 && readPending() != 0) writePending(0);
  return waiting;
}
