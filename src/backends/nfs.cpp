#include "backends/nfs.h"

#include <algorithm>
#include <cstring>

#include "api/nas1api.h"
#include "backends/init_command.h"
#include "backends/nfs_exports.h"
#include "backends/nis_client.h"
#include "config/numeric_config.h"
#include "config/stored_values.h"
#include "events/event_log.h"

static constexpr const char* initCommands[] = {"/etc/rc.d/init.d/nfs start", "/etc/rc.d/init.d/nfs stop",
                                               "/etc/rc.d/init.d/nfs restart"};

enum class Snapshots { leftOut, appended };

// Rewrites the exports and makes the server read them again, which a restart would do at the cost of its clients.
static int renewExports(Snapshots snapshots, const char* failure) {
  (void)Nas1System("cp -f /etc/exports /etc/exports.bak");
  if (Update_Export_Conf() < 0) {
    (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_NFS, "%s", failure);
    return -1;
  }
  if (snapshots == Snapshots::appended) (void)SnapShareAppend();
  (void)Nas1System("/usr/sbin/exportfs -ra");
  return 0;
}

// Hands a configuration text on with a NUL, which the value may lack.
static int withText(int (*change)(const char* text), int size, const void* value) {
  char text[kNisTextSize] = {};
  std::memcpy(text, value,
              strnlen(static_cast<const char*>(value), std::min(static_cast<std::size_t>(size), sizeof text - 1)));
  return change(text);
}

static void readText(ConfigId id, char (&text)[kNisTextSize]) {
  std::memset(text, 0, sizeof text);
  (void)Nas1GetConfig(id, sizeof text, text, nullptr);
  text[sizeof text - 1] = '\0';
}

extern "C" {
int nfsRestart(int how) { return runInitCommand(initCommands, how); }

int nfsDbUpdate() { return renewExports(Snapshots::appended, "nfsDbUpdate failed!"); }

int nfsShareAdd(const char* /*name*/, const char* /*comment*/, const char* /*path*/) {
  return renewExports(Snapshots::appended, "nfsShareAdd failed!");
}

// Kept: only an add and a full update bring the snapshots' exports back.
int nfsShareDel(const char* /*name*/) { return renewExports(Snapshots::leftOut, "nfsShareDel failed!"); }

int nfsShareMod(const char* /*name*/, const char* /*comment*/, const char* /*path*/) {
  return renewExports(Snapshots::leftOut, "nfsShareMod failed!");
}

int nfsShareSetPermittedNfs() { return renewExports(Snapshots::leftOut, "nfsShareSetPermittedNfs failed!"); }

int nfsSysEvent(int /*code*/, const void* /*argument*/) { return 0; }

int nfsAddPermittedItem() { return 0; }

int nfsDelPermittedItem() { return 0; }

int nfsEnable_NFS(int flag) {
  (void)Nas1System("/etc/init.d/nfs stop");
  if (flag == 0) {
    nisStop();
    return 0;
  }
  (void)Nas1System("/etc/init.d/nfs start");
  char server[kNisTextSize];
  readText(CONFIG_NFS_NIS_SERVER_NAME, server);
  if (server[0] == '\0') return 0;
  char domain[kNisTextSize];
  readText(CONFIG_NFS_DOMAIN_NAME, domain);
  // The client binds to the domain that is set when it starts.
  nisStop();
  nisSetDomain(domain);
  nisStart();
  return 0;
}

int nfsEnable_share_mode(int mode) {
  nisStop();
  if (mode != 0) nisStart();
  return 0;
}

int nfsSetConfig(int id, int size, void* value) {
  const bool given = value != nullptr && size > 0;
  switch (id) {
    case CONFIG_NFS_NIS_SERVER_NAME:
      return given ? withText(nfsSave_nis_server_name, size, value) : -1;
    case CONFIG_NFS_SHARE_MODE:
      return given ? nfsEnable_share_mode(static_cast<int>(integerIn(size, value))) : -1;
    case CONFIG_NFS_ENABLED:
      return given ? nfsEnable_NFS(static_cast<int>(integerIn(size, value))) : -1;
    case CONFIG_NFS_DOMAIN_NAME:
      return given ? withText(nfsSet_host_domain_name, size, value) : -1;
    default:
      return 0;
  }
}
}
