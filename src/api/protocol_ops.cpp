#include "api/protocol_ops.h"

#include "accounts/local_users.h"
#include "accounts/membership.h"
#include "backends/cifs.h"
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
    /* 2 nfs    */ {},
    /* 3 ncp    */ {},
    /* 4 afp    */ {},
    /* 5 ftp    */ {},
    /* 6 snmp   */ {},
};
// clang-format on

int shareBatch = 0;
int permissionDeleteBatch = 0;
