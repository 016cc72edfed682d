#include "frame/appliance.h"

#include <charconv>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gdbm.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include "core/memory.h"

namespace fs = std::filesystem;

namespace {

constexpr char kMarker[] = "all sent so far: ";

// Folders that a test finds empty, and that it finds at all.
constexpr const char* emptyFolders[] = {
    "/etc/admin",
    "/etc/nfs",
    "/etc/atalk",
    "/var/lock/samba/locks",
    "/usr/local/share/snmp",
    "/volume/v1",
    "/volume/v2",
    "/mnt/param",
    "/mnt/param/misc",
    "/mnt/param/nw",
    "/volume",
    "/run/nas1-driver",
    "/run/appliance/status",
    "/run/appliance/output",
    "/var/log/appliance",
};

// Files that calls write and that no test may find from another.
constexpr const char* generatedFiles[] = {
    "/var/log/nas1log",   "/var/log/MailEvent", "/var/log/RestoreEvent", "/var/log/shutdown.nas",
    "/var/log/ups_fault", "/etc/exports",       "/etc/exports.bak",      "/etc/yp.conf",
    "/etc/yp.conf.bak",   "/etc/ntp.conf",      "/etc/snap_exports",     "/var/lock/zelmar_builduser",
};

// Files of the appliance that a test may change, with what they hold when the program starts.
std::map<std::string, std::string> shipped;
constexpr const char* shippedFiles[] = {"/etc/service.zelmar", "/etc/fstab.zelmar", "/etc/hotswap.conf",
                                        "/etc/zelmar-release", "/etc/nwserv.conf",  "/etc/syslog.conf",
                                        "/etc/mail/alert.en",  "/etc/resolv.conf"};

void emptyFolder(const fs::path& folder) {
  std::error_code ignored;
  fs::create_directories(folder, ignored);
  for (const auto& entry : fs::directory_iterator(folder, ignored)) fs::remove_all(entry.path(), ignored);
}

// The ids in one of the tables of /proc/sysvipc: the second column, below a heading.
std::vector<int> systemVIds(const char* table) {
  std::vector<int> ids;
  for (const std::string& line : readLines(table)) {
    std::istringstream words(line);
    std::string key;
    int id = 0;
    if (words >> key >> id) ids.push_back(id);
  }
  return ids;
}

void removeSystemVObjects() {
  for (const int id : systemVIds("/proc/sysvipc/shm")) (void)shmctl(id, IPC_RMID, nullptr);
  for (const int id : systemVIds("/proc/sysvipc/sem")) (void)semctl(id, 0, IPC_RMID);
}

std::string adminPath(const std::string& file) { return file.starts_with('/') ? file : "/etc/admin/" + file; }

struct OpenedRecords {
  GDBM_FILE handle;
  OpenedRecords(const std::string& file, int mode)
      : handle(gdbm_open(adminPath(file).c_str(), 0, mode, 0665, nullptr)) {}
  ~OpenedRecords() {
    if (handle != nullptr) (void)gdbm_close(handle);
  }
  OpenedRecords(const OpenedRecords&) = delete;
  OpenedRecords& operator=(const OpenedRecords&) = delete;
};

std::string keyOf(std::string_view name) { return std::string(name) + '\0'; }

datum datumOf(std::string& bytes) { return {.dptr = bytes.data(), .dsize = static_cast<int>(bytes.size())}; }

// A datum's bytes; the datum is released.
std::string taken(datum value) {
  std::string bytes(value.dptr, static_cast<std::size_t>(value.dsize));
  std::free(value.dptr);
  return bytes;
}

std::string sendMarker() {
  static int sent = 0;
  std::string text = kMarker + std::to_string(++sent);
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};
  const std::string message = "<15>test: " + text;
  (void)sendto(fd, message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  (void)close(fd);
  return text;
}

// Runs `task` with the given descriptors going to a file; returns what was written.
template <typename Body>
std::string capture(std::initializer_list<int> descriptors, Body task) {
  const int file = memfd_create("captured", MFD_CLOEXEC);
  (void)std::fflush(nullptr);
  std::vector<std::pair<int, int>> saved;
  for (const int fd : descriptors) {
    saved.emplace_back(fd, fcntl(fd, F_DUPFD_CLOEXEC, 100));
    (void)dup2(file, fd);
  }
  task();
  (void)std::fflush(nullptr);
  for (const auto& [fd, copy] : saved) {
    (void)dup2(copy, fd);
    (void)close(copy);
  }
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  (void)!pread(file, text.data(), text.size(), 0);
  (void)close(file);
  return text;
}

long allocatedBytes() {
  long most = 0;
  long now = -1;
  (void)std::sscanf(printed(sysPrintMemLink).c_str(), "sysPrintMemLink(max_allocated:%ld current_allocated:%ld)", &most,
                    &now);
  return now;
}

std::map<int, std::string> openDescriptors() {
  std::map<int, std::string> opened;
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const std::string target = fs::read_symlink(entry.path(), gone).string();
    if (gone || target.starts_with("/proc/")) continue;  // the listing's own
    opened[std::stoi(entry.path().filename().string())] = target;
  }
  return opened;
}

