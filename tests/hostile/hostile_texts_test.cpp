// Hostile texts in every text parameter of the public calls: the result is one of those documented, a shell sees the
// text only where a command is documented to hold it, and then byte for byte, and nothing is written anywhere else.

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "backends/cifs.h"
#include "backends/ncp.h"
#include "backends/nis_client.h"
#include "config/numeric_config.h"
#include "frame/appliance.h"
#include "share/volumes.h"
#include "status/disks.h"

namespace fs = std::filesystem;

namespace {

constexpr char kCanary[] = "/var/tmp/canary";

Lines ran;            // what went to a shell
bool really = false;  // whether commands run

// Commands do run where the text could start something that nothing documents; what holds the text by rule does not.
bool mayRun(const char* command) { return really && std::strstr(command, kCanary) == nullptr; }

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int Nas1System(const char* command) {
  ran.emplace_back(command == nullptr ? "(null)" : command);
  // A spool file has a name of its own each time.
  static constexpr char kSpool[] = "/var/spool/NAS1";
  if (const std::size_t at = ran.back().find(kSpool); at != std::string::npos) {
    ran.back().replace(at + std::strlen(kSpool), 6, "XXXXXX");
  }
  return command != nullptr && mayRun(command) ? next<int(const char*)>("Nas1System")(command) : 0;
}
extern "C" int system(const char* command) {
  ran.emplace_back(command);
  return mayRun(command) ? next<int(const char*)>("system")(command) : 0;
}
extern "C" FILE* popen(const char* command, const char* mode) {
  ran.emplace_back(command);
  return next<FILE*(const char*, const char*)>("popen")(mayRun(command) ? command : "true", mode);
}

namespace {

struct Row {
  const char* name;
  int (*call)(char* text);
  int longest;           // characters of the longest text that is not refused; 0 for no limit
  const char* empty;     // what an empty text gives: "-1", "0", "abort"
  bool trims;            // blanks around it do not count
  const char* commands;  // those that run, a line each: @ the text, ` as it stands in quotes, ~ as the call left it;
                         // null where none holds the text
};

char out[8192];
int ignored;

// A field of a record, all of it where nothing is kept free for a NUL.
template <std::size_t N>
void fill(char (&field)[N], const char* text, std::size_t free = 0) {
  std::memcpy(field, text, strnlen(text, N - free));
}

UserItem userOf(const char* name) {
  UserItem item = {};
  item.size = sizeof item;
  fill(item.name, name);
  return item;
}
GroupItem groupOf(const char* name) {
  GroupItem item = {};
  item.size = sizeof item;
  fill(item.name, name);
  return item;
}
PermittedItem itemOf(const char* name) {
  PermittedItem item = {};
  fill(item.name, name);
  return item;
}
ModuleRecord moduleOf(const char* name, const char* command) {
  ModuleRecord module = {};
  fill(module.description, name, 1);
  fill(module.removalCommand, command, 1);
  return module;
}
int permitHost(const char* share, const char* host) {
  std::string block(sizeof(NfsHostEntry) + std::strlen(host), '\0');
  auto* const entry = reinterpret_cast<NfsHostEntry*>(block.data());
  entry->size = static_cast<uint32_t>(block.size());
  std::strcpy(entry->host, host);
  return Nas1ShareSetPermittedNfs(share, 1, entry);
}
int setById(int id, char* text) { return Nas1SetConfig(id, static_cast<int>(std::strlen(text)) + 1, text); }
int setByName(const char* key, const char* text) {
  return NasSetConfig(key, static_cast<int>(std::strlen(text)) + 1, text);
}

#define ON_DIRECTORY(what) "[ -a /var/lock/zelmar_builduser ] || " what "\"`\""
#define YP_CONF "cp -f /etc/yp.conf /etc/yp.conf.bak\n/etc/init.d/ypbind stop\n/etc/init.d/ypbind start"
#define MAKE_DIRECTORY ON_DIRECTORY("mkdir -p ") "\n" ON_DIRECTORY("chown 32767 ") "\n" ON_DIRECTORY("chmod 755 ")
constexpr char kMakeDirectory[] = MAKE_DIRECTORY;
constexpr char kMakeDirectoryAndExport[] =
    MAKE_DIRECTORY "\ncp -f /etc/exports /etc/exports.bak\n/usr/sbin/exportfs -ra";
constexpr int kTimeZone = 26;

// clang-format off
const Row rows[] = {
    {"CheckLength",            [](char* t) { return static_cast<int>(Nas1CheckLength(t, 1 << 20)); }, 0, "0", false, nullptr},
    {"Remove_ht_space",        [](char* t) { Nas1Remove_ht_space(t); return 0; },                    0, "0", false, nullptr},
    {"UpStr",                  [](char* t) { return Nas1UpStr(t) == t ? 0 : -1; },                   0, "0", false, nullptr},
    {"GetServiceInstall",      [](char* t) { return NasGetServiceInstall(t) - 1; },                  0, "0", false,
     "cat /etc/service.zelmar | grep '^@' | awk -F '=' '{print $2}' | grep 'yes' > /dev/null"},
    {"System",                 [](char* t) { return Nas1System(t); },                                0, "0", false, "@"},

    {"GetConfig key",          [](char* t) { return NasGetConfig(t, 64, out, &ignored); },           0, "-1", false, nullptr},
    {"SetConfig key",          [](char* t) { return NasSetConfig(t, 4, "abc"); },                    0, "-1", false, nullptr},
    {"comment by name",        [](char* t) { return setByName("CIFS_SERVER_COMMENT", t); },          0, "0", false, nullptr},
    {"server name by name",    [](char* t) { return setByName("CIFS_SERVER_NAME", t); },             0, nullptr, false, nullptr},
    {"time zone by name",      [](char* t) { return setByName("TIME_ZONE", t); },                    0, "0", false, nullptr},
    {"NTP server by name",     [](char* t) { return setByName("NTP_SERVER_1", t); },                 0, "0", false, nullptr},
    {"name server by name",    [](char* t) { return setByName("IP_DNS", t); },                       0, "0", false, nullptr},
    {"SendMailDelFile",        [](char* t) { return Nas1SendMailDelFile(10, nullptr, t); },          0, "0", false, "cat /etc/service.zelmar | grep '^sender_address' | awk -F '=' '{print $2}' | grep 'yes' > /dev/null\n/etc/nas1mail /var/spool/NAS1XXXXXX \",\" \"@\" &"},
    {"password by name",       [](char* t) { return setByName("ADMIN_PASSWORD", t); },               0, "0", false, nullptr},
    {"mail address by name",   [](char* t) { (void)setByName("ADMIN_EMAIL", t); return 0; },         0, "0", false, nullptr},
    {"comment by number",      [](char* t) { return setById(CONFIG_CIFS_SERVER_COMMENT, t); },       0, "0", true, nullptr},
    {"community by number",    [](char* t) { return setById(CONFIG_SNMP_RO_COMM, t); },              0, "0", true, nullptr},
    {"bindery by number",      [](char* t) { return setById(CONFIG_NCP_BINDERY_SERVER_NAME, t); },   0, "0", true, nullptr},
    {"time zone by number",    [](char* t) { return setById(kTimeZone, t); },                        0, "0", true, "/usr/sbin/timeconfig @"},
    {"NTP server by number",   [](char* t) { return setById(CONFIG_NTP_SERVER_1, t); },              0, "0", true, nullptr},
    {"NIS domain",             [](char* t) { return nfsSet_host_domain_name(t); },                   0, nullptr, false, "domainname @\n" YP_CONF},
    {"NIS server",             [](char* t) { return nfsSave_nis_server_name(t); },                   0, nullptr, false, "domainname \n" YP_CONF},
    {"GetSnapshotConfig",      [](char* t) { return Nas1GetSnapshotConfig(t, reinterpret_cast<uint32_t*>(out)); }, 0, "0", false, nullptr},
    {"SetSnapshotConfig",      [](char* t) { const uint32_t words[5] = {}; return Nas1SetSnapshotConfig(t, words); }, 0, nullptr, false, "/sbin/takecron snapshot @"},
    {"GetProductConfig",       [](char* t) { return Nas1GetProductConfig(t, out); },                 0, "0", false, nullptr},
    {"SetProductConfig key",   [](char* t) { return Nas1SetProductConfig(t, 2, "x"); },              0, nullptr, false, nullptr},
    {"SetProductConfig text",  [](char* t) { return Nas1SetProductConfig("COLOUR", static_cast<int>(std::strlen(t)) + 1, t); }, 0, "0", false, nullptr},

    {"ShareAdd name",          [](char* t) { return Nas1ShareAdd(t, "", "/volume/v1/x"); },          31, "abort", true, nullptr},
    {"ShareAdd comment",       [](char* t) { char n[] = "C"; (void)Nas1ShareDel(n); return Nas1ShareAdd(n, t, "/volume/v1/x"); }, 63, "0", false, nullptr},
    {"ShareAdd path",          [](char* t) { char n[] = "P"; return Nas1ShareAdd(n, "", t); },       0, "-1", false, kMakeDirectory},
    {"ShareMod name",          [](char* t) { return Nas1ShareMod(t, "", "/volume/v1/x"); },          0, "-1", false, nullptr},
    {"ShareMod comment",       [](char* t) { return Nas1ShareMod("S1", t, "/volume/v1/x"); },        63, "0", false, nullptr},
    {"ShareMod path",          [](char* t) { return Nas1ShareMod("S1", "", t); },                    0, nullptr, false, kMakeDirectoryAndExport},
    {"GetShareInfo",           [](char* t) { return Nas1GetShareInfo(t, out, sizeof out); },         0, "-1", false, nullptr},
    {"GetShareInfoSize",       [](char* t) { return std::min(Nas1GetShareInfoSize(t), 0); },         0, "-1", false, nullptr},
    {"ShareGetPassword",       [](char* t) { return Nas1ShareGetPassword(t, 1, out); },              0, "-1", false, nullptr},
    {"ShareSetPassword name",  [](char* t) { return Nas1ShareSetPassword(t, 1, "x"); },              0, "-1", false, nullptr},
    {"ShareSetPassword text",  [](char* t) { return Nas1ShareSetPassword("S1", 1, t); },             31, "0", false, nullptr},
    {"ShareGetConfig name",    [](char* t) { return NasShareGetConfig(t, "ro_passwd", 32, out, &ignored); }, 0, "-1", false, nullptr},
    {"ShareGetConfig type",    [](char* t) { return NasShareGetConfig("S1", t, 32, out, &ignored); }, 0, "-2", false, nullptr},
    {"ShareSetConfig name",    [](char* t) { return NasShareSetConfig(t, "ro_passwd", 2, "x"); },    0, "-1", false, nullptr},
    {"ShareSetConfig type",    [](char* t) { return NasShareSetConfig("S1", t, 2, "x"); },           0, "-2", false, nullptr},
    {"ShareSetConfig text",    [](char* t) { return NasShareSetConfig("S1", "ro_passwd", 0, t); },   0,  "0", false, nullptr},
    {"ShareDel",               [](char* t) { return Nas1ShareDel(t); },                              0, "-1", false, nullptr},
    {"SysMkdir",               [](char* t) { return Nas1SysMkdir(t); },                              0, "abort", false, kMakeDirectory},
    {"SysRmdir",               [](char* t) { return NasSysRmdir(t); },                               0, "abort", false, ON_DIRECTORY("rm -rf ")},

    {"AddPermittedItem share", [](char* t) { const PermittedItem i = itemOf("U"); return Nas1AddPermittedItem(t, 1, &i); }, 0, "-1", false, nullptr},
    {"AddPermittedItem name",  [](char* t) { const PermittedItem i = itemOf(t); return Nas1AddPermittedItem("S1", 1, &i); }, 31, nullptr, false, nullptr},
    {"DelPermittedItem share", [](char* t) { return Nas1DelPermittedItem(t, 1, "U"); },              0, nullptr, false, nullptr},
    {"DelPermittedItem name",  [](char* t) { return Nas1DelPermittedItem("S1", 1, t); },             0, nullptr, false, nullptr},
    {"DelPermittedItemEx",     [](char* t) { return Nas1DelPermittedItemEx("S1", 1, t, 1); },        0, nullptr, false, nullptr},
    {"CheckPermission share",  [](char* t) { return Nas1CheckPermission(t, 1, "ALICE", nullptr); },  0, "-1", false, nullptr},
    {"CheckPermission user",   [](char* t) { return Nas1CheckPermission("S1", 1, t, nullptr); },     0, nullptr, false, nullptr},
    {"CheckPermission groups", [](char* t) { const char* g[] = {t, nullptr}; return Nas1CheckPermission("S1", PROTO_AFP, "ALICE", g); }, 0, nullptr, false, nullptr},
    {"CheckPermission AFP",    [](char* t) { return Nas1CheckPermission("S1", PROTO_AFP, t, nullptr); }, 0, nullptr, false, nullptr},
    {"PermittedItemsCount",    [](char* t) { return -(Nas1GetPermittedItemsCount(t, 1) > 50); },     0, "0", false, nullptr},
    {"ListPermittedItems",     [](char* t) { return -(Nas1ListPermittedItems(t, 1, 0, 9, reinterpret_cast<PermittedItem*>(out), sizeof out) > 9); }, 0, "0", false, nullptr},
    {"SetPermittedList share", [](char* t) { const PermittedItem i = itemOf("U"); return Nas1SetPermittedList(t, 1, 1, &i); }, 0, nullptr, false, nullptr},
    {"SetPermittedList name",  [](char* t) { const PermittedItem i = itemOf(t); return Nas1SetPermittedList("S1", 1, 1, &i); }, 0, "0", false, nullptr},
    {"PermittedNfsSize",       [](char* t) { return Nas1ShareGetPermittedNfsSize(t, &ignored, &ignored); }, 0, "-1", false, nullptr},
    {"GetPermittedNfs",        [](char* t) { return -(Nas1ShareGetPermittedNfs(t, 9, out, sizeof out) > 9); }, 0, "0", false, nullptr},
    {"SetPermittedNfs share",  [](char* t) { return permitHost(t, "h"); },                           0, "-1", false, nullptr},
    {"SetPermittedNfs host",   [](char* t) { return permitHost("S1", t); },                          0, "0", false, nullptr},

    {"GetUserItem",            [](char* t) { return Nas1GetUserItem(1, t, out, &ignored); },         31, nullptr, false, nullptr},
    {"GetGroupItem",           [](char* t) { return Nas1GetGroupItem(1, t, out, &ignored); },        31, nullptr, false, nullptr},
    {"CheckUserItem",          [](char* t) { return Nas1CheckUserItem(1, t, out, &ignored); },       31, nullptr, false, nullptr},
    {"CheckGroupItem",         [](char* t) { return Nas1CheckGroupItem(1, t, out, &ignored); },      31, nullptr, false, nullptr},
    {"SetUserItem",            [](char* t) { const UserItem i = userOf(t); return Nas1SetUserItem(&i); }, 0, nullptr, false, nullptr},
    {"SetGroupItem",           [](char* t) { const GroupItem i = groupOf(t); return Nas1SetGroupItem(&i); }, 0, nullptr, false, nullptr},
    {"AddUser name",           [](char* t) { return Nas1AddUser(0, t, "x"); },                       31, "-1", true, nullptr},
    {"AddUser password",       [](char* t) { char n[] = "U9"; (void)Nas1DelUser(0, n); return Nas1AddUser(0, n, t); }, 31, "0", false, nullptr},
    {"AddUser remote",         [](char* t) { return Nas1AddUser(1, t, "x"); },                       31, "-1", false, nullptr},
    {"AddGroup name",          [](char* t) { return Nas1AddGroup(0, t, nullptr); },                  31, "-1", true, nullptr},
    {"AddGroup unused",        [](char* t) { char n[] = "G9"; (void)Nas1DelGroup(0, n); return Nas1AddGroup(0, n, t); }, 0, "0", false, nullptr},
    {"GetUserPasswd",          [](char* t) { return Nas1GetUserPasswd(0, t, out, 32); },             0, "-1", false, nullptr},
    {"SetUserPasswd name",     [](char* t) { return Nas1SetUserPasswd(0, t, "x"); },                 0, "-1", false, nullptr},
    {"SetUserPasswd text",     [](char* t) { char n[] = "ALICE"; return Nas1SetUserPasswd(0, n, t); }, 0, "0", false, nullptr},
    {"GetUserConfig name",     [](char* t) { return NasGetUserConfig(t, "home", 32, out, &ignored); }, 0, "-1", false, nullptr},
    {"GetUserConfig type",     [](char* t) { return NasGetUserConfig("ALICE", t, 32, out, &ignored); }, 0, "-1", false, nullptr},
    {"SetUserConfig name",     [](char* t) { return NasSetUserConfig(t, "passwd", 2, "x"); },        0, "-1", false, nullptr},
    {"SetUserConfig type",     [](char* t) { return NasSetUserConfig("ALICE", t, 2, "x"); },         0, "-1", false, nullptr},
    {"SetUserConfig text",     [](char* t) { return NasSetUserConfig("ALICE", "passwd", 0, t); },    0, "0", false, nullptr},
    {"JoinGroup user",         [](char* t) { char g[] = "STAFF"; return Nas1JoinGroup(0, t, g); },   0, "-1", false, nullptr},
    {"JoinGroup group",        [](char* t) { char u[] = "ALICE"; return Nas1JoinGroup(0, u, t); },   0, "-1", false, nullptr},
    {"LeaveGroup user",        [](char* t) { char g[] = "STAFF"; return Nas1LeaveGroup(0, t, g); },  0, "-1", false, nullptr},
    {"LeaveGroup group",       [](char* t) { char u[] = "ALICE"; return Nas1LeaveGroup(0, u, t); },  0, "-1", false, nullptr},
    {"SetPrimaryGroup user",   [](char* t) { return Nas1SetPrimaryGroup(0, t, "STAFF"); },           0, "-1", false, nullptr},
    {"SetPrimaryGroup group",  [](char* t) { return Nas1SetPrimaryGroup(0, "ALICE", t); },           0, nullptr, false, nullptr},
    {"ListGroupMembersCount",  [](char* t) { return std::min(Nas1ListGroupMembersCount(t, 0), 0); }, 0, "-1", false, nullptr},
    {"ListUserGroups",         [](char* t) { return std::min(Nas1ListUserGroups(t, 0, 0, 16, out, sizeof out), 0); }, 0, "0", false, nullptr},
    {"ListGroupMembers",       [](char* t) { return std::min(Nas1ListGroupMembers(t, 0, 0, 9, out, sizeof out), 0); }, 0, "0", false, nullptr},
    // A command of more than 255 characters is cut; of such a text no more is asked than that nothing happens.
    {"GetQuota",               [](char* t) { return Nas1GetQuota(0, 40000, t, 0) - (std::strlen(t) > 200 ? 1 : 0); }, 0, "0", false,
     "quota -v 40000 | grep @ | awk '{print $3}'"},
    {"DelUser",                [](char* t) { return Nas1DelUser(0, t); },                            0, "-1", false, nullptr},
    {"DelGroup",               [](char* t) { return Nas1DelGroup(0, t); },                           0, "-1", false, nullptr},
    {"domain users",           [](char* t) { return Nas1GetUserListFromRemoteServer(1, t); },        0, nullptr, false, "/bin/listpdcusers \"@\" >/dev/null"},
    {"domain groups",          [](char* t) { return Nas1GetGroupListFromRemoteServer(1, t); },       0, nullptr, false, "/bin/listpdcgroups \"@\" >/dev/null"},
    {"bindery users",          [](char* t) { return Nas1GetUserListFromRemoteServer(3, t) * 0; }, 0, nullptr, false, "/usr/sbin/nwgetlistfrBind.sh ~ > /dev/null"},
    {"CheckPDCExist",          [](char* t) { return cifsCheckPDCExist(t); },                         0, nullptr, false, "/bin/probepdc \"@\" >/dev/null"},
    {"GetProcessPid",          [](char* t) { return std::min(cifsGetProcessPid(t), 0); },            0, nullptr, false, nullptr},

    {"nas1_log",               [](char* t) { return nas1_log(0, 2, "%s", t); },                      0, "0", false, nullptr},
    {"LogFile",                [](char* t) { LogRecord r = {1, 0, 2, {}}; fill(r.message, t, 1); return LogFile(&r); }, 0, "0", false, nullptr},
    {"Event",                  [](char* t) { return Nas1Event(6, t); },                              0, nullptr, false, nullptr},
    {"SetupMailBody",          [](char* t) { return SetupMailBody(-1, 6, t, t); },                   0, "0", false, nullptr},
    {"AddConnection",          [](char* t) { ConnectionRecord r = {getpid(), 0, {}}; fill(r.data, t); return Nas1AddConnection(1, &r); }, 0, "0", false, nullptr},
    {"ModuleAdd name",         [](char* t) { const ModuleRecord m = moduleOf(t, ""); return Nas1ModuleAdd(&m); }, 0, "abort", false, nullptr},
    {"ModuleMod name",         [](char* t) { const ModuleRecord m = moduleOf(t, ""); return Nas1ModuleMod(&m); }, 0, "-1", false, nullptr},
    {"ModuleDel",              [](char* t) { return Nas1ModuleDel(t); },                             0, "-1", false, nullptr},
    // A longer removal command does not fit its field.
    {"ModuleDel command",      [](char* t) { const ModuleRecord m = moduleOf("M", t); (void)Nas1ModuleMod(&m); return Nas1ModuleDel("M") - (std::strlen(t) > 127 ? 1 : 0); }, 0, "0", false, "@"},
    {"parsePollingDisks",      [](char* t) { parsePollingDisks(t); initDiskNumMap(); return 0; },    0, "0", false, nullptr},
    {"parseConfig",            [](char* t) { parseConfig(t); return 0; },                            0, "0", false, nullptr},
    {"StrUpper",               [](char* t) { return NasStrUpper(t) == t ? 0 : -1; },                 0, "0", false, nullptr},
    {"StrLower",               [](char* t) { return NasStrLower(t) == t ? 0 : -1; },                 0, "0", false, nullptr},
    {"StrCaseCmp",             [](char* t) { return NasStrCaseCmp(t, t); },                          0, "0", false, nullptr},
    {"StrNCaseCmp",            [](char* t) { return t[0] == '\0' ? 0 : NasStrNCaseCmp(t, t, static_cast<int>(std::strlen(t))); }, 0, "0", false, nullptr},
    {"Strchr",                 [](char* t) { return NasStrchr(t, 0) == t + std::strlen(t) ? 0 : -1; }, 0, "0", false, nullptr},
    {"ReplaceChar",            [](char* t) { return NasReplaceChar(t, "x;", '_'); },                 0, "0", false, nullptr},
    {"StrNCpy",                [](char* t) { return NasStrNCpy(out, t, 31) == out ? 0 : -1; },       0, "0", false, nullptr},
    {"AddSlash",               [](char* t) { return NasAddSlash(sizeof out, out, static_cast<int>(std::strlen(t)) + 1, t) > 0 ? 0 : -1; }, 0, "0", false, nullptr},
    {"ServerToClient",         [](char* t) { return NasStrServerToClient(t) == t ? 0 : -1; },        0, "0", false, nullptr},
    {"ClientToServer",         [](char* t) { return NasStrClientToServer(t) == t ? 0 : -1; },        0, "0", false, nullptr},
};
// clang-format on

// The texts of the list with their escapes replaced.
Lines hostileTexts() {
  Lines texts;
  for (const std::string& line : readLines(NAS1_SOURCE_DIR "/tests/hostile-values.txt")) {
    if (line.starts_with("# ")) continue;
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line.compare(i, 2, "\\x") == 0) {
        text += static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16));
        i += 3;
      } else {
        text += line[i];
      }
    }
    if (const std::size_t at = text.find("CANARY"); at != std::string::npos) text.replace(at, 6, kCanary);
    texts.push_back(text);
  }
  return texts;
}

