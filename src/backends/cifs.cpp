#include "backends/cifs.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "accounts/account_items.h"
#include "api/nas1api.h"
#include "backends/name_list_file.h"
#include "config/numeric_config.h"
#include "core/command.h"
#include "events/event_log.h"
#include "share/share_database.h"
#include "share/share_walk.h"

static constexpr char kUnit[] = "cifs.cpp";
static constexpr unsigned kError = 2;
static constexpr unsigned kLogCifs = 6;

static constexpr char kPidDirectory[] = "/var/lock/samba/locks";
static constexpr int kPidPathSize = 1024;
static constexpr std::size_t kWriteBytes = 65536;  // the share list goes to the disk in pieces of this size

static constexpr const char* kInitCommands[] = {"/etc/init.d/smb start", "/etc/init.d/smb stop",
                                                "/etc/init.d/smb restart"};
static constexpr int kRestart = 2;
static constexpr int kRewriteAndReload = 3;

// Users and groups of a domain controller: the list file and what fills it.
struct ControllerList {
  const char* file;
  const char* fetch;
  int refresh;  // action number of /sbin/setnas
};
static constexpr ControllerList controllerUsers = {"/etc/samba/pdcusers", "/bin/listpdcusers", 600};
static constexpr ControllerList controllerGroups = {"/etc/samba/pdcgroups", "/bin/listpdcgroups", 700};

extern "C" {
char servicesf[1024] = "/etc/samba/smb.conf";

int cifs_vslprintf(char* buffer, int max, const char* format, va_list arguments) {
  if (buffer == nullptr || max < 0) return -1;
  const int length = std::vsnprintf(buffer, static_cast<std::size_t>(max) + 1, format, arguments);
  if (length < 0 || length > max) {
    buffer[max] = '\0';
    return -1;
  }
  return length;
}

int cifs_slprintf(char* buffer, int max, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = cifs_vslprintf(buffer, max, format, arguments);
  va_end(arguments);
  return length;
}

int cifsGetProcessPid(const char* name) {
  char path[kPidPathSize];
  (void)cifs_slprintf(path, kPidPathSize - 1, "%s/%s.pid", kPidDirectory, name);
  const int fd = open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return 0;
  char text[20] = {};
  if (read(fd, text, sizeof text - 1) < 1) (void)nas1_log(kError, kLogCifs, "read pidfile error!");
  (void)close(fd);
  return std::atoi(text);
}

void ReadAllShareFromDB(std::FILE* stream) {
  const AllShares shares(kUnit, __LINE__);
  if (shares.counted < 0) {
    (void)nas1_log(kError, kLogCifs, "get share count fail");
    return;
  }
  // Reading the key also stores its default; the list is the same with and without access control lists.
  int aclEnabled = 0;
  (void)NasGetConfig("ACL_ENABLED", sizeof aclEnabled, &aclEnabled, nullptr);

  (void)std::fputs("# Samba config file created through Zelmar APIs(11-19-2001).\n", stream);
  // Nobody else writes to the stream: taking its lock for every word would cost a third of the rewrite.
  forEachShare(shares, [stream](const ShareInfo* share) {
    for (const char* const text :
         {"[", share->name, "]\n    comment = ", share->comment, "\n    path = ", sharePath(share), "\n\n"}) {
      (void)fputs_unlocked(text, stream);
    }
  });
}
}

// Rewrites the share list and lets Samba read it again, which drops no session.
static int rewriteAndReload() {
  std::FILE* const file = std::fopen(servicesf, "we");
  if (file == nullptr) {
    (void)nas1_log(kError, kLogCifs, "failed to open %s for writing", servicesf);
    return -1;
  }
  (void)std::setvbuf(file, nullptr, _IOFBF, kWriteBytes);
  ReadAllShareFromDB(file);
  (void)std::fclose(file);
  (void)Nas1System("/etc/init.d/smb reload");
  return 1;
}

// Runs a program on a controller's name. Returns 0 when it succeeded, else -1.
static int runOnController(const char* program, const char* controller) {
  if (controller == nullptr) return -1;
  return runCommand(kUnit, __LINE__, "%s \"%s\" >/dev/null", program, controller) == 0 ? 0 : -1;
}

