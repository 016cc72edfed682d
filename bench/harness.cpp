#include "harness.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>

#include "api/nas1api.h"

bool startNothing = false;
// The library's commands all go through this one, and meet this program's own first.
extern "C" int Nas1System(const char* command) {
  static const auto real = reinterpret_cast<decltype(&Nas1System)>(dlsym(RTLD_NEXT, "Nas1System"));
  return startNothing ? 0 : real(command);
}

static constexpr double kShortestUs = 500;  // a repetition repeats a shorter call
static constexpr int kMostCalls = 100;
static constexpr double kLongestUs = 60e6;  // all repetitions of a line

// Microseconds of a call, taken over several of them.
static double timed(const Row& row, const std::function<void()>& call, int calls) {
  if (row.before) {
    calls = 1;
    row.before();
  }
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < calls; ++i) call();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count() / calls;
}

static double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Standard deviation in parts of the mean.
static double variation(const std::vector<double>& values) {
  double sum = 0;
  double squares = 0;
  for (const double value : values) sum += value;
  const double mean = sum / static_cast<double>(values.size());
  for (const double value : values) squares += (value - mean) * (value - mean);
  return std::sqrt(squares / static_cast<double>(values.size())) / mean;
}

static long peakKib() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  return 0;
}

// How far one call raises the peak of a process, in KiB; measured in a child, whose memory nobody has touched yet.
static long memoryOf(const Row& row) {
  int ends[2];
  long kib = 0;
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    if (row.before) row.before();
    (void)malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak begins with what is used now
    const long before = peakKib();
    row.library();
    kib = peakKib() - before;
    _exit(write(ends[1], &kib, sizeof kib) == sizeof kib ? 0 : 1);
  }
  (void)close(ends[1]);
  (void)!read(ends[0], &kib, sizeof kib);
  (void)waitpid(child, nullptr, 0);
  (void)close(ends[0]);
  return kib;
}

void measure(const Row& row, const char* place, int repetitions) {
  if (row.prepare) row.prepare();
  std::vector<double> library;
  std::vector<double> bare;
  std::vector<double> ratios;
  (void)timed(row, row.library, 1);
  const double first = timed(row, row.library, 1);
  const int calls = std::clamp(static_cast<int>(kShortestUs / first), 1, kMostCalls);
  // Slow machines: a line takes a minute at most, but is measured a few times at least.
  const double both = first + (row.bare ? timed(row, row.bare, 1) : 0);
  repetitions = std::clamp(static_cast<int>(kLongestUs / both), std::min(10, repetitions), repetitions);
  for (int i = 0; i < repetitions; ++i) {
    // Who goes first alternates: the second finds the caches warm.
    if (row.bare && i % 2 == 0) bare.push_back(timed(row, row.bare, calls));
    library.push_back(timed(row, row.library, calls));
    if (row.bare && i % 2 != 0) bare.push_back(timed(row, row.bare, calls));
    if (row.bare) ratios.push_back(library.back() / bare.back());
  }
  const long memory = row.memory ? memoryOf(row) : 0;
  if (row.after) row.after();
  startNothing = false;

  std::printf("| %-44s | %6s | %-5s | %10.1f |", row.job, row.count == 0 ? "" : std::to_string(row.count).c_str(),
              place, median(library));
  if (row.bare) {
    std::printf(" %10.1f | %5.2f |", median(bare), median(library) / median(bare));
  } else {
    std::printf(" %10s | %5s |", "", "");
  }
  std::printf(" %-5s | %4.0f %% | %8s |\n", row.goal, 100 * variation(row.bare ? ratios : library),
              row.memory ? std::to_string(memory).c_str() : "");
  (void)std::fflush(stdout);
}
