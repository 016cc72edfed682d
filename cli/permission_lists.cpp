#include "permission_lists.h"

#include <algorithm>
#include <tuple>

#include "calls.h"
#include "output.h"
#include "record_files.h"

// By protocol number.
static constexpr const char* files[] = {"/etc/admin/user_local.gdbm", "/etc/admin/user_smb.gdbm",
                                        "/etc/admin/user_nfs.gdbm", "/etc/admin/user_ncp.gdbm",
                                        "/etc/admin/user_afp.gdbm"};

static auto order(const PermittedItem& item) { return std::tuple(nameOf(item), item.type, item.rights); }

const char* permissionFile(const Protocol& protocol) { return files[protocol.number]; }

std::vector<PermittedItem> readPermissions(const std::string& share, const Protocol& protocol) {
  const int count = Nas1GetPermittedItemsCount(share.c_str(), protocol.number);
  std::vector<PermittedItem> entries(static_cast<std::size_t>(std::max(count, 0)));
  const int bytes = static_cast<int>(entries.size() * sizeof(PermittedItem));
  const int listed = Nas1ListPermittedItems(share.c_str(), protocol.number, 0, count, entries.data(), bytes);
  entries.resize(static_cast<std::size_t>(std::max(listed, 0)));
  return entries;
}

ExitCode storePermissions(const std::string& share, const Protocol& protocol,
                          const std::vector<PermittedItem>& entries) {
  std::string words;
  for (const PermittedItem& entry : entries) words += (words.empty() ? "" : ", ") + describe(entry);
  if (isOnlyShown("Nas1SetPermittedList", {share, protocol.number, entries.size(), describedArgument(words)}))
    return DONE;
  // An empty list still needs a place to point at.
  const PermittedItem none = {};
  const PermittedItem* const items = entries.empty() ? &none : entries.data();
  const int result = Nas1SetPermittedList(share.c_str(), protocol.number, static_cast<int>(entries.size()), items);
  // The call does not tell when the record could not be stored.
  if (result == 0 && areIdentical(entries, readPermissions(share, protocol))) return DONE;
  return explainFailure(permissionFile(protocol), Use::change, "the list could not be changed");
}

void sortPermissions(std::vector<PermittedItem>& entries) {
  std::sort(entries.begin(), entries.end(),
            [](const PermittedItem& a, const PermittedItem& b) { return order(a) < order(b); });
}

bool areIdentical(const std::vector<PermittedItem>& a, const std::vector<PermittedItem>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& x, const auto& y) { return order(x) == order(y); });
}

bool isSameAccount(const PermittedItem& a, const PermittedItem& b) {
  return isUser(a) == isUser(b) && NasStrCaseCmp(nameOf(a).c_str(), nameOf(b).c_str()) == 0;
}

std::string describe(const PermittedItem& item) {
  return std::string(kindOf(item)) + ":" + nameOf(item) + "=" + std::to_string(item.rights);
}

std::string nameOf(const PermittedItem& item) { return fieldText(item.name, sizeof item.name); }

const char* kindOf(const PermittedItem& item) { return isUser(item) ? "user" : "group"; }
