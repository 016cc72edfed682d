#include "progress.h"

#include <unistd.h>

#include <cstdio>

static constexpr auto kPause = std::chrono::milliseconds(100);
static constexpr char kClearLine[] = "\r\033[K";

Progress::Progress(const char* name, std::size_t count) : what(name), all(count), shown(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown) (void)std::fputs(kClearLine, stderr);
}

void Progress::show(std::size_t done) {
  const auto now = std::chrono::steady_clock::now();
  if (!shown || (done != 0 && now - last < kPause)) return;
  last = now;
  (void)std::fprintf(stderr, "%s%s %zu of %zu", kClearLine, what, done, all);
  (void)std::fflush(stderr);
}
