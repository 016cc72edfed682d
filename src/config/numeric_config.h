#pragma once
// Configuration by number: the table fpConfig and the engines of Nas1GetConfig and Nas1SetConfig.

#include "api/nas1api.h"

// Numbers that the code itself uses.
enum ConfigId {
  CONFIG_CIFS_SERVER_NAME = 0,
  CONFIG_CIFS_GROUP_NAME = 3,
  CONFIG_CIFS_CODE_PAGE = 5,
  CONFIG_CIFS_SERVER_COMMENT = 6,
  CONFIG_CIFS_SHARE_MODE = 19,
  CONFIG_CIFS_ENABLED = 30,
  CONFIG_NTP_SERVER_1 = 39,
  CONFIG_CODING_SYSTEM = 78,
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