static int refresh(const ControllerList& list, const char* controller) {
  return runCommand(kUnit, __LINE__, "/sbin/setnas %d 1 \"%s\" >/dev/null", list.refresh, controller) == 0 ? 0 : -1;
}

// Lists accounts of a list file as items; a negative count refreshes the file and counts.
template <typename Item>
static int listItems(const ControllerList& list, int start, int count, void* buffer, int size) {
  char controller[NAS_NAME_SIZE + 1] = {};
  const bool configured = Nas1GetConfig(CONFIG_CIFS_PDC_NAME, NAS_NAME_SIZE, controller, nullptr) >= 0;
  if (configured && count < 0 && refresh(list, controller) != 0) return -1;
  if (count < 0) return nameListCount(list.file, 0);
  return nameListItems<Item>(list.file, start, count, buffer, size,
                             [](Item* item, const char* name) { describeRemote(item, PROTO_CIFS, name); });
}

extern "C" {
int cifsRestart(int mode) {
  const int smbd = cifsGetProcessPid("smbd");
  const int nmbd = cifsGetProcessPid("nmbd");
  // Kept: also "start" is for a Samba that runs; nothing here brings up one that is down.
  if (smbd == 0 || nmbd == 0) return 0;
  if (mode == kRewriteAndReload) return rewriteAndReload();
  if (mode >= 0 && mode <= kRestart) (void)Nas1System(kInitCommands[mode]);
  return 1;
}

int cifsDbUpdate() { return cifsRestart(kRewriteAndReload); }

int cifsShareAdd(const char* /*name*/, const char* /*comment*/, const char* /*path*/) {
  return cifsRestart(kRewriteAndReload);
}

int cifsShareDel(const char* /*name*/) { return cifsRestart(kRewriteAndReload); }

int cifsShareMod(const char* /*name*/, const char* /*comment*/, const char* /*path*/) {
  return cifsRestart(kRewriteAndReload);
}

int cifsNetDisconnect(int /*unused*/, int pid) {
  (void)Nas1DelConnection(PROTO_CIFS, pid);
  // A PID that is not positive would signal whole process groups.
  if (pid > 0) (void)kill(pid, SIGTERM);
  return 0;
}

int cifsSetConfig(int id, int /*size*/, void* /*value*/) {
  switch (id) {
    case CONFIG_CIFS_SERVER_NAME:
      (void)!std::system("/sbin/set_hostname.sh");
      [[fallthrough]];
    case CONFIG_CIFS_GROUP_NAME:
    case CONFIG_CIFS_CODE_PAGE:
    case CONFIG_CIFS_SERVER_COMMENT:
    case CONFIG_CIFS_SHARE_MODE:
    case CONFIG_CIFS_ENABLED:
    case CONFIG_CODING_SYSTEM:
    case CONFIG_CIFS_PDC_NAME:
      (void)cifsRestart(kRestart);
      return 0;
    default:
      return 0;
  }
}

int cifsGetUserList(int start, int count, void* buffer, int size) {
  return listItems<UserItem>(controllerUsers, start, count, buffer, size);
}

int cifsGetGroupList(int start, int count, void* buffer, int size) {
  return listItems<GroupItem>(controllerGroups, start, count, buffer, size);
}

int cifsCheckPDCExist(const char* name) { return runOnController("/bin/probepdc", name); }

int cifsGetUserListFromPDC(char* name) { return runOnController(controllerUsers.fetch, name); }

int cifsGetGroupListFromPDC(const char* name) { return runOnController(controllerGroups.fetch, name); }

int cifsGetUserListCountInPDC() { return nameListCount(controllerUsers.file, 0); }

int cifsGetGroupListCountInPDC() { return nameListCount(controllerGroups.file, 0); }

int cifsShowUserListInPDC(char** names) {
  return names != nullptr && nameListShow(controllerUsers.file, names) ? 0 : -1;
}

int cifsShowGroupListInPDC(char** names) {
  return names != nullptr && nameListShow(controllerGroups.file, names) ? 0 : -1;
}

int cifsListConnection() { return 0; }

int cifsShareSetPassword() { return 0; }
}
