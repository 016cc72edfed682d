// What every call costs, in record-file openings, syncs, processes and records: a change that adds an opening, or makes
// a call grow with the number of shares, accounts or settings, does not get past this.

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "accounts/account_items.h"
#include "backends/afp.h"
#include "backends/cifs.h"
#include "backends/nfs_exports.h"
#include "backends/snmp.h"
#include "core/record_store.h"
#include "costs/counters.h"
#include "frame/appliance.h"
#include "share/permissions.h"
#include "share/share_database.h"

namespace {

constexpr unsigned kGid = 40000;  // of the group that all users are in

std::string padded(const std::string& text, std::size_t size) { return text + std::string(size - text.size(), '\0'); }

std::string shareRecord(const std::string& name) {
  const std::string path = "/volume/v1/" + name;
  ShareRecord record = {};
  record.info.size = static_cast<std::uint32_t>(sizeof record.info + path.size());
  std::memcpy(record.info.name, name.c_str(), name.size());
  return bytesOf(record).replace(sizeof(ShareSettings) + offsetof(ShareInfo, path), 4, path + std::string(4, '\0'));
}

template <typename Item>
std::string accountRecord(const std::string& name, Item item) {
  describeRemote(&item, PROTO_SYSTEM, name.c_str());
  return std::string(kItemOffset, '\0') + bytesOf(item) + std::string(4, '\0');
}

// A permission list with users and groups in turn, or a list of NFS hosts.
template <typename Entry>
std::string list(int n, Entry entry) {
  PermittedListHeader head = {};
  head.count = n;
  std::string bytes = bytesOf(head);
  for (int i = 0; i < n; ++i) {
    if constexpr (std::is_same_v<Entry, PermittedItem>) {
      entry.type = i % 2;
      (void)std::snprintf(entry.name, sizeof entry.name, "U%d", i);
    }
    bytes += bytesOf(entry);
  }
  return bytes;
}

// Settings that calls look at.
constexpr const char* kStored[] = {"ACL_ENABLED",
                                   "AUTO_HOME",
                                   "AUTO_SYNC_REMOTE_ACCOUNTS",
                                   "CIFS_CODE_PAGE",
                                   "CIFS_GROUP_NAME",
                                   "CODING_SYSTEM",
                                   "DEFAULT_GROUP_QUOTA",
                                   "DEFAULT_SHARE_RO_PASSWD",
                                   "DEFAULT_SHARE_RW_PASSWD",
                                   "DEFAULT_USER_QUOTA",
                                   "EVENT_ACTION",
                                   "GID_START",
                                   "NFS_EXPORT_PRIVILEGE",
                                   "RESERVE_HOME",
                                   "RESERVE_SHARE_PATH",
                                   "TIME_ZONE",
                                   "UID_START",
                                   "UPS_TIMEOUT"};

// An appliance with n of everything: shares S0.., settings, local users U0.. that are all in group G0, groups, modules;
// the lists of share S0 have n entries. Every key is stored, Samba runs, ids are loaded, and there is no AUTO_HOME.
void fillAppliance(int n) {
  for (const char* const pid : {"smbd", "nmbd"}) writeFile(std::string("/var/lock/samba/locks/") + pid + ".pid", "1\n");
  writeFile("/etc/exports", "");
  (void)unlink("/etc/default.zelmar");
  for (const char* const key : kStored) storeRecord("system.gdbm", key, std::string(4, '\0'));
  for (int i = 0; i < n; ++i) {
    const std::string number = std::to_string(i);
    const auto index = static_cast<std::uint32_t>(i);
    storeRecord("share.gdbm", "S" + number, shareRecord("S" + number));
    storeRecord("system.gdbm", "FILLER" + number, "value");
    storeRecord("user_id.gdbm", "U" + number + "0",
                accountRecord("U" + number, UserItem{0, 0, 32768 + index, {0, kGid}, 0, {}}));
    storeRecord("group_id.gdbm", "G" + number + "0", accountRecord("G" + number, GroupItem{0, kGid + index, 0, {}, 0}));
    storeRecord("passwd.gdbm", "U" + number, std::string(100, '\0'));
    storeRecord("module.gdbm", "M" + number, padded("M" + number, sizeof(ModuleRecord)));
  }
  storeRecord("share_nfs.gdbm", "S0", list(n, NfsHostEntry{sizeof(NfsHostEntry), 0, 0, 0, {}, {}}));
  for (const char* const path : kPermissionFiles) storeRecord(path, "S0", list(n, PermittedItem{0, 1, {}}));
  (void)Nas1UserItemCount();
  (void)Nas1GroupItemCount();
  (void)NasStrCaseCmp("", "");  // loads the code page
}

char room[1 << 19];
int length;

// What a call may take, exactly but for the bytes. An opening for changes is a sync, and nothing else is one.
struct Cost {
  int readers, writers, starts, records, kibibytes;
};
constexpr Cost kNone = {};
constexpr Cost kSame = {-1, 0, 0, 0, 0};

// A call, what may stand behind a comma to tell it from others of its name, and its costs with 10 and with 1,000 of
// everything.
struct Row {
  const char* call;
  void (*run)(int n);
  Cost atTen;
  Cost atThousand = kSame;
};

// Names are changed in place by many calls.
char* name(const char* text) {
  static char buffer[64];
  return std::strcpy(buffer, text);
}
void withStream(void (*write)(std::FILE*)) {
  std::FILE* const file = std::fopen("/dev/null", "we");
  write(file);
  (void)std::fclose(file);
}
const PermittedItem newcomer = {PERMITTED_USER, 1, "NEWCOMER"};
const char* const groupNames[] = {"U1", "U3", nullptr};

// clang-format off
// A session: each call finds what the ones before it have left.
//            openings for reading, for changes, starts, records, KiB at most; a second time where they grow
const Row session[] = {
    {"NasApiInit", [](int) { NasApiInit(); }, {1, 0, 0, 1, 13}},
    {"NasGetConfig", [](int) { NasGetConfig("CIFS_GROUP_NAME", 16, room, &length); }, {1, 0, 0, 1, 13}},
    {"NasGetConfig, of a default", [](int) { NasGetConfig("CIFS_GROUP_NAME", 16, room, &length); }, {1, 0, 0, 1, 13}},
    {"NasSetConfig", [](int) { NasSetConfig("UPS_TIMEOUT", 4, room); }, {0, 1, 0, 1, 13}},
    {"Nas1GetConfig", [](int) { Nas1GetConfig(3, 16, room, &length); }, {1, 0, 0, 1, 13}},
    {"Nas1SetConfig", [](int) { Nas1SetConfig(68, 4, room); }, {0, 1, 0, 1, 13}},
    {"Nas1GetProductConfig", [](int) { Nas1GetProductConfig("FILLER1", room); }, {1, 0, 0, 1, 13}},
    {"Nas1SetProductConfig", [](int) { Nas1SetProductConfig("FILLER1", 2, "x"); }, {0, 1, 0, 1, 13}},
    {"Nas1GetSnapshotConfig", [](int) { Nas1GetSnapshotConfig("v1", reinterpret_cast<std::uint32_t*>(room)); }, {2, 0, 0, 2, 24}},
    {"Nas1SetSnapshotConfig", [](int) { Nas1SetSnapshotConfig("v1", reinterpret_cast<std::uint32_t*>(room)); }, {0, 1, 1, 1, 12}},
    {"Nas1GetDiskConfig", [](int) { Nas1GetDiskConfig(reinterpret_cast<DiskConfig*>(room)); }, {3, 0, 0, 3, 36}},
    {"Nas1SetDiskConfig", [](int) { Nas1SetDiskConfig(reinterpret_cast<DiskConfig*>(room)); }, {1, 1, 0, 2, 25}},
    {"Nas1GetRaidStatus", [](int) { Nas1GetRaidStatus(room); }, {3, 0, 0, 3, 37}},

    {"Nas1ShareAdd", [](int) { Nas1ShareAdd(name("NEW"), "", "/volume/v1/new"); }, {10, 1, 6, 87, 128}, {41, 1, 6, 7017, 1213}},
    {"Nas1ShareMod", [](int) { Nas1ShareMod("NEW", "", "/volume/v1/new"); }, {8, 1, 6, 86, 105}, {39, 1, 6, 7016, 1190}},
    {"Nas1GetShareInfo", [](int) { Nas1GetShareInfo("NEW", room, 200); }, {1, 0, 0, 1, 13}},
    {"Nas1GetShareInfoSize", [](int) { Nas1GetShareInfoSize("NEW"); }, {1, 0, 0, 1, 13}},
    {"Nas1ShareCountSize", [](int) { int count; Nas1ShareCountSize(&count, &length); }, {1, 0, 0, 23, 11}, {1, 0, 0, 2003, 227}},
    {"Nas1ShareList", [](int n) { Nas1ShareList(0, n, room, sizeof room); }, {1, 0, 0, 20, 11}, {1, 0, 0, 2000, 227}},
    {"Nas1ShareList, one", [](int) { Nas1ShareList(0, 1, room, sizeof room); }, {1, 0, 0, 2, 9}},
    {"Nas1ShareGetPassword", [](int) { Nas1ShareGetPassword("NEW", 0, room); }, {1, 0, 0, 1, 13}},
    {"Nas1ShareSetPassword", [](int) { Nas1ShareSetPassword("NEW", 0, "secret"); }, {0, 1, 0, 2, 13}},
    {"NasShareGetConfig", [](int) { NasShareGetConfig("NEW", "is_home", 4, room, &length); }, {1, 0, 0, 1, 13}},
    {"NasShareSetConfig", [](int) { NasShareSetConfig("NEW", "is_home", 4, room); }, {0, 1, 0, 2, 13}},
    {"Nas1ShareDel", [](int) { Nas1ShareDel("NEW"); }, {16, 1, 4, 87, 201}, {47, 1, 4, 7017, 1286}},
    {"EnableNas1ShareBatch, on", [](int) { EnableNas1ShareBatch(1); }, kNone},
    {"Nas1ShareAdd, in a batch", [](int) { Nas1ShareAdd(name("NEW"), "", "/volume/v1/new"); }, {3, 1, 3, 4, 49}},
    {"Nas1ShareDel, in a batch", [](int) { Nas1ShareDel("NEW"); }, {9, 1, 1, 11, 122}},
    {"EnableNas1ShareBatch, off", [](int) { EnableNas1ShareBatch(0); }, {7, 0, 3, 76, 80}, {38, 0, 3, 7006, 1165}},
    {"Nas1SysMkdir", [](int) { Nas1SysMkdir("/volume/v1/new"); }, {1, 0, 3, 1, 13}},
    {"NasSysRmdir", [](int) { NasSysRmdir("/volume/v1/new"); }, {0, 0, 1, 0, 0}},
    {"ReadAllShareFromDB", [](int) { withStream(ReadAllShareFromDB); }, {2, 0, 0, 22, 23}, {2, 0, 0, 2002, 239}},
    {"afpUpdateAppleVolumes", [](int) { afpUpdateAppleVolumes(); }, {2, 0, 0, 22, 23}, {2, 0, 0, 2002, 239}},
    {"Update_Export_Conf", [](int) { Update_Export_Conf(); }, {3, 0, 0, 32, 35}, {34, 0, 0, 3002, 688}},
    {"WriteSNMPConfFromDB", [](int) { withStream(WriteSNMPConfFromDB); }, {3, 0, 0, 3, 36}},

    {"Nas1AddPermittedItem", [](int) { Nas1AddPermittedItem("S0", PROTO_CIFS, &newcomer); }, {1, 1, 0, 3, 26}, {1, 1, 0, 3, 103}},
    {"Nas1GetPermittedItemsCount", [](int) { Nas1GetPermittedItemsCount("S0", PROTO_CIFS); }, {1, 0, 0, 1, 13}, {1, 0, 0, 1, 91}},
    {"Nas1ListPermittedItems", [](int n) { Nas1ListPermittedItems("S0", PROTO_CIFS, 0, n, reinterpret_cast<PermittedItem*>(room), sizeof room); }, {1, 0, 0, 1, 13}, {1, 0, 0, 1, 91}},
    {"Nas1CheckPermission", [](int) { Nas1CheckPermission("S0", PROTO_CIFS, "NEWCOMER", groupNames); }, {1, 0, 0, 1, 13}, {1, 0, 0, 1, 91}},
    {"Nas1CheckPermission, AFP", [](int) { Nas1CheckPermission("S0", PROTO_AFP, "NEWCOMER", groupNames); }, {19, 9, 12, 29, 342}, {19, 9, 12, 29, 651}},
    {"Nas1CheckPermission, AFP again", [](int) { Nas1CheckPermission("S0", PROTO_AFP, "NEWCOMER", groupNames); }, {7, 3, 0, 10, 126}, {7, 3, 0, 10, 435}},
    {"Nas1DelPermittedItem", [](int) { Nas1DelPermittedItem("S0", PROTO_CIFS, "NEWCOMER"); }, {0, 1, 0, 2, 13}, {0, 1, 0, 2, 91}},
    {"Nas1DelPermittedItemEx", [](int) { Nas1DelPermittedItemEx("S0", PROTO_CIFS, "NEWCOMER", 0); }, {0, 1, 0, 2, 13}, {0, 1, 0, 2, 91}},
    {"Nas1SetPermittedList", [](int) { Nas1SetPermittedList("S1", PROTO_CIFS, 1, &newcomer); }, {0, 1, 0, 1, 12}},
    {"Nas1ShareGetPermittedNfsSize", [](int) { int count; Nas1ShareGetPermittedNfsSize("S0", &count, &length); }, {1, 0, 0, 1, 13}, {1, 0, 0, 1, 77}},
    {"Nas1ShareGetPermittedNfs", [](int n) { Nas1ShareGetPermittedNfs("S0", n, room, sizeof room); }, {1, 0, 0, 1, 13}, {1, 0, 0, 1, 77}},
    {"Nas1ShareSetPermittedNfs", [](int) { Nas1ShareSetPermittedNfs("S1", 0, room); }, {3, 1, 2, 33, 47}, {34, 1, 2, 3003, 700}},
    {"Nas1GetVolumeCount", [](int) { Nas1GetVolumeCount(&length, nullptr); }, {0, 0, 1, 0, 0}},
    {"Nas1ListVolume", [](int) { Nas1ListVolume(reinterpret_cast<VolumeInfo*>(room), sizeof room); }, {3, 0, 0, 3, 37}},

    {"Nas1AddUser", [](int) { Nas1AddUser(0, name("NEWCOMER"), "secret"); }, {4, 3, 4, 7, 85}},
    {"Nas1GetUserItem", [](int) { Nas1GetUserItem(0, name("NEWCOMER"), room, &length); }, {1, 0, 0, 1, 13}},
    {"Nas1CheckUserItem", [](int) { Nas1CheckUserItem(0, "NEWCOMER", room, &length); }, {1, 0, 0, 1, 13}},
    {"Nas1SetUserItem", [](int) { Nas1SetUserItem(reinterpret_cast<UserItem*>(room)); }, {0, 1, 4, 2, 13}},
    {"Nas1GetUserItem, made", [](int) { Nas1GetUserItem(1, name("NEWCOMER"), room, &length); }, {4, 2, 4, 6, 73}},
    {"Nas1GetUserPasswd", [](int) { Nas1GetUserPasswd(0, name("NEWCOMER"), room, 32); }, {1, 0, 0, 1, 13}},
    {"Nas1SetUserPasswd", [](int) { Nas1SetUserPasswd(0, name("NEWCOMER"), "hidden"); }, {0, 1, 0, 2, 13}},
    {"NasGetUserConfig", [](int) { NasGetUserConfig("NEWCOMER", "home", 32, room, &length); }, {1, 0, 0, 1, 13}},
    {"NasSetUserConfig", [](int) { NasSetUserConfig("NEWCOMER", "home", 32, ""); }, {0, 1, 0, 2, 13}},
    {"Nas1AddGroup", [](int) { Nas1AddGroup(0, name("STAFF"), nullptr); }, {3, 2, 4, 5, 61}},
    {"Nas1GetGroupItem", [](int) { Nas1GetGroupItem(0, name("STAFF"), room, &length); }, {1, 0, 0, 1, 13}},
    {"Nas1CheckGroupItem", [](int) { Nas1CheckGroupItem(0, "STAFF", room, &length); }, {1, 0, 0, 1, 13}},
    {"Nas1SetGroupItem", [](int) { Nas1SetGroupItem(reinterpret_cast<GroupItem*>(room)); }, {0, 1, 4, 2, 13}},
    {"Nas1SetPrimaryGroup", [](int) { Nas1SetPrimaryGroup(0, "NEWCOMER", "STAFF"); }, {2, 1, 4, 4, 37}},
    {"Nas1JoinGroup", [](int) { char user[] = "NEWCOMER"; Nas1JoinGroup(0, user, name("STAFF")); }, {2, 0, 0, 2, 25}},
    {"Nas1LeaveGroup", [](int) { char user[] = "NEWCOMER"; Nas1LeaveGroup(0, user, name("STAFF")); }, {2, 1, 4, 4, 37}},
    {"Nas1UserItemCount", [](int) { Nas1UserItemCount(); }, kNone},
    {"Nas1GroupItemCount", [](int) { Nas1GroupItemCount(); }, kNone},
    {"Nas1ListUserItem", [](int n) { Nas1ListUserItem(0, n, room, sizeof room); }, {1, 0, 0, 20, 10}, {1, 0, 0, 2000, 163}},
    {"Nas1ListGroupItem", [](int n) { Nas1ListGroupItem(0, n, room, sizeof room); }, {1, 0, 0, 20, 9}, {1, 0, 0, 2000, 100}},
    {"Nas1GetUserListCount", [](int) { Nas1GetUserListCount(); }, {1, 0, 0, 26, 10}, {1, 0, 0, 2006, 163}},
    {"Nas1GetGroupListCount", [](int) { Nas1GetGroupListCount(); }, {1, 0, 0, 26, 10}, {1, 0, 0, 2006, 100}},
    {"Nas1GetUserList", [](int n) { Nas1GetUserList(0, 0, n, room, sizeof room); }, {1, 0, 0, 26, 10}, {1, 0, 0, 2006, 163}},
    {"Nas1GetGroupList", [](int n) { Nas1GetGroupList(0, 0, n, room, sizeof room); }, {1, 0, 0, 26, 10}, {1, 0, 0, 2006, 100}},
    {"Nas1ListUserGroups", [](int) { Nas1ListUserGroups(name("U0"), 0, 0, 16, room, sizeof room); }, {3, 0, 0, 28, 34}, {3, 0, 0, 2008, 125}},
    {"Nas1ListGroupMembersCount", [](int) { Nas1ListGroupMembersCount(name("G0"), 0); }, {2, 0, 0, 27, 23}, {2, 0, 0, 2007, 175}},
    {"Nas1ListGroupMembers", [](int n) { Nas1ListGroupMembers(name("G0"), 0, 0, n, room, sizeof room); }, {2, 0, 0, 27, 23}, {2, 0, 0, 2007, 175}},
    {"Nas1GetQuota", [](int) { Nas1GetQuota(0, 32768, "v1", 0); }, {0, 0, 1, 0, 0}},
    {"Nas1DelUser", [](int) { Nas1DelUser(0, name("NEWCOMER")); }, {4, 2, 0, 36, 72}, {35, 2, 0, 3006, 738}},
    {"Nas1DelGroup", [](int) { Nas1DelGroup(0, name("STAFF")); }, {4, 1, 0, 58, 58}, {35, 1, 0, 5008, 876}},
    {"EnableNasDelPermBatch, on", [](int) { EnableNasDelPermBatch(1); }, kNone},
    {"Nas1DelUser, in a batch", [](int) { Nas1DelUser(1, name("NEWCOMER")); }, {0, 1, 0, 2, 13}},
    {"Nas1DelGroup, of all users, in a batch", [](int) { Nas1DelGroup(0, name("G0")); }, {2, 11, 40, 45, 158}, {2, 1001, 4000, 4005, 12490}},
    {"EnableNasDelPermBatch, off", [](int) { EnableNasDelPermBatch(0); }, kNone},
    {"Nas1DelUidGid", [](int) { Nas1DelUidGid(1, kGid + 1); }, kNone},

    {"Nas1GetUserListFromRemoteServer", [](int) { Nas1GetUserListFromRemoteServer(PROTO_CIFS, name("DC")); }, {0, 0, 1, 0, 0}},
    {"Nas1GetUserListCountInRemoteServer", [](int) { Nas1GetUserListCountInRemoteServer(PROTO_CIFS); }, kNone},
    {"Nas1GetGroupListFromRemoteServer", [](int) { Nas1GetGroupListFromRemoteServer(PROTO_CIFS, "DC"); }, {0, 0, 1, 0, 0}},
    {"Nas1GetGroupListCountInRemoteServer", [](int) { Nas1GetGroupListCountInRemoteServer(PROTO_CIFS); }, kNone},
    {"Nas1GetUserList, remote", [](int) { Nas1GetUserList(PROTO_CIFS, 0, -1, nullptr, 0); }, {1, 0, 0, 1, 12}},

    {"nas1_log", [](int) { nas1_log(0, 2, "a line"); }, {1, 0, 0, 1, 13}},
    {"nas_time", [](int) { nas_time(nullptr); }, {1, 0, 0, 1, 13}},
    {"Nas1Event", [](int) { Nas1Event(13, nullptr); }, {2, 0, 0, 2, 25}},
    {"Nas1SendMail", [](int) { Nas1SendMail(13, nullptr); }, {5, 0, 2, 5, 60}},
    {"Nas1SendMailDelFile", [](int) { Nas1SendMailDelFile(13, nullptr, nullptr); }, {5, 0, 2, 5, 60}},
    {"NasSendSNMPtrap", [](int) { NasSendSNMPtrap(13); }, {1, 0, 0, 1, 12}},
    {"Nas1AddConnection", [](int) { ConnectionRecord record = {getpid(), 0, {}}; Nas1AddConnection(PROTO_CIFS, &record); }, {1, 0, 0, 1, 13}},
    {"Nas1ListConnection", [](int) { Nas1ListConnection(PROTO_CIFS, 0, 1, room, 1000); }, {1, 0, 0, 1, 13}},
    {"Nas1ConnectionCount", [](int) { Nas1ConnectionCount(PROTO_CIFS); }, kNone},
    {"Nas1DelConnection", [](int) { Nas1DelConnection(PROTO_CIFS, getpid()); }, kNone},
    {"Nas1ModuleAdd", [](int) { ModuleRecord module = {"NEW", "true"}; Nas1ModuleAdd(&module); }, {0, 1, 0, 1, 12}},
    {"Nas1ModuleMod", [](int) { ModuleRecord module = {"NEW", "true"}; Nas1ModuleMod(&module); }, {0, 1, 0, 1, 13}},
    {"Nas1ModuleList", [](int n) { Nas1ModuleList(0, n, room, sizeof room); }, {1, 0, 0, 20, 12}, {1, 0, 0, 2000, 371}},
    {"Nas1ModuleList, count", [](int) { Nas1ModuleList(0, 0, nullptr, 0); }, {1, 0, 0, 12, 9}, {1, 0, 0, 1002, 13}},
    {"Nas1ModuleDel", [](int) { Nas1ModuleDel("NEW"); }, {0, 1, 1, 2, 13}},
    {"Nas1NetDisconnect", [](int) { Nas1NetDisconnect(PROTO_CIFS, 0, 0); }, kNone},
    {"Nas1Restart", [](int) { for (int protocol = 0; protocol < PROTO_COUNT; ++protocol) Nas1Restart(protocol, 2); }, {1, 0, 6, 1, 13}},
    {"Nas1Restart, CIFS reload", [](int) { Nas1Restart(PROTO_CIFS, 3); }, {2, 0, 1, 22, 23}, {2, 0, 1, 2002, 239}},
    {"NasGetServiceInstall", [](int) { NasGetServiceInstall("nfs"); }, {0, 0, 1, 0, 0}},
    {"Nas1System", [](int) { Nas1System("true"); }, {0, 0, 1, 0, 0}},
};
// clang-format on

// The calls that look at no file and start nothing.
constexpr const char* kFree[] = {"LogFile",
                                 "Nas1ApiVersion",
                                 "Nas1CheckLength",
                                 "Nas1Remove_ht_space",
                                 "Nas1SetQuota",
                                 "Nas1Shutdown",
                                 "Nas1UpStr",
                                 "Nas1ShowGroupListInRemoteServer",
                                 "Nas1ShowUserListInRemoteServer",
                                 "NasAddSlash",
                                 "NasCharLen",
                                 "NasLangInit",
                                 "NasMailMsgFree",
                                 "NasMailMsgInit",
                                 "NasReplaceChar",
                                 "NasStrCaseCmp",
                                 "NasStrClientToServer",
                                 "NasStrLower",
                                 "NasStrNCaseCmp",
                                 "NasStrNCpy",
                                 "NasStrServerToClient",
                                 "NasStrUpper",
                                 "NasStrchr"};

// The settings by number that take more than one opening for reading (get) or for changes (set).
struct Setting {
  std::vector<int> ids;
  Cost get, set;
};
const Cost kRead = {1, 0, 0, 1, 13}, kWrite = {0, 1, 0, 1, 13};
// clang-format off
const Setting settings[] = {
    {{16, 23, 24, 25, 27, 28, 29, 43, 44, 45,  47,  48,  49,  50,  51,  52,
      53, 60, 61, 62, 63, 64, 65, 74, 76, 107, 108, 109, 110, 111, 112, 113},
     {0, 0, 0, 0, 5},
     kNone},
    {{46, 75}, {0, 0, 1, 0, 5}, kNone},
    {{79}, {0, 0, 1, 0, 5}, kWrite},
    {{1, 2, 3, 6, 7, 9, 19, 20, 22, 26, 30, 32, 33, 41, 59, 72, 101}, kRead, {0, 1, 1, 1, 13}},
    {{31, 114}, kRead, {0, 1, 2, 1, 13}},
    {{0}, kRead, {0, 1, 3, 1, 13}},
    {{38}, kRead, {1, 1, 0, 2, 25}},
    {{5, 78, 80}, kRead, {1, 1, 1, 2, 25}},
    {{21}, kRead, {2, 1, 1, 23, 40}},
    {{39, 40}, kRead, {2, 1, 0, 3, 40}},
    {{73}, {2, 0, 0, 2, 25}, {0, 1, 1, 1, 13}},
};
// clang-format on

void expectCost(const Cost& allowed, const Counts& taken, const std::string& what) {
  EXPECT_TRUE(taken.readers == allowed.readers && taken.writers == allowed.writers && taken.starts == allowed.starts &&
              taken.records == allowed.records && taken.bytes <= allowed.kibibytes * 1024L)
      << what << " takes " << text(taken);
  EXPECT_EQ(taken.writers, taken.syncs) << what;
}

class Costs : public ApplianceTest {};

TEST_F(Costs, StayWhatTheyAre) {
  for (const int n : {10, 1000}) {
    if (n > 10) SetUp();
    fillAppliance(n);
    for (const Row& row : session) {
      const Cost& allowed = n == 10 || row.atThousand.readers < 0 ? row.atTen : row.atThousand;
      expectCost(allowed, counted([&] { row.run(n); }), std::string(row.call) + " with " + std::to_string(n));
    }
  }
}

TEST_F(Costs, OfTheSettingsStayWhatTheyAre) {
  descriptorsLeftByRule = 1;  // DIRECT_PING_ENABLED
  fillAppliance(10);
  for (int id = 0; id < CONFIG_COUNT; ++id) {
    const auto* const own =
        std::ranges::find_if(settings, [id](const Setting& s) { return std::ranges::count(s.ids, id) > 0; });
    const bool special = own != std::end(settings);
    const std::string what = "key " + std::to_string(id);
    expectCost(special ? own->get : kRead, counted([id] { (void)Nas1GetConfig(id, 64, room, &length); }),
               "getting " + what);
    std::memset(room, 0, 64);
    expectCost(special ? own->set : kWrite, counted([id] { (void)Nas1SetConfig(id, 4, room); }), "setting " + what);
  }
}

TEST_F(Costs, AreKnownOfEveryCall) {
  for (const std::string& name : readLines(NAS1_SOURCE_DIR "/src/api/exports.txt")) {
    if (!name.starts_with("Nas1") && !name.starts_with("Nas") && !name.starts_with("nas")) continue;
    const bool listed = std::ranges::any_of(session, [&](const Row& row) {
      const std::string_view call = row.call;
      return call.substr(0, call.find(',')) == name;
    });
    EXPECT_TRUE(listed || std::ranges::count(kFree, name) > 0) << name;
  }
}

}  // namespace
