#include "backends/ncp.h"

#include <cctype>
#include <csignal>
#include <cstdio>

#include "accounts/account_items.h"
#include "api/nas1api.h"
#include "backends/init_command.h"
#include "backends/name_list_file.h"
#include "config/numeric_config.h"
#include "core/command.h"
#include "events/event_log.h"

static constexpr char kUnit[] = "ncp.cpp";

static constexpr const char* kInitCommands[] = {"/etc/rc.d/init.d/mars start", "/etc/rc.d/init.d/mars stop",
                                                "/etc/rc.d/init.d/mars restart"};
static constexpr int kRestart = 2;

static constexpr char kUserList[] = "/mnt/param/nw/binderyuser";
static constexpr char kGroupList[] = "/mnt/param/nw/binderygroup";
static constexpr char kFetchScript[] = "/usr/sbin/nwgetlistfrBind.sh";
static constexpr char kClient[] = "/usr/sbin/nwclient";

// What the fetch script leaves: a line for the client's own address and one for the server's, each beginning with the
// digits of network and node. The sockets are fixed.
static constexpr char kAddressFile[] = "/mnt/param/nw/ipxaddr_temp";
static constexpr int kAddressDigits = 20;
static constexpr char kClientSocket[] = "1999";
static constexpr char kServerSocket[] = "0451";

// An IPX address as the client program takes it: network, node and socket as dotted byte pairs.
static constexpr char kAddressShape[] = "##.##.##.##:##.##.##.##.##.##:##.##";
struct IpxAddress {
  char text[sizeof kAddressShape];
};

// Reads an address of the file's next line; false when the line does not hold one.
static bool readAddress(std::FILE* file, const char* socket, IpxAddress* address) {
  char line[kListLineSize];
  if (!readListLine(file, line)) return false;
  for (int i = 0; i < kAddressDigits; ++i) {
    // The digits go on a command line.
    if (std::isxdigit(static_cast<unsigned char>(line[i])) == 0) return false;
  }
  int digit = 0;
  for (std::size_t i = 0; i < sizeof kAddressShape; ++i) {
    const bool isDigit = kAddressShape[i] == '#';
    address->text[i] =
        isDigit ? (digit < kAddressDigits ? line[digit] : socket[digit - kAddressDigits]) : kAddressShape[i];
    if (isDigit) ++digit;
  }
  return true;
}

static bool readAddresses(IpxAddress* client, IpxAddress* server) {
  std::FILE* const file = std::fopen(kAddressFile, "re");
  if (file == nullptr) return false;
  const bool complete = readAddress(file, kClientSocket, client) && readAddress(file, kServerSocket, server);
  (void)std::fclose(file);
  return complete;
}

static int runFetchScript(const char* server) {
  return runCommand(kUnit, __LINE__, "%s %s > /dev/null", kFetchScript, server);
}

static int refreshUsers(char* server) { return ncpGetUserListFromBindery(server); }

// Kept: groups are left by the script alone, without the client program, and their message has no leading blank.
static int refreshGroups(char* server) {
  if (runFetchScript(Nas1UpStr(server)) == 0) return 0;
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_NCP, "IPX address or Server Name error");
  return -1;
}

// Lists accounts of a list file as items; a negative count refreshes the file and counts.
template <typename Item>
static int listItems(const char* file, int (*refresh)(char* server), int start, int count, void* buffer, int size) {
  char server[NAS_NAME_SIZE + 1] = {};
  const bool configured = Nas1GetConfig(CONFIG_NCP_BINDERY_SERVER_NAME, NAS_NAME_SIZE, server, nullptr) >= 0;
  if (configured && count < 0 && refresh(server) != 0) return -1;
  if (count < 0) return nameListCount(file, -1);
  return nameListItems<Item>(file, start, count, buffer, size,
                             [](Item* item, const char* name) { describeRemote(item, PROTO_NCP, name); });
}

extern "C" {
int ncpRestart(int mode) { return runInitCommand(kInitCommands, mode); }

int ncpShareAdd(const char* /*name*/, const char* /*comment*/, const char* /*path*/) { return 0; }

int ncpShareDel(const char* /*name*/) { return 0; }

int ncpShareMod(const char* /*name*/, const char* /*comment*/, const char* /*path*/) { return 0; }

int ncpListConnection(int /*start*/, int /*count*/, void* /*buffer*/, int /*size*/) { return 0; }

int ncpSysEvent(int /*code*/, const void* /*argument*/) { return 0; }

int ncpNetDisconnect(int /*unused*/, int pid) {
  (void)Nas1DelConnection(PROTO_NCP, pid);
  // A PID that is not positive would signal whole process groups.
  if (pid > 0) (void)kill(pid, SIGTERM);
  return 0;
}

int ncpSetConfig(int id, int /*size*/, void* /*value*/) {
  switch (id) {
    case CONFIG_NCP_SERVER_NAME:
    case CONFIG_NCP_BINDERY_SERVER_NAME:
    case CONFIG_NCP_SHARE_MODE:
    case CONFIG_NCP_ENABLED:
    case CONFIG_NCP_BINDERY_ADMIN_NAME:
    case CONFIG_NCP_BINDERY_ADMIN_PASSWORD:
      return ncpRestart(kRestart);
    default:
      return 0;
  }
}

int ncpGetUserList(int start, int count, void* buffer, int size) {
  return listItems<UserItem>(kUserList, refreshUsers, start, count, buffer, size);
}

int ncpGetGroupList(int start, int count, void* buffer, int size) {
  return listItems<GroupItem>(kGroupList, refreshGroups, start, count, buffer, size);
}

int ncpGetUserListFromBindery(char* server) {
  if (server == nullptr) return -1;
  if (runFetchScript(Nas1UpStr(server)) != 0) {
    (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_NCP, " IPX address or Server Name error");
    return -1;
  }
  IpxAddress client;
  IpxAddress bindery;
  if (!readAddresses(&client, &bindery)) return -1;
  if (runCommand(kUnit, __LINE__, "%s %s %s > /dev/null", kClient, client.text, bindery.text) == 0) return 0;
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_NCP, "Connect to Bindery Server failed");
  return -1;
}

int ncpGetGroupListFromBindery(const char* /*server*/) { return 0; }

int ncpGetUserListCountInBindery() { return nameListCount(kUserList, -1); }

int ncpGetGroupListCountInBindery() { return nameListCount(kGroupList, -1); }

int ncpShowUserListInBindery(char** names) { return names != nullptr && nameListShow(kUserList, names) ? 1 : 0; }

int ncpShowGroupListInBindery(char** names) { return names != nullptr && nameListShow(kGroupList, names) ? 1 : 0; }
}