std::vector<pid_t> childProcesses() {
  std::vector<pid_t> children;
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator("/proc", gone)) {
    const std::string name = entry.path().filename().string();
    pid_t pid = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), pid).ec != std::errc()) continue;
    const std::string stat = readFile(entry.path().string() + "/stat").value_or("");
    int parent = 0;
    const std::size_t nameEnd = stat.rfind(')');  // the name may hold anything, blanks included
    if (nameEnd != std::string::npos && std::sscanf(stat.c_str() + nameEnd, ") %*c %d", &parent) == 1 &&
        parent == getpid())
      children.push_back(pid);
  }
  return children;
}

Lines attachedSegments() {
  Lines segments;
  for (const std::string& line : readLines("/proc/self/maps"))
    if (line.find("SYSV") != std::string::npos) segments.push_back(line);
  return segments;
}

}  // namespace

ApplianceTest::Holdings ApplianceTest::holdings() {
  return {.allocated = allocatedBytes(),
          .opened = openDescriptors(),
          .children = childProcesses(),
          .segments = attachedSegments()};
}

void ApplianceTest::SetUp() {
  (void)systemLog();  // what earlier tests sent has arrived
  for (const char* folder : emptyFolders) emptyFolder(folder);
  for (const char* folder : emptyFolders) fs::create_directories(folder);
  for (const char* file : generatedFiles) (void)unlink(file);
  for (const auto& entry : fs::directory_iterator("/etc/samba"))
    if (entry.path().filename() != "main.conf") fs::remove_all(entry.path());
  for (const auto& entry : fs::directory_iterator("/var/spool"))
    if (entry.path().filename().string().starts_with("NAS1")) fs::remove_all(entry.path());
  for (const auto& [path, content] : shipped)
    if (readFile(path) != content) writeFile(path, content);
  writeFile("/run/appliance/record-only", "");
  removeSystemVObjects();
  setDefaults("");
  (void)unsetenv("TZ");
  heldAtSetUp = holdings();
}

void ApplianceTest::TearDown() { expectNothingLeft(); }

void ApplianceTest::expectNothingLeft() {
  const Holdings after = holdings();
  EXPECT_EQ(heldAtSetUp.allocated, after.allocated) << "bytes in the tracked allocator\n" << printed(sysPrintMemLink);
  EXPECT_EQ(heldAtSetUp.children, after.children) << "child processes";
  EXPECT_EQ(heldAtSetUp.segments, after.segments) << "attached segments";
  if (descriptorsLeftByRule == 0) {
    EXPECT_EQ(heldAtSetUp.opened, after.opened) << "open descriptors";
  } else {
    EXPECT_EQ(heldAtSetUp.opened.size() + static_cast<std::size_t>(descriptorsLeftByRule), after.opened.size())
        << "open descriptors";
  }
}

void writeFile(const std::string& path, std::string_view content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  EXPECT_TRUE(file.good()) << "writing " << path;
}

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

