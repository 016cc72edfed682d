// Users, groups, passwords and quotas: adding and deleting accounts with all that hangs on them.

#include <cstdio>
#include <cstring>

#include "accounts/account_items.h"
#include "accounts/local_users.h"
#include "accounts/quota.h"
#include "api/nas1api.h"
#include "api/protocol_ops.h"
#include "core/memory.h"
#include "share/permissions.h"

// Characters that no share name of a home may have, and those that no path of one may.
static constexpr char kShareNameTaboo[] = "~!@#$%^&*<>/:\"'()+|\\?=`[]";
static constexpr char kPathTaboo[] = "&=\"'\\";
static_assert(sizeof kShareNameTaboo - 1 == 25);

static constexpr int kShareExists = -2;
static constexpr int kNoVolume = -3;
static constexpr int kOwnerRights = 1;

static bool unknownSource(int source) { return static_cast<unsigned>(source) >= kSourceCount; }

static bool badName(const char* name) { return Nas1CheckLength(name, NAS_NAME_SIZE) != 0 || name[0] == '\0'; }

static bool wantsHome(int source) {
  char automatic[2] = {};
  if (source != PROTO_SYSTEM) return false;
  (void)NasGetConfig("AUTO_HOME", sizeof automatic, automatic, nullptr);
  return automatic[0] == '1';
}

// The share batch flag set for a while, unless the caller has already set it.
struct OwnShareBatch {
  const bool own = shareBatch == 0;

  OwnShareBatch() {
    if (own) (void)EnableNas1ShareBatch(1);
  }
  ~OwnShareBatch() {
    if (own) (void)EnableNas1ShareBatch(0);
  }
  OwnShareBatch(const OwnShareBatch&) = delete;
  OwnShareBatch& operator=(const OwnShareBatch&) = delete;
};

// Makes the home share of a user that was just added. Returns 0; kShareExists when its name has been taken meanwhile.
static int addHomeShare(char* share, const char* user) {
  int count = 0;
  int bytes = 0;
  (void)Nas1GetVolumeCount(&count, &bytes);
  VolumeInfo volume;
  if (count < 1 || Nas1ListVolume(&volume, sizeof volume) < 1) return 0;

  char path[sizeof volume.mount + sizeof "/Data/" + NAS_NAME_SIZE];
  (void)std::snprintf(path, sizeof path, "%.*s/Data/%s", static_cast<int>(strnlen(volume.mount, sizeof volume.mount)),
                      volume.mount, user);
  (void)NasReplaceChar(path, kPathTaboo, '_');
  char comment[NAS_COMMENT_SIZE];
  (void)std::snprintf(comment, sizeof comment, "%s %s", "home of ", user);

  const OwnShareBatch batch;
  if (Nas1GetShareInfoSize(share) >= 0) return kShareExists;
  // A user without a home share is still a user.
  if (Nas1ShareAdd(share, comment, path) < 0) return 0;
  PermittedItem owner = {};
  owner.rights = kOwnerRights;
  std::strncpy(owner.name, user, sizeof owner.name - 1);
  (void)Nas1AddPermittedItem(share, PROTO_SYSTEM, &owner);
  const std::uint32_t isHome = 1;
  (void)NasShareSetConfig(share, "is_home", sizeof isHome, &isHome);
  (void)NasSetUserConfig(user, "home", NAS_NAME_SIZE, share);
  return 0;
}

// Brings the name into its stored form and adds the account.
static int addAccount(int source, char* name, const char* password) {
  if (badName(name)) return -1;
  (void)Nas1UpStr(name);
  if (source != PROTO_SYSTEM) {
    UserItem item;
    int size = 0;
    return sysAddUserItem(source, name, &item, &size);
  }
  Nas1Remove_ht_space(name);
  if (name[0] == '\0' || Nas1CheckLength(password, NAS_NAME_SIZE) != 0) return -1;
  return sysAddUser(name, password);
}

