#include "plan_copy.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "plan_driver.h"
#include "plan_places.h"
#include "shares.h"

namespace fs = std::filesystem;

namespace {

// Copied with all that is in them.
constexpr const char* wholeFolders[] = {"/etc", "/usr/local/share/snmp", "/mnt/param"};

// Of these only the named files are copied, or none.
struct FolderPart {
  const char* folder;
  std::vector<const char*> files;
};
const FolderPart folderParts[] = {
    {"/var/log", {"nas1log", "MailEvent", "RestoreEvent", "ups_fault", "shutdown.nas"}},
    {"/var/spool", {}},
    // Samba's share list is written only where both of its daemons seem to run.
    {"/var/lock/samba/locks", {"smbd.pid", "nmbd.pid"}},
};

// What stands directly below / and is no volume.
constexpr const char* systemFolders[] = {"bin",    "boot",  "dev", "etc", "lib",  "lib32", "lib64",
                                         "libx32", "media", "mnt", "opt", "proc", "root",  "run",
                                         "sbin",   "sys",   "tmp", "usr", "var"};

int failed(const char* what) {
  return complain(errno == EPERM ? NO_PRIVILEGE : LIBRARY_FAILED, "there can be no copy of the appliance: %s: %s", what,
                  std::strerror(errno));
}

// ---- Making the copy

bool runProgram(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    (void)execvp(arguments[0], arguments.data());
    _exit(127);
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return child > 0 && status == 0;
}

struct Stage {
  std::string path;                                         // a memory file system of the copy's own
  std::vector<std::pair<std::string, std::string>> covers;  // what is to be mounted, and over what
  std::string placeFor(const std::string& original) {
    const std::string place = path + "/place" + std::to_string(covers.size());
    covers.emplace_back(place, original);
    return place;
  }
};

// The record files are copied under their locks; what cp has made of them may be half of a change.
ExitCode copyRecordFiles(const std::string& admin) {
  OpenFile files[std::size(recordFiles)];
  for (std::size_t i = 0; i < std::size(recordFiles); ++i) {
    if (const ExitCode fault = openLocked(recordFiles[i].path, LOCK_SH, files[i]); fault != DONE) return fault;
  }
  for (std::size_t i = 0; i < std::size(recordFiles); ++i) {
    const std::string path = admin + "/" + shortName(recordFiles[i]);
    if (files[i].fd < 0) continue;
    const OpenFile copy(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (copy.fd < 0 || !copyContent(files[i].fd, copy.fd))
      return complain(LIBRARY_FAILED, "%s cannot be copied: %s", recordFiles[i].path, std::strerror(errno));
  }
  return DONE;
}

bool copyFolder(const std::string& from, const std::string& to) {
  return mkdir(to.c_str(), 0755) == 0 && runProgram({"cp", "-a", "--", from + "/.", to});
}

bool copyParts(const FolderPart& part, const std::string& to) {
  if (mkdir(to.c_str(), 0755) != 0) return false;
  for (const char* const file : part.files) {
    const std::string original = std::string(part.folder) + "/" + file;
    if (fs::exists(original) && !runProgram({"cp", "-a", "--", original, to})) return false;
  }
  return true;
}

// ---- Volumes

// Without "//" and the like, which the library stores as they are.
std::string normal(const std::string& path) { return fs::path(path).lexically_normal(); }

std::string topOf(const std::string& path) { return path.substr(0, path.find('/', 1)); }

bool isOnVolume(const std::string& path) {
  if (path.size() < 2 || path[0] != '/') return false;
  const std::string top = topOf(path).substr(1);
  return std::find(std::begin(systemFolders), std::end(systemFolders), top) == std::end(systemFolders);
}

// Makes what is at a place there, without content. Returns whether it is a folder.
bool reproduce(const std::string& original, const std::string& copy) {
  struct stat status;
  if (lstat(original.c_str(), &status) != 0) return false;
  const mode_t mode = status.st_mode & 07777;
  if (S_ISDIR(status.st_mode)) {
    (void)mkdir(copy.c_str(), mode);
  } else if (S_ISREG(status.st_mode)) {
    const OpenFile file(open(copy.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, mode));
  } else if (S_ISLNK(status.st_mode)) {
    std::error_code ignored;
    fs::copy_symlink(original, copy, ignored);
  }
  (void)!lchown(copy.c_str(), status.st_uid, status.st_gid);
  if (S_ISDIR(status.st_mode)) (void)chmod(copy.c_str(), mode);
  return S_ISDIR(status.st_mode);
}

void reproduceChildren(const std::string& original, const std::string& copy, int depth) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(original, error)) {
    const std::string name = entry.path().filename();
    if (reproduce(original + "/" + name, copy + "/" + name) && depth > 1) {
      reproduceChildren(original + "/" + name, copy + "/" + name, depth - 1);
    }
  }
}

