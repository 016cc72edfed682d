#include "permission_lists.h"

#include <algorithm>

#include "output.h"

// By protocol number.
static constexpr const char* files[] = {"/etc/admin/user_local.gdbm", "/etc/admin/user_smb.gdbm",
                                        "/etc/admin/user_nfs.gdbm", "/etc/admin/user_ncp.gdbm",
                                        "/etc/admin/user_afp.gdbm"};

const char* permissionFile(const Protocol& protocol) { return files[protocol.number]; }

std::vector<PermittedItem> readPermissions(const std::string& share, const Protocol& protocol) {
  const int count = Nas1GetPermittedItemsCount(share.c_str(), protocol.number);
  std::vector<PermittedItem> entries(static_cast<std::size_t>(std::max(count, 0)));
  const int bytes = static_cast<int>(entries.size() * sizeof(PermittedItem));
  const int listed = Nas1ListPermittedItems(share.c_str(), protocol.number, 0, count, entries.data(), bytes);
  entries.resize(static_cast<std::size_t>(std::max(listed, 0)));
  return entries;
}

std::string nameOf(const PermittedItem& item) { return fieldText(item.name, sizeof item.name); }

const char* kindOf(const PermittedItem& item) { return isUser(item) ? "user" : "group"; }
