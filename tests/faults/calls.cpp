#include "calls.h"

#include <fcntl.h>
#include <gdbm.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "nas1api.h"

namespace fs = std::filesystem;

// The allocator tells its level only on standard output.
extern "C" void sysPrintMemLink();

static constexpr char kAdmin[] = "/etc/admin";
static constexpr char kCopy[] = "/tmp/sample";

namespace {

template <std::size_t N>
void setText(char (&field)[N], const char* text) {
  (void)std::snprintf(field, N, "%s", text);
}

PermittedItem permitted(int type, const char* name) {
  PermittedItem item = {};
  item.type = type;
  item.rights = 3;
  setText(item.name, name);
  return item;
}

int addShare(const char* name) {
  char copy[NAS_NAME_SIZE];
  setText(copy, name);
  return Nas1ShareAdd(copy, "a share", (std::string("/volume/v1/") + name).c_str());
}

int addUser(const char* name) {
  char copy[NAS_NAME_SIZE];
  setText(copy, name);
  return Nas1AddUser(PROTO_SYSTEM, copy, "secret");
}

int addGroup(const char* name) {
  char copy[NAS_NAME_SIZE];
  setText(copy, name);
  return Nas1AddGroup(PROTO_SYSTEM, copy, nullptr);
}

int allowHosts(const char* share, int count) {
  struct [[gnu::packed]] {
    NfsHostEntry entry;
    char rest[31];
  } hosts[4] = {};
  for (auto& host : hosts) {
    host.entry.size = sizeof host;
    host.entry.flags = NFS_HOST_WRITE;
    std::memcpy(host.entry.host, "client", sizeof "client");
  }
  return Nas1ShareSetPermittedNfs(share, count, hosts);
}

int addModule(const char* name) {
  ModuleRecord module = {};
  setText(module.description, name);
  setText(module.removalCommand, "/usr/sbin/remove");
  return Nas1ModuleAdd(&module);
}

}  // namespace

// clang-format off
const Call calls[kCallCount] = {
    {"share-add",      [] { return addShare("NEW"); },                                         "share.gdbm",      false, nullptr},
    {"share-mod",      [] { return Nas1ShareMod("S1", "changed", "/volume/v1/other"); },       "share.gdbm",      false, nullptr},
    {"share-del",      [] { return Nas1ShareDel("S2"); },                                      "share.gdbm",      false, nullptr},
    {"share-password", [] { return Nas1ShareSetPassword("S1", 1, "changed"); },                "share.gdbm",      false, nullptr},
    {"permit",         [] { const PermittedItem item = permitted(0, "BOB");
                            return Nas1AddPermittedItem("S1", PROTO_CIFS, &item); },           "user_smb.gdbm",   false, nullptr},
    {"permit-list",    [] { const PermittedItem item = permitted(1, "STAFF");
                            return Nas1SetPermittedList("S1", PROTO_SYSTEM, 1, &item); },      "user_local.gdbm", true,  nullptr},
    {"nfs-hosts",      [] { return allowHosts("S1", 4); },                                     "share_nfs.gdbm",  true,  nullptr},
    {"config",         [] { return NasSetConfig("CIFS_SERVER_COMMENT", 8, "changed"); },       "system.gdbm",     true,  nullptr},
    {"config-read",    [] { char text[64];
                            return NasGetConfig("CIFS_SERVER_COMMENT", 64, text, nullptr); },  "system.gdbm",     false, nullptr},
    {"user-add",       [] { return addUser("CAROL"); },                                        "user_id.gdbm",    false, " CAROL"},
    {"user-del",       [] { char name[] = "BOB"; return Nas1DelUser(PROTO_SYSTEM, name); },    "user_id.gdbm",    false, " BOB"},
    {"group-del",      [] { char name[] = "STAFF"; return Nas1DelGroup(PROTO_SYSTEM, name); }, "group_id.gdbm",   false, nullptr},
    {"module-add",     [] { return addModule("NEW"); },                                        "module.gdbm",     false, nullptr},
};
// clang-format on

