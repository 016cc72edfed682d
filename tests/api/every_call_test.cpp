// After every exported call all is let go of: another process can have every record file for itself at once, and
// nothing stays open, attached, allocated or running.

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <iterator>
#include <set>

#include "accounts/account_items.h"
#include "accounts/identity.h"
#include "accounts/local_users.h"
#include "accounts/membership.h"
#include "accounts/quota.h"
#include "api/protocol_ops.h"
#include "backends/afp.h"
#include "backends/cifs.h"
#include "backends/ftp.h"
#include "backends/ncp.h"
#include "backends/nfs.h"
#include "backends/nfs_exports.h"
#include "backends/nis_client.h"
#include "backends/snmp.h"
#include "config/handlers.h"
#include "config/named_config.h"
#include "config/notify_hooks.h"
#include "config/numeric_config.h"
#include "config/product_config.h"
#include "config/stored_values.h"
#include "core/critical.h"
#include "core/memory.h"
#include "core/record_store.h"
#include "core/trace.h"
#include "events/event_log.h"
#include "frame/appliance.h"
#include "modules/module_registry.h"
#include "share/nfs_hosts.h"
#include "share/permissions.h"
#include "share/share_database.h"
#include "share/volumes.h"
#include "status/connections.h"
#include "status/disks.h"
#include "status/network.h"
#include "status/segment.h"
#include "text/code_page.h"
#include "text/mb_string.h"

