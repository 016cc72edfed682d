// Account item entries: check the arguments, bring names into their stored form, call the store.

#include <cstring>

#include "accounts/account_items.h"
#include "accounts/identity.h"
#include "api/nas1api.h"

static bool badAccount(int source, const char* name) {
  return static_cast<unsigned>(source) >= kSourceCount || Nas1CheckLength(name, NAS_NAME_SIZE) != 0 || name[0] == '\0';
}

static int getItem(int kind, int source, char* name, void* out, int* outSize) {
  if (badAccount(source, name) || out == nullptr || outSize == nullptr) return -1;
  return sysGetCommonItem(kind, source, Nas1UpStr(name), out, outSize);
}

// Kept: the name is not upper-cased, so a lower-case one finds nothing that the other entries made.
static int checkItem(int kind, int source, const char* name, void* out, int* outSize) {
  if (badAccount(source, name) || out == nullptr || outSize == nullptr) return -1;
  return findItem(kind, source, name, out, outSize);
}

static int setItem(int kind, const void* item, std::uint32_t source) {
  return source < kSourceCount ? sysSetCommonItem(kind, item) : -1;
}

static int listItem(int kind, int start, int count, void* buffer, int size) {
  if (buffer == nullptr || size <= 0) return 0;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return sysListCommonItem(kind, start, count, buffer, size);
}

extern "C" {
int Nas1GetUserItem(int source, char* name, void* out, int* outSize) {
  return getItem(KIND_USER, source, name, out, outSize);
}
int Nas1GetGroupItem(int source, char* name, void* out, int* outSize) {
  return getItem(KIND_GROUP, source, name, out, outSize);
}
int Nas1CheckUserItem(int source, const char* name, void* out, int* outSize) {
  return checkItem(KIND_USER, source, name, out, outSize);
}
int Nas1CheckGroupItem(int source, const char* name, void* out, int* outSize) {
  return checkItem(KIND_GROUP, source, name, out, outSize);
}
int Nas1SetUserItem(const UserItem* item) { return item == nullptr ? -1 : setItem(KIND_USER, item, item->source); }
int Nas1SetGroupItem(const GroupItem* item) { return item == nullptr ? -1 : setItem(KIND_GROUP, item, item->source); }
int Nas1UserItemCount(void) { return sysUserItemCount(); }
int Nas1GroupItemCount(void) { return sysGroupItemCount(); }
int Nas1ListUserItem(int start, int count, void* buffer, int size) {
  return listItem(KIND_USER, start, count, buffer, size);
}
int Nas1ListGroupItem(int start, int count, void* buffer, int size) {
  return listItem(KIND_GROUP, start, count, buffer, size);
}
}
