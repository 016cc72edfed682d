#include "safe_values.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <vector>

#include "output.h"
#include "volumes.h"

namespace {

// ---- Readers: who a value is handed to, and what each of them would misread

enum Reader : unsigned {
  SHELL = 1U << 0,          // a text that scripts use
  SHELL_WORD = 1U << 1,     // a word of a command, without quotes around it
  SHELL_QUOTED = 1U << 2,   // within double quotes, as it is
  SHELL_ESCAPED = 1U << 3,  // within double quotes, escaped, but for the dollar sign
  SAMBA_NAME = 1U << 4,
  SAMBA_VALUE = 1U << 5,
  SAMBA_PATH = 1U << 6,
  VOLUME_LIST = 1U << 7,
  EXPORT_PATH = 1U << 8,
  EXPORT_HOST = 1U << 9,
  DAEMON_WORD = 1U << 10,  // a word of a daemon's file
  MAIL_HEADER = 1U << 11,
  FOLDER = 1U << 12,
  FOLDER_NAME = 1U << 13,
};

// Each returns what is wrong with a value, to stand behind "the NAME", or null.

const char* blanksFault(const std::string& value) {
  if (value.starts_with(' ') || value.ends_with(' ')) return "begins or ends with a blank";
  return value.find("  ") == std::string::npos ? nullptr : "holds two blanks in a row";
}

const char* sambaNameFault(const std::string& name) {
  for (const char* const own : {"global", "homes", "printers", "print$", "IPC$", "ADMIN$"}) {
    if (strcasecmp(own, name.c_str()) == 0) return "is one that Samba keeps for itself";
  }
  return blanksFault(name);
}

const char* sambaValueFault(const std::string& value) {
  return value.ends_with('\\') ? "ends with \\ and so goes on in the next line" : blanksFault(value);
}

// A backslash and the number of a character spell that character.
const char* exportPathFault(const std::string& path) {
  for (std::size_t at = path.find('\\'); at != std::string::npos; at = path.find('\\', at + 1)) {
    if (std::min(path.find_first_not_of("01234567", at + 1), path.size()) - at > 3) return "holds \\ and three digits";
  }
  return path.ends_with('\\') ? "ends with \\ and so goes on in the next line" : nullptr;
}

const char* dashFault(const std::string& value) { return value.starts_with('-') ? "begins with -" : nullptr; }

// Where the volumes are mounted, as the table has it and with symbolic links resolved.
const std::vector<std::string>& mountPoints() {
  static const std::vector<std::string> points = [] {
    std::vector<std::string> found;
    for (const VolumeInfo& volume : allVolumes(nullptr)) {
      if (volume.name[0] == '\0') continue;
      std::error_code ignored;
      std::string point = fieldText(volume.mount, sizeof volume.mount);
      point.erase(point.find_last_not_of('/') + 1);
      found.push_back(std::filesystem::weakly_canonical(point, ignored));
      found.push_back(std::move(point));
    }
    return found;
  }();
  return points;
}

bool isOnVolume(const std::string& path) {
  return std::any_of(mountPoints().begin(), mountPoints().end(), [&](const std::string& point) {
    return !point.empty() && path.starts_with(point + "/") && path.size() > point.size() + 1;
  });
}

// Deleting a share removes its folder: whatever is not on a volume belongs to the system, and so does a volume's root.
const char* folderFault(const std::string& path) {
  if (("/" + path + "/").find("/../") != std::string::npos) return "leads upwards with \"..\"";
  // The NFS server spells such a path in its own way, and rm does not remove it.
  if (("/" + path + "/").find("/./") != std::string::npos) return "holds the folder \".\"";
  if (path.find("//") != std::string::npos) return "holds a folder without a name";
  if (mountPoints().empty()) return "is on no volume, for /etc/fstab.zelmar lists none";
  if (!isOnVolume(path)) return "is not below the mount point of a volume (nas1 volume list shows them)";
  std::error_code ignored;
  const bool staysThere = isOnVolume(std::filesystem::weakly_canonical(path, ignored));
  return staysThere ? nullptr : "leads out of the volumes through a symbolic link";
}

// Deleting a user removes the folder of its name.
const char* folderNameFault(const std::string& name) {
  return name == "." || name == ".." ? "is that of another folder" : nullptr;
}

struct ReaderRule {
  Reader reader;
  const char* refused;                       // characters
  const char* (*fault)(const std::string&);  // what else it refuses; null for nothing
  const char* name;                          // null: the fault says it all
};

// clang-format off
constexpr ReaderRule readerRules[] = {
    {SHELL,         "$`\"';|&<>()\\",                nullptr,         "a shell"},
    {SHELL_WORD,    " $`\"';|&<>()\\*?[]{}~!#",      dashFault,       "a shell"},
    {SHELL_QUOTED,  "$`\"\\",                        nullptr,         "a shell"},
    {SHELL_ESCAPED, "$",                             nullptr,         "the shell that makes and removes folders"},
    {SAMBA_NAME,    "[]%/\\\"$`",                    sambaNameFault,  "Samba's share list"},
    {SAMBA_VALUE,   "%",                             sambaValueFault, "Samba's share list"},
    {SAMBA_PATH,    "%\"",                           sambaValueFault, "Samba's share list"},
    {VOLUME_LIST,   "\"",                            nullptr,         "AppleTalk's volume list"},
    {EXPORT_PATH,   " (\"",                          exportPathFault, "the NFS server's export list"},
    {EXPORT_HOST,   " ()\"#\\",                      dashFault,       "the NFS server's export list"},
    {DAEMON_WORD,   " #\"'\\",                       nullptr,         "a daemon's file"},
    {MAIL_HEADER,   "\"<>\\",                        nullptr,         "the head of a mail"},
    {FOLDER,        "",                              folderFault,     nullptr},
    {FOLDER_NAME,   "",                              folderNameFault, nullptr},
};
// clang-format on

// ---- Fields and their readers; none reads control characters right

// clang-format off
constexpr struct { Field field; unsigned readers; } fields[] = {
    {Field::shareName,     SAMBA_NAME | VOLUME_LIST},
    {Field::shareComment,  SAMBA_VALUE},
    {Field::sharePath,     SHELL_ESCAPED | SAMBA_PATH | VOLUME_LIST | EXPORT_PATH | FOLDER},
    {Field::exportedPath,  EXPORT_PATH},
    {Field::removedFolder, SHELL_ESCAPED | FOLDER},
    {Field::nfsHost,       EXPORT_HOST},
    {Field::localAccount,  SAMBA_NAME | VOLUME_LIST | FOLDER_NAME},
    {Field::remoteAccount, 0},
    {Field::volume,        SHELL_WORD},
    {Field::volumeDevice,  SHELL_WORD},
    {Field::controller,    SHELL_QUOTED},
    {Field::bindery,       SHELL_WORD},
    {Field::freeText,      0},
    {Field::homeName,      SHELL_ESCAPED | SAMBA_PATH | EXPORT_PATH},
};

// Settings that are not listed are words of the commands of scripts.
constexpr struct { std::string_view key; unsigned readers; } settings[] = {
    {"ADMIN_EMAIL",                SHELL_QUOTED | MAIL_HEADER},
    {"ADMIN_EMAIL_2",              SHELL_QUOTED | MAIL_HEADER},
    {"ADMIN_PASSWORD",             0},
    {"ADS_ADMIN_PASSWORD",         0},
    {"AFP_RELAY_SERVER_NAME",      SHELL},
    {"AFP_SERVER_NAME",            SHELL},
    {"AFP_ZONE",                   SHELL},
    {"AFP_ZONE_NAME",              SHELL},
    {"CIFS_PDC_NAME",              SHELL_QUOTED},
    {"CIFS_SERVER_COMMENT",        0},
    {"CIFS_SERVER_NAME",           SHELL_WORD | MAIL_HEADER},
    {"DEFAULT_SHARE_RO_PASSWD",    0},
    {"DEFAULT_SHARE_RW_PASSWD",    0},
    {"Full_SYS_Backup_Date",       SHELL},
    {"Full_SYSnUSER_Backup_Date",  SHELL},
    {"Full_USER_Backup_Date",      SHELL},
    {"IP_DNS",                     DAEMON_WORD},
    {"NCP_BINDERY_ADMIN_PASSWORD", 0},
    {"NFS_DOMAIN_NAME",            SHELL_WORD | DAEMON_WORD},
    {"NFS_NIS_SERVER_NAME",        SHELL_WORD | DAEMON_WORD},
    {"NTP_SERVER_1",               DAEMON_WORD},
    {"NTP_SERVER_2",               DAEMON_WORD},
    {"SENDER_ADDRESS",             MAIL_HEADER},
    {"SNMP_CONTACT",               0},
    {"SNMP_LOCATION",              0},
    {"SNMP_RO_COMM",               DAEMON_WORD},
    {"SNMP_RW_COMM",               DAEMON_WORD},
    {"SNMP_TRAP_COMM1",            DAEMON_WORD},
    {"SNMP_TRAP_COMM2",            DAEMON_WORD},
    {"SNMP_TRAP_COMM3",            DAEMON_WORD},
    {"SNMP_TRAP_COMM4",            DAEMON_WORD},
    {"SNMP_TRAP_COMM5",            DAEMON_WORD},
    {"SNMP_TRAP_COMM6",            DAEMON_WORD},
    {"SNMP_TRAP_COMM7",            DAEMON_WORD},
    {"SNMP_TRAP_MAN1",             DAEMON_WORD},
    {"SNMP_TRAP_MAN2",             DAEMON_WORD},
    {"SNMP_TRAP_MAN3",             DAEMON_WORD},
    {"SNMP_TRAP_MAN4",             DAEMON_WORD},
    {"SNMP_TRAP_MAN5",             DAEMON_WORD},
    {"SNMP_TRAP_MAN6",             DAEMON_WORD},
    {"SNMP_TRAP_MAN7",             DAEMON_WORD},
};
// clang-format on

constexpr bool fieldsAreInOrder() {
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    if (fields[i].field != static_cast<Field>(i)) return false;
  }
  return std::size(fields) == static_cast<std::size_t>(Field::count);
}
static_assert(fieldsAreInOrder());

