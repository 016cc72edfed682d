// nas1mond: the monitor daemon. It reports what happens to disks and power supply, sends the mails that waited for the
// start, and passes the appliance's log on as it grows.

#include <nas1api.h>
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "deferred_mails.h"
#include "log_reader.h"
#include "registration.h"
#include "watches.h"

namespace {

constexpr int kDefaultPollSeconds = 30;
constexpr int kLongestPollSeconds = 3600;

// A writer of the log sends its signal first and then writes: the line may take a moment, and signals that arrive
// together count as one.
constexpr double kAfterSignal = 1.0;
constexpr double kPause = 0.05;

bool inBackground = false;

double now() {
  timespec time = {};
  (void)clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

int pollSeconds() {
  int seconds = 0;
  if (NasGetConfig("DISK_POLL_INTERVAL", sizeof seconds, &seconds, nullptr) < 0 || seconds <= 0)
    return kDefaultPollSeconds;
  return std::min(seconds, kLongestPollSeconds);
}

void passOn(LogReader& log) {
  if (!readOn(log)) return;
  for (const std::string& line : takeLines(log)) {
    if (inBackground) {
      syslog(LOG_INFO, "%s", line.c_str());
    } else {
      (void)std::puts(line.c_str());
    }
  }
  (void)std::fflush(stdout);
}

volatile sig_atomic_t logGrew = 0;
volatile sig_atomic_t ending = 0;

void takeSignal(int signal) { (signal == SIGHUP ? logGrew : ending) = 1; }

constexpr int awaited[] = {SIGHUP, SIGTERM, SIGINT};

void installHandlers() {
  struct sigaction action = {};
  action.sa_handler = takeSignal;
  action.sa_flags = SA_RESTART;
  for (const int signal : awaited) (void)sigaction(signal, &action, nullptr);
}

// Waits until a signal has come or the time is over. The signals are blocked only here, where it is looked whether one
// has come already: commands that the library starts must not inherit that.
void awaitSignal(double seconds) {
  sigset_t blocked;
  sigset_t usual;
  (void)sigemptyset(&blocked);
  for (const int signal : awaited) (void)sigaddset(&blocked, signal);
  (void)sigprocmask(SIG_BLOCK, &blocked, &usual);
  if (logGrew == 0 && ending == 0) {
    const double whole = std::floor(std::max(seconds, 0.0));
    const timespec limit = {.tv_sec = static_cast<time_t>(whole),
                            .tv_nsec = static_cast<long>((std::max(seconds, 0.0) - whole) * 1e9)};
    (void)ppoll(nullptr, 0, &limit, &usual);
  }
  (void)sigprocmask(SIG_SETMASK, &usual, nullptr);
}

void watch(LogReader& log) {
  DiskWatch disks;
  UpsWatch ups;
  double nextPoll = now();
  double followUntil = 0;
  while (ending == 0) {
    if (now() >= nextPoll) {
      disks.look();
      ups.look();
      nextPoll = now() + pollSeconds();
    }
    if (logGrew != 0) followUntil = now() + kAfterSignal;
    logGrew = 0;
    passOn(log);
    const double untilPoll = nextPoll - now();
    awaitSignal(now() < followUntil ? std::min(kPause, untilPoll) : untilPoll);
  }
}

int refuse(const char* text) {
  (void)std::fprintf(stderr, "nas1mond: %s\n", text);
  return 1;
}

bool takeArguments(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--background") != 0) return false;
    inBackground = true;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (!takeArguments(argc, argv)) {
    (void)std::fputs("usage: nas1mond [--background]\n", stderr);
    return 2;
  }
  // Before the PID is known to anyone: an unexpected SIGHUP would end the process.
  installHandlers();
  if (!lockPidFile()) {
    return refuse(errno == EWOULDBLOCK ? "another monitor is running" : "/run/nas1mond.pid cannot be written");
  }
  openlog("nas1mond", 0, LOG_DAEMON);
  if (inBackground && daemon(0, 0) != 0) return refuse("it cannot go into the background");
  if (!writePidFile()) return refuse("/run/nas1mond.pid cannot be written");

  LogReader log;
  (void)readOn(log);
  (void)takeLines(log);  // what was logged before is no news
  if (!tellDriver(getpid()))
    (void)std::fputs("nas1mond: the driver cannot be told; the log is read when polling\n", stderr);
  (void)NasApiInit();
  (void)deferred::replay();
  watch(log);
  (void)tellDriver(0);
  clearPidFile();
  return 0;
}
