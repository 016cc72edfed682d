#include "share/share_database.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>

#include "core/assert.h"
#include "core/record_store.h"

static constexpr char kUnit[] = "share_database.cpp";
static constexpr int kPasswordLength = 32;

static void logNoSuchData(int line) { syslog(LOG_ERR, "Warnning!%s:%d No such Data", kUnit, line); }

// Cuts a text to its field and terminates it; what is behind the text is zero.
template <std::size_t N>
static void setField(char (&field)[N], const char* text) {
  std::memset(field, 0, N);
  std::memcpy(field, text, strnlen(text, N - 1));
}

const ShareRecord* storedShare(const FetchedValue& value) {
  if (value.bytes < sizeof(ShareRecord)) return nullptr;
  const auto* const record = reinterpret_cast<const ShareRecord*>(value.data);
  const std::size_t infoBytes = value.bytes - sizeof(ShareSettings);
  const std::size_t size = record->info.size;
  if (size < sizeof(ShareInfo) || size > infoBytes) return nullptr;
  const auto terminated = [](const char* text, std::size_t bytes) { return strnlen(text, bytes) < bytes; };
  const bool whole = terminated(record->info.name, sizeof record->info.name) &&
                     terminated(record->info.comment, sizeof record->info.comment) &&
                     terminated(sharePath(&record->info), size - offsetof(ShareInfo, path));
  return whole ? record : nullptr;
}

// Fills everything behind the settings of a zeroed record that has room for the path.
static void describe(ShareRecord* record, const char* name, const char* comment, const char* path) {
  const std::size_t pathLength = std::strlen(path);
  record->info.size = static_cast<std::uint32_t>(sizeof(ShareInfo) + pathLength);
  setField(record->info.name, name);
  setField(record->info.comment, comment);
  std::memcpy(sharePath(&record->info), path, pathLength + 1);
}

extern "C" int sysShareAdd(const char* name, const char* comment, const char* path) {
  if (name == nullptr || name[0] == '\0' || comment == nullptr || path == nullptr || path[0] == '\0') {
    sysAssert(kUnit, __LINE__);
  }
  {
    const RecordFile shares(kShareFile, Access::change);
    if (shares.handle == nullptr) return -1;
    const std::size_t bytes = sizeof(ShareRecord) + std::strlen(path);
    const TrackedBuffer value(kUnit, __LINE__, bytes);
    if (value.data == nullptr) return -1;
    std::memset(value.data, 0, bytes);
    describe(static_cast<ShareRecord*>(value.data), name, comment, path);
    if (shares.store(name, value.data, bytes, GDBM_INSERT) != 0) return -1;
  }
  // A share whose directory could not be made is still a share.
  (void)Nas1SysMkdir(path);
  return 0;
}

// Deletes one share's entry from a file beside the share file; it may have none.
static int dropEntry(const char* file, const char* name) {
  {
    // Opening for changes ends in a sync, even when there is nothing to delete.
    const RecordFile entries(file, Access::lookup);
    if (entries.handle == nullptr) return -1;
    if (gdbm_exists(entries.handle, keyDatum(name)) == 0) return 0;
  }
  const RecordFile entries(file, Access::change);
  if (entries.handle == nullptr) return -1;
  (void)entries.remove(name);
  return 0;
}

extern "C" int sysShareDel(const char* name) {
  if (name == nullptr || name[0] == '\0') sysAssert(kUnit, __LINE__);
  // What hangs on the share goes first: an entry without a share would come back to life with the next share of its
  // name.
  if (dropEntry(kShareNfsFile, name) < 0) return -1;
  for (const char* const file : kPermissionFiles) {
    if (dropEntry(file, name) < 0) return -1;
  }
  const RecordFile shares(kShareFile, Access::change);
  if (shares.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, shares, name);
  if (value.data == nullptr) {
    logNoSuchData(__LINE__);
    return -1;
  }
  return shares.remove(name) == 0 ? 0 : -1;
}

