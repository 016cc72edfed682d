// Processes that are killed at any moment: what they had changed stays, what others have stored is there, and nobody
// has to wait for them.

#include <gdbm.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

#include "api/nas1api.h"
#include "operations.h"
#include "torture.h"

namespace fs = std::filesystem;

namespace {

constexpr char kFiles[] = "/etc/admin";
constexpr char kImage[] = "/etc/admin.image";
constexpr int kUnfinished = -1000;
constexpr int kMostCalls = 1000;  // of one process before it is killed
constexpr int kLongestLifeUs = 40000;
constexpr int kNotTraceable = 99;

// What each part of a process's objects may be by now.
struct Expected {
  std::vector<std::set<std::string>> parts{PART_COUNT};

  void isExactly(const Parts& found) {
    for (std::size_t i = 0; i < PART_COUNT; ++i) parts[i] = {found[i]};
  }
  // A call that was cut short or refused has made some of its changes, or none.
  void called(const Operation& operation, int process, int generation, int result) {
    for (const Effect& effect : operation.effects(process, generation)) {
      if (result == 0 && effect.isCertain) parts[effect.part].clear();
      parts[effect.part].insert(effect.value);
    }
  }
};

// What was seen over many kills.
struct Toll {
  long kills = 0;
  long damaged = 0;
  long looseEnds = 0;

  std::string text() const {
    return ::text("%ld kills, %ld left damage that nas1 db repair mended, %ld left loose ends that it tied", kills,
                  damaged, looseEnds);
  }
};

void compare(const Expected& expected, int process, bool mayBeGone, const std::string& when, Outcome& outcome) {
  const Parts found = readParts(process);
  for (std::size_t i = 0; i < PART_COUNT; ++i) {
    const bool isRight = expected.parts[i].contains(found[i]) || (mayBeGone && found[i].empty());
    outcome.expect(isRight, text("part %zu of process %d reads \"%s\" after %s, not \"%s\"", i, process,
                                 found[i].c_str(), when.c_str(), expected.parts[i].begin()->c_str()));
  }
}

// Everything that must hold once a process has been killed; what is read back is what holds from then on.
void lookAfterKill(std::vector<Expected>& expected, const std::string& when, Toll& toll, Outcome& outcome) {
  outcome.expect(locksUsable(), "the log or the lock of a segment is not usable after " + when);
  const int owners = static_cast<int>(expected.size());
  Verdict verdict = checkRecords();
  outcome.expect(verdict.ran, "nas1 db check fails after " + when + ": " + verdict.firstWord);
  if (verdict.damaged > 0) {
    ++toll.damaged;
    for (int i = 0; i < owners; ++i)
      compare(expected[static_cast<std::size_t>(i)], i, true, when + ", damaged", outcome);
    outcome.expect(repairRecords("") && checkRecords().damaged == 0,
                   "not repaired after " + when + ": " + verdict.firstWord);
  }
  for (int i = 0; i < owners; ++i) compare(expected[static_cast<std::size_t>(i)], i, false, when, outcome);
  if (verdict.looseEnds > 0) {
    ++toll.looseEnds;
    (void)repairRecords("--leftovers");
    verdict = checkRecords();
    outcome.expect(verdict.damaged + verdict.looseEnds == 0, "left after " + when + ": " + verdict.firstWord);
  }
  for (int i = 0; i < owners; ++i) expected[static_cast<std::size_t>(i)].isExactly(readParts(i));
}

// ---- At random moments

struct Call {
  int operation;
  int generation;
  int result;
};

// The calls that a process has made since it was started.
struct Diary {
  int count;
  Call calls[kMostCalls];
};

// The commands of a call that was killed go on without it, and complain about what is taken away under them.
void silence() { (void)!std::freopen("/dev/null", "w", stderr); }

int callOnAndOn(int process, Diary& diary, int generation, unsigned seed) {
  silence();
  std::minstd_rand random(seed);
  // Every other one in a batch: nothing but records then.
  (void)EnableNas1ShareBatch(process % 2);
  while (diary.count < kMostCalls) {
    Call& call = diary.calls[diary.count];
    call = {static_cast<int>(random() % static_cast<unsigned>(operationCount)), ++generation, kUnfinished};
    ++diary.count;
    call.result = operations[call.operation].call(process, call.generation);
  }
  return 0;
}

// ---- At every step

// What a process does to its files, to other processes and to the system: it dies right before.
bool isStep(std::uint64_t call) {
  switch (call) {
    case SYS_openat:
    case SYS_flock:
    case SYS_fcntl:
    case SYS_write:
    case SYS_pwrite64:
    case SYS_sendto:
    case SYS_ioctl:
    case SYS_ftruncate:
    case SYS_rename:
    case SYS_unlink:
    case SYS_chmod:
    case SYS_fsync:
    case SYS_msync:
    case SYS_munmap:
    case SYS_close:
    case SYS_shmat:
    case SYS_shmdt:
#ifdef SYS_semop
    case SYS_semop:
#else  // 32-bit x86 has other names for these
    case SYS_semtimedop_time64:
    case SYS_fcntl64:
#endif
    case SYS_clone:
    case SYS_clone3:
    case SYS_vfork:
    case SYS_wait4:  // the command is running
      return true;
    default:
      return false;
  }
}

bool isWrite(std::uint64_t call) { return call == SYS_write || call == SYS_pwrite64; }

// Makes a call in a process that is killed before its k-th step. Returns the call's result; kUnfinished when it was
// killed, kNotTraceable where that is not possible.
int dieAtStep(int step, const std::function<int()>& call, bool (*counts)(std::uint64_t) = isStep) {
  const pid_t pid = start([&] {
    silence();
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) return kNotTraceable;
    (void)raise(SIGSTOP);
    return call() & 0xFF;
  });
  int status = 0;
  (void)waitpid(pid, &status, 0);
  if (!WIFSTOPPED(status)) return kNotTraceable;
  (void)ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  for (int signal = 0; step > 0;) {
    (void)ptrace(PTRACE_SYSCALL, pid, nullptr, signal);
    if (waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) break;
    const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
    signal = isCall ? 0 : WSTOPSIG(status);
    __ptrace_syscall_info info = {};
    (void)ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info);
    if (isCall && info.op == PTRACE_SYSCALL_INFO_ENTRY && counts(info.entry.nr)) --step;
  }
  if (step == 0) {
    killHard(pid);
    return kUnfinished;
  }
  return WIFEXITED(status) ? static_cast<signed char>(WEXITSTATUS(status)) : kUnfinished;
}