void makeSample() {
  for (const auto& entry : fs::directory_iterator(kAdmin)) fs::remove_all(entry.path());
  for (const char* share : {"S1", "S2", "S3", "S4"}) {
    (void)addShare(share);
    (void)allowHosts(share, 2);
    for (int protocol = 0; protocol < PROTO_FTP; ++protocol) {
      const PermittedItem items[] = {permitted(0, "ALICE"), permitted(1, "STAFF")};
      (void)Nas1SetPermittedList(share, protocol, 2, items);
    }
  }
  for (const char* group : {"STAFF", "GUESTS"}) (void)addGroup(group);
  for (const char* user : {"ALICE", "BOB", "DAVE"}) {
    (void)addUser(user);
    (void)Nas1SetPrimaryGroup(PROTO_SYSTEM, user, "STAFF");
  }
  for (const char* module : {"BACKUP", "PRINT"}) (void)addModule(module);
  (void)NasSetConfig("CIFS_SERVER_COMMENT", 7, "sample");
  (void)Nas1SetProductConfig("COLOUR", 6, "green");
  const uint32_t words[5] = {1, 2, 3, 4, 5};
  (void)Nas1SetSnapshotConfig("v1", words);
  const DiskConfig disks = {};
  (void)Nas1SetDiskConfig(&disks);
  fs::remove_all(kCopy);
  fs::copy(kAdmin, kCopy);
}

void restoreSample() {
  for (const auto& entry : fs::directory_iterator(kAdmin)) fs::remove_all(entry.path());
  fs::copy(kCopy, kAdmin);
  // Numeric ids in use are kept in shared memory.
  const int segment = shmget(ftok(kAdmin, 'S'), 0, 0);
  if (segment >= 0) (void)shmctl(segment, IPC_RMID, nullptr);
}

int heldBytes() {
  const int file = memfd_create("level", MFD_CLOEXEC);
  (void)std::fflush(stdout);
  const int output = dup(STDOUT_FILENO);
  (void)dup2(file, STDOUT_FILENO);
  sysPrintMemLink();
  (void)std::fflush(stdout);
  (void)dup2(output, STDOUT_FILENO);
  char text[128] = {};
  (void)!pread(file, text, sizeof text - 1, 0);
  (void)close(output);
  (void)close(file);
  int level = -1;
  (void)std::sscanf(text, "sysPrintMemLink(max_allocated:%*d current_allocated:%d)", &level);
  return level;
}

int openDescriptors() {
  int open = 0;
  for (int fd = 0; fd < 256; ++fd) open += fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
  return open;
}

Records allRecords() {
  Records records;
  for (const auto& entry : fs::directory_iterator(kAdmin)) {
    const std::string file = entry.path().filename();
    auto* const handle = gdbm_open(entry.path().c_str(), 0, GDBM_READER, 0, nullptr);
    if (handle == nullptr) {
      if (entry.file_size() > 0) records[file + " unreadable"] = gdbm_strerror(gdbm_errno);
      continue;
    }
    for (datum key = gdbm_firstkey(handle); key.dptr != nullptr;) {
      const datum value = gdbm_fetch(handle, key);
      records[file + " " + std::string(key.dptr, strnlen(key.dptr, static_cast<std::size_t>(key.dsize)))] =
          value.dptr == nullptr ? "unreadable" : std::string(value.dptr, static_cast<std::size_t>(value.dsize));
      const datum next = gdbm_nextkey(handle, key);
      std::free(value.dptr);
      std::free(key.dptr);
      key = next;
    }
    if (gdbm_errno != GDBM_ITEM_NOT_FOUND) records[file + " unreadable"] = gdbm_strerror(gdbm_errno);
    (void)gdbm_close(handle);
  }
  return records;
}