unsigned readersOfSetting(std::string_view key) {
  const auto* const found =
      std::find_if(std::begin(settings), std::end(settings), [&](const auto& s) { return key == s.key; });
  return found == std::end(settings) ? SHELL_WORD : found->readers;
}

// ---- Complaints

constexpr char kAdvice[] = "choose another value, or give --allow-unsafe";

bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 0x7F;
}

std::string spelled(char c) {
  if (c == ' ') return "a blank";
  return c == '"' ? "a double quote" : std::string{'"', c, '"'};
}

ExitCode check(unsigned readers, const char* what, const std::string& value, bool allowUnsafe) {
  if (allowUnsafe) return DONE;
  const auto control = std::find_if(value.begin(), value.end(), isControl);
  if (control != value.end())
    return complain(UNSAFE_VALUE, "the %s holds the control character 0x%02X; %s", what, *control & 0xFF, kAdvice);
  for (const ReaderRule& rule : readerRules) {
    if ((readers & rule.reader) == 0) continue;
    const std::size_t at = value.find_first_of(rule.refused);
    if (at != std::string::npos) {
      return complain(UNSAFE_VALUE, "the %s holds %s, which %s would misread; %s", what, spelled(value[at]).c_str(),
                      rule.name, kAdvice);
    }
    const char* const fault = rule.fault == nullptr || value.empty() ? nullptr : rule.fault(value);
    if (fault == nullptr) continue;
    const std::string misread = rule.name == nullptr ? "" : std::string(", which ") + rule.name + " would misread";
    return complain(UNSAFE_VALUE, "the %s %s%s; %s", what, fault, misread.c_str(), kAdvice);
  }
  return DONE;
}

}  // namespace

ExitCode checkSafe(Field field, const char* what, const std::string& value, bool allowUnsafe) {
  return check(fields[static_cast<std::size_t>(field)].readers, what, value, allowUnsafe);
}

ExitCode checkSafeSetting(const char* key, const std::string& value, bool allowUnsafe) {
  return check(readersOfSetting(key), key, value, allowUnsafe);
}
