#pragma once
// Many processes at the library's files at once, and processes that are killed at any moment. Runs inside the
// throw-away appliance on its real paths.

#include <sys/mman.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <new>
#include <random>
#include <string>
#include <vector>

// How much a test does.
struct Extent {
  bool full;      // the full quantity, or one that takes seconds
  unsigned seed;  // of what is left to chance
};

// What a test did and saw. Whatever should have held and did not is a fault.
struct Outcome {
  std::string done = {};  // what it did and how often
  std::string seen = {};  // what it counted
  long faults = 0;
  std::vector<std::string> examples = {};  // the first of them

  void fault(const std::string& what);
  void expect(bool held, const std::string& what) {
    if (!held) fault(what);
  }
};

Outcome settingsTest(const Extent& extent);
Outcome sharesTest(const Extent& extent);
Outcome largeFileTest(const Extent& extent);
Outcome randomKillsTest(const Extent& extent);
Outcome everyStepTest(const Extent& extent);
Outcome halfStoresTest(const Extent& extent);
Outcome logTest(const Extent& extent);
Outcome connectionsTest(const Extent& extent);
Outcome identitiesTest(const Extent& extent);

// An empty appliance whose helper programs record and do nothing else.
void startEmpty();

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...);

// Memory that this process and those it forks see together, zeroed.
template <typename T>
struct Shared {
  T* const items;
  const std::size_t count;

  explicit Shared(std::size_t n)
      : items(static_cast<T*>(mmap(nullptr, n * sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))),
        count(n) {}
  ~Shared() { (void)munmap(items, count * sizeof(T)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  T& operator[](std::size_t i) const { return items[i]; }
};

// Forks a process that ends with what work returns.
pid_t start(const std::function<int()>& work);
// Awaits a process. True when it ended by itself with 0.
bool endedWell(pid_t pid);
void killHard(pid_t pid);
// Runs work(i) in as many processes at once; a fault for each that did not end with 0.
void inProcesses(int count, Outcome& outcome, const std::function<int(int)>& work);

// What the product's own check says about the record files.
struct Verdict {
  bool ran = false;
  int damaged = 0;             // files and records that cannot be read
  int looseEnds = 0;           // records that do not fit together
  std::string firstWord = {};  // the first finding
};
Verdict checkRecords();
// Runs "nas1 db repair" with the given options; false when it failed.
bool repairRecords(const char* options);
// Whether a line can be written to the log, and the lock of every segment taken, within a second.
bool locksUsable();
