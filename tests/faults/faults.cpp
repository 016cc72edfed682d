// Calls whose system calls and allocations fail, one at a time.
//
//   faults STRIDE     the test; only every STRIDE-th fault is tried (1: all)
//   faults run CALL   makes one call; the test runs this under strace, which injects the fault
//
// Whatever fails: the call returns success or failure without a crash, holds on to nothing, and leaves every record
// with its old or its new value in a file that can be read and written (unless GDBM could not write its index); after a
// success all of them are the new ones.

#include <dlfcn.h>
#include <gdbm.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "calls.h"
#include "nas1api.h"

// Allocation with a fault: the failAt-th from now on finds no memory.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
static long failAt = 0;
static bool fails() { return failAt > 0 && --failAt == 0; }
extern "C" void* malloc(std::size_t size) { return fails() ? nullptr : __libc_malloc(size); }
extern "C" void* calloc(std::size_t count, std::size_t size) { return fails() ? nullptr : __libc_calloc(count, size); }
extern "C" void* realloc(void* block, std::size_t size) { return fails() ? nullptr : __libc_realloc(block, size); }

// With many rounds to do, the daemons are left alone.
static bool commandsRun = true;
extern "C" int Nas1System(const char* command) {
  static auto* const original = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "Nas1System"));
  return commandsRun ? original(command) : 0;
}

namespace {

constexpr char kBegin[] = "/the-call-begins";
constexpr char kEnd[] = "/the-call-ends";
constexpr char kTrace[] = "/tmp/trace";
constexpr unsigned kMostSeconds = 60;

constexpr const char* errors[] = {"ENOSPC", "EIO", "EACCES", "EMFILE", "EINTR"};
// Where a fault is one that can happen: closing, unmapping and waiting do not fail in a way that leaves things undone.
constexpr const char* faultySystemCalls[] = {
    "open",      "openat", "newfstatat", "fstat",  "read",   "pread64", "write",  "pwrite64", "ftruncate", "fsync",
    "fdatasync", "msync",  "mmap",       "rename", "unlink", "flock",   "fcntl",  "clone",    "clone3",    "vfork",
    "shmget",    "shmat",  "semget",     "ioctl",  "socket", "connect", "sendto", "pipe2"};

// How a child that made a call ended.
enum Outcome { SUCCEEDED = 10, FAILED = 11, LEFT_MEMORY = 20, LEFT_DESCRIPTOR = 21 };

// Makes the call between two marks that a trace shows.
[[noreturn]] void makeCall(const Call& call, long failedAllocation, bool* reached) {
  (void)alarm(kMostSeconds);
  // The C library keeps its socket to the system log.
  openlog(nullptr, LOG_NDELAY, LOG_USER);
  const int bytes = heldBytes();
  const int descriptors = openDescriptors();
  (void)access(kBegin, F_OK);
  failAt = failedAllocation;
  const int result = call.run();
  if (reached != nullptr) *reached = failAt == 0;
  failAt = 0;
  (void)access(kEnd, F_OK);
  if (heldBytes() != bytes) _exit(LEFT_MEMORY);
  if (openDescriptors() != descriptors) _exit(LEFT_DESCRIPTOR);
  _exit(result < 0 ? FAILED : SUCCEEDED);
}

Records before;  // the sample
Records after;   // with the call under test done
unsigned tried = 0;
unsigned refused = 0;
unsigned torn = 0;
unsigned wrong = 0;

void complain(const Call& call, const std::string& fault, const std::string& what) {
  (void)std::printf("%s, %s: %s\n", call.name, fault.c_str(), what.c_str());
  ++wrong;
}

const std::string* valueOf(const Records& records, const std::string& key) {
  const auto found = records.find(key);
  return found == records.end() ? nullptr : &found->second;
}

bool same(const std::string* a, const std::string* b) { return a == nullptr || b == nullptr ? a == b : *a == *b; }

// A damaged free list shows only when something is stored.
bool canBeWritten(const char* name) {
  auto* const file = gdbm_open((std::string("/etc/admin/") + name).c_str(), 0, GDBM_WRCREAT, 0665, nullptr);
  if (file == nullptr) return false;
  std::string value(600, 'v');
  char key[] = "scratch";
  const datum keyDatum = {key, sizeof key};
  const bool done = gdbm_store(file, keyDatum, {value.data(), static_cast<int>(value.size())}, GDBM_REPLACE) == 0 &&
                    gdbm_delete(file, keyDatum) == 0;
  return gdbm_close(file) == 0 && done;
}

// Looks at what a faulted call has left.
void judge(const Call& call, const std::string& fault, int status) {
  ++tried;
  const int outcome = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (outcome == FAILED) ++refused;
  if (outcome == LEFT_MEMORY) complain(call, fault, "memory left in the allocator");
  if (outcome == LEFT_DESCRIPTOR) complain(call, fault, "a descriptor left open");
  if (outcome < SUCCEEDED) return complain(call, fault, "ended with status " + std::to_string(status));

  if (!canBeWritten(call.file)) complain(call, fault, "the record file cannot be written any more");
  const Records now = allRecords();
  Records all = now;
  all.insert(before.begin(), before.end());
  all.insert(after.begin(), after.end());
  for (const auto& [key, ignored] : all) {
    const std::string* const value = valueOf(now, key);
    const bool isNew = same(value, valueOf(after, key));
    // A setting that was read for the first time has been given its default.
    const bool isDefault = key.starts_with("system.gdbm") && !before.contains(key) && !after.contains(key);
    const bool isStep = call.inSteps != nullptr && key.ends_with(call.inSteps);
    const bool isFree = isNew || isDefault || isStep;
    if (!isFree && !same(value, valueOf(before, key))) {
      // GDBM writes a value of another length before the index that says so; when that write fails, nothing is left of
      // the old one. The call must have told so.
      const bool told = outcome == FAILED || call.resultIsFree;
      if (told && fault.starts_with("write"))
        ++torn;
      else
        complain(call, fault, key + " is neither old nor new");
    }
    const bool decides = key.starts_with(call.file) && !call.resultIsFree;
    if (outcome == SUCCEEDED && decides && !isNew) complain(call, fault, "told of success, but " + key + " is old");
  }
}

std::string self;

int trace(const std::string& options, const Call& call) {
  const std::string command =
      std::string("exec strace -o ") + kTrace + " " + options + " " + self + " run " + call.name + " 2>/tmp/words";
  return std::system(command.c_str());
}

struct Range {
  int first = 0, last = 0;
};

// Which occurrences of each system call lie between the marks of the last trace.
std::map<std::string, Range> systemCallsBetweenMarks() {
  std::ifstream lines(kTrace);
  std::map<std::string, int> count;
  std::map<std::string, Range> ranges;
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(kEnd) != std::string::npos) break;
    const std::string name = line.substr(0, line.find('('));
    const int number = ++count[name];
    if (inside && ranges[name].first == 0) ranges[name].first = number;
    if (inside) ranges[name].last = number;
    if (line.find(kBegin) != std::string::npos) inside = true;
  }
  return ranges;
}

