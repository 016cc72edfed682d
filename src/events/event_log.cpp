#include "events/event_log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "api/nas1api.h"
#include "core/assert.h"
#include "core/memory.h"
#include "platform/driver.h"

static_assert(offsetof(LogRecord, level) == 4);
static_assert(offsetof(LogRecord, category) == 8);
static_assert(offsetof(LogRecord, message) == 12);
static_assert(sizeof(LogRecord) == 288);

namespace {

constexpr char kUnit[] = "eventlog.c";
constexpr char kLogPath[] = "/var/log/nas1log";
constexpr char kSemaphorePath[] = "/etc/syslog.conf";
constexpr int kSemaphoreProject = 'n';

constexpr std::size_t kLineSize = 1024;
constexpr std::size_t kWorkSize = 2388;  // working buffer of a message before it is cut to its field
constexpr int kZoneSize = 512;

constexpr int kLogLimit = 0x100000;  // bytes; a longer log is trimmed
constexpr int kLogTarget = 0xFD800;  // bytes kept at most by a trim

constexpr unsigned kLockPollUs = 200;
constexpr int kLockPolls = 5000;  // about a second

// Padded so that the columns line up.
constexpr const char* levelTags[] = {"<INFO> ", "<WARN> ", "<ERR>  ", "<CRIT> ", "<ACCESS> "};
constexpr const char* categoryTags[] = {"[KERN] ", "[HW]   ", "[SW]   ", "[HD]   ", "[NW]   ", "[UPS]  ",
                                        "[CIFS] ", "[NFS]  ", "[NCP]  ", "[AFP]  ", "[DIS]  "};

int semaphoreId = -1;  // refreshed with every line: the set may have been removed meanwhile

union SemaphoreArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
};

void stepSemaphore(short step) {
  sembuf operation = {.sem_num = 0, .sem_op = step, .sem_flg = SEM_UNDO};
  // A removed set ends the wait as well: the log goes on without it.
  while (semop(semaphoreId, &operation, 1) < 0 && errno == EINTR) {
  }
}

// The log's system-wide semaphore, held for one line.
struct LogSemaphore {
  LogSemaphore() {
    const key_t key = ftok(kSemaphorePath, kSemaphoreProject);
    semaphoreId = key == -1 ? -1 : semget(key, 1, IPC_CREAT | 0666);
    if (semaphoreId < 0) return;
    // Kept: set free before every acquisition, so that a semaphore left at 0 can never block the log. It follows that
    // two writers may pass together; LogStream below keeps them apart.
    (void)semctl(semaphoreId, 0, SETVAL, SemaphoreArgument{.val = 1});
    stepSemaphore(-1);
  }
  ~LogSemaphore() {
    if (semaphoreId >= 0) stepSemaphore(1);
  }
  LogSemaphore(const LogSemaphore&) = delete;
  LogSemaphore& operator=(const LogSemaphore&) = delete;
};

// Waits for the log's flock, but not for ever: a stopped process that holds it must not stop all the others.
// False when another process still holds it.
bool lockWithPatience(int fd) {
  for (int poll = 0; poll < kLockPolls; poll++) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return true;  // no such locks on this file system
    (void)usleep(kLockPollUs);
  }
  return false;
}

// The log file open for one line, under an flock that also covers the trim.
struct LogStream {
  const int fd;  // -1: cannot be opened
  const bool alone;

  LogStream()
      : fd(open(kLogPath, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666)), alone(fd >= 0 && lockWithPatience(fd)) {}
  ~LogStream() {
    if (fd >= 0) (void)close(fd);
  }
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;
};

// Formats a record; returns the line's length. `line` is kLineSize bytes and cleared.
std::size_t formatLine(const LogRecord& record, char* line) {
  const time_t when = record.time;
  char timeText[32] = {};
  // As ctime does: the line follows a TZ that has changed since the last one.
  tzset();
  if (ctime_r(&when, timeText) == nullptr) return 0;
  const int printed =
      std::snprintf(line, kLineSize, "%.24s %s%s%.*s", timeText, levelTags[record.level], categoryTags[record.category],
                    static_cast<int>(sizeof(record.message)), record.message);
  // Longest: 24 + 1 + 9 + 7 + 276 characters, so a newline always fits.
  auto length = static_cast<std::size_t>(printed);
  if (line[length - 1] != '\n') line[length++] = '\n';
  return length;
}

// The line goes out as a format, in which a doubled percent sign stands for one; a single one stands for itself too,
// never for a conversion.
void logToSystem(const char* line) {
  char text[kLineSize] = {};
  std::size_t length = 0;
  for (const char* c = line; *c != '\0'; c++) {
    text[length++] = *c;
    if (c[0] == '%' && c[1] == '%') c++;
  }
  syslog(LOG_INFO, "%s", text);
}