extern "C" int sysShareMod(const char* name, const char* comment, const char* path) {
  if (name == nullptr || name[0] == '\0' || comment == nullptr || path == nullptr || path[0] == '\0') {
    sysAssert(kUnit, __LINE__);
  }
  {
    const RecordFile shares(kShareFile, Access::change);
    if (shares.handle == nullptr) return -1;
    const FetchedValue old(kUnit, __LINE__, shares, name);
    if (old.data == nullptr) {
      logNoSuchData(__LINE__);
      return -1;
    }
    if (old.bytes < sizeof(ShareRecord)) return -1;

    const std::size_t bytes = sizeof(ShareRecord) + std::strlen(path);
    const TrackedBuffer value(kUnit, __LINE__, bytes);
    if (value.data == nullptr) return -1;
    std::memset(value.data, 0, bytes);
    std::memcpy(value.data, old.data, sizeof(ShareSettings));
    describe(static_cast<ShareRecord*>(value.data), name, comment, path);
    if (shares.store(name, value.data, bytes, GDBM_REPLACE) != 0) return -1;
  }
  (void)Nas1SysMkdir(path);
  return 0;
}

extern "C" int sysGetShareInfo(const char* name, void* buffer, int size) {
  if (name == nullptr || name[0] == '\0' || buffer == nullptr) sysAssert(kUnit, __LINE__);
  const RecordFile shares(kShareFile, Access::lookup);
  if (shares.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, shares, name);
  if (value.data == nullptr) {
    logNoSuchData(__LINE__);
    return -1;
  }
  const ShareRecord* const record = storedShare(value);
  if (record == nullptr || size < 0) return -1;
  std::memcpy(buffer, &record->info, std::min(static_cast<std::size_t>(size), std::size_t{record->info.size}));
  return 0;
}

extern "C" int sysShareList(int start, int count, void* buffer, int size) {
  if (buffer == nullptr) sysAssert(kUnit, __LINE__);
  const RecordFile shares(kShareFile, Access::walk);
  if (shares.handle == nullptr || count <= 0) return 0;
  auto* out = static_cast<char*>(buffer);
  std::size_t left = size > 0 ? static_cast<std::size_t>(size) : 0;
  int skip = std::max(start, 0);
  int copied = 0;
  walkKeys(kUnit, __LINE__, shares, [&](const FetchedValue& key) {
    if (skip > 0) {
      --skip;
      return true;
    }
    const FetchedValue value(kUnit, __LINE__, gdbm_fetch(shares.handle, key.asDatum()));
    const ShareRecord* const record = storedShare(value);
    if (record == nullptr) {
      syslog(LOG_ERR, "Warnning!%s:%d Data buffer is NULL", kUnit, __LINE__);
      return false;
    }
    const std::size_t blockBytes = record->info.size;
    // Written even when the block does not fit, so that the caller can tell how much it needs.
    if (left >= sizeof record->info.size) std::memcpy(out, &record->info.size, sizeof record->info.size);
    if (blockBytes > left) {
      syslog(LOG_ERR, "Warnning!sysShareList output buffer too small");
      return false;
    }
    std::memcpy(out, &record->info, blockBytes);
    out += blockBytes;
    left -= blockBytes;
    return ++copied < count;
  });
  return copied;
}

extern "C" int sysShareGetCountSize(int* count, int* bytes) {
  if (count == nullptr) sysAssert(kUnit, __LINE__);
  int shareCount = 0;
  std::int64_t total = 0;
  const RecordFile shares(kShareFile, Access::walk);
  if (shares.handle != nullptr) {
    walkKeys(kUnit, __LINE__, shares, [&](const FetchedValue& key) {
      const FetchedValue value(kUnit, __LINE__, gdbm_fetch(shares.handle, key.asDatum()));
      const ShareRecord* const record = storedShare(value);
      if (record != nullptr) total += record->info.size;
      ++shareCount;
      return true;
    });
  }
  *count = shareCount;
  if (bytes != nullptr) *bytes = static_cast<int>(std::min<std::int64_t>(total, INT32_MAX));
  return 0;
}

// The password field that a type names; null for any other type.
static char* passwordField(ShareSettings* settings, const char* type) {
  if (std::strcmp(type, "ro_passwd") == 0) return settings->ro_passwd;
  if (std::strcmp(type, "rw_passwd") == 0) return settings->rw_passwd;
  return nullptr;
}

static bool isHomeType(const char* type) { return std::strcmp(type, "is_home") == 0; }

