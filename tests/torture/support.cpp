#include <dirent.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "status/segment.h"
#include "torture.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kExamples = 5;

void removeSystemVObjects(const char* table, void (*remove)(int)) {
  std::ifstream lines(table);
  std::string line;
  (void)std::getline(lines, line);  // the heading
  for (int key = 0, id = 0; std::getline(lines, line);) {
    if (std::sscanf(line.c_str(), "%d %d", &key, &id) == 2) remove(id);
  }
}

// Runs a command; its exit code, what it printed goes to output.
int run(const std::string& command, std::string& output) {
  FILE* const pipe = popen((command + " 2>&1").c_str(), "re");
  if (pipe == nullptr) return -1;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe) != nullptr) output += line;
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

void Outcome::fault(const std::string& what) {
  ++faults;
  if (examples.size() < kExamples) examples.push_back(what);
}

void startEmpty() {
  for (const char* const folder : {"/etc/admin", "/etc/nfs", "/etc/atalk", "/volume", "/run/nas1-driver"}) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) fs::remove_all(entry.path(), ignored);
  }
  for (const char* const volume : {"/volume/v1", "/volume/v2"}) (void)mkdir(volume, 0755);
  for (const char* const file : {"/var/log/nas1log", "/var/lock/zelmar_builduser"}) (void)unlink(file);
  (void)std::ofstream("/run/appliance/record-only");
  for (const char* const file : {"/etc/default.zelmar", "/etc/exports"}) (void)std::ofstream(file);
  for (const char* const record : {"commands", "driver", "syslog"}) {
    const std::string path = std::string("/var/log/appliance/") + record;
    if (fs::exists(path)) (void)truncate(path.c_str(), 0);
  }
  removeSystemVObjects("/proc/sysvipc/shm", [](int id) { (void)shmctl(id, IPC_RMID, nullptr); });
  removeSystemVObjects("/proc/sysvipc/sem", [](int id) { (void)semctl(id, 0, IPC_RMID); });
}

std::string text(const char* format, ...) {
  char buffer[512];
  va_list arguments;
  va_start(arguments, format);
  (void)std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  return buffer;
}

pid_t start(const std::function<int()>& work) {
  (void)std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) _exit(work());
  return pid;
}

bool endedWell(pid_t pid) {
  int status = -1;
  return pid > 0 && waitpid(pid, &status, 0) == pid && status == 0;
}

void killHard(pid_t pid) {
  (void)kill(pid, SIGKILL);
  (void)waitpid(pid, nullptr, 0);
}

void inProcesses(int count, Outcome& outcome, const std::function<int(int)>& work) {
  std::vector<pid_t> pids;
  for (int i = 0; i < count; ++i) pids.push_back(start([&] { return work(i); }));
  for (const pid_t pid : pids) outcome.expect(endedWell(pid), "a process did not come to its end");
}

Verdict checkRecords() {
  std::string output;
  const int code = run("nas1 db check", output);
  Verdict verdict;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(".gdbm\t") == std::string::npos) continue;
    const bool isDamage =
        line.find("\tdamaged: ") != std::string::npos || line.find("\tcannot be read: ") != std::string::npos;
    ++(isDamage ? verdict.damaged : verdict.looseEnds);
    if (verdict.firstWord.empty()) verdict.firstWord = line;
  }
  // Its own count must be that of the lines understood here.
  const int findings = verdict.damaged + verdict.looseEnds;
  verdict.ran = findings == 0 ? code == 0 : output.find(text("nas1: %d finding", findings)) != std::string::npos;
  if (!verdict.ran) verdict.firstWord = output;
  return verdict;
}

bool repairRecords(const char* options) {
  std::string output;
  return run(std::string("nas1 db repair ") + options, output) == 0;
}

bool locksUsable() {
  static int lines = 0;
  const std::string mark = text("usable %d", ++lines);
  const auto begin = std::chrono::steady_clock::now();
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "%s", mark.c_str());
  for (int protocol = 0; protocol < kSegmentCount; ++protocol) {
    if (sysLockShareMem(protocol) == nullptr) return false;
    sysUnlockShareMem(protocol);
  }
  const bool inTime = std::chrono::steady_clock::now() - begin < std::chrono::seconds(1);
  std::ifstream log("/var/log/nas1log");
  std::string last;
  for (std::string line; std::getline(log, line);) last = line;
  return inTime && last.ends_with(mark);
}