// Every folder on the way to a path.
void reproduceWay(const std::string& path, const std::string& top, const std::string& copy) {
  for (std::size_t at = top.size(); at < path.size();) {
    at = std::min(path.find('/', at + 1), path.size());
    if (!reproduce(path.substr(0, at), copy + path.substr(top.size(), at - top.size()))) return;
  }
}

// The first two levels of each volume folder (volumes, and what is on them), and the way to every path.
void addVolumes(Stage& stage, std::vector<std::string> paths) {
  for (const Share& share : allShares()) paths.push_back(share.path);
  paths.emplace_back("/volume");
  std::transform(paths.begin(), paths.end(), paths.begin(), normal);
  std::erase_if(paths, [](const std::string& path) { return !isOnVolume(path); });
  std::map<std::string, std::string> tops;
  for (const std::string& path : paths) {
    const std::string top = topOf(path);
    struct stat status;
    if (lstat(top.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) continue;
    auto& copy = tops[top];
    if (copy.empty()) {
      copy = stage.placeFor(top);
      (void)reproduce(top, copy);
      reproduceChildren(top, copy, 2);
    }
    reproduceWay(path, top, copy);
  }
}

// ---- Moving in

bool setReadOnly(const char* path, bool readOnly, unsigned flags) {
  mount_attr attributes = {};
  (readOnly ? attributes.attr_set : attributes.attr_clr) = MOUNT_ATTR_RDONLY;
  return mount_setattr(AT_FDCWD, path, flags, &attributes, sizeof attributes) == 0;
}

bool cover(const std::string& place, const std::string& original) {
  return mount(place.c_str(), original.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

// What is mounted somewhere below a folder, in the order in which it was.
std::vector<std::string> mountsBelow(const std::string& folder) {
  std::ifstream table("/proc/self/mountinfo");
  std::vector<std::string> places;
  for (std::string line; std::getline(table, line);) {
    std::istringstream words(line);
    std::string id, parent, device, root, place;
    if (words >> id >> parent >> device >> root >> place && place.starts_with(folder + "/")) places.push_back(place);
  }
  return places;
}

// Temporary files are made in /tmp, and a command may read what lies there. Where the kernel has no overlay file
// system, only what is mounted there is seen.
bool coverTemporaryFiles(const Stage& stage) {
  const std::string original = stage.path + "/tmp";
  const std::string changes = original + ".changes";
  const std::string work = original + ".work";
  for (const std::string& folder : {original, changes, work}) {
    if (mkdir(folder.c_str(), 0) != 0 || chmod(folder.c_str(), 01777) != 0) return false;
  }
  if (mount("/tmp", original.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) return false;
  const std::vector<std::string> below = mountsBelow("/tmp");
  const std::string layers = "lowerdir=/tmp,upperdir=" + changes + ",workdir=" + work;
  if (mount("copy", "/tmp", "overlay", MS_NOSUID | MS_NODEV, layers.c_str()) != 0 && !cover(changes, "/tmp"))
    return false;
  for (const std::string& place : below) {
    std::error_code ignored;
    fs::create_directories(place, ignored);
    (void)cover(stage.path + place, place);
  }
  return true;
}

ExitCode fillStage(Stage& stage, const std::vector<std::string>& paths, CopyDriver& driver) {
  for (const char* const folder : wholeFolders) {
    if (!fs::is_directory(folder)) continue;
    if (!copyFolder(folder, stage.placeFor(folder))) return complain(LIBRARY_FAILED, "%s cannot be copied", folder);
  }
  if (const ExitCode fault = copyRecordFiles(stage.covers[0].first + "/admin"); fault != DONE) return fault;
  for (const FolderPart& part : folderParts) {
    if (!fs::is_directory(part.folder)) continue;
    if (!copyParts(part, stage.placeFor(part.folder)))
      return complain(LIBRARY_FAILED, "%s cannot be copied", part.folder);
  }
  addVolumes(stage, paths);
  if (!runProgram({"cp", "-L", "--", kShell, stage.path + kRealShell})) {
    return complain(LIBRARY_FAILED, "%s cannot be copied", kShell);
  }
  if (fs::exists(kDriver)) {
    const std::string socket = stage.path + kDriverSocket;
    if (!driver.listenAt(socket)) return complain(LIBRARY_FAILED, "%s: %s", socket.c_str(), std::strerror(errno));
    stage.covers.emplace_back(socket, kDriver);
  }
  if (fs::exists(kSystemLog)) {
    // Nothing listens there, so nothing is logged.
    const std::string nobody = stage.path + kNoLog;
    const OpenFile file(open(nobody.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    stage.covers.emplace_back(nobody, fs::canonical(kSystemLog));
  }
  stage.covers.emplace_back(fs::read_symlink("/proc/self/exe"), fs::canonical(kShell));
  return DONE;
}

ExitCode makeCopy(Stage& stage, const std::vector<std::string>& paths, CopyDriver& driver) {
  if (unshare(CLONE_NEWNS | CLONE_NEWIPC) != 0) return static_cast<ExitCode>(failed("a view of its own"));
  const bool isPrivate = mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  if (!isPrivate || mount("copy", stage.path.c_str(), "tmpfs", MS_NOSUID, "mode=700") != 0)
    return static_cast<ExitCode>(failed("a memory file system"));
  if (const ExitCode fault = fillStage(stage, paths, driver); fault != DONE) return fault;
  if (!setReadOnly("/", true, AT_RECURSIVE) || !setReadOnly(stage.path.c_str(), false, 0))
    return static_cast<ExitCode>(failed("keeping it from writing"));
  if (!coverTemporaryFiles(stage)) return static_cast<ExitCode>(failed("/tmp"));
  for (const auto& [place, original] : stage.covers) {
    if (!cover(place, original)) return static_cast<ExitCode>(failed(original.c_str()));
  }
  return DONE;
}

// ---- Holding it in

// Signals seem to be sent: kill with any signal but 0, which only asks whether there is such a process.
bool holdSignalsBack() {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_kill, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {std::size(rules), rules};
  return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Of root's power only what files take is left.
bool dropPower() {
  constexpr std::uint32_t kept = 1U << CAP_CHOWN | 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH |
                                 1U << CAP_FOWNER | 1U << CAP_FSETID | 1U << CAP_IPC_OWNER;
  for (int capability = 0; prctl(PR_CAPBSET_READ, capability) >= 0; ++capability) {
    const bool isKept = capability < 32 && (kept >> capability & 1) != 0;
    if (!isKept && prctl(PR_CAPBSET_DROP, capability) != 0) return false;
  }
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct data[2] = {{kept, kept, 0}, {0, 0, 0}};
  return syscall(SYS_capset, &header, data) == 0;
}

[[noreturn]] void runBody(const Stage& stage, const std::function<int()>& work) {
  const bool isHeld = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && dropPower() && holdSignalsBack();
  if (!isHeld || setenv(kStageVariable, stage.path.c_str(), 1) != 0) _exit(failed("holding it back"));
  // Data are what the copy is asked for; what is printed in it is not.
  (void)dup2(STDERR_FILENO, STDOUT_FILENO);
  const int result = work();
  (void)std::fflush(nullptr);
  _exit(result);
}

// ---- Looking at it

void readFiles(const std::string& folder, CopiedFiles& files) {
  std::error_code error;
  for (const auto& entry : fs::recursive_directory_iterator(folder, error)) {
    const std::string path = entry.path();
    struct stat status;
    if (lstat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) continue;
    const bool isRecordFile = std::any_of(std::begin(recordFiles), std::end(recordFiles),
                                          [&](const RecordFileEntry& file) { return path == file.path; });
    if (isRecordFile) continue;
    CopiedFile& file = files[path];
    file.mode = status.st_mode;
    if (S_ISLNK(status.st_mode)) file.content = fs::read_symlink(path, error);
    if (!S_ISREG(status.st_mode)) continue;
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    file.content = content.str();
  }
}

void look(const Stage& stage, CopiedFiles& files, std::set<std::string>& folders) {
  for (const auto& [place, original] : stage.covers) {
    if (!fs::is_directory(original)) continue;
    if (!isOnVolume(original)) {
      readFiles(original, files);
      continue;
    }
    std::error_code error;
    for (const auto& entry : fs::recursive_directory_iterator(original, error)) folders.insert(entry.path());
  }
}

void readCommands(const Stage& stage, std::vector<std::string>& commands) {
  std::ifstream file(stage.path + kCommandsFile, std::ios::binary);
  for (std::string command; std::getline(file, command, '\0');) commands.push_back(command);
}

int exitCodeOf(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return LIBRARY_FAILED;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : LIBRARY_FAILED;
}

ExitCode runInStage(const std::string& path, const std::vector<std::string>& paths, const std::function<int()>& work,
                    const std::function<ExitCode(const CopyRun&)>& report) {
  Stage stage{path, {}};
  CopyDriver driver;
  CopyRun run;
  if (const ExitCode fault = makeCopy(stage, paths, driver); fault != DONE) return fault;
  if (const ExitCode fault = readRecordSets(run.recordsBefore); fault != DONE) return fault;
  look(stage, run.filesBefore, run.foldersBefore);

  (void)std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) runBody(stage, work);
  const OpenFile ended(child < 0 ? -1 : static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  if (ended.fd < 0) return static_cast<ExitCode>(failed("a process"));
  driver.serve(ended.fd);
  run.exitCode = exitCodeOf(child);

  if (const ExitCode fault = readRecordSets(run.recordsAfter); fault != DONE) return fault;
  look(stage, run.filesAfter, run.foldersAfter);
  readCommands(stage, run.commands);
  run.requests = driver.requests;
  return report(run);
}

}  // namespace

ExitCode runInCopy(const std::vector<std::string>& paths, const std::function<int()>& work,
                   const std::function<ExitCode(const CopyRun&)>& report) {
  if (geteuid() != 0) return complain(NO_PRIVILEGE, "only root can have a copy of the appliance; run nas1 as root");
  std::string stage = "/run/nas1-plan.XXXXXX";
  if (mkdtemp(stage.data()) == nullptr) return static_cast<ExitCode>(failed(stage.c_str()));
  // Everything that is mounted goes with the process.
  (void)std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const ExitCode result = runInStage(stage, paths, work, report);
    (void)std::fflush(nullptr);
    _exit(result);
  }
  // A terminal tells the whole group to end: the folder is still to be removed then.
  (void)std::signal(SIGINT, SIG_IGN);
  const int result = child < 0 ? failed("a process") : exitCodeOf(child);
  (void)std::signal(SIGINT, SIG_DFL);
  (void)rmdir(stage.c_str());
  return static_cast<ExitCode>(result);
}
