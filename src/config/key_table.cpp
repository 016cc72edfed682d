#include "config/key_table.h"

#include <cstring>
#include <iterator>
#include <string_view>

#include "api/nas1api.h"
#include "config/computed_keys.h"
#include "config/notify_hooks.h"
#include "config/side_effects.h"
#include "config/stored_values.h"

static int getStored(const char* key, int size, void* buffer, int* lengthOut) {
  return readStored(key, size, buffer, lengthOut);
}

static int setStored(const char* key, int size, const void* value, const ConfigKeyEntry* /*table*/) {
  return writeStored(key, size, value);
}

// clang-format off
constexpr ConfigKeyEntry keyTable[kKeyCount] = {
    //        name                               type         size get                  fallback               set                  notify
    /*   0 */ {"CIFS_SERVER_NAME",                CFG_TEXT,     32, getStored,           serverNameFromAddress, setCifsServerName,   cifsSetConfig},
    /*   1 */ {"NCP_SERVER_NAME",                 CFG_TEXT,     32, getStored,           serverNameFromAddress, setNcpServerName,    ncpSetConfig},
    /*   2 */ {"AFP_SERVER_NAME",                 CFG_TEXT,     32, getStored,           serverNameFromAddress, setStored,           afpSetConfig},
    /*   3 */ {"CIFS_GROUP_NAME",                 CFG_TEXT,     32, getStored,           nullptr,               setStored,           cifsSetConfig},
    /*   4 */ {"NCP_NETWORK_ID",                  CFG_TEXT,     32, getStored,           nullptr,               setStored,           ncpSetConfig},
    /*   5 */ {"CIFS_CODE_PAGE",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           cifsSetConfig},
    /*   6 */ {"CIFS_SERVER_COMMENT",             CFG_TEXT,     64, getStored,           nullptr,               setStored,           cifsSetConfig},
    /*   7 */ {"NCP_BINDERY_SERVER_NAME",         CFG_TEXT,     32, getStored,           nullptr,               setStored,           ncpSetConfig},
    /*   8 */ {"NFS_NIS_SERVER_NAME",             CFG_TEXT,     32, getStored,           nullptr,               setStored,           nfsSetConfig},
    /*   9 */ {"AFP_RELAY_SERVER_NAME",           CFG_TEXT,     32, getStored,           nullptr,               setStored,           afpSetConfig},
    /*  10 */ {"IP_ADDRESS_1",                    CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  11 */ {"IP_MASK_1",                       CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  12 */ {"IP_ADDRESS_2",                    CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  13 */ {"IP_ADDRESS_3",                    CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  14 */ {"IP_MASK_2",                       CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  15 */ {"IP_MASK_3",                       CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  16 */ {"IP_GATEWAY_1",                    CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  17 */ {"IP_GATEWAY_2",                    CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  18 */ {"IP_GATEWAY_3",                    CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  19 */ {"IP_DNS",                          CFG_TEXT,     32, getResolver,         nullptr,               setResolver,         nullptr},
    /*  20 */ {"IP_WINS",                         CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  21 */ {"NETWORK_MODE",                    CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  22 */ {"CIFS_SHARE_MODE",                 CFG_INTEGER,   4, getStored,           nullptr,               setStored,           cifsSetConfig},
    /*  23 */ {"NCP_SHARE_MODE",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           ncpSetConfig},
    /*  24 */ {"AFP_SHARE_MODE",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           afpSetConfig},
    /*  25 */ {"NFS_SHARE_MODE",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nfsSetConfig},
    /*  26 */ {"ETHERNET_ADDRESS_1",              CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  27 */ {"ETHERNET_ADDRESS_2",              CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  28 */ {"ETHERNET_ADDRESS_3",              CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  29 */ {"NAS_VERSION",                     CFG_RECORD,   18, getVersionRecord,    nullptr,               nullptr,             nullptr},
    /*  30 */ {"TIME_ZONE",                       CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /*  31 */ {"CIFS_ENABLED",                    CFG_INTEGER,   4, getStored,           nullptr,               setStored,           cifsSetConfig},
    /*  32 */ {"NFS_ENABLED",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nfsSetConfig},
    /*  33 */ {"NCP_ENABLED",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           ncpSetConfig},
    /*  34 */ {"AFP_ENABLED",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           afpSetConfig},
    /*  35 */ {"DIRECT_PING_ENABLED",             CFG_INTEGER,   4, getStored,           nullptr,               setStored,           notifyDirectPing},
    /*  36 */ {"DHCP_ENABLED",                    CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  37 */ {"BOOTP_ENABLED",                   CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  38 */ {"RARP_ENABLED",                    CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  39 */ {"NTP_ENABLED",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           notifyNtpEnabled},
    /*  40 */ {"NTP_SERVER_1",                    CFG_TEXT,     64, getStored,           nullptr,               setStored,           notifyNtpServer},
    /*  41 */ {"NTP_SERVER_2",                    CFG_TEXT,     64, getStored,           nullptr,               setStored,           notifyNtpServer},
    /*  42 */ {"ADMIN_PASSWORD",                  CFG_TEXT,     32, getStored,           nullptr,               setStored,           notifyAdminPassword},
    /*  43 */ {"UPS_SELECTION",                   CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  44 */ {"CPU_SPEED",                       CFG_TEXT,     32, getSensor,           nullptr,               nullptr,             nullptr},
    /*  45 */ {"CPU_THERMAL",                     CFG_INTEGER,   4, getSensor,           nullptr,               nullptr,             nullptr},
    /*  46 */ {"NFS_DOMAIN_NAME",                 CFG_TEXT,     64, getStored,           nullptr,               setStored,           nfsSetConfig},
    /*  47 */ {"EVENT_ACTION",                    CFG_HEX,       4, getStored,           nullptr,               setStored,           nullptr},
    /*  48 */ {"NETWORK_SCOPE_ID",                CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  49 */ {"HTTP_FILE_ENABLED",               CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  50 */ {"HTTP_SHARE_MODE",                 CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  51 */ {"HTTP_HOME",                       CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  52 */ {"FTP_ENABLED",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  53 */ {"CURRENT_IP_ADDRESS_1",            CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  54 */ {"CURRENT_IP_MASK_1",               CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  55 */ {"CURRENT_IP_ADDRESS_2",            CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  56 */ {"CURRENT_IP_MASK_2",               CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  57 */ {"CURRENT_IP_ADDRESS_3",            CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  58 */ {"CURRENT_IP_MASK_3",               CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  59 */ {"CURRENT_IP_GATEWAY_1",            CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  60 */ {"CURRENT_IP_GATEWAY_2",            CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  61 */ {"CURRENT_IP_GATEWAY_3",            CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /*  62 */ {"ADMIN_EMAIL",                     CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /*  63 */ {"ADMIN_EMAIL_2",                   CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /*  64 */ {"DEFAULT_USER_QUOTA",              CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  65 */ {"UPS_TIMEOUT",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  66 */ {"DEFAULT_GROUP_QUOTA",             CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  67 */ {"SNAPSHOT_ENABLE",                 CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  68 */ {"SNAPSHOT_SIZE",                   CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  69 */ {"NCP_BINDERY_ADMIN_NAME",          CFG_TEXT,     32, getStored,           nullptr,               setStored,           ncpSetConfig},
    /*  70 */ {"NCP_BINDERY_ADMIN_PASSWORD",      CFG_TEXT,     32, getStored,           adminPasswordInstead,  setStored,           ncpSetConfig},
    /*  71 */ {"HW_EVENT_STATUS",                 CFG_HEX,       4, getHardwareStatus,   nullptr,               setHardwareStatus,   nullptr},
    /*  72 */ {"CPU_VOLTAGE",                     CFG_TEXT,     32, getSensor,           nullptr,               nullptr,             nullptr},
    /*  73 */ {"FILESYSTEM_STATUS",               CFG_INTEGER,   4, getFileSystemStatus, nullptr,               setFileSystemStatus, nullptr},
    /*  74 */ {"FILESYSTEM_WRITEBACK_ENABLE",     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  75 */ {"CODING_SYSTEM",                   CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  76 */ {"LVM_ENABLED",                     CFG_INTEGER,   4, getLvmInstalled,     nullptr,               nullptr,             nullptr},
    /*  77 */ {"CIFS_PDC_NAME",                   CFG_TEXT,     32, getStored,           nullptr,               setStored,           cifsSetConfig},
    /*  78 */ {"EMAIL_LANGUAGE",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  79 */ {"AUTO_HOME",                       CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  80 */ {"SMART_POLL_INTERVAL",             CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  81 */ {"UID_START",                       CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  82 */ {"GID_START",                       CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  83 */ {"NIC_DISABLED",                    CFG_HEX,       4, getStored,           nullptr,               setStored,           nullptr},
    /*  84 */ {"NIC_AUTOIP",                      CFG_HEX,       4, getStored,           nullptr,               setStored,           nullptr},
    /*  85 */ {"RAID_LEVEL",                      CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  86 */ {"FILE_SYSTEM",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  87 */ {"RESERVE_SHARE_PATH",              CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  88 */ {"RESERVE_HOME",                    CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  89 */ {"FIX_SHARE_PATH",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  90 */ {"DEFAULT_SHARE_RO_PASSWD",         CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  91 */ {"DEFAULT_SHARE_RW_PASSWD",         CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  92 */ {"DISK_POLL_INTERVAL",              CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  93 */ {"AUTO_SYNC_REMOTE_ACCOUNTS",       CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  94 */ {"DEF_SNAPSHOT_RESERVED",           CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /*  95 */ {"ARC_SERVER_NAME",                 CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  96 */ {"Full_SYS_Backup_Date",            CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  97 */ {"Full_USER_Backup_Date",           CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  98 */ {"Full_SYSnUSER_Backup_Date",       CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /*  99 */ {"AFP_ZONE_NAME",                   CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 100 */ {"NIC_SPEED",                       CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 101 */ {"NIC_DUPLEX_MODE",                 CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 102 */ {"DEFAULT_GATEWAY",                 CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 103 */ {"CURRENT_DEFAULT_GATEWAY",         CFG_TEXT,     32, getLiveInterface,    nullptr,               nullptr,             nullptr},
    /* 104 */ {"DEFAULT_GATEWAY_PORT",            CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 105 */ {"SUPPORT_DISK_NUMBER",             CFG_TEXT,     32, getStored,           nullptr,               nullptr,             nullptr},
    /* 106 */ {"SYNC_CONNECTION",                 CFG_INTEGER,   4, getStored,           nullptr,               nullptr,             nullptr},
    /* 107 */ {"RAID_NUM",                        CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 108 */ {"AFP_DEDICATE_PORT",               CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 109 */ {"NCP_DEDICATE_PORT",               CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 110 */ {"MAIL_RELAY_HOST",                 CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /* 111 */ {"SYSTEM_ID",                       CFG_TEXT,     16, getSystemId,         nullptr,               setSystemId,         nullptr},
    /* 112 */ {"TEST_STRING",                     CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 113 */ {"TEST_INTEGER",                    CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 114 */ {"LVM_USER_ENABLE",                 CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 115 */ {"ACL_ENABLED",                     CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 116 */ {"ADS_REALM",                       CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 117 */ {"ADS_ADMIN_NAME",                  CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 118 */ {"ADS_ADMIN_PASSWORD",              CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 119 */ {"NFS_EXPORT_PRIVILEGE",            CFG_TEXT,     32, getStored,           nullptr,               setStored,           nullptr},
    /* 120 */ {"SENDER_ADDRESS",                  CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /* 121 */ {"ACL_INHERIT_PERMIT",              CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
    /* 122 */ {"SKIP_RAID_SYNC",                  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           notifyRaidSyncSkip},
    /* 123 */ {"USE_SNAP_SPACE_THRESHOLD",        CFG_INTEGER,   4, getStored,           nullptr,               setStored,           notifySnapshotThreshold},
    /* 124 */ {"HTTP_COMMON_SERVICE_PORT",        CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /* 125 */ {"HTTP_SSL_SERVICE_PORT",           CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /* 126 */ {"ENTERPRISE_TRAP_OID",             CFG_TEXT,     64, getStored,           nullptr,               setStored,           nullptr},
    /* 127 */ {"SET_ACL_TAKE_EFFECT_CONNECTION",  CFG_INTEGER,   4, getStored,           nullptr,               setStored,           nullptr},
};
// clang-format on

// Lets the compiler read the table: names present, short enough and different, integers of 4 bytes.
static constexpr bool tableIsSound() {
  for (const ConfigKeyEntry& entry : keyTable) {
    const std::string_view name = entry.name;
    if (name.empty() || name.size() >= kKeyNameSize) return false;
    const bool integer = entry.type == CFG_INTEGER || entry.type == CFG_HEX;
    if (integer != (entry.size == 4)) return false;
    for (const ConfigKeyEntry* other = keyTable; other != &entry; ++other) {
      if (name == other->name) return false;
    }
  }
  return true;
}
static_assert(std::size(keyTable) == kKeyCount && keyTable[kKeyCount - 1].name != nullptr, "a row for every key");
static_assert(tableIsSound());

bool isPlainlyStored(const ConfigKeyEntry& entry) { return entry.set == setStored; }

int findKey(const char* key) {
  for (int row = 0; row < kKeyCount; ++row) {
    if (std::strcmp(keyTable[row].name, key) == 0) return row;
  }
  return -1;
}
