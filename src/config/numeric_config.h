#pragma once
// Configuration by number: the table fpConfig and the engines of Nas1GetConfig and Nas1SetConfig.

#include "api/nas1api.h"

// Numbers that the code itself uses.
enum ConfigId {
  CONFIG_CIFS_SERVER_NAME = 0,
  CONFIG_NCP_SERVER_NAME = 1,
  CONFIG_AFP_SERVER_NAME = 2,
  CONFIG_CIFS_GROUP_NAME = 3,
  CONFIG_CIFS_CODE_PAGE = 5,
  CONFIG_CIFS_SERVER_COMMENT = 6,
  CONFIG_NCP_BINDERY_SERVER_NAME = 7,
  CONFIG_NFS_NIS_SERVER_NAME = 8,
  CONFIG_AFP_RELAY_SERVER_NAME = 9,
  CONFIG_CIFS_SHARE_MODE = 19,
  CONFIG_NCP_SHARE_MODE = 20,
  CONFIG_AFP_SHARE_MODE = 21,
  CONFIG_NFS_SHARE_MODE = 22,
  CONFIG_CIFS_ENABLED = 30,
  CONFIG_NFS_ENABLED = 31,
  CONFIG_NCP_ENABLED = 32,
  CONFIG_AFP_ENABLED = 33,
  CONFIG_NTP_SERVER_1 = 39,
  CONFIG_NFS_DOMAIN_NAME = 54,
  CONFIG_FTP_ENABLED = 59,
  CONFIG_NCP_BINDERY_ADMIN_NAME = 72,
  CONFIG_NCP_BINDERY_ADMIN_PASSWORD = 73,
  CONFIG_HW_EVENT_STATUS = 74,
  CONFIG_CODING_SYSTEM = 78,
  CONFIG_SNMP_STATE = 80,
  CONFIG_SNMP_TRAP_STATE = 81,
  CONFIG_SNMP_RO_COMM = 85,
  CONFIG_SNMP_RW_COMM = 86,
  CONFIG_SNMP_TRAP_COMM1 = 87,  // to 93 for receiver 7
  CONFIG_SNMP_TRAP_MAN1 = 94,   // to 100
  CONFIG_CIFS_PDC_NAME = 101,
};

#pragma GCC visibility push(default)
extern "C" {
// Calls the getter of an id. Returns its result; -1 for an id above 121, a null buffer or a size of 0; 0, with a line
// in the system log, for an id without a getter. lengthOut may be null.
int sysGetConfig(int id, int size, void* buffer, int* lengthOut);
// Calls the setter of an id, likewise.
int sysSetConfig(int id, int size, void* value);
}
#pragma GCC visibility pop