Lines readLines(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Lines lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::string padded(std::string text, std::size_t size) {
  text.resize(size, '\0');
  return text;
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

void setDefaults(std::string_view text) { writeFile("/etc/default.zelmar", text); }

void blockFile(const std::string& path) {
  fs::remove(path);
  fs::create_directory(path);
}

MovedAway::MovedAway(std::string movedPath) : path(std::move(movedPath)) { fs::rename(path, path + ".away"); }
MovedAway::~MovedAway() { fs::rename(path + ".away", path); }

std::optional<std::string> storedRecord(const std::string& file, std::string_view key) {
  const OpenedRecords records(file, GDBM_READER);
  if (records.handle == nullptr) return std::nullopt;
  std::string keyBytes = keyOf(key);
  const datum value = gdbm_fetch(records.handle, datumOf(keyBytes));
  if (value.dptr == nullptr) return std::nullopt;
  return taken(value);
}

void storeRecord(const std::string& file, std::string_view key, std::string_view value) {
  const OpenedRecords records(file, GDBM_WRCREAT);
  ASSERT_NE(nullptr, records.handle) << file << ": " << gdbm_strerror(gdbm_errno);
  std::string keyBytes = keyOf(key);
  std::string valueBytes(value);
  ASSERT_EQ(0, gdbm_store(records.handle, datumOf(keyBytes), datumOf(valueBytes), GDBM_REPLACE)) << file;
}

void storeText(std::string_view key, const std::string& text) { storeRecord("system.gdbm", key, text + '\0'); }
void storeWord(std::string_view key, std::uint32_t word) { storeRecord("system.gdbm", key, bytesOf(word)); }

Lines storedKeys(const std::string& file) {
  const OpenedRecords records(file, GDBM_READER);
  Lines keys;
  if (records.handle == nullptr) return keys;
  for (datum key = gdbm_firstkey(records.handle); key.dptr != nullptr;) {
    const datum next = gdbm_nextkey(records.handle, key);
    std::string name = taken(key);
    if (name.ends_with('\0')) name.pop_back();
    keys.push_back(name);
    key = next;
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

Lines commands() { return readLines("/var/log/appliance/commands"); }

bool comes(const std::function<bool()>& condition) {
  for (int waitedMs = 0; waitedMs < 10000; ++waitedMs) {
    if (condition()) return true;
    (void)usleep(1000);
  }
  return false;
}

Lines awaitCommands(std::size_t count) {
  (void)comes([=] { return commands().size() >= count; });
  return commands();
}

Lines commandsOf(const std::function<void()>& call) {
  const std::size_t before = commands().size();
  call();
  Lines all = commands();
  all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(before));
  return all;
}

Lines driverRequests() { return readLines("/var/log/appliance/driver"); }

Lines systemLog() {
  // Messages arrive in the order they were sent: once the marker is there, so is everything before it.
  const std::string marker = sendMarker();
  Lines lines;
  EXPECT_TRUE(comes([&] {
    lines = readLines("/var/log/appliance/syslog");
    return !lines.empty() && lines.back().ends_with(marker);
  })) << "the collector does not answer";
  std::erase_if(lines, [](const std::string& line) { return line.starts_with(std::string("debug ") + kMarker); });
  return lines;
}

Lines applianceLog() { return readLines("/var/log/nas1log"); }

Lines applianceMessages() {
  constexpr std::size_t kStampSize = 25;  // "Sun Nov 22 22:30:00 2020 "
  Lines lines = applianceLog();
  for (std::string& line : lines) line.erase(0, kStampSize);
  return lines;
}

void refuseDriverRequest(int request) {
  char line[32];
  (void)std::snprintf(line, sizeof line, "0x%X\n", static_cast<unsigned>(request));
  writeFile("/run/nas1-driver/refuse", readFile("/run/nas1-driver/refuse").value_or("") + line);
}

void setMonitorDaemon(pid_t pid) { writeFile("/run/nas1-driver/daemon-pid", std::to_string(pid) + "\n"); }

void setExitStatus(const std::string& helper, int status) {
  writeFile("/run/appliance/status/" + helper, std::to_string(status) + "\n");
}

void setOutput(const std::string& helper, std::string_view text) { writeFile("/run/appliance/output/" + helper, text); }

void letHelpersAct() { (void)unlink("/run/appliance/record-only"); }

ChildResult inChild(const std::function<void()>& task) {
  int status = 0;
  ChildResult result = {.exitCode = -1, .signal = 0, .output = ""};
  result.output = capture({STDOUT_FILENO, STDERR_FILENO}, [&] {
    const pid_t pid = fork();
    if (pid == 0) {
      const testing::TestResult& results = *testing::UnitTest::GetInstance()->current_test_info()->result();
      const int earlier = results.total_part_count();
      task();
      (void)std::fflush(nullptr);
      _exit(results.total_part_count() == earlier ? 0 : 1);
    }
    (void)waitpid(pid, &status, 0);
  });
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

void Processes::start(const std::function<void()>& task) {
  pids.push_back(fork());
  if (pids.back() != 0) return;
  task();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

void Processes::stop() {
  for (const pid_t pid : pids) (void)kill(pid, SIGKILL);
  (void)failed();
}

int Processes::failed() {
  int count = 0;
  for (const pid_t pid : pids) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || status != 0) ++count;
  }
  pids.clear();
  return count;
}

OtherProcess::OtherProcess(const std::string& path, int mode, useconds_t holdUs) {
  int ready[2];
  EXPECT_EQ(0, pipe(ready));
  start([&] {
    GDBM_FILE const handle = gdbm_open(path.c_str(), 0, mode, 0665, nullptr);
    (void)!write(ready[1], "", 1);
    if (holdUs == 0) pause();
    (void)usleep(holdUs);
    (void)gdbm_close(handle);
  });
  char byte = 0;
  EXPECT_EQ(1, read(ready[0], &byte, 1));
  (void)close(ready[0]);
  (void)close(ready[1]);
}

std::string printed(const std::function<void()>& task) { return capture({STDOUT_FILENO}, task); }

int main(int argc, char** argv) {
  if (!exists("/run/appliance/marker")) {
    std::fprintf(stderr,
                 "%s empties folders such as /etc/admin and /volume: it runs in the throw-away appliance only\n"
                 "use: appliance/enter --build BUILD -- %s\n",
                 argv[0], argv[0]);
    return 2;
  }
  testing::InitGoogleTest(&argc, argv);
  // The library's first message would open the log's socket in the middle of a test.
  openlog(nullptr, LOG_NDELAY, LOG_USER);
  for (const char* path : shippedFiles)
    if (const auto content = readFile(path)) shipped[path] = *content;
  return RUN_ALL_TESTS();
}
