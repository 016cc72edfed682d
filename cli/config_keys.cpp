#include "config_keys.h"

#include <nas1api.h>

#include <algorithm>
#include <vector>

#include "suggest.h"

namespace {

// clang-format off
constexpr ConfigKey keys[] = {
    // name                             number, kind, type and size without a name in the library
    {"CIFS_SERVER_NAME",                    0},
    {"NCP_SERVER_NAME",                     1},
    {"AFP_SERVER_NAME",                     2},
    {"CIFS_GROUP_NAME",                     3},
    {"NCP_NETWORK_ID",                      4},
    {"CIFS_CODE_PAGE",                      5},
    {"CIFS_SERVER_COMMENT",                 6},
    {"NCP_BINDERY_SERVER_NAME",             7},
    {"NFS_NIS_SERVER_NAME",                 8},
    {"AFP_RELAY_SERVER_NAME",               9},
    {"IP_ADDRESS_1",                       10},
    {"IP_MASK_1",                          11},
    {"IP_ADDRESS_2",                       12},
    {"IP_ADDRESS_3",                      104},
    {"IP_MASK_2",                          13},
    {"IP_MASK_3",                         105},
    {"IP_GATEWAY_1",                       14},
    {"IP_GATEWAY_2",                       15},
    {"IP_GATEWAY_3",                      106},
    {"IP_DNS",                             16},
    {"IP_WINS",                            17},
    {"NETWORK_MODE",                       18},
    {"CIFS_SHARE_MODE",                    19},
    {"NCP_SHARE_MODE",                     20},
    {"AFP_SHARE_MODE",                     21},
    {"NFS_SHARE_MODE",                     22},
    {"ETHERNET_ADDRESS_1",                 23, KEY_OWN},
    {"ETHERNET_ADDRESS_2",                 24, KEY_OWN},
    {"ETHERNET_ADDRESS_3",                110, KEY_OWN},
    {"NAS_VERSION",                        25, KEY_OWN},
    {"TIME_ZONE",                          26},
    {"CIFS_ENABLED",                       30},
    {"NFS_ENABLED",                        31},
    {"NCP_ENABLED",                        32},
    {"AFP_ENABLED",                        33},
    {"DIRECT_PING_ENABLED",                34},
    {"DHCP_ENABLED",                       35},
    {"BOOTP_ENABLED",                      36},
    {"RARP_ENABLED",                       37},
    {"NTP_ENABLED",                        38},
    {"NTP_SERVER_1",                       39},
    {"NTP_SERVER_2",                       40},
    {"ADMIN_PASSWORD",                     41, KEY_SECRET},
    {"UPS_SELECTION",                      42},
    {"CPU_SPEED",                          46, KEY_OWN},
    {"CPU_THERMAL",                        47, KEY_OWN},
    {"NFS_DOMAIN_NAME",                    54},
    {"EVENT_ACTION",                       55},
    {"NETWORK_SCOPE_ID",                   56},
    {"HTTP_FILE_ENABLED",                  57},
    {"HTTP_SHARE_MODE",                    -1},
    {"HTTP_HOME",                          58},
    {"FTP_ENABLED",                        59},
    {"CURRENT_IP_ADDRESS_1",               60, KEY_OWN},
    {"CURRENT_IP_MASK_1",                  61, KEY_OWN},
    {"CURRENT_IP_ADDRESS_2",               62, KEY_OWN},
    {"CURRENT_IP_MASK_2",                  63, KEY_OWN},
    {"CURRENT_IP_ADDRESS_3",              107, KEY_OWN},
    {"CURRENT_IP_MASK_3",                 108, KEY_OWN},
    {"CURRENT_IP_GATEWAY_1",               64, KEY_OWN},
    {"CURRENT_IP_GATEWAY_2",               65, KEY_OWN},
    {"CURRENT_IP_GATEWAY_3",              109, KEY_OWN},
    {"ADMIN_EMAIL",                        66},
    {"ADMIN_EMAIL_2",                      -1},
    {"DEFAULT_USER_QUOTA",                 67},
    {"UPS_TIMEOUT",                        68},
    {"DEFAULT_GROUP_QUOTA",                69},
    {"SNAPSHOT_ENABLE",                    70},
    {"SNAPSHOT_SIZE",                      71},
    {"NCP_BINDERY_ADMIN_NAME",             72},
    {"NCP_BINDERY_ADMIN_PASSWORD",         73, KEY_SECRET},
    {"HW_EVENT_STATUS",                    74, KEY_OWN},
    {"CPU_VOLTAGE",                        75, KEY_OWN},
    {"FILESYSTEM_STATUS",                  76, KEY_OWN},
    {"FILESYSTEM_WRITEBACK_ENABLE",        77},
    {"CODING_SYSTEM",                      78},
    {"LVM_ENABLED",                        79, KEY_OWN},
    {"CIFS_PDC_NAME",                     101},
    {"EMAIL_LANGUAGE",                    102},
    {"AUTO_HOME",                          -1},
    {"SMART_POLL_INTERVAL",                -1},
    {"UID_START",                         116, KEY_OWN},
    {"GID_START",                         117, KEY_OWN},
    {"NIC_DISABLED",                       -1},
    {"NIC_AUTOIP",                        121},
    {"RAID_LEVEL",                         -1},
    {"FILE_SYSTEM",                        -1},
    {"RESERVE_SHARE_PATH",                 -1},
    {"RESERVE_HOME",                       -1},
    {"FIX_SHARE_PATH",                     -1},
    {"DEFAULT_SHARE_RO_PASSWD",            -1, KEY_SECRET},
    {"DEFAULT_SHARE_RW_PASSWD",            -1, KEY_SECRET},
    {"DISK_POLL_INTERVAL",                 -1},
    {"AUTO_SYNC_REMOTE_ACCOUNTS",          -1},
    {"DEF_SNAPSHOT_RESERVED",              -1},
    {"ARC_SERVER_NAME",                    -1},
    {"Full_SYS_Backup_Date",               -1},
    {"Full_USER_Backup_Date",              -1},
    {"Full_SYSnUSER_Backup_Date",          -1},
    {"AFP_ZONE_NAME",                      -1},
    {"NIC_SPEED",                          -1},
    {"NIC_DUPLEX_MODE",                    -1},
    {"DEFAULT_GATEWAY",                    -1},
    {"CURRENT_DEFAULT_GATEWAY",            -1, KEY_OWN},
    {"DEFAULT_GATEWAY_PORT",               -1},
    {"SUPPORT_DISK_NUMBER",                -1, KEY_OWN},
    {"SYNC_CONNECTION",                    -1, KEY_OWN},
    {"RAID_NUM",                          115},
    {"AFP_DEDICATE_PORT",                 118},
    {"NCP_DEDICATE_PORT",                 119},
    {"MAIL_RELAY_HOST",                    -1},
    {"SYSTEM_ID",                          -1, KEY_OWN},
    {"TEST_STRING",                        -1},
    {"TEST_INTEGER",                       -1},
    {"LVM_USER_ENABLE",                    -1},
    {"ACL_ENABLED",                        -1},
    {"ADS_REALM",                          -1},
    {"ADS_ADMIN_NAME",                     -1},
    {"ADS_ADMIN_PASSWORD",                 -1, KEY_SECRET},
    {"NFS_EXPORT_PRIVILEGE",               -1},
    {"SENDER_ADDRESS",                     -1},
    {"ACL_INHERIT_PERMIT",                 -1},
    {"SKIP_RAID_SYNC",                     -1},
    {"USE_SNAP_SPACE_THRESHOLD",           -1},
    {"HTTP_COMMON_SERVICE_PORT",           -1},
    {"HTTP_SSL_SERVICE_PORT",              -1},
    {"ENTERPRISE_TRAP_OID",                -1},
    {"SET_ACL_TAKE_EFFECT_CONNECTION",     -1},

    // Keys that have a number only.
    {"SYS_VOLTAGE_33",                     49, KEY_OWN, CFG_TEXT, 32},
    {"SYS_VOLTAGE_5",                      51, KEY_OWN, CFG_TEXT, 32},
    {"SYS_VOLTAGE_12",                     52, KEY_OWN, CFG_TEXT, 32},
    {"SNMP_STATE",                         80, KEY_PLAIN, CFG_INTEGER, 4},
    {"SNMP_TRAP_STATE",                    81, KEY_PLAIN, CFG_INTEGER, 4},
    {"SNMP_TRAP_AUTH",                     82, KEY_PLAIN, CFG_INTEGER, 4},
    {"SNMP_CONTACT",                       83, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_LOCATION",                      84, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_RO_COMM",                       85, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_RW_COMM",                       86, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM1",                    87, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM2",                    88, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM3",                    89, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM4",                    90, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM5",                    91, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM6",                    92, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_COMM7",                    93, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN1",                     94, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN2",                     95, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN3",                     96, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN4",                     97, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN5",                     98, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN6",                     99, KEY_PLAIN, CFG_TEXT, 30},
    {"SNMP_TRAP_MAN7",                    100, KEY_PLAIN, CFG_TEXT, 30},
    {"WEB_LANGUAGE",                      103, KEY_PLAIN, CFG_INTEGER, 4},
    {"SYS_VOLTAGE_M12V",                  111, KEY_OWN, CFG_TEXT, 32},
    {"SYS_VOLTAGE_5VSB",                  112, KEY_OWN, CFG_TEXT, 32},
    {"SYS_VOLTAGE_33VSB",                 113, KEY_OWN, CFG_TEXT, 32},
    {"ETHERNET_ENABLED",                  114, KEY_OWN, CFG_HEX, 4},
    {"AFP_ZONE",                          120, KEY_PLAIN, CFG_TEXT, 32},
};
// clang-format on

const ConfigKey* keyNumbered(const std::string& word) {
  // Three digits are enough for every number; more would not fit an int some day.
  if (word.size() > 3) return nullptr;
  const int number = std::stoi(word);
  const auto* const found =
      std::find_if(std::begin(keys), std::end(keys), [&](const ConfigKey& k) { return k.number == number; });
  return found == std::end(keys) ? nullptr : found;
}

std::vector<std::string> keyNames() {
  std::vector<std::string> names;
  for (const ConfigKey& key : keys) names.emplace_back(key.name);
  return names;
}

}  // namespace

std::span<const ConfigKey> configKeys() { return keys; }

const ConfigKey* configKeyNamed(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(keys), std::end(keys), [&](const ConfigKey& k) { return name == k.name; });
  return found == std::end(keys) ? nullptr : found;
}

bool isOwnRecord(const std::string& name) {
  return configKeyNamed(name) != nullptr || name.starts_with(kSnapshotRecord) || name.starts_with("DISK_CONFIG");
}

ExitCode findConfigKey(const std::string& word, const ConfigKey*& key, bool& byNumber) {
  const bool digits = !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
  key = digits ? keyNumbered(word) : configKeyNamed(word);
  if (key == nullptr && digits)
    return complain(UNKNOWN_OBJECT, "no key has the number %s; they go up to %d", word.c_str(), CONFIG_COUNT - 1);
  if (key == nullptr) {
    return complain(UNKNOWN_OBJECT, "there is no key %s%s; nas1 config list --all shows them", word.c_str(),
                    suggestion(word, keyNames()).c_str());
  }
  byNumber = digits || key->isNumberedOnly();
  return DONE;
}
