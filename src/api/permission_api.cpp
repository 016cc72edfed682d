// Share permissions: the entries.

#include <algorithm>
#include <cstring>

#include "api/nas1api.h"
#include "share/permissions.h"

static bool badList(const char* share, int protocol) {
  return share == nullptr || static_cast<unsigned>(protocol) >= PROTO_COUNT;
}

extern "C" int Nas1AddPermittedItem(const char* share, int protocol, const PermittedItem* item) {
  if (badList(share, protocol) || item == nullptr) return -1;
  return sysAddPermittedItem(share, protocol, item) < 0 ? -1 : 0;
}

extern "C" int Nas1DelPermittedItem(const char* share, int protocol, const char* name) {
  if (badList(share, protocol) || name == nullptr) return -1;
  return sysDelPermittedItem(share, protocol, name) < 0 ? -1 : 0;
}

extern "C" int Nas1DelPermittedItemEx(const char* share, int protocol, const char* name, int type) {
  if (badList(share, protocol) || name == nullptr) return -1;
  return sysDelPermittedItemEx(share, protocol, name, type);
}

extern "C" int Nas1CheckPermission(const char* share, int protocol, const char* user, const char* const* groups) {
  if (badList(share, protocol) || user == nullptr) return -1;
  return sysCheckPermission(share, protocol, user, groups);
}

extern "C" int Nas1GetPermittedItemsCount(const char* share, int protocol) {
  if (badList(share, protocol)) return 0;
  return sysGetPermittedItemsCount(share, protocol);
}

extern "C" int Nas1ListPermittedItems(const char* share, int protocol, int start, int count, PermittedItem* out,
                                      int size) {
  if (badList(share, protocol) || count <= 0 || out == nullptr || size <= 0) return 0;
  std::memset(static_cast<void*>(out), 0, static_cast<std::size_t>(size));
  const int room = size / static_cast<int>(sizeof *out);
  return sysListPermittedItems(share, protocol, start, std::min(count, room), out);
}

extern "C" int Nas1SetPermittedList(const char* share, int protocol, int count, const PermittedItem* items) {
  if (badList(share, protocol) || items == nullptr || count < 0) return -1;
  return sysSetPermittedList(share, protocol, count, items);
}
