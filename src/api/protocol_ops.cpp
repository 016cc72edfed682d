#include "api/protocol_ops.h"

#include "accounts/local_users.h"
#include "accounts/membership.h"
#include "backends/afp.h"
#include "backends/cifs.h"
#include "backends/ftp.h"
#include "backends/ncp.h"
#include "backends/nfs.h"
#include "backends/snmp.h"
#include "config/numeric_config.h"
#include "share/share_database.h"

// The system row has no daemon to steer.
extern "C" int sysRestart(int /*how*/) { return 0; }

// clang-format off
const ProtocolOps protocolOps[PROTO_COUNT] = {
    /* 0 system */ {.restart = sysRestart,
                    .shareAdd = sysShareAdd, .shareDel = sysShareDel, .shareMod = sysShareMod,
                    .setConfig = sysSetConfig,
                    .getGroupList = sysGetGroupList, .getUserList = sysGetUserList,
                    .listGroups = sysListGroups, .listMembers = sysListMembers,
                    .getUserPasswd = sysGetUserPasswd, .setUserPasswd = sysSetUserPasswd},
    /* 1 cifs   */ {.restart = cifsRestart, .dbUpdate = cifsDbUpdate,
                    .shareAdd = cifsShareAdd, .shareDel = cifsShareDel, .shareMod = cifsShareMod,
                    .netDisconnect = cifsNetDisconnect,
                    .setConfig = cifsSetConfig,
                    .getGroupList = cifsGetGroupList, .getUserList = cifsGetUserList,
                    .getUserListFromRemote = cifsGetUserListFromPDC,
                    .getUserListCountInRemote = cifsGetUserListCountInPDC,
                    .showUserListInRemote = cifsShowUserListInPDC,
                    .getGroupListFromRemote = cifsGetGroupListFromPDC,
                    .getGroupListCountInRemote = cifsGetGroupListCountInPDC,
                    .showGroupListInRemote = cifsShowGroupListInPDC},
    /* 2 nfs    */ {.restart = nfsRestart, .dbUpdate = nfsDbUpdate,
                    .shareAdd = nfsShareAdd, .shareDel = nfsShareDel, .shareMod = nfsShareMod,
                    .setConfig = nfsSetConfig, .sysEvent = nfsSysEvent},
    /* 3 ncp    */ {.restart = ncpRestart,
                    .shareAdd = ncpShareAdd, .shareDel = ncpShareDel, .shareMod = ncpShareMod,
                    .listConnection = ncpListConnection, .netDisconnect = ncpNetDisconnect,
                    .setConfig = ncpSetConfig, .sysEvent = ncpSysEvent,
                    .getGroupList = ncpGetGroupList, .getUserList = ncpGetUserList,
                    .getUserListFromRemote = ncpGetUserListFromBindery,
                    .getUserListCountInRemote = ncpGetUserListCountInBindery,
                    .showUserListInRemote = ncpShowUserListInBindery,
                    .getGroupListFromRemote = ncpGetGroupListFromBindery,
                    .getGroupListCountInRemote = ncpGetGroupListCountInBindery,
                    .showGroupListInRemote = ncpShowGroupListInBindery},
    /* 4 afp    */ {.restart = afpRestart, .dbUpdate = afpDbUpdate,
                    .shareAdd = afpShareAdd, .shareDel = afpShareDel, .shareMod = afpShareMod,
                    .listConnection = afpListConnection, .netDisconnect = afpNetDisconnect,
                    .setConfig = afpSetConfig, .sysEvent = afpSysEvent},
    /* 5 ftp    */ {.restart = ftpRestart, .setConfig = ftpSetConfig},
    /* 6 snmp   */ {.restart = snmpRestart, .setConfig = snmpSetConfig},
};
// clang-format on

int shareBatch = 0;
int permissionDeleteBatch = 0;
