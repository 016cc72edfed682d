// Shares: walks, the daemons' files, adding, permissions.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "api/nas1api.h"
#include "backends/nfs_exports.h"
#include "bare.h"
#include "core/record_store.h"
#include "harness.h"

static constexpr int kSizes[] = {10, 1000, 10000};

static void prepare(int shares) {
  emptyAppliance();
  pretendSambaRuns(true);
  storeShares(shares);
  for (const char* const key :
       {"ACL_ENABLED", "AFP_SHARE_MODE", "DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD"}) {
    bareStore(kSystemFile, key, "\0\0\0", 4);
  }
  bareStore(kSystemFile, "NFS_EXPORT_PRIVILEGE", "rw", 3);
  bareStore(kShareNfsFile, "filler", "", 1);
  for (const char* const file : {"/etc/exports", "/etc/atalk/AppleVolumes.default"}) std::fclose(std::fopen(file, "w"));
}

template <typename Print>
static void writeShares(const char* path, Print print) {
  std::FILE* const file = std::fopen(path, "w");
  const std::vector<char> list = bareShareList();
  for (std::size_t at = 0; at < list.size();) {
    const auto* const share = reinterpret_cast<const ShareInfo*>(list.data() + at);
    print(file, share, reinterpret_cast<const char*>(share) + offsetof(ShareInfo, path));
    at += share->size;
  }
  (void)std::fclose(file);
}

// Each rewrite as its steps say, one after another.
static void sambaListBare() {
  for (const char* const daemon : {"smbd", "nmbd"}) {
    char text[20];
    const int fd = open((std::string("/var/lock/samba/locks/") + daemon + ".pid").c_str(), O_RDWR | O_CLOEXEC);
    (void)!read(fd, text, sizeof text);
    (void)close(fd);
  }
  (void)bareFetch(kSystemFile, "ACL_ENABLED");
  writeShares("/etc/samba/smb.conf", [](std::FILE* file, const ShareInfo* share, const char* path) {
    (void)std::fprintf(file, "[%s]\n    comment = %s\n    path = %s\n\n", share->name, share->comment, path);
  });
  bareShell("/etc/init.d/smb reload > /dev/null");
}

static void exportsBare() {
  writeShares("/etc/exports", [](std::FILE* file, const ShareInfo* share, const char* path) {
    for (int i = 0; i < 2; ++i) (void)bareFetch(kShareNfsFile, share->name);
    (void)bareFetch(kSystemFile, "NFS_EXPORT_PRIVILEGE");
    (void)std::fprintf(file, "%s\t*(sync,rw,all_squash,anonuid=%d)\n", path, 32767);
  });
}

static void everyFileBare() {
  sambaListBare();
  bareShell("cp -f /etc/exports /etc/exports.bak > /dev/null");
  exportsBare();
  bareShell("/usr/sbin/exportfs -ra > /dev/null");
  (void)bareFetch(kSystemFile, "AFP_SHARE_MODE");
  writeShares("/etc/atalk/AppleVolumes.default", [](std::FILE* file, const ShareInfo* share, const char* path) {
    (void)std::fprintf(file, "\"%s\" \"%s\" options:usedots\n", path, share->name);
  });
}

static Row rewrite(const char* job, int count, const char* goal, void (*library)(), void (*bare)()) {
  return {.job = job,
          .count = count,
          .goal = goal,
          .prepare =
              [count] {
                prepare(count);
                startNothing = true;
              },
          .library = library,
          .bare = bare,
          .memory = count == 10000};
}

static void storeShareBare() {
  const char record[240] = {};
  bareStore(kShareFile, "NEW", record, sizeof record);
  (void)bareFetch(kSystemFile, "ACL_ENABLED");
  for (const char* const command :
       {"mkdir -p \"/volume/v1/new\" > /dev/null", "chown 32767 \"/volume/v1/new\" > /dev/null",
        "chmod 755 \"/volume/v1/new\" > /dev/null"}) {
    bareShell(command);
  }
}

static void storePasswordsBare() {
  const char record[240] = {};
  for (const char* const key : {"DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD"}) {
    (void)bareFetch(kSystemFile, key);
    bareStore(kShareFile, "NEW", record, sizeof record);
  }
}

static Row add(const char* job, int count, const char* goal, bool batch, bool commands) {
  return {.job = job,
          .count = count,
          .goal = goal,
          .prepare =
              [=] {
                prepare(count);
                startNothing = !commands;
                if (batch) (void)EnableNas1ShareBatch(1);
              },
          .library =
              [] {
                char name[] = "NEW";
                if (Nas1ShareAdd(name, "a share to measure with", "/volume/v1/new") != 0) std::abort();
              },
          .bare =
              [batch] {
                storeShareBare();
                if (!batch) everyFileBare();
                storePasswordsBare();
              },
          .before = [] { bareRemove(kShareFile, "NEW"); },
          .after = [] { (void)EnableNas1ShareBatch(0); },
          .onDisk = batch || count == 10};
}

