#include "backends/nfs_exports.h"

#include <cstring>
#include <string_view>

#include "api/nas1api.h"
#include "backends/generated_file.h"
#include "events/event_log.h"
#include "share/nfs_hosts.h"
#include "share/share_database.h"
#include "share/share_walk.h"

static constexpr char kUnit[] = "nfs_exports.cpp";

static constexpr char kExports[] = "/etc/exports";
static constexpr char kSnapshotExports[] = "/etc/snap_exports";
static constexpr int kSnapshotLineSize = 1024;

// Owner of the shares' directories; clients that are nobody here become this user.
static constexpr int kAnonymousId = 32767;

// What everybody may do with a share that has no host list; null for nothing.
static const char* defaultPrivilege() {
  char text[NAS_NAME_SIZE] = {};
  (void)NasGetConfig("NFS_EXPORT_PRIVILEGE", sizeof text, text, nullptr);
  const std::string_view privilege(text, strnlen(text, sizeof text));
  if (privilege == "rw" || privilege == "RW") return "rw";
  if (privilege == "ro" || privilege == "RO") return "ro";
  return nullptr;
}

static void writeClient(std::FILE* file, const NfsHostEntry* entry) {
  const auto has = [entry](unsigned flag) { return (entry->flags & flag) != 0; };
  (void)std::fputs(nfsHost(entry), file);
  if (has(NFS_HOST_MASK)) (void)std::fprintf(file, "/%.*s", static_cast<int>(sizeof entry->mask), entry->mask);
  (void)std::fprintf(file, "(sync,%s", has(NFS_HOST_WRITE) ? "rw" : "ro");
  if (has(NFS_HOST_ALL_SQUASH)) {
    (void)std::fputs(",all_squash", file);
    if (has(NFS_HOST_ANONGID)) (void)std::fprintf(file, ",anongid=%d", entry->anongid);
    (void)std::fprintf(file, ",anonuid=%d", has(NFS_HOST_ANONUID) ? entry->anonuid : kAnonymousId);
  } else {
    (void)std::fprintf(file, ",no_all_squash,%s", has(NFS_HOST_ROOT_SQUASH) ? "root_squash" : "no_root_squash");
  }
  (void)std::fputs(") ", file);
}

static int exportShare(std::FILE* file, const NfsHostList& hosts, const char* path, const char* privilege) {
  if (hosts.result < 0 || hosts.count == 0 || hosts.bytes == 0) {
    if (privilege != nullptr) {
      (void)std::fprintf(file, "%s\t*(sync,%s,all_squash,anonuid=%d)\n", path, privilege, kAnonymousId);
    }
    return -1;
  }
  // A line without clients would mean everybody: a list that cannot be read exports the share to nobody.
  if (nfsHostEntryIn(hosts.entries, hosts.bytes) == nullptr) return -1;
  (void)std::fprintf(file, "%s\t", path);
  forEachNfsHost(hosts, [file](const NfsHostEntry* entry) {
    writeClient(file, entry);
    return true;
  });
  (void)std::fputc('\n', file);
  return 0;
}

extern "C" int Update_Export_Conf() {
  LockedFile exports(kExports, FileUse::rewriting);
  const AllShares shares(kUnit, __LINE__);
  if (shares.none()) return 0;
  if (shares.outOfMemory) {
    (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_NFS, "Not enough mem available!");
    return -1;
  }
  if (!exports.startOver()) return -1;
  const char* const privilege = defaultPrivilege();
  LookupSeries lists(kShareNfsFile);
  forEachShare(shares, [&](const ShareInfo* share) {
    const NfsHostList hosts(kUnit, __LINE__, lists.next(), share->name);
    (void)exportShare(exports.file, hosts, sharePath(share), privilege);
  });
  return exports.finish() ? 0 : -1;
}

extern "C" int Process_Permitted_NFS(std::FILE* file, const char* share, const char* path) {
  if (file == nullptr || share == nullptr || share[0] == '\0' || path == nullptr) return -1;
  const char* const privilege = defaultPrivilege();
  RecordFile lists(kShareNfsFile, Access::lookup);
  const NfsHostList hosts(kUnit, __LINE__, lists, share);
  // Nobody waits for the file while the caller's stream is written.
  lists.close();
  return exportShare(file, hosts, path, privilege);
}

extern "C" int SnapShareAppend() {
  const LockedFile exports(kExports, FileUse::appending);
  if (exports.file == nullptr) return -1;
  std::FILE* const snapshots = std::fopen(kSnapshotExports, "re");
  if (snapshots == nullptr) return -1;
  (void)std::fputc('\n', exports.file);
  char line[kSnapshotLineSize];
  char path[kSnapshotLineSize];
  char clients[kSnapshotLineSize];
  while (std::fgets(line, sizeof line, snapshots) != nullptr) {
    if (std::sscanf(line, "%*s%1023s%1023s", path, clients) != 2) continue;
    (void)std::fprintf(exports.file, "%s\t%s\n", path, clients);
  }
  (void)std::fclose(snapshots);
  return 0;
}
