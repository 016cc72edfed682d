#include "bare.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "harness.h"
#include "platform/driver_wire.h"
#include "share/share_database.h"

static datum textKey(const std::string& key) {
  return {const_cast<char*>(key.c_str()), static_cast<int>(key.size() + 1)};
}

void emptyAppliance() {
  for (const auto& entry : std::filesystem::directory_iterator("/etc/admin")) std::filesystem::remove(entry.path());
  std::filesystem::remove("/etc/samba/smb.conf");
  std::filesystem::remove("/var/log/nas1log");
  pretendSambaRuns(false);
}

void pretendSambaRuns(bool runs) {
  for (const char* const daemon : {"smbd", "nmbd"}) {
    const std::string path = std::string("/var/lock/samba/locks/") + daemon + ".pid";
    std::filesystem::remove(path);
    if (!runs) continue;
    std::FILE* const file = std::fopen(path.c_str(), "w");
    if (file == nullptr) std::abort();
    std::fputs("1\n", file);
    (void)std::fclose(file);
  }
}

GDBM_FILE bareOpen(const char* path, int mode) {
  GDBM_FILE const file = gdbm_open(path, 0, mode | GDBM_CLOEXEC, 0665, nullptr);
  if (file == nullptr) {
    std::fprintf(stderr, "%s: %s\n", path, gdbm_strerror(gdbm_errno));
    std::exit(1);
  }
  return file;
}

std::string shareName(int i) {
  char name[32];
  (void)std::snprintf(name, sizeof name, "SHARE%05d", i);
  return name;
}

void storeShares(int count) {
  GDBM_FILE const file = bareOpen("/etc/admin/share.gdbm", GDBM_WRCREAT);
  for (int i = 0; i < count; ++i) {
    const std::string name = shareName(i);
    char path[64];
    const int pathLength = std::snprintf(path, sizeof path, "/volume/v1/Data/SHARE%05d", i);
    std::vector<char> value(sizeof(ShareRecord) + static_cast<std::size_t>(pathLength));
    auto* const record = reinterpret_cast<ShareRecord*>(value.data());
    record->info.size = static_cast<std::uint32_t>(sizeof(ShareInfo)) + static_cast<std::uint32_t>(pathLength);
    std::strcpy(record->info.name, name.c_str());
    std::strcpy(record->info.comment, "a share to measure with");
    std::memcpy(sharePath(&record->info), path, static_cast<std::size_t>(pathLength) + 1);
    const datum content = {value.data(), static_cast<int>(value.size())};
    if (gdbm_store(file, textKey(name), content, GDBM_REPLACE) != 0) std::abort();
  }
  (void)gdbm_close(file);
}

std::string bareFetch(const char* path, const std::string& key, bool mapped) {
  GDBM_FILE const file = bareOpen(path, GDBM_READER);
  int off = 0;
  if (!mapped) (void)gdbm_setopt(file, GDBM_SETMMAP, &off, sizeof off);
  const datum value = gdbm_fetch(file, textKey(key));
  std::string bytes(value.dptr == nullptr ? "" : value.dptr,
                    value.dptr == nullptr ? 0 : static_cast<std::size_t>(value.dsize));
  std::free(value.dptr);
  (void)gdbm_close(file);
  return bytes;
}

void bareStore(const char* path, const std::string& key, const void* value, std::size_t bytes) {
  GDBM_FILE const file = bareOpen(path, GDBM_WRCREAT);
  const datum content = {const_cast<char*>(static_cast<const char*>(value)), static_cast<int>(bytes)};
  (void)gdbm_store(file, textKey(key), content, GDBM_REPLACE);
  (void)gdbm_close(file);
}

std::size_t bareWalk(const char* path) {
  GDBM_FILE const file = bareOpen(path, GDBM_READER);
  std::size_t bytes = 0;
  datum key = gdbm_firstkey(file);
  while (key.dptr != nullptr) {
    const datum value = gdbm_fetch(file, key);
    if (value.dptr != nullptr) bytes += static_cast<std::size_t>(value.dsize);
    std::free(value.dptr);
    const datum next = gdbm_nextkey(file, key);
    std::free(key.dptr);
    key = next;
  }
  (void)gdbm_close(file);
  return bytes;
}

void bareResize(const char* path, const std::string& key, int more) {
  GDBM_FILE const file = bareOpen(path, GDBM_WRCREAT);
  const datum value = gdbm_fetch(file, textKey(key));
  if (value.dptr != nullptr) {
    std::string bytes(value.dptr, static_cast<std::size_t>(std::min(value.dsize, value.dsize + more)));
    if (more > 0) bytes.append(static_cast<std::size_t>(more), '\0');
    (void)gdbm_store(file, textKey(key), {bytes.data(), static_cast<int>(bytes.size())}, GDBM_REPLACE);
  }
  std::free(value.dptr);
  (void)gdbm_close(file);
}

void bareRemove(const char* path, const std::string& key) {
  GDBM_FILE const file = bareOpen(path, GDBM_WRCREAT);
  (void)gdbm_delete(file, textKey(key));
  (void)gdbm_close(file);
}

void bareShell(const char* command) {
  if (startNothing) return;
  const pid_t child = fork();
  if (child == 0) {
    for (int fd = 3; fd < 20; ++fd) (void)close(fd);
    (void)execl("/bin/sh", "sh", "-c", command, nullptr);
    _exit(127);
  }
  (void)waitpid(child, nullptr, 0);
}

std::vector<char> bareShareList() {
  std::vector<char> list;
  list.reserve(bareWalk("/etc/admin/share.gdbm"));
  GDBM_FILE const file = bareOpen("/etc/admin/share.gdbm", GDBM_READER);
  datum key = gdbm_firstkey(file);
  while (key.dptr != nullptr) {
    const datum value = gdbm_fetch(file, key);
    const auto* const record = reinterpret_cast<const ShareRecord*>(value.dptr);
    const auto* const block = reinterpret_cast<const char*>(&record->info);
    list.insert(list.end(), block, block + record->info.size);
    std::free(value.dptr);
    const datum next = gdbm_nextkey(file, key);
    std::free(key.dptr);
    key = next;
  }
  (void)gdbm_close(file);
  return list;
}

void cheapHelpers() {
  for (const char* const helper : {"/usr/sbin/setquota", "/usr/sbin/exportfs", "/etc/init.d/smb"}) {
    std::filesystem::remove(helper);
    std::filesystem::create_symlink("/bin/true", helper);
  }
}

void askDriverBare(std::uint32_t request, std::uint32_t replySize) {
  const int device = open("/dev/nas1", O_RDONLY | O_CLOEXEC);
  if (device >= 0) std::abort();
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address = {AF_UNIX, "/dev/nas1"};
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
  const DriverWireRequest packet = {request, replySize == 0 ? 1U : 0U, replySize};
  char reply[64];
  (void)!send(fd, &packet, sizeof packet, MSG_NOSIGNAL);
  (void)!recv(fd, reply, sizeof reply, 0);
  (void)close(fd);
}