std::string trimmed(std::string text) {
  text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
  return text.erase(text.find_last_not_of(' ') + 1);
}

std::string inQuotes(const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\\' || c == '`' || c == '"') quoted += '\\';
    quoted += c;
  }
  return quoted;
}

Lines expectedCommands(const char* rule, const std::string& text, const std::string& left) {
  Lines lines = {""};
  for (; *rule != '\0'; ++rule) {
    if (*rule == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += *rule == '@' ? text : *rule == '`' ? inQuotes(text) : *rule == '~' ? left : std::string(1, *rule);
    }
  }
  return lines;
}

void tryText(const Row& row, const std::string& text) {
  const std::string counted = row.trims ? trimmed(text) : text;
  std::string copy = text;
  ran.clear();
  really = text.find(kCanary) != std::string::npos;
  const int result = row.call(copy.data());
  if (row.empty != nullptr && counted.empty()) {
    EXPECT_STREQ(row.empty, std::to_string(result).c_str()) << row.name << ", empty";
  } else if (row.longest > 0 && counted.size() > static_cast<std::size_t>(row.longest)) {
    EXPECT_EQ(-1, result) << row.name << ", " << counted.size() << " characters";
  } else {
    EXPECT_TRUE(result >= -3 && result <= 0) << row.name << " [" << text << "] gave " << result;
  }
  if (row.commands != nullptr) {
    if (result == 0 && !counted.empty()) {
      EXPECT_EQ(expectedCommands(row.commands, counted, copy.c_str()), ran) << row.name << " [" << text << "]";
    }
    return;
  }
  if (text.size() < 8) return;
  for (const std::string& command : ran)
    EXPECT_EQ(std::string::npos, command.find(text)) << row.name << ": " << command;
}

