#include "accounts/local_users.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>

#include "accounts/account_items.h"
#include "core/assert.h"
#include "core/record_store.h"

static constexpr char kUnit[] = "nas_passwd";

static void setField(char (&field)[NAS_NAME_SIZE], const char* text) {
  std::memset(field, 0, sizeof field);
  std::memcpy(field, text, strnlen(text, sizeof field - 1));
}

// The field that a type names; null for any other type.
static char (*fieldOf(LocalUserRecord* record, const char* type))[NAS_NAME_SIZE] {
  if (type == nullptr) return nullptr;
  if (std::strcmp(type, "passwd") == 0) return &record->passwd;
  if (std::strcmp(type, "home") == 0) return &record->home;
  return nullptr;
}

static LocalUserRecord* recordOf(const FetchedValue& value) {
  return value.bytes < sizeof(LocalUserRecord) ? nullptr : reinterpret_cast<LocalUserRecord*>(value.data);
}

static int storeNewUser(const char* name, const char* password) {
  const RecordFile users(kPasswordFile, Access::change);
  if (users.handle == nullptr) return -1;
  LocalUserRecord record = {};
  record.size = sizeof record;
  if (password != nullptr) setField(record.passwd, password);
  if (users.store(name, &record, sizeof record, GDBM_INSERT) == 0) return 0;
  syslog(LOG_ERR, "Warnning!key existed for add local user");
  return -1;
}

extern "C" int sysAddUser(const char* name, const char* password) {
  if (name == nullptr) sysAssert(kUnit, __LINE__);
  // Kept: a record that was written stays when the account item cannot be made.
  if (storeNewUser(name, password) < 0) return -1;
  UserItem item;
  int size = 0;
  return sysAddUserItem(PROTO_SYSTEM, name, &item, &size);
}

extern "C" int sysDelUser(const char* name) {
  if (name == nullptr) sysAssert(kUnit, __LINE__);
  {
    const RecordFile users(kPasswordFile, Access::change);
    if (users.handle == nullptr) return -1;
    (void)users.remove(name);
  }
  return sysDelUserItem(PROTO_SYSTEM, name);
}

extern "C" int sysAddGroup(const char* name) {
  GroupItem item;
  int size = 0;
  return sysAddGroupItem(PROTO_SYSTEM, name, &item, &size);
}

extern "C" int sysDelGroup(const char* name) { return sysDelGroupItem(PROTO_SYSTEM, name); }

extern "C" int sysGetUserConfig(const char* name, const char* type, int size, char* out, int* outLen) {
  if (name == nullptr || type == nullptr || out == nullptr) sysAssert(kUnit, __LINE__);
  if (size < 1) return -1;
  const RecordFile users(kPasswordFile, Access::lookup);
  if (users.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, users, name);
  if (value.data == nullptr) syslog(LOG_ERR, "Warnning!%s:%d No such Data for User:%s", kUnit, __LINE__, name);
  LocalUserRecord* const record = recordOf(value);
  if (record == nullptr) return -1;
  const auto* const field = fieldOf(record, type);
  if (field == nullptr) return -1;
  const std::size_t length = std::min(strnlen(*field, sizeof *field), static_cast<std::size_t>(size) - 1);
  std::memset(out, 0, static_cast<std::size_t>(size));
  std::memcpy(out, *field, length);
  if (outLen != nullptr) *outLen = static_cast<int>(length);
  return 0;
}

extern "C" int sysSetUserConfig(const char* name, const char* type, int /*size*/, const char* text) {
  if (name == nullptr || text == nullptr) sysAssert(kUnit, __LINE__);
  const RecordFile users(kPasswordFile, Access::change);
  if (users.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, users, name);
  if (value.data == nullptr) syslog(LOG_ERR, "Warnning!%s:%d No such Data for user:%s", kUnit, __LINE__, name);
  LocalUserRecord* const record = recordOf(value);
  if (record == nullptr) return -1;
  auto* const field = fieldOf(record, type);
  if (field != nullptr) setField(*field, text);
  // Kept: the record is stored again also when the type was unknown.
  if (users.store(name, value.data, value.bytes, GDBM_REPLACE) != 0) return -1;
  return field != nullptr ? 0 : -1;
}

extern "C" int sysGetUserPasswd(const char* name, char* out, int size) {
  return sysGetUserConfig(name, "passwd", size, out, nullptr);
}

extern "C" int sysSetUserPasswd(const char* name, const char* password) {
  return sysSetUserConfig(name, "passwd", NAS_NAME_SIZE, password);
}
