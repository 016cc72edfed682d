// Share entries: check the arguments, hand the change to every protocol, do what follows a stored change.

#include <cstring>

#include "api/nas1api.h"
#include "api/protocol_ops.h"
#include "core/memory.h"
#include "share/share_database.h"

static constexpr char kUnit[] = "share_api.cpp";

// A new share's password is the configured default; the word "name" stands for the share's own name.
struct DefaultPassword {
  char configured[NAS_NAME_SIZE] = {};
  const char* text = configured;

  DefaultPassword(const char* share, const char* key) {
    (void)NasGetConfig(key, sizeof configured, configured, nullptr);
    configured[sizeof configured - 1] = '\0';
    if (std::strcmp(configured, "name") == 0) text = share;
  }
  DefaultPassword(const DefaultPassword&) = delete;
  DefaultPassword& operator=(const DefaultPassword&) = delete;
};

static bool badShare(const char* name, const char* comment, const char* path) {
  return Nas1CheckLength(name, NAS_NAME_SIZE) != 0 || Nas1CheckLength(comment, NAS_COMMENT_SIZE) != 0 ||
         path == nullptr || path[0] == '\0';
}

extern "C" int Nas1ShareAdd(char* name, const char* comment, const char* path) {
  if (name == nullptr) return -1;
  Nas1Remove_ht_space(name);
  if (badShare(name, comment, path)) return -1;
  const char* const share = name;
  const int result = broadcast(protocolOps, &ProtocolOps::shareAdd, Stop::onShareBatch, share, comment, path);
  if (result < 0) return result;
  const DefaultPassword readOnly(share, "DEFAULT_SHARE_RO_PASSWD");
  const DefaultPassword readWrite(share, "DEFAULT_SHARE_RW_PASSWD");
  // A share without its default passwords is still a share.
  (void)storeFirstPasswords(share, readOnly.text, readWrite.text);
  return result;
}

extern "C" int Nas1ShareDel(const char* name) {
  if (name == nullptr) return -1;
  const int size = Nas1GetShareInfoSize(name);
  if (size < 0) return -1;
  const TrackedBuffer copy(kUnit, __LINE__, static_cast<std::size_t>(size));
  const auto* const info = static_cast<const ShareInfo*>(copy.data);
  // A share that another process has modified meanwhile would leave a cut path here, and that may be another directory.
  const bool whole =
      info != nullptr && Nas1GetShareInfo(name, copy.data, size) == 0 && info->size == static_cast<std::uint32_t>(size);

  const int result = broadcast(protocolOps, &ProtocolOps::shareDel, Stop::onShareBatch, name);
  if (info == nullptr) return result;
  int reserve = 0;
  (void)NasGetConfig("RESERVE_SHARE_PATH", sizeof reserve, &reserve, nullptr);
  // Kept: the directory goes whatever became of the record.
  if (reserve != 1 && whole && sharePath(info)[0] != '\0') (void)NasSysRmdir(sharePath(info));
  return result;
}

extern "C" int Nas1ShareMod(const char* name, const char* comment, const char* path) {
  if (badShare(name, comment, path) || name[0] == '\0') return -1;
  return broadcast(protocolOps, &ProtocolOps::shareMod, Stop::never, name, comment, path);
}

extern "C" int Nas1GetShareInfo(const char* name, void* buffer, int size) {
  if (name == nullptr || name[0] == '\0' || buffer == nullptr || size <= 0) return -1;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return sysGetShareInfo(name, buffer, size);
}

extern "C" int Nas1GetShareInfoSize(const char* name) {
  ShareInfo head = {};
  if (Nas1GetShareInfo(name, &head, sizeof head) < 0) return -1;
  return static_cast<int>(head.size);
}

extern "C" int Nas1ShareCountSize(int* count, int* bytes) {
  if (count == nullptr) return -1;
  return sysShareGetCountSize(count, bytes);
}

extern "C" int Nas1ShareList(int start, int count, void* buffer, int size) {
  if (buffer == nullptr || size <= 0) return 0;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return sysShareList(start, count, buffer, size);
}

extern "C" int Nas1ShareGetPassword(const char* name, int which, char* out) {
  if (name == nullptr || out == nullptr) return -1;
  return sysShareGetPassword(name, which, out);
}

extern "C" int Nas1ShareSetPassword(const char* name, int which, const char* password) {
  if (name == nullptr || Nas1CheckLength(password, NAS_NAME_SIZE) != 0) return -1;
  return sysShareSetPassword(name, which, password);
}

extern "C" int NasShareGetConfig(const char* name, const char* type, int length, void* out, int* outLength) {
  if (name == nullptr || out == nullptr || length < 0) return -1;
  return sysShareGetConfig(name, type, length, out, outLength);
}

extern "C" int NasShareSetConfig(const char* name, const char* type, int length, const void* value) {
  if (name == nullptr || type == nullptr || value == nullptr) return -1;
  return sysShareSetConfig(name, type, length, value);
}
