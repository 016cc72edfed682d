#include "backends/afp.h"

#include <syslog.h>

#include <csignal>
#include <cstdio>

#include "api/nas1api.h"
#include "backends/generated_file.h"
#include "backends/init_command.h"
#include "config/numeric_config.h"
#include "events/event_log.h"
#include "share/share_database.h"
#include "share/share_walk.h"

static constexpr char kUnit[] = "afp.cpp";

static constexpr char kVolumeList[] = "/etc/atalk/AppleVolumes.default";

static constexpr const char* kInitCommands[] = {"/etc/init.d/atalk start", "/etc/init.d/atalk stop",
                                                "/etc/init.d/atalk restart", "/etc/init.d/atalk reload"};
static constexpr int kRestart = 2;
static constexpr int kReload = 3;

static int failed(unsigned level, const char* message) {
  (void)nas1_log(level, LOG_CATEGORY_AFP, "%s", message);
  return -1;
}

extern "C" {
int afpRestart(int how) { return runInitCommand(kInitCommands, how); }

int afpUpdateAppleVolumes() {
  // Reading the key also stores its default; the list is the same in every mode.
  int shareMode = 0;
  (void)Nas1GetConfig(CONFIG_AFP_SHARE_MODE, sizeof shareMode, &shareMode, nullptr);

  LockedFile volumes(kVolumeList, FileUse::rewriting);
  const AllShares shares(kUnit, __LINE__);
  if (shares.counted < 0) return failed(LOG_LEVEL_INFO, "Nas1ShareCountSize error");
  if (shares.none()) return 0;
  if (shares.outOfMemory) return failed(LOG_LEVEL_ERR, "Not enough mem available!");
  if (shares.listed < 0) return failed(LOG_LEVEL_ERR, "Nas1ShareList failed!");
  if (!volumes.startOver()) return -1;
  forEachShare(shares, [&](const ShareInfo* share) {
    (void)std::fprintf(volumes.file, "\"%s\" \"%s\" options:usedots\n", sharePath(share), share->name);
  });
  return volumes.finish() ? 0 : -1;
}

int afpDbUpdate() { return afpUpdateAppleVolumes(); }

int afpShareAdd(const char* /*name*/, const char* /*comment*/, const char* /*path*/) { return afpUpdateAppleVolumes(); }

int afpShareDel(const char* /*name*/) { return afpUpdateAppleVolumes(); }

int afpShareMod(const char* /*name*/, const char* /*comment*/, const char* /*path*/) { return afpUpdateAppleVolumes(); }

int afpListConnection(int /*start*/, int /*count*/, void* /*buffer*/, int /*size*/) { return 0; }

int afpNetDisconnect(int /*unused*/, int pid) {
  (void)Nas1DelConnection(PROTO_AFP, pid);
  syslog(LOG_ERR, "%s:%d kill -%d %d", kUnit, __LINE__, SIGKILL, pid);
  // A PID that is not positive would signal whole process groups.
  return pid > 0 ? kill(pid, SIGKILL) : -1;
}

int afpSetConfig(int id, int /*size*/, void* /*value*/) {
  switch (id) {
    case CONFIG_AFP_SHARE_MODE:
      // A list that could not be written is no reason to keep the server from reading what is there.
      (void)afpUpdateAppleVolumes();
      [[fallthrough]];
    // Kept: another CIFS name reloads this server as well.
    case CONFIG_CIFS_SERVER_NAME:
    case CONFIG_AFP_SERVER_NAME:
    case CONFIG_AFP_RELAY_SERVER_NAME:
      (void)afpRestart(kReload);
      return 0;
    case CONFIG_AFP_ENABLED:
      // Kept: also switching the server off runs the restart, not the stop.
      (void)afpRestart(kRestart);
      return 0;
    default:
      return 0;
  }
}

int afpSysEvent(int /*code*/, const void* /*argument*/) { return 0; }
}