void tryRow(const Row& row, const Lines& texts) {
  for (const std::string& text : texts) {
    if (testing::Test::HasFailure()) return;
    const bool empty = (row.trims ? trimmed(text) : text).empty();
    if (empty && row.empty != nullptr && std::string(row.empty) == "abort") {
      EXPECT_EQ(SIGABRT, inChild([&] {
                           std::string copy = text;
                           (void)row.call(copy.data());
                         }).signal)
          << row.name;
    } else {
      tryText(row, text);
    }
  }
}

// Files changed since a moment that none of the calls is documented to write.
Lines strayFiles(fs::file_time_type since) {
  static constexpr const char* kDocumented[] = {"/etc/admin/",
                                                "/etc/samba/smb.conf",
                                                "/etc/exports",
                                                "/etc/yp.conf",
                                                "/etc/atalk/AppleVolumes.default",
                                                "/etc/ntp.conf",
                                                "/etc/resolv.conf",
                                                "/usr/local/share/snmp/snmpd.conf",

                                                "/var/log/MailEvent",
                                                "/var/spool/NAS1",
                                                "/var/log/appliance/"};
  Lines stray;
  std::error_code gone;
  for (const char* folder : {"/etc", "/mnt", "/volume", "/usr/local", "/var/spool", "/var/lock", "/var/tmp"}) {
    for (const auto& entry : fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied)) {
      const std::string path = entry.path();
      const auto isDocumented = [&](const char* prefix) { return path.starts_with(prefix); };
      if (!entry.is_regular_file(gone) || entry.is_symlink(gone) || entry.last_write_time(gone) < since || gone)
        continue;
      if (std::none_of(std::begin(kDocumented), std::end(kDocumented), isDocumented)) stray.push_back(path);
    }
  }
  return stray;
}

