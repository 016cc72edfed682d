#include "state_document.h"

#include "accounts.h"
#include "config_keys.h"
#include "json_text.h"
#include "module_fields.h"
#include "settings.h"

namespace {

Json settingsJson(const State& state, bool withSecrets) {
  Json settings = Json::object();
  for (const auto& [name, value] : *state.settings) {
    const ConfigKey& key = *configKeyNamed(name);
    if (key.kind == KEY_SECRET && !withSecrets) continue;
    if (typeOf(key).type == CFG_INTEGER) {
      settings[name] = std::stoul(value);
    } else {
      putText(settings, name, value);
    }
  }
  return settings;
}

Json permissionsJson(const ShareState& share) {
  Json lists = Json::object();
  for (std::size_t i = 0; i < share.permissions->size(); ++i) {
    for (const PermittedItem& entry : (*share.permissions)[i]) {
      Json& object = lists[permissionProtocols[i].name].emplace_back(Json::object());
      object["type"] = kindOf(entry);
      putText(object, "name", nameOf(entry));
      object["rights"] = entry.rights;
    }
  }
  return lists;
}

Json hostsJson(const ShareState& share) {
  Json hosts = Json::array();
  for (const Host& host : *share.hosts) {
    Json& object = hosts.emplace_back(Json::object());
    putText(object, "host", host.name);
    if (host.has(NFS_HOST_MASK)) putText(object, "mask", host.mask);
    object["options"] = optionWords(host);
  }
  return hosts;
}

Json sharesJson(const State& state, bool withSecrets) {
  Json shares = Json::array();
  for (const ShareState& share : *state.shares) {
    Json& object = shares.emplace_back(Json::object());
    putText(object, "name", share.name);
    putText(object, "comment", *share.comment);
    putText(object, "path", *share.path);
    object["home"] = *share.isHome;
    if (withSecrets) {
      putText(object, "read_only_password", *share.passwords[READ_ONLY_PASSWORD]);
      putText(object, "read_write_password", *share.passwords[READ_WRITE_PASSWORD]);
    }
    object["permissions"] = permissionsJson(share);
    object["hosts"] = hostsJson(share);
  }
  return shares;
}

template <typename Item>
void putAccount(Json& object, const Item& item, const char* idName) {
  putText(object, "name", item.account.name);
  object["source"] = sourceName(static_cast<unsigned>(item.account.source));
  object[idName] = *item.id;
  object["quota_mb"] = *item.quota;
}

Json groupsJson(const State& state) {
  Json groups = Json::array();
  for (const GroupState& group : *state.groups) putAccount(groups.emplace_back(Json::object()), group, "gid");
  return groups;
}

Json membershipsJson(const UserState& user) {
  Json groups = Json::array();
  for (const Membership& membership : *user.groups) {
    Json& object = groups.emplace_back(Json::object());
    putText(object, "name", membership.group.name);
    if (membership.group.source != user.account.source)
      object["source"] = sourceName(static_cast<unsigned>(membership.group.source));
    if (membership.isPrimary) object["primary"] = true;
  }
  return groups;
}

Json usersJson(const State& state, bool withSecrets) {
  Json users = Json::array();
  for (const UserState& user : *state.users) {
    Json& object = users.emplace_back(Json::object());
    putAccount(object, user, "uid");
    object["groups"] = membershipsJson(user);
    if (user.home) putText(object, "home_share", *user.home);
    if (user.password && withSecrets) putText(object, "password", *user.password);
    if (!user.hasRecord) object["password_record"] = false;
  }
  return users;
}

Json modulesJson(const State& state) {
  Json modules = Json::array();
  for (const ModuleRecord& record : *state.modules) {
    Json& object = modules.emplace_back(Json::object());
    putText(object, "name", moduleName(record));
    if (hasModuleText(record)) {
      putText(object, "description", moduleText(record));
    } else {
      object["data_hex"] = moduleData(record);
    }
    putText(object, "removal_command", moduleCommand(record));
  }
  return modules;
}

Json snapshotsJson(const State& state) {
  Json snapshots = Json::array();
  for (const SnapshotState& snapshot : *state.snapshots) {
    Json& object = snapshots.emplace_back(Json::object());
    putText(object, "volume", snapshot.volume);
    object["reserved"] = snapshot.words[0];
    object["schedule"] = std::vector(snapshot.words.begin() + 1, snapshot.words.end());
  }
  return snapshots;
}

Json productsJson(const State& state) {
  Json products = Json::array();
  for (const ProductText& product : *state.products) {
    Json& object = products.emplace_back(Json::object());
    putText(object, "key", product.key);
    putText(object, "text", product.text);
  }
  return products;
}

}  // namespace

std::string writeDocument(const State& state, bool withSecrets) {
  Json document = Json::object();
  document["schema"] = kSchema;
  Json& families = document["state"] = Json::object();
  families["groups"] = groupsJson(state);
  families["modules"] = modulesJson(state);
  families["products"] = productsJson(state);
  families["settings"] = settingsJson(state, withSecrets);
  families["shares"] = sharesJson(state, withSecrets);
  families["snapshots"] = snapshotsJson(state);
  families["users"] = usersJson(state, withSecrets);
  return document.dump(2) + "\n";
}
