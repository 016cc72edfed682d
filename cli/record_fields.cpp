#include "record_fields.h"

#include <nas1api.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "code_page.h"
#include "config_keys.h"
#include "db_check.h"
#include "output.h"

namespace {

using Fields = std::map<std::string, std::string>;

constexpr char kMasked[] = "********";

template <typename T>
T readAt(const std::string& value, std::size_t offset) {
  T item = {};
  if (value.size() >= offset + sizeof item) std::memcpy(&item, value.data() + offset, sizeof item);
  return item;
}

std::string textAt(const std::string& value, std::size_t offset, std::size_t size = NAS_NAME_SIZE) {
  return fieldText(value.data() + offset, std::min(size, value.size() - offset));
}

std::string secret(const std::string& text, bool withSecrets) { return withSecrets || text.empty() ? text : kMasked; }

bool isSecret(const std::string& key) {
  const auto keys = configKeys();
  return std::any_of(keys.begin(), keys.end(),
                     [&](const ConfigKey& k) { return key == k.name && k.kind == KEY_SECRET; });
}

// A setting shows in its value alone how it is meant, unless its key is known.
std::string settingText(const std::string& key, const std::string& value, bool withSecrets) {
  const int type = NasGetConfig(key.c_str(), 0, nullptr, nullptr);
  if ((type == CFG_INTEGER || type == CFG_HEX) && value.size() >= sizeof(std::uint32_t)) {
    const auto number = readAt<std::uint32_t>(value, 0);
    char digits[16];
    (void)std::snprintf(digits, sizeof digits, type == CFG_HEX ? "0x%x" : "%u", number);
    return digits;
  }
  const std::string text = value.substr(0, value.find('\0'));
  const bool isText = type == CFG_TEXT || (value.size() == text.size() + 1 && visible(text) == text);
  return isText ? secret(text, isSecret(key) ? withSecrets : true) : inHex(value);
}

void addShare(const std::string& value, bool withSecrets, Fields& fields) {
  const std::size_t path = layout::kShareInfo + offsetof(ShareInfo, path);
  fields["comment"] = textAt(value, layout::kShareInfo + offsetof(ShareInfo, comment), NAS_COMMENT_SIZE);
  fields["path"] = textAt(value, path, value.size() - path);
  fields["home"] = readAt<std::uint32_t>(value, layout::kHomeMark) != 0 ? "yes" : "no";
  fields["read_only_password"] = secret(textAt(value, layout::kReadPassword), withSecrets);
  fields["read_write_password"] = secret(textAt(value, layout::kWritePassword), withSecrets);
}

void addPermissions(const std::string& value, Fields& fields) {
  const auto count = readAt<std::uint32_t>(value, layout::kListCount);
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto item = readAt<PermittedItem>(value, layout::kListEntries + i * sizeof(PermittedItem));
    const char* const kind = item.type == PERMITTED_USER ? "user " : "group ";
    fields[kind + fieldText(item.name, sizeof item.name)] = std::to_string(item.rights);
  }
}

void addNfsHosts(const std::string& value, Fields& fields) {
  std::size_t at = layout::kListEntries;
  for (auto left = readAt<std::uint32_t>(value, layout::kListCount); left > 0; --left) {
    const auto entry = readAt<NfsHostEntry>(value, at);
    const std::size_t host = at + offsetof(NfsHostEntry, host);
    std::string how = (entry.flags & NFS_HOST_WRITE) != 0 ? "rw" : "ro";
    if ((entry.flags & NFS_HOST_ALL_SQUASH) != 0) how += ",all_squash";
    if ((entry.flags & NFS_HOST_ROOT_SQUASH) != 0) how += ",root_squash";
    if ((entry.flags & NFS_HOST_ANONUID) != 0) how += ",anonuid=" + std::to_string(entry.anonuid);
    if ((entry.flags & NFS_HOST_ANONGID) != 0) how += ",anongid=" + std::to_string(entry.anongid);
    const std::string mask = (entry.flags & NFS_HOST_MASK) != 0 ? "/" + fieldText(entry.mask, sizeof entry.mask) : "";
    fields[textAt(value, host, at + entry.size - host) + mask] = how;
    at += entry.size;
  }
}

void addUser(const std::string& value, Fields& fields) {
  const auto user = readAt<UserItem>(value, layout::kItem);
  std::string groups;
  for (const std::uint32_t gid : user.groups)
    groups += gid == 0 ? "" : (groups.empty() ? "" : " ") + std::to_string(gid);
  fields["number"] = std::to_string(user.uid);
  fields["quota"] = std::to_string(user.quota);
  fields["groups"] = groups;
}

void addGroup(const std::string& value, Fields& fields) {
  const auto group = readAt<GroupItem>(value, layout::kItem);
  fields["number"] = std::to_string(group.gid);
  fields["quota"] = std::to_string(group.quota);
}

void addModule(const std::string& value, Fields& fields) {
  fields["on_removal"] = textAt(value, offsetof(ModuleRecord, removalCommand), sizeof(ModuleRecord::removalCommand));
}

}  // namespace

Fields recordFields(RecordKind kind, const std::string& key, const std::string& value, bool withSecrets) {
  Fields fields;
  if (!recordFault(kind, key, value).empty()) return {{"bytes", std::to_string(value.size())}};
  switch (kind) {
    case RECORD_SETTING:
      fields["value"] = settingText(key.substr(0, key.size() - 1), value, withSecrets);
      break;
    case RECORD_SHARE:
      addShare(value, withSecrets, fields);
      break;
    case RECORD_PERMISSIONS:
      addPermissions(value, fields);
      break;
    case RECORD_NFS_HOSTS:
      addNfsHosts(value, fields);
      break;
    case RECORD_USER:
      addUser(value, fields);
      break;
    case RECORD_GROUP:
      addGroup(value, fields);
      break;
    case RECORD_PASSWORD:
      fields["password"] = secret(textAt(value, layout::kPassword), withSecrets);
      fields["home"] = textAt(value, layout::kHome);
      break;
    case RECORD_MODULE:
      addModule(value, fields);
      break;
  }
  return fields;
}

std::string recordChange(RecordKind kind, const std::string& key, const std::string& before, const std::string& after,
                         bool withSecrets) {
  const auto fieldsOf = [&](const std::string& value, bool secrets) {
    return value.empty() ? Fields() : recordFields(kind, key, value, secrets);
  };
  // Compared in clear: two masked passwords look alike.
  const Fields old = fieldsOf(before, true);
  const Fields current = fieldsOf(after, true);
  Fields shownOld = fieldsOf(before, withSecrets);
  Fields shown = fieldsOf(after, withSecrets);
  Fields all = old;
  all.insert(current.begin(), current.end());
  std::string change;
  for (const auto& [name, ignored] : all) {
    if (old.contains(name) && current.contains(name) && old.at(name) == current.at(name)) continue;
    // Of a whole record what is empty goes without saying.
    if ((before.empty() && shown[name].empty()) || (after.empty() && shownOld[name].empty())) continue;
    const std::string from = old.contains(name) ? shownOld[name] : "none";
    const std::string to = current.contains(name) ? shown[name] : "none";
    change += change.empty() ? "" : ", ";
    change += name + ": ";
    if (before.empty())
      change += to;
    else if (after.empty())
      change += from;
    else
      change += from + " -> " + to;
  }
  return change;
}