void appendLine(const char* line, std::size_t length) {
  const LogStream log;
  if (log.fd < 0) {
    logToSystem(line);
    return;
  }
  const off_t before = lseek(log.fd, 0, SEEK_END);
  // One write: a reader, or a writer that got tired of waiting, never meets half a line.
  const ssize_t written = write(log.fd, line, length);
  if (before < 0 || written < 0) return;
  const off_t size = before + written;
  if (size > kLogLimit && log.alone) (void)AdjustFile(static_cast<int>(std::min<off_t>(size, INT_MAX)));
}

// Signal, time, text, line: in this order, so that the monitor daemon learns even of lines that are then dropped.
int logMessage(unsigned level, unsigned category, const char* format, va_list arguments) {
  const int callersErrno = errno;
  const int daemon = GetDaemonPid();
  if (daemon > 0) (void)kill(daemon, SIGHUP);

  LogRecord record = {};
  record.time = static_cast<std::int32_t>(nas_time(nullptr));
  record.level = level;
  record.category = category;
  char text[kWorkSize] = {};
  errno = callersErrno;  // a format may hold %m
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started by both callers, which the analyzer does not follow
  if (format != nullptr) (void)std::vsnprintf(text, sizeof(text), format, arguments);
  std::memcpy(record.message, text, sizeof(record.message) - 1);

  const int result = LogFile(&record);
  errno = callersErrno;  // callers look at it after they have logged
  return result;
}

std::size_t readFully(int fd, char* data, std::size_t bytes, off_t offset) {
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t got = pread(fd, data + done, bytes - done, offset + static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

bool writeFully(int fd, const char* data, std::size_t bytes) {
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t put = pwrite(fd, data + done, bytes - done, static_cast<off_t>(done));
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    done += static_cast<std::size_t>(put);
  }
  return true;
}

int trim(int fd, int size) {
  const TrackedBuffer kept(kUnit, __LINE__, kLogTarget);
  if (kept.data == nullptr) return -1;
  const std::size_t bytes = readFully(fd, kept.text(), kLogTarget, size - kLogTarget);
  const char* const end = kept.text() + bytes;
  const char* const newline = std::find(static_cast<const char*>(kept.text()), end, '\n');
  if (newline == end) return -1;
  const char* const start = newline + 1;
  const auto length = static_cast<std::size_t>(end - start);
  // Over the beginning first and cut afterwards: a process that is killed in between leaves lines twice, not none.
  if (!writeFully(fd, start, length)) return -1;
  return ftruncate(fd, static_cast<off_t>(length)) == 0 ? 0 : -1;
}

}  // namespace

extern "C" int nas1_log(unsigned level, unsigned category, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = logMessage(level, category, format, arguments);
  va_end(arguments);
  return result;
}

extern "C" int vNas1Log(unsigned level, unsigned category, const char* format, va_list arguments) {
  (void)logMessage(level, category, format, arguments);
  return 0;
}

extern "C" int LogFile(const LogRecord* record) {
  if (record == nullptr) sysAssert(kUnit, __LINE__);
  if (record->level >= std::size(levelTags) || record->category >= std::size(categoryTags)) return -1;
  char line[kLineSize] = {};
  const std::size_t length = formatLine(*record, line);
  const LogSemaphore semaphore;
  appendLine(line, length);
  return 0;
}

extern "C" int AdjustFile(int size) {
  if (size < kLogTarget) return 0;
  const int fd = open(kLogPath, O_RDWR | O_CLOEXEC);
  if (fd < 0) return -1;
  const int result = trim(fd, size);
  (void)close(fd);
  return result;
}

extern "C" time_t nas_time(time_t* t) {
  char zone[kZoneSize] = {};
  (void)NasGetConfig("TIME_ZONE", kZoneSize, zone, nullptr);  // unreadable: no zone, which is UTC
  zone[kZoneSize - 1] = '\0';
  const char* const current = std::getenv("TZ");
  if (current == nullptr || std::strcmp(current, zone) != 0) {
    // The environment keeps its own copy: the library may be unloaded before the process ends.
    (void)setenv("TZ", zone, 1);
    tzset();
  }
  return time(t);
}

extern "C" int GetDaemonPid() {
  const DriverHandle driver;
  if (driver.fd < 0) return -1;
  std::int32_t pid = 0;
  if (driverQuery(driver.fd, DRIVER_DAEMON_PID, &pid, sizeof(pid)) < 0) return 0;
  return pid;
}