namespace {

// ---- What the calls are given

char* name(const char* from) {
  static char text[128];
  std::strncpy(text, from, sizeof text - 1);
  return text;
}
char buffer[65536];
constexpr int kSize = sizeof buffer;
int number;
std::uint32_t words[5];
char* names[16];
DiskConfig disks;
UserItem userItem;
GroupItem groupItem;
const char* groups[] = {"GROUP", nullptr};
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

template <typename Item>
Item* itemNamed(const char* from) {
  static Item item;
  item = {};
  std::strncpy(item.name, from, sizeof item.name - 1);
  item.size = sizeof item;
  return &item;
}
PermittedItem* permitted(const char* from) {
  static PermittedItem item;
  item = {.type = PERMITTED_USER, .rights = 1, .name = {}};
  std::strncpy(item.name, from, sizeof item.name - 1);
  return &item;
}
const void* hosts() {
  static struct [[gnu::packed]] {
    NfsHostEntry entry;
    char rest[7];
  } host;
  host.entry.size = sizeof host;
  std::memcpy(host.entry.host, "client", sizeof "client");
  return &host;
}
ModuleRecord* module(const char* from) {
  static ModuleRecord record;
  std::strncpy(record.description, from, sizeof record.description - 1);
  std::strncpy(record.removalCommand, "true", sizeof record.removalCommand - 1);
  return &record;
}
ConnectionRecord* connection() {
  static ConnectionRecord record;
  record.pid = getpid();
  return &record;
}
int withArguments(int (*call)(unsigned, unsigned, const char*, va_list), ...) {
  va_list arguments;
  va_start(arguments, call);
  const int result = call(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "text", arguments);
  va_end(arguments);
  return result;
}
int formatted(int (*call)(char*, int, const char*, va_list), ...) {
  va_list arguments;
  va_start(arguments, call);
  const int result = call(buffer, 64, "text", arguments);
  va_end(arguments);
  return result;
}
template <typename Use>
int withStream(Use use) {
  std::FILE* const stream = std::tmpfile();
  (void)use(stream);
  return std::fclose(stream);
}

// ---- The calls

struct Call {
  const char* text;
  void (*run)();
};
#define CALL(expression)                    \
  {                                         \
#expression, [] { (void)(expression); } \
  }

// In this order: what is added first is read, changed, listed and deleted later. Pairs that belong together are one.
// clang-format off
const Call calls[] = {
    CALL(NasApiInit()), CALL(NasLangInit(860, -1)), CALL(Nas1ApiVersion(&number, &number)), CALL(Nas1CheckLength("text", 9)),
    CALL(Nas1Remove_ht_space(name(" a "))), CALL(Nas1UpStr(name("a"))), CALL(NasGetServiceInstall("ncp")), CALL(Nas1System("true")),
    CALL(mbLangInit(860, -1)), CALL(mbStrUpper(name("a"))), CALL(mbStrLower(name("A"))), CALL(mbStrCaseCmp("a", "b")),
    CALL(mbStrnCaseCmp("a", "b", 1)), CALL(mbStrEqual("a", "b")), CALL(mbStrnEqual("a", "b", 1)), CALL(mbStrCsEqual("a", "b")),
    CALL(mbSafeStrcpy(buffer, "a", 1)), CALL(NasStrUpper(name("a"))), CALL(NasStrLower(name("A"))), CALL(NasStrCaseCmp("a", "b")),
    CALL(NasStrNCaseCmp("a", "b", 1)), CALL(NasStrchr("a", 'a')), CALL(NasCharLen('a')), CALL(NasReplaceChar(name("a"), "a", 'b')),
    CALL(NasStrNCpy(buffer, "a", 1)), CALL(NasStrServerToClient(name("a"))), CALL(NasStrClientToServer(name("a"))),
    CALL(sysFree("t", 1, sysMalloc("t", 1, 8))), CALL(sysFree("t", 1, sysTraceBuf("t", 1, std::malloc(8), 8))), CALL(sysPrintMemLink()),
    CALL((sysEnterCritical(&mutex), sysExitCritical(&mutex))), CALL(sysTrace("text")), CALL(gdbm_close(openRecordset(kModuleFile, 0, GDBM_WRCREAT, 0665))),
    CALL(GetNasVersion(sizeof(NasVersion), buffer, &number)), CALL(initDiskNumMap()), CALL((parseConfig("/etc/hotswap.conf"), initDiskNumMap())), CALL((parsePollingDisks("/dev/hda"), initDiskNumMap())),

    CALL(NasSetConfig("CIFS_SERVER_COMMENT", 2, "a")), CALL(NasGetConfig("CIFS_SERVER_COMMENT", 64, buffer, &number)),
    CALL(sysSetConfigEx("CIFS_SERVER_COMMENT", 2, "a")), CALL(sysGetConfigEx("CIFS_SERVER_COMMENT", 64, buffer, &number)),
    CALL(Nas1SetConfig(6, 2, name("a"))), CALL(Nas1GetConfig(6, 64, buffer, &number)), CALL(sysSetConfig(6, 2, name("a"))), CALL(sysGetConfig(6, 64, buffer, &number)),
    CALL(get_Default_UINT(4, buffer, &number, 1)), CALL(get_Default_String(4, buffer, &number, "a")),
    CALL(get_Full_SYSnUSER_Backup_Date(64, buffer, &number)), CALL(set_Full_SYSnUSER_Backup_Date(2, name("a"))),
    CALL(Nas1SetSnapshotConfig("v1", words)), CALL(Nas1GetSnapshotConfig("v1", words)), CALL(sysSetSnapshotConfig("v1", words)), CALL(sysGetSnapshotConfig("v1", words)),
    CALL(Nas1SetProductConfig("KEY", 2, "a")), CALL(Nas1GetProductConfig("KEY", buffer)), CALL(sysSetProductConfig("KEY", 2, "a")), CALL(sysGetProductConfig("KEY", buffer)),
    CALL(cifsSetConfig(6, 2, name("a"))), CALL(nfsSetConfig(22, 4, words)), CALL(ncpSetConfig(20, 4, words)), CALL(afpSetConfig(21, 4, words)),
    CALL(ftpSetConfig(59, 4, words)), CALL(snmpSetConfig(80, 4, words)), CALL(getInetConfig(4, buffer, &number)), CALL(getHostname(64, buffer, &number)),

    CALL(Nas1ShareAdd(name("share"), "", "/volume/v1/share")), CALL(sysShareAdd("other", "", "/volume/v1/other")),
    CALL(Nas1ShareMod("share", "c", "/volume/v1/share")), CALL(sysShareMod("share", "c", "/volume/v1/share")), CALL(Nas1GetShareInfo("share", buffer, kSize)),
    CALL(sysGetShareInfo("share", buffer, kSize)), CALL(Nas1GetShareInfoSize("share")), CALL(Nas1ShareCountSize(&number, &number)), CALL(sysShareGetCountSize(&number, &number)),
    CALL(Nas1ShareList(0, 9, buffer, kSize)), CALL(sysShareList(0, 9, buffer, kSize)), CALL(Nas1ShareSetPassword("share", 0, "a")), CALL(sysShareSetPassword("share", 1, "a")),
    CALL(Nas1ShareGetPassword("share", 0, buffer)), CALL(sysShareGetPassword("share", 1, buffer)), CALL(NasShareSetConfig("share", "rw_passwd", 2, "a")),
    CALL(sysShareSetConfig("share", "rw_passwd", 2, "a")), CALL(NasShareGetConfig("share", "rw_passwd", 32, buffer, &number)), CALL(sysShareGetConfig("share", "rw_passwd", 32, buffer, &number)),
    CALL(Nas1SysMkdir("/volume/v1/made")), CALL(NasSysRmdir("/volume/v1/made")), CALL(NasAddSlash(16, buffer, 2, "a")),
    CALL(Nas1AddPermittedItem("share", 0, permitted("USER"))), CALL(sysAddPermittedItem("share", 1, permitted("USER"))), CALL(Nas1CheckPermission("share", 4, "CALLER", groups)),
    CALL(sysCheckPermission("share", 0, "USER", groups)), CALL(Nas1GetPermittedItemsCount("share", 0)), CALL(sysGetPermittedItemsCount("share", 0)),
    CALL(Nas1ListPermittedItems("share", 0, 0, 9, permitted(""), sizeof(PermittedItem))), CALL(sysListPermittedItems("share", 0, 0, 1, permitted(""))),
    CALL(Nas1SetPermittedList("share", 2, 1, permitted("USER"))), CALL(sysSetPermittedList("share", 3, 1, permitted("USER"))),
    CALL(Nas1DelPermittedItem("share", 0, "NONE")), CALL(Nas1DelPermittedItemEx("share", 0, "NONE", 0)), CALL(sysDelPermittedItem("share", 1, "USER")), CALL(sysDelPermittedItemEx("share", 2, "USER", 0)),
    CALL(Nas1ShareSetPermittedNfs("share", 1, hosts())), CALL(sysShareSetPermittedNfs("share", 1, hosts())), CALL(Nas1ShareGetPermittedNfsSize("share", &number, &number)),
    CALL(sysShareGetPermittedNfsSize("share", &number, &number)), CALL(Nas1ShareGetPermittedNfs("share", 9, buffer, kSize)), CALL(sysShareGetPermittedNfs("share", 9, buffer, kSize)),
    CALL(Nas1GetVolumeCount(&number, &number)), CALL(sysGetVolumeCount()), CALL(Nas1ListVolume(reinterpret_cast<VolumeInfo*>(buffer), kSize)), CALL(sysListVolume(reinterpret_cast<VolumeInfo*>(buffer), kSize)),

    CALL(Nas1AddUser(0, name("USER"), "a")), CALL(sysAddUser("OTHER", "a")), CALL(sysAddUserItem(1, "REMOTE", &userItem, &number)), CALL(Nas1AddGroup(0, name("GROUP"), "")), CALL(sysAddGroup("MORE")),
    CALL(sysAddGroupItem(1, "REMOTE", &groupItem, &number)), CALL(Nas1GetUserItem(0, name("USER"), &userItem, &number)), CALL(Nas1GetGroupItem(0, name("GROUP"), &groupItem, &number)),
    CALL(Nas1CheckUserItem(0, "USER", &userItem, &number)), CALL(Nas1CheckGroupItem(0, "GROUP", &groupItem, &number)), CALL(Nas1SetUserItem(itemNamed<UserItem>("USER"))),
    CALL(Nas1SetGroupItem(itemNamed<GroupItem>("GROUP"))), CALL(sysSetUserItem(itemNamed<UserItem>("USER"))), CALL(sysSetGroupItem(itemNamed<GroupItem>("GROUP"))),
    CALL(sysGetUserItem(0, "USER", &userItem, &number)), CALL(sysGetGroupItem(0, "GROUP", &groupItem, &number)), CALL(sysGetCommonItem(0, 0, "USER", &userItem, &number)),
    CALL(sysCheckCommonItemNotExist(0, 0, "USER")), CALL(sysSetCommonItem(0, itemNamed<UserItem>("USER"))), CALL(Nas1UserItemCount()), CALL(Nas1GroupItemCount()), CALL(sysUserItemCount()),
    CALL(sysGroupItemCount()), CALL(sysItemCount(0)), CALL(Nas1ListUserItem(0, 9, buffer, kSize)), CALL(Nas1ListGroupItem(0, 9, buffer, kSize)), CALL(sysListUserItem(0, 9, buffer, kSize)),
    CALL(sysListGroupItem(0, 9, buffer, kSize)), CALL(sysListCommonItem(0, 0, 9, buffer, kSize)), CALL(Nas1SetUserPasswd(0, name("USER"), "b")), CALL(Nas1GetUserPasswd(0, name("USER"), buffer, 33)),
    CALL(sysSetUserPasswd("USER", "b")), CALL(sysGetUserPasswd("USER", buffer, 33)), CALL(NasSetUserConfig("USER", "passwd", 2, "a")), CALL(NasGetUserConfig("USER", "passwd", 33, buffer, &number)),
    CALL(sysSetUserConfig("USER", "passwd", 2, "a")), CALL(sysGetUserConfig("USER", "passwd", 33, buffer, &number)), CALL(Nas1SetPrimaryGroup(0, "USER", "GROUP")), CALL(sysSetPrimaryGroup(0, "USER", "GROUP")),
    CALL(Nas1JoinGroup(0, name("USER"), std::strcpy(buffer, "GROUP"))), CALL(sysJoinGroup(0, "USER", "GROUP")), CALL(Nas1ListUserGroups(name("USER"), 0, 0, 9, buffer, kSize)), CALL(sysListGroups("USER", 0, 9, buffer, kSize)),
    CALL(Nas1ListGroupMembers(name("GROUP"), 0, 0, 9, buffer, kSize)), CALL(sysListMembers("GROUP", 0, 9, buffer, kSize)), CALL(Nas1ListGroupMembersCount(name("GROUP"), 0)), CALL(sysListMembersCount("GROUP")),
    CALL(Nas1LeaveGroup(0, name("USER"), std::strcpy(buffer, "GROUP"))), CALL(sysLeaveGroup(0, "USER", "GROUP")), CALL(Nas1GetUserListCount()), CALL(Nas1GetGroupListCount()), CALL(sysGetUserListCount()),
    CALL(sysGetGroupListCount()), CALL(Nas1GetUserList(0, 0, 9, buffer, kSize)), CALL(Nas1GetGroupList(0, 0, 9, buffer, kSize)), CALL(sysGetUserList(0, 9, buffer, kSize)), CALL(sysGetGroupList(0, 9, buffer, kSize)),
    CALL(ExGetUserListCount(1)), CALL(ExGetGroupListCount(1)), CALL(ExGetUserList(4, 0, 9, buffer, kSize)), CALL(ExGetGroupList(4, 0, 9, buffer, kSize)), CALL(Nas1GetQuota(0, 32768, "v1", 0)), CALL(sysGetQuota(0, 32768, "v1", 0)), CALL(Nas1SetQuota()),
    CALL(Nas1GetUserListFromRemoteServer(1, name("PDC"))), CALL(Nas1GetUserListCountInRemoteServer(1)), CALL(Nas1ShowUserListInRemoteServer(1, names)), CALL(Nas1GetGroupListFromRemoteServer(1, "PDC")),
    CALL(Nas1GetGroupListCountInRemoteServer(1)), CALL(Nas1ShowGroupListInRemoteServer(1, names)), CALL(cifsCheckPDCExist("PDC")), CALL(cifsGetUserListFromPDC(name("PDC"))), CALL(cifsGetGroupListFromPDC("PDC")),
    CALL(cifsGetUserListCountInPDC()), CALL(cifsGetGroupListCountInPDC()), CALL(cifsShowUserListInPDC(names)), CALL(cifsShowGroupListInPDC(names)), CALL(cifsGetUserList(0, 9, buffer, kSize)), CALL(cifsGetGroupList(0, 9, buffer, kSize)),
    CALL(ncpGetUserListFromBindery(name("NW"))), CALL(ncpGetGroupListFromBindery("NW")), CALL(ncpGetUserListCountInBindery()), CALL(ncpGetGroupListCountInBindery()), CALL(ncpShowUserListInBindery(names)),
    CALL(ncpShowGroupListInBindery(names)), CALL(ncpGetUserList(0, 9, buffer, kSize)), CALL(ncpGetGroupList(0, 9, buffer, kSize)),

    CALL(Nas1Restart(1, 2)), CALL(Nas1NetDisconnect(1, 0, 0)), CALL((EnableNas1ShareBatch(1), EnableNas1ShareBatch(0))), CALL((EnableNasDelPermBatch(1), EnableNasDelPermBatch(0))), CALL(sysRestart(2)),
    CALL(cifsRestart(2)), CALL(cifsDbUpdate()), CALL(cifsShareAdd("share", "", "/volume/v1/share")), CALL(cifsShareMod("share", "", "/volume/v1/share")), CALL(cifsShareDel("share")), CALL(cifsShareSetPassword()),
    CALL(cifsListConnection()), CALL(cifsNetDisconnect(0, 0)), CALL(cifsGetProcessPid("smbd")), CALL(withStream([](FILE* f) { return ReadAllShareFromDB(f), 0; })), CALL(cifs_slprintf(buffer, 64, "%s", "a")), CALL(formatted(cifs_vslprintf)),
    CALL(nfsRestart(2)), CALL(nfsDbUpdate()), CALL(nfsShareAdd("share", "", "/volume/v1/share")), CALL(nfsShareMod("share", "", "/volume/v1/share")), CALL(nfsShareDel("share")), CALL(nfsShareSetPermittedNfs()), CALL(nfsSysEvent(0, nullptr)),
    CALL(nfsAddPermittedItem()), CALL(nfsDelPermittedItem()), CALL(nfsEnable_NFS(1)), CALL(nfsEnable_share_mode(1)), CALL(nfsSave_nis_server_name("nis")), CALL(nfsSet_host_domain_name("domain")), CALL(Update_Export_Conf()),
    CALL(SnapShareAppend()), CALL(withStream([](FILE* f) { return Process_Permitted_NFS(f, "share", "/volume/v1/share"); })), CALL(withStream([](FILE* f) { return GetOneLine(f, buffer); })),
    CALL(afpRestart(2)), CALL(afpUpdateAppleVolumes()), CALL(afpDbUpdate()), CALL(afpShareAdd("share", "", "/volume/v1/share")), CALL(afpShareMod("share", "", "/volume/v1/share")), CALL(afpShareDel("share")), CALL(afpNetDisconnect(0, 0)),
    CALL(afpListConnection(0, 9, buffer, kSize)), CALL(afpSysEvent(0, nullptr)), CALL(ftpRestart(2)), CALL(snmpRestart(2)), CALL(snmpReload()), CALL(withStream([](FILE* f) { return WriteSNMPConfFromDB(f), 0; })),
    CALL(ncpRestart(2)), CALL(ncpShareAdd("share", "", "/volume/v1/share")), CALL(ncpShareMod("share", "", "/volume/v1/share")), CALL(ncpShareDel("share")), CALL(ncpListConnection(0, 9, buffer, kSize)), CALL(ncpSysEvent(0, nullptr)),
    CALL(ncpNetDisconnect(0, 0)), CALL(NasSendSNMPtrap(0)),

    CALL(nas1_log(0, 2, "text")), CALL(withArguments(vNas1Log)), CALL(LogFile(reinterpret_cast<const LogRecord*>(std::memset(buffer, 0, sizeof(LogRecord))))), CALL(AdjustFile(0x100001)), CALL(nas_time(nullptr)), CALL(GetDaemonPid()),
    CALL((sysAttachShareMem(1), sysDeAttachShareMem(1))), CALL((sysLockShareMem(1), sysUnlockShareMem(1))), CALL(Nas1AddConnection(1, connection())), CALL(sysAddConnection(2, connection())), CALL(Nas1ConnectionCount(1)), CALL(sysConnectionCount(2)),
    CALL(Nas1ListConnection(1, 0, 9, buffer, kSize)), CALL(sysListConnection(2, 0, 9, buffer)), CALL(Nas1DelConnection(1, getpid())), CALL(sysDelConnection(2, getpid())),
    CALL(Nas1Event(21, words)), CALL(GetLang()), CALL((NasMailMsgInit(0), NasMailMsgFree(0))), CALL(Nas1SendMail(2, words)), CALL(Nas1SendMailDelFile(2, words, "/var/log/none")), CALL(withStream([](FILE* f) { return SetupMailBody(fileno(f), 2, words, "root"); })), CALL(EncodeHeader(name("a"))), CALL(CharMap(1)),
    CALL(Nas1GetRaidStatus(buffer)), CALL(Nas1SetDiskConfig(&disks)), CALL(Nas1GetDiskConfig(&disks)), CALL(sysSetDiskConfig(&disks)), CALL(sysGetDiskConfig(&disks)), CALL(get_DISK_CONFIG(176, buffer, &number)), CALL(set_DISK_CONFIG(176, buffer)), CALL(Nas1Shutdown()),
    CALL(Nas1ModuleAdd(module("module"))), CALL(sysAddModule(module("other"))), CALL(Nas1ModuleMod(module("module"))), CALL(sysModModule(module("other"))), CALL(Nas1ModuleList(0, 9, buffer, kSize)), CALL(sysListModule(0, 9, buffer, kSize)),
    CALL(Nas1ModuleDel("module")), CALL(sysDelModule("other")),

    CALL(Nas1DelUser(0, name("USER"))), CALL(sysDelUser("OTHER")), CALL(sysDelUserItem(1, "REMOTE")), CALL(Nas1DelGroup(0, name("GROUP"))), CALL(sysDelGroup("MORE")), CALL(sysDelGroupItem(1, "REMOTE")), CALL(sysDelCommonItem(0, 4, "CALLER")), CALL(Nas1DelUidGid(0, 40000)),
    CALL(Nas1ShareDel("share")), CALL(sysShareDel("other")),
};
// clang-format on

// What the rows above do not name: tables and texts, and the call that never comes back.
const std::set<std::string> notCalled = {"DiskNumMap",
                                         "Subject",
                                         "backup",
                                         "body",
                                         "fpConfig",
                                         "g_codepage",
                                         "g_is_multibyte_codepage",
                                         "lang_skip_multibyte_char",
                                         "servicesf",
                                         "sysAssert"};

constexpr const char* recordFiles[] = {kSystemFile,         kShareFile,          kShareNfsFile,
                                       kUserIdFile,         kGroupIdFile,        kPasswordFile,
                                       kModuleFile,         kPermissionFiles[0], kPermissionFiles[1],
                                       kPermissionFiles[2], kPermissionFiles[3], kPermissionFiles[4]};

// Whether another process can open all record files for writing, all at the same time and at the first try.
bool othersMayWrite() {
  const pid_t pid = fork();
  if (pid == 0) {
    for (const char* const file : recordFiles) {
      if (gdbm_open(file, 0, GDBM_WRITER | GDBM_CLOEXEC, 0, nullptr) == nullptr && gdbm_errno != GDBM_FILE_OPEN_ERROR)
        _exit(1);
    }
    _exit(0);
  }
  int status = -1;
  (void)waitpid(pid, &status, 0);
  return status == 0;
}

// The calls that keep the driver's device open, by rule: a setting, and what is about to end the system.
int keptOpen(const std::string& call) { return call == "Nas1Shutdown()" || call == "setter 34" ? 1 : 0; }

struct EveryCall : ApplianceTest {
  template <typename Run>
  void check(const std::string& call, Run run) {
    if (HasFailure()) return;  // what one call leaves, all that follow would be blamed for
    SCOPED_TRACE(call);
    (void)printed(run);
    descriptorsLeftByRule += keptOpen(call);
    EXPECT_TRUE(othersMayWrite());
    expectNothingLeft();
  }
};

}  // namespace