constexpr char kLeftOut[] = "left out: processes cannot be traced here";

// A setting as it stands in the file; empty when it is not there.
std::string storedValue(const std::string& key) {
  GDBM_FILE const file = gdbm_open("/etc/admin/system.gdbm", 0, GDBM_READER, 0, nullptr);
  if (file == nullptr) return "";
  std::string name = key;
  const datum value = gdbm_fetch(file, {name.data(), static_cast<int>(name.size() + 1)});
  const std::string found =
      value.dptr == nullptr ? "" : std::string(value.dptr, static_cast<std::size_t>(value.dsize) - 1);
  std::free(value.dptr);
  (void)gdbm_close(file);
  return found;
}

void copyFiles(const char* from, const char* to) {
  fs::create_directories(to);
  for (const auto& entry : fs::directory_iterator(to)) fs::remove_all(entry.path());
  fs::copy(from, to);
}

}  // namespace

Outcome halfStoresTest(const Extent& extent) {
  constexpr int kKeys = 30;
  const int stores = extent.full ? 1000 : 40;
  Outcome outcome = {.done = text("%d stores, killed between two writes to the file", stores)};
  std::minstd_rand random(extent.seed);
  std::map<std::string, std::string> expected;
  long kills = 0;
  long damaged = 0;
  long torn = 0;
  long lost = 0;
  for (int i = 0; i < stores; ++i) {
    const std::string key = text("KEY%d", static_cast<int>(random() % kKeys));
    std::string stored = text("store %d ", i);
    stored.append(random() % 400, static_cast<char>('a' + i % 26));
    // The first one makes the file.
    const int step = i == 0 ? 1000 : 2 + static_cast<int>(random() % 5);
    const int result = dieAtStep(
        step, [&] { return Nas1SetProductConfig(key.c_str(), static_cast<int>(stored.size()) + 1, stored.c_str()); },
        isWrite);
    if (result == kNotTraceable) {
      outcome.seen = kLeftOut;
      return outcome;
    }
    Verdict verdict = {.ran = true};
    if (result == kUnfinished) {
      ++kills;
      verdict = checkRecords();
    }
    outcome.expect(verdict.ran, "nas1 db check fails: " + verdict.firstWord);
    if (verdict.damaged > 0) {
      ++damaged;
      outcome.expect(repairRecords("") && checkRecords().damaged == 0,
                     text("store %d left what cannot be repaired", i));
    }
    for (int k = 0; k < kKeys; ++k) {
      const std::string name = text("KEY%d", k);
      const std::string found = storedValue(name);
      const bool isHit = name == key;
      if (found == (isHit && result == 0 ? stored : expected[name]) || (isHit && found == stored)) {
      } else if (found.empty()) {
        ++lost;
      } else {
        ++torn;
        outcome.expect(isHit, name + " holds what nobody stored there");
      }
      expected[name] = found;
    }
  }
  outcome.seen =
      text("%ld kills, %ld left damage that nas1 db repair mended, %ld values half written, %ld records lost", kills,
           damaged, torn, lost);
  return outcome;
}

