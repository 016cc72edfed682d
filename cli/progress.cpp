#include "progress.h"

#include <unistd.h>

#include <cstdio>

static constexpr auto kFirst = std::chrono::seconds(2);  // nobody looks for how far something shorter has got
static constexpr auto kPause = std::chrono::milliseconds(100);
static constexpr char kClearLine[] = "\r\033[K";

static bool isOnScreen = false;

void clearProgress() {
  if (isOnScreen) (void)std::fputs(kClearLine, stderr);
  isOnScreen = false;
}

Progress::Progress(const char* name, std::size_t count)
    : what(name), all(count), shown(isatty(STDERR_FILENO) == 1), next(std::chrono::steady_clock::now() + kFirst) {}

Progress::~Progress() { clearProgress(); }

void Progress::show(std::size_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (!shown || now < next) return;
  next = now + kPause;
  (void)std::fprintf(stderr, "%s%s %zu of %zu", kClearLine, what, done, all);
  (void)std::fflush(stderr);
  isOnScreen = true;
}
