// torture [--brief] [--minutes N] [TEST...]: runs the tests, or those named, and prints a line for each: what was done,
// what was counted, what did not hold. Ends with 1 when something did not.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "torture.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Test {
  const char* name;
  Outcome (*run)(const Extent& extent);
};

// clang-format off
constexpr Test tests[] = {
    {"settings", settingsTest},
    {"shares", sharesTest},
    {"large-file", largeFileTest},
    {"kills", randomKillsTest},
    {"every-step", everyStepTest},
    {"half-stores", halfStoresTest},
    {"log", logTest},
    {"connections", connectionsTest},
    {"identities", identitiesTest},
};
// clang-format on

bool runOne(const Test& test, const Extent& extent) {
  startEmpty();
  const auto begin = Clock::now();
  const Outcome outcome = test.run(extent);
  const std::chrono::duration<double> took = Clock::now() - begin;
  std::printf("%-12s %s: %s; %ld faults; %.1f s\n", test.name, outcome.done.c_str(), outcome.seen.c_str(),
              outcome.faults, took.count());
  for (const std::string& example : outcome.examples) std::printf("             %s\n", example.c_str());
  (void)std::fflush(stdout);
  return outcome.faults == 0;
}

}  // namespace

int main(int argc, char** argv) {
  struct stat marker;
  if (stat("/run/appliance/marker", &marker) != 0) {
    std::fprintf(stderr,
                 "%s empties folders such as /etc/admin and /volume: it runs in the throw-away appliance only\n",
                 argv[0]);
    return 2;
  }
  Extent extent = {.full = true, .seed = 1};
  double minutes = 0;
  std::vector<std::string> wanted;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--brief") == 0) {
      extent.full = false;
    } else if (std::strcmp(argv[i], "--minutes") == 0 && i + 1 < argc) {
      minutes = std::strtod(argv[++i], nullptr);
    } else {
      wanted.emplace_back(argv[i]);
    }
  }
  bool held = true;
  const auto begin = Clock::now();
  // All of them at least once, each round with other chances.
  do {
    for (const Test& test : tests) {
      if (wanted.empty() || std::find(wanted.begin(), wanted.end(), test.name) != wanted.end()) {
        held = runOne(test, extent) && held;
      }
    }
    ++extent.seed;
  } while (Clock::now() - begin < std::chrono::duration<double>(minutes * 60));
  return held ? 0 : 1;
}