TEST_F(EveryCall, LeavesNothingBehind) {
  writeFile("/etc/fstab.zelmar", "/dev/v1 /volume/v1 ext3 defaults 0 0\n");
  writeFile("/etc/exports", "");
  // First with hardly anything there, then once more with what the first time has left.
  for (int round = 0; round < 2; ++round) {
    for (const Call& call : calls) check(call.text, call.run);
    for (int id = 0; id < CONFIG_COUNT; ++id) {
      const ConfigHandlers& handlers = fpConfig[id];
      const std::string text = "etter " + std::to_string(id);
      if (handlers.get != nullptr) check("g" + text, [&] { (void)handlers.get(64, buffer, &number); });
      if (handlers.set != nullptr) check("s" + text, [&] { (void)handlers.set(4, std::memset(buffer, 0, 64)); });
    }
  }
}

TEST(EveryCallTable, NamesEveryExport) {
  std::string all;
  for (const Call& call : calls) all += call.text + std::string(" ");
  std::set<std::string> words;
  for (std::size_t i = 0; i < all.size();) {
    std::size_t end = i;
    while (end < all.size() && (std::isalnum(static_cast<unsigned char>(all[end])) != 0 || all[end] == '_')) ++end;
    if (end > i) words.insert(all.substr(i, end - i));
    i = end + 1;
  }
  std::set<void*> handlers;
  for (const ConfigHandlers& pair : fpConfig) {
    handlers.insert(reinterpret_cast<void*>(pair.get));
    handlers.insert(reinterpret_cast<void*>(pair.set));
  }
  Lines missing;
  for (const std::string& name : readLines(NAS1_SOURCE_DIR "/src/api/exports.txt")) {
    const bool isHandler = handlers.contains(dlsym(RTLD_DEFAULT, name.c_str()));
    if (!isHandler && !words.contains(name) && !notCalled.contains(name)) missing.push_back(name);
  }
  EXPECT_EQ(Lines(), missing);
}
