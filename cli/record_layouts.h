#pragma once
// What is stored where: the record files and, of their records, what nas1api.h does not declare. Checking and repairing
// files goes past the library, which answers for sound records only.

#include <nas1api.h>

#include <cstddef>

enum RecordKind {
  RECORD_SETTING,      // text or number; key: name of the setting
  RECORD_SHARE,        // head, then a ShareInfo; key: name
  RECORD_NFS_HOSTS,    // list head, then NfsHostEntries; key: share
  RECORD_PERMISSIONS,  // list head, then PermittedItems; key: share
  RECORD_USER,         // head, then a UserItem; key: name and the digit of the source
  RECORD_GROUP,        // head, then a GroupItem; the same
  RECORD_PASSWORD,     // local user; key: name
  RECORD_MODULE        // ModuleRecord; key: name
};

struct RecordFileEntry {
  const char* path;
  RecordKind kind;
};

inline constexpr RecordFileEntry recordFiles[] = {
    {"/etc/admin/system.gdbm", RECORD_SETTING},       {"/etc/admin/share.gdbm", RECORD_SHARE},
    {"/etc/admin/share_nfs.gdbm", RECORD_NFS_HOSTS},  {"/etc/admin/user_local.gdbm", RECORD_PERMISSIONS},
    {"/etc/admin/user_smb.gdbm", RECORD_PERMISSIONS}, {"/etc/admin/user_nfs.gdbm", RECORD_PERMISSIONS},
    {"/etc/admin/user_ncp.gdbm", RECORD_PERMISSIONS}, {"/etc/admin/user_afp.gdbm", RECORD_PERMISSIONS},
    {"/etc/admin/user_id.gdbm", RECORD_USER},         {"/etc/admin/group_id.gdbm", RECORD_GROUP},
    {"/etc/admin/passwd.gdbm", RECORD_PASSWORD},      {"/etc/admin/module.gdbm", RECORD_MODULE},
};

// Offsets and sizes in bytes. Text keys end with their NUL, which counts.
namespace layout {

// share.gdbm
inline constexpr std::size_t kReadPassword = 4;    // NAS_NAME_SIZE
inline constexpr std::size_t kWritePassword = 36;  // NAS_NAME_SIZE
inline constexpr std::size_t kHomeMark = 68;       // 4 bytes, 1 for the home share of a user
inline constexpr std::size_t kShareInfo = 100;

// share_nfs.gdbm and the permission lists
inline constexpr std::size_t kListCount = 36;  // 4 bytes
inline constexpr std::size_t kListEntries = 40;

// user_id.gdbm and group_id.gdbm
inline constexpr std::size_t kItem = 36;
inline constexpr unsigned kFirstId = 32768;
inline constexpr unsigned kIdCount = 32212;

// passwd.gdbm
inline constexpr std::size_t kPassword = 4;  // NAS_NAME_SIZE
inline constexpr std::size_t kHome = 36;     // NAS_NAME_SIZE; name of the home share, empty for none
inline constexpr std::size_t kPasswordRecord = 100;

// The shared memory that tells which ids are taken: its key, and for users (0) and groups (1) the index to try next,
// which is 0 while the rest is not loaded, and a byte for every id.
inline constexpr char kIdentityPath[] = "/etc/admin";
inline constexpr int kIdentityProject = 'S';
inline constexpr std::size_t kNextIndex[] = {20, 24};
inline constexpr std::size_t kTakenIds[] = {72, 72 + kIdCount};

}  // namespace layout