void failSystemCalls(const Call& call, unsigned stride) {
  static unsigned turn = 0;
  for (const auto& [name, range] : systemCallsBetweenMarks()) {
    if (std::none_of(std::begin(faultySystemCalls), std::end(faultySystemCalls),
                     [&wanted = name](const char* f) { return wanted == f; }))
      continue;
    for (int k = range.first; k <= range.last; ++k) {
      for (const char* error : errors) {
        if (++turn % stride != 0) continue;
        restoreSample();
        std::string fault = name;
        fault.append(":error=").append(error).append(":when=").append(std::to_string(k));
        std::string options = "-e trace=" + name;
        options.append(" -e inject=").append(fault);
        judge(call, fault, trace(options, call));
      }
    }
  }
}

void failAllocations(const Call& call, int step) {
  auto* const reached =
      static_cast<bool*>(mmap(nullptr, sizeof(bool), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  for (long n = 1; n == 1 || *reached; n += step) {
    restoreSample();
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      // The allocator tells about it on standard output.
      (void)!std::freopen("/dev/null", "w", stdout);
      makeCall(call, n, reached);
    }
    int status = 0;
    (void)waitpid(child, &status, 0);
    judge(call, "allocation " + std::to_string(n), status);
  }
  (void)munmap(reached, sizeof(bool));
}

int test(unsigned stride) {
  const std::ofstream quiet("/run/appliance/record-only");
  makeSample();
  if (const int status = trace("", calls[0]); status < 0 || WEXITSTATUS(status) < SUCCEEDED) {
    (void)std::printf("skipped: strace cannot trace a program here\n");
    return 0;
  }
  before = allRecords();
  for (const Call& call : calls) {
    restoreSample();
    before = allRecords();
    const int status = trace("", call);
    after = allRecords();
    if (WEXITSTATUS(status) != SUCCEEDED) complain(call, "no fault", "ended with status " + std::to_string(status));
    commandsRun = stride == 1;
    failAllocations(call, stride == 1 ? 1 : 7);
    commandsRun = true;
    (void)trace("", call);
    failSystemCalls(call, stride);
    (void)std::fflush(stdout);
  }
  (void)std::printf("faults: %u tried in %d calls, %u refused, %u torn by a failed write, %u wrong\n", tried,
                    kCallCount, refused, torn, wrong);
  return wrong == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || access("/run/appliance/marker", F_OK) != 0) {
    (void)std::fprintf(stderr, "use: appliance/enter --build BUILD -- faults STRIDE\n");
    return 2;
  }
  self = argv[0];
  if (argc == 2) return test(static_cast<unsigned>(std::max(1L, std::strtol(argv[1], nullptr, 10))));
  for (const Call& call : calls) {
    if (std::strcmp(argv[2], call.name) == 0) makeCall(call, 0, nullptr);
  }
  return 2;
}