// A share's settings, for reading or changing in place; null, with a line in the system log, for an unknown share.
static ShareSettings* settingsOf(const FetchedValue& value, const char* name) {
  if (value.data == nullptr) syslog(LOG_ERR, "Warning!%s:%d No Such Share:%s", kUnit, __LINE__, name);
  return value.bytes < sizeof(ShareRecord) ? nullptr : reinterpret_cast<ShareSettings*>(value.data);
}

extern "C" int sysShareGetConfig(const char* name, const char* type, int length, void* out, int* outLength) {
  if (name == nullptr || out == nullptr) sysAssert(kUnit, __LINE__);
  if (length < 0) return -1;
  const RecordFile shares(kShareFile, Access::lookup);
  if (shares.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, shares, name);
  ShareSettings* const settings = settingsOf(value, name);
  if (settings == nullptr) return -1;

  if (type == nullptr) return -2;
  const auto wanted = static_cast<std::size_t>(length);
  if (const char* const password = passwordField(settings, type); password != nullptr) {
    const std::size_t copied = std::min(strnlen(password, NAS_NAME_SIZE), wanted);
    std::memcpy(out, password, copied);
    std::memset(static_cast<char*>(out) + copied, 0, wanted + 1 - copied);
    if (outLength != nullptr) *outLength = static_cast<int>(copied + 1);
    return 0;
  }
  if (isHomeType(type)) {
    const std::size_t stored = sizeof settings->is_home + sizeof settings->reservedTail;
    std::memcpy(out, reinterpret_cast<const char*>(settings) + offsetof(ShareSettings, is_home),
                std::min(wanted, stored));
    if (outLength != nullptr) *outLength = std::min(length, 4);
    return 0;
  }
  syslog(LOG_ERR, "Warning!%s:%d No such Type:%s", kUnit, __LINE__, type);
  return -2;
}

int storeFirstPasswords(const char* name, const char* readOnly, const char* readWrite) {
  // A new share has none: a second store would only sync the file once more.
  if (readOnly[0] == '\0' && readWrite[0] == '\0') return 0;
  const RecordFile shares(kShareFile, Access::change);
  if (shares.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, shares, name);
  ShareSettings* const settings = settingsOf(value, name);
  if (settings == nullptr) return -1;
  setField(settings->ro_passwd, readOnly);
  setField(settings->rw_passwd, readWrite);
  if (shares.store(name, value.data, value.bytes, GDBM_REPLACE) == 0) return 0;
  syslog(LOG_ERR, "Warning!%s:%d update", kUnit, __LINE__);
  return -1;
}

extern "C" int sysShareSetConfig(const char* name, const char* type, int /*length*/, const void* content) {
  if (name == nullptr || type == nullptr) sysAssert(kUnit, __LINE__);
  if (content == nullptr) return -1;
  const RecordFile shares(kShareFile, Access::change);
  if (shares.handle == nullptr) return -1;
  const FetchedValue value(kUnit, __LINE__, shares, name);
  ShareSettings* const settings = settingsOf(value, name);
  if (settings == nullptr) return -1;

  int result = 0;
  if (char* const password = passwordField(settings, type); password != nullptr) {
    const auto* const text = static_cast<const char*>(content);
    std::memset(password, 0, NAS_NAME_SIZE);
    std::memcpy(password, text, strnlen(text, NAS_NAME_SIZE - 1));
  } else if (isHomeType(type)) {
    std::memcpy(&settings->is_home, content, sizeof settings->is_home);
  } else {
    syslog(LOG_ERR, "Warning!%s:%d No such Type:%s", kUnit, __LINE__, type);
    result = -2;
  }
  // Kept: the record is stored again also when the type was unknown.
  if (shares.store(name, value.data, value.bytes, GDBM_REPLACE) != 0) {
    syslog(LOG_ERR, "Warning!%s:%d update", kUnit, __LINE__);
    result = -1;
  }
  return result;
}

extern "C" int sysShareGetPassword(const char* name, int which, char* out) {
  return sysShareGetConfig(name, which != 0 ? "rw_passwd" : "ro_passwd", kPasswordLength, out, nullptr);
}

extern "C" int sysShareSetPassword(const char* name, int which, const char* password) {
  return sysShareSetConfig(name, which != 0 ? "rw_passwd" : "ro_passwd", kPasswordLength, password);
}