extern "C" int Nas1AddUser(int source, char* name, const char* password) {
  if (unknownSource(source) || name == nullptr) return -1;
  const bool home = wantsHome(source);
  // Taken before the name is upper-cased: the share keeps the caller's case.
  char share[NAS_NAME_SIZE] = {};
  (void)NasStrNCpy(share, name, sizeof share - 1);
  (void)NasReplaceChar(share, kShareNameTaboo, '_');
  if (home && Nas1GetShareInfoSize(share) >= 0) return kShareExists;
  if (home) {
    int volumes = 0;
    (void)Nas1GetVolumeCount(&volumes, nullptr);
    if (volumes < 1) return kNoVolume;
  }
  const int result = addAccount(source, name, password);
  if (result < 0 || !home) return result;
  const int shareResult = addHomeShare(share, name);
  return shareResult < 0 ? shareResult : result;
}

// Takes a deleted account out of the permissions of every share, unless the caller does that for many at once.
static void sweepPermissions(int source, const char* name) {
  if (permissionDeleteBatch == 0) removeFromEveryShare(source, name);
}

static void deleteHomeShare(const char* share) {
  std::uint32_t reserve = 0;
  (void)NasGetConfig("RESERVE_HOME", sizeof reserve, &reserve, nullptr);
  if (reserve == 0 && share[0] != '\0') (void)Nas1ShareDel(share);
}

extern "C" int Nas1DelUser(int source, char* name) {
  if (unknownSource(source) || name == nullptr) return -1;
  (void)Nas1UpStr(name);
  char home[NAS_NAME_SIZE] = {};
  const bool local = source == PROTO_SYSTEM;
  if (local) (void)NasGetUserConfig(name, "home", sizeof home, home, nullptr);
  const int result = local ? sysDelUser(name) : sysDelUserItem(source, name);
  if (result == 0) sweepPermissions(source, name);
  if (result >= 0 && local) deleteHomeShare(home);
  return result;
}

extern "C" int Nas1AddGroup(int source, char* name, const char* /*unused*/) {
  if (unknownSource(source) || badName(name)) return -1;
  (void)Nas1UpStr(name);
  if (source == PROTO_SYSTEM) {
    Nas1Remove_ht_space(name);
    return name[0] == '\0' ? -1 : sysAddGroup(name);
  }
  GroupItem item;
  int size = 0;
  return sysAddGroupItem(source, name, &item, &size);
}

extern "C" int Nas1DelGroup(int source, char* name) {
  if (unknownSource(source) || name == nullptr) return -1;
  (void)Nas1UpStr(name);
  const int result = source == PROTO_SYSTEM ? sysDelGroup(name) : sysDelGroupItem(source, name);
  if (result == 0) sweepPermissions(source, name);
  return result;
}

extern "C" int Nas1GetUserPasswd(int /*source*/, char* name, char* buffer, int size) {
  if (name == nullptr || buffer == nullptr || size <= 0) return -1;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return callRow(PROTO_SYSTEM, &ProtocolOps::getUserPasswd, -1, static_cast<const char*>(Nas1UpStr(name)), buffer,
                 size);
}

extern "C" int Nas1SetUserPasswd(int /*source*/, char* name, const char* password) {
  if (name == nullptr || name[0] == '\0' || password == nullptr) return -1;
  return broadcast(protocolOps, &ProtocolOps::setUserPasswd, Stop::never, static_cast<const char*>(Nas1UpStr(name)),
                   password);
}

extern "C" int NasGetUserConfig(const char* name, const char* type, int size, char* out, int* outLen) {
  return sysGetUserConfig(name, type, size, out, outLen);
}

extern "C" int NasSetUserConfig(const char* name, const char* type, int size, const char* value) {
  return sysSetUserConfig(name, type, size, value);
}

extern "C" int Nas1GetQuota(int unused, int id, const char* filesystem, int which) {
  if (filesystem == nullptr || filesystem[0] == '\0') return 0;
  return sysGetQuota(unused, id, filesystem, which);
}

extern "C" int Nas1SetQuota(void) { return 0; }