static void storePermissions(int count) {
  prepare(1);
  std::vector<PermittedItem> items(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    PermittedItem& item = items[static_cast<std::size_t>(i)];
    item = {i % 2, 1, {}};
    (void)std::snprintf(item.name, sizeof item.name, "Account%05d", i);
  }
  (void)Nas1SetPermittedList("SHARE00000", PROTO_CIFS, count, items.data());
}

static const char* const groups[] = {"STRANGER0001", "STRANGER0002", "STRANGER0003", "STRANGER0004", "STRANGER0005",
                                     "STRANGER0006", "STRANGER0007", "STRANGER0008", "STRANGER0009", "STRANGER0010",
                                     "STRANGER0011", "STRANGER0012", "STRANGER0013", "STRANGER0014", "STRANGER0015",
                                     "STRANGER0016", nullptr};

static void checkBare() {
  const std::string list = bareFetch(kPermissionFiles[PROTO_CIFS], "SHARE00000");
  volatile int matches = 0;
  for (std::size_t at = 40; at + sizeof(PermittedItem) <= list.size(); at += sizeof(PermittedItem)) {
    const auto* const item = reinterpret_cast<const PermittedItem*>(list.data() + at);
    if (item->type == PERMITTED_USER) {
      if (strncasecmp(item->name, "ACCOUNT99999", sizeof item->name) == 0) matches = matches + 1;
      continue;
    }
    for (const char* const* group = groups; *group != nullptr; ++group) {
      if (strncasecmp(item->name, *group, sizeof item->name) == 0) matches = matches + 1;
    }
  }
}

static void addPermission() {
  PermittedItem item = {PERMITTED_USER, 1, "NEWCOMER"};
  (void)Nas1AddPermittedItem("SHARE00000", PROTO_CIFS, &item);
  (void)Nas1DelPermittedItem("SHARE00000", PROTO_CIFS, "NEWCOMER");
}

static void addPermissionBare() {
  (void)bareFetch(kShareFile, "SHARE00000");
  bareResize(kPermissionFiles[PROTO_CIFS], "SHARE00000", sizeof(PermittedItem));
  bareResize(kPermissionFiles[PROTO_CIFS], "SHARE00000", -static_cast<int>(sizeof(PermittedItem)));
}

static void rebuild() { (void)EnableNas1ShareBatch(0); }

std::vector<Row> shareRows() {
  std::vector<Row> rows;
  for (const int count : kSizes) {
    rows.push_back({.job = "count the shares: walk and fetch",
                    .count = count,
                    .goal = "1.10",
                    .prepare = [count] { prepare(count); },
                    .library =
                        [] {
                          int shares = 0;
                          int bytes = 0;
                          (void)Nas1ShareCountSize(&shares, &bytes);
                        },
                    .bare = [] { (void)bareWalk(kShareFile); },
                    .onDisk = count == 10000,
                    .memory = count == 10000});
  }
  rows.push_back({.job = "list the shares",
                  .count = 10000,
                  .goal = "1.2",
                  .prepare = [] { prepare(10000); },
                  .library =
                      [] {
                        std::vector<char> list(2000000);
                        (void)Nas1ShareList(0, 10000, list.data(), static_cast<int>(list.size()));
                      },
                  .bare =
                      [] {
                        std::vector<char> list(2000000);
                        (void)bareWalk(kShareFile);
                      },
                  .memory = true});
  for (const int count : kSizes) {
    rows.push_back(rewrite(
        "share list file", count, "0.7", [] { (void)Nas1Restart(PROTO_CIFS, 3); }, sambaListBare));
  }
  for (const int count : {10, 1000}) {
    rows.push_back(rewrite(
        "exports", count, "", [] { (void)Update_Export_Conf(); }, exportsBare));
  }
  for (const int count : kSizes) {
    rows.push_back(rewrite("the files of all three back-ends", count, "", rebuild, everyFileBare));
  }
  for (const int count : kSizes) {
    rows.push_back(add("add a share, without the commands", count, count == 1000 ? "0.85" : "0.7", false, false));
  }
  for (const int count : kSizes) rows.push_back(add("add a share in a batch", count, "0.85", true, true));
  for (const int count : {10, 1000}) {
    rows.push_back({.job = "check a permission, 16 groups",
                    .count = count,
                    .goal = "1.10",
                    .prepare = [count] { storePermissions(count); },
                    .library = [] { (void)Nas1CheckPermission("SHARE00000", PROTO_CIFS, "ACCOUNT99999", groups); },
                    .bare = checkBare});
    rows.push_back({.job = "add and delete a permission",
                    .count = count,
                    .goal = "1.10",
                    .prepare = [count] { storePermissions(count); },
                    .library = addPermission,
                    .bare = addPermissionBare,
                    .onDisk = true});
  }
  return rows;
}