struct HostileTexts : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/yp.conf", "");
    char share[] = "S1";
    char user[] = "ALICE";
    char group[] = "STAFF";
    ASSERT_EQ(0, Nas1ShareAdd(share, "", "/volume/v1/S1"));
    ASSERT_EQ(0, Nas1AddUser(0, user, "secret"));
    ASSERT_EQ(0, Nas1AddGroup(0, group, nullptr));
  }
};

TEST_F(HostileTexts, StayTextsEverywhere) {
  const Lines texts = hostileTexts();
  ASSERT_GT(texts.size(), 60U);
  (void)EnableNas1ShareBatch(1);
  const fs::file_time_type start = fs::file_time_type::clock::now();
  for (const Row& row : rows) {
    const ChildResult child = inChild([&] { tryRow(row, texts); });
    EXPECT_TRUE(child.exitCode == 0 && child.signal == 0) << row.name << ": " << child.signal << "\n" << child.output;
    EXPECT_FALSE(exists(kCanary)) << row.name;
  }
  // Once more with all that the daemons are told of what is now stored.
  EXPECT_EQ(0, inChild([] {
                 really = true;
                 (void)EnableNas1ShareBatch(0);
               }).exitCode);
  (void)EnableNas1ShareBatch(0);
  EXPECT_FALSE(exists(kCanary));
  EXPECT_EQ(Lines(), strayFiles(start));
}

}  // namespace