Outcome randomKillsTest(const Extent& extent) {
  const int kills = extent.full ? 2000 : 60;
  Outcome outcome = {.done = text("%d processes killed at random moments of the calls below", kills)};
  prepareObjects();
  Toll toll;
  std::minstd_rand random(extent.seed);
  std::vector<Expected> expected(kOwners);
  for (int i = 0; i < kOwners; ++i) expected[static_cast<std::size_t>(i)].isExactly(readParts(i));
  for (int round = 0; toll.kills < kills; ++round) {
    const Shared<Diary> diaries(kOwners);
    std::vector<pid_t> pids;
    for (int i = 0; i < kOwners; ++i) {
      const unsigned seed = static_cast<unsigned>(random());
      pids.push_back(
          start([&] { return callOnAndOn(i, diaries[static_cast<std::size_t>(i)], round * kMostCalls, seed); }));
    }
    (void)usleep(static_cast<useconds_t>(random() % kLongestLifeUs));
    for (const pid_t pid : pids) (void)kill(pid, SIGKILL);
    for (const pid_t pid : pids) (void)waitpid(pid, nullptr, 0);
    toll.kills += kOwners;
    std::string when = text("kill %ld in", toll.kills);
    for (int i = 0; i < kOwners; ++i) {
      const Diary& diary = diaries[static_cast<std::size_t>(i)];
      for (int n = 0; n < diary.count; ++n) {
        const Call& call = diary.calls[n];
        expected[static_cast<std::size_t>(i)].called(operations[call.operation], i, call.generation, call.result);
      }
      if (diary.count > 0) when += text(" \"%s\"", operations[diary.calls[diary.count - 1].operation].name);
    }
    lookAfterKill(expected, when, toll, outcome);
  }
  outcome.seen = toll.text();
  return outcome;
}

Outcome everyStepTest(const Extent& extent) {
  // In brief every so many steps only, beginning somewhere.
  const int wide = extent.full ? 1 : 40;
  Outcome outcome = {.done = text("%d calls, killed at %s step that the system sees", operationCount,
                                  extent.full ? "every" : "every 40th")};
  prepareObjects();
  Toll toll;
  // The last one a second time, with no file there yet.
  for (int i = 0; i <= operationCount; ++i) {
    const bool isFirstTouch = i == operationCount;
    const int stride = isFirstTouch ? std::min(wide, 6) : wide;
    const Operation& operation = operations[isFirstTouch ? i - 1 : i];
    if (!isFirstTouch) (void)operations[operation.before].call(0, 1);
    copyFiles(kFiles, kImage);
    int result = kUnfinished;
    for (int step = 1 + i % stride; result == kUnfinished; step += stride) {
      startEmpty();
      if (!isFirstTouch) copyFiles(kImage, kFiles);
      std::vector<Expected> expected(1);
      expected[0].isExactly(isFirstTouch ? Parts(PART_COUNT) : readParts(0));
      const std::string when = text("step %d of \"%s\"", step, operation.name);
      result = dieAtStep(step, [&] { return operation.call(0, 2); });
      if (result == kNotTraceable) {
        outcome.seen = kLeftOut;
        return outcome;
      }
      toll.kills += result == kUnfinished ? 1 : 0;
      outcome.expect(result == kUnfinished || result == 0, when + ": the call failed");
      expected[0].called(operation, 0, 2, result);
      lookAfterKill(expected, when, toll, outcome);
    }
  }
  outcome.seen = toll.text();
  return outcome;
}
