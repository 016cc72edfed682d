// The reading half of state_document.h.

#include <algorithm>
#include <cstring>
#include <set>

#include "accounts.h"
#include "code_page.h"
#include "config_keys.h"
#include "document_fields.h"
#include "module_fields.h"
#include "settings.h"
#include "state_document.h"
#include "suggest.h"

namespace {

constexpr std::size_t kName = NAS_NAME_SIZE - 1;
constexpr std::size_t kComment = NAS_COMMENT_SIZE - 1;
constexpr std::size_t kPath = 4095;
constexpr std::size_t kHostName = 255;
constexpr std::size_t kProductKey = 63;
constexpr std::size_t kProductText = NAS_PRODUCT_TEXT_SIZE - 1;
constexpr std::size_t kMostGroups = std::size(UserItem{}.groups);

// What the library writes as the comment of a home share, with its two blanks.
constexpr char kHomeComment[] = "home of  ";

void trim(std::string& text) {
  Nas1Remove_ht_space(text.data());
  text.resize(std::strlen(text.c_str()));
}

// ---- Settings

void readSetting(Reading& reading, const Json& members, const std::string& member, const Place& place, State& state) {
  const bool isHex = configKeyNamed(member) == nullptr && member.ends_with("_hex");
  const std::string name = member.substr(0, member.size() - (isHex ? 4 : 0));
  const ConfigKey* const key = configKeyNamed(name);
  if (key == nullptr) return reading.refuse(UNKNOWN_OBJECT, place, "is no setting; nas1 config list --all shows them");
  if (key->kind == KEY_OWN) return reading.refuse(READ_ONLY, place, "is the appliance's own and cannot be imported");
  std::string word;
  const Json& given = members.at(member);
  if (typeOf(*key).type == CFG_INTEGER && given.is_number_unsigned()) {
    word = std::to_string(given.get<std::uint64_t>());
  } else if (typeOf(*key).type == CFG_INTEGER || !takeText(members, name, word)) {
    return reading.refuse(USAGE, place,
                          "is no value for a setting of the type " + std::string(typeName(typeOf(*key).type)));
  }
  SettingValue value;
  reading.fault = parseSetting(*key, key->isNumberedOnly(), word, value);
  if (reading.fault == DONE) reading.fault = checkSafeSetting(key->name, word, reading.allowUnsafe);
  if (reading.fault != DONE) return;
  if (!state.settings->emplace(name, wordOf(value.cell(*key))).second)
    reading.refuse(USAGE, place, "is there twice, as it is and in hexadecimal");
}

void readSettings(Reading& reading, const Json* settings, const Place& place, State& state) {
  if (settings == nullptr) return;
  state.settings.emplace();
  for (const auto& [name, ignored] : settings->items()) {
    if (reading.fault == DONE) readSetting(reading, *settings, name, {&place, name.c_str()}, state);
  }
}

// All other texts of the document mean what they mean in the code page that it sets.
void useCodePageOf(const State& state) {
  if (!state.settings || !state.settings->contains("CIFS_CODE_PAGE")) return;
  const int codePage = std::atoi(state.settings->at("CIFS_CODE_PAGE").c_str());
  if (codePage == g_codepage || codePage <= 0) return;
  useCodePage(codePage);
  (void)NasLangInit(codePage, -1);
}

// ---- Accounts

int readSource(Fields& fields, const Reading& reading, int fallback) {
  std::string name = sourceName(static_cast<unsigned>(fallback));
  (void)fields.text("source", kName, Field::freeText, name);
  for (int source = 0; source < PROTO_COUNT; ++source) {
    if (reading.fault == DONE && sourceName(static_cast<unsigned>(source)) == name) return source;
  }
  fields.refuse(UNKNOWN_OBJECT, "source", "is none; there are local, cifs, nfs, ncp, afp, ftp and snmp");
  return fallback;
}

Account readAccount(Fields& fields, const Reading& reading, int fallback) {
  Account account;
  account.source = readSource(fields, reading, fallback);
  fields.require("name");
  const bool local = account.source == PROTO_SYSTEM;
  (void)fields.text("name", kName, local ? Field::localAccount : Field::remoteAccount, account.name);
  if (local) trim(account.name);
  if (account.name.empty()) fields.refuse(USAGE, "name", "is empty");
  (void)Nas1UpStr(account.name.data());
  return account;
}

void readQuota(Fields& fields, std::optional<std::uint32_t>& quota) {
  long long megabytes = 0;
  if (fields.number("quota_mb", 0, kMostMegabytes, megabytes)) quota = static_cast<std::uint32_t>(megabytes);
}

void readGroup(Reading& reading, const Json& value, const Place& place, State& state) {
  Fields fields(reading, value, place);
  GroupState& group = state.groups->emplace_back();
  group.account = readAccount(fields, reading, PROTO_SYSTEM);
  (void)fields.number("gid", group.id);
  readQuota(fields, group.quota);
  fields.finish();
}

void readMembership(Reading& reading, const Json& value, const Place& place, UserState& user) {
  Fields fields(reading, value, place);
  Membership& membership = user.groups->emplace_back();
  membership.group = readAccount(fields, reading, user.account.source);
  (void)fields.flag("primary", membership.isPrimary);
  fields.finish();
}

// The primary group has a place of its own.
void checkMemberships(const Fields& fields, std::vector<Membership>& groups) {
  std::sort(groups.begin(), groups.end());
  const auto primaries = static_cast<std::size_t>(
      std::count_if(groups.begin(), groups.end(), [](const Membership& m) { return m.isPrimary; }));
  if (primaries > 1) fields.refuse(USAGE, "groups", "holds more than one primary group");
  if (groups.size() - primaries > kMostGroups - 1)
    fields.refuse(READ_ONLY, "groups", "holds more than 15 besides the primary one");
  for (std::size_t i = 1; i < groups.size(); ++i) {
    if (groups[i].group == groups[i - 1].group)
      fields.refuse(USAGE, "groups", "holds the group " + groups[i].group.name + " twice");
  }
}

void readUser(Reading& reading, const Json& value, const Place& place, State& state) {
  Fields fields(reading, value, place);
  UserState& user = state.users->emplace_back();
  user.account = readAccount(fields, reading, PROTO_SYSTEM);
  (void)fields.number("uid", user.id);
  readQuota(fields, user.quota);
  if (const Json* const groups = fields.array("groups")) {
    user.groups.emplace();
    forEachElement(groups, {&fields.place, "groups"}, reading,
                   [&](const Json& group, const Place& at) { readMembership(reading, group, at, user); });
    checkMemberships(fields, *user.groups);
  }
  if (user.account.source == PROTO_SYSTEM) {
    (void)fields.flag("password_record", user.hasRecord);
    (void)fields.text("home_share", kName, Field::shareName, user.home);
    (void)fields.text("password", kName, Field::freeText, user.password);
    if (!user.hasRecord && (user.home || user.password))
      fields.refuse(USAGE, "password_record", "is false, so there can be no password and no home share");
  }
  fields.finish();
}

// ---- Shares

void readEntry(Reading& reading, const Json& value, const Place& place, Permissions& entries) {
  Fields fields(reading, value, place);
  std::string type;
  std::string name;
  long long rights = 0;
  for (const char* const field : {"type", "name", "rights"}) fields.require(field);
  if (fields.text("type", kName, Field::freeText, type) && type != "user" && type != "group")
    fields.refuse(USAGE, "type", "is neither user nor group");
  if (fields.text("name", kName, Field::freeText, name) && name.empty()) fields.refuse(USAGE, "name", "is empty");
  (void)fields.number("rights", INT32_MIN, INT32_MAX, rights);
  fields.finish();
  PermittedItem entry = {type == "user" ? PERMITTED_USER : PERMITTED_GROUP, static_cast<std::int32_t>(rights), {}};
  (void)name.copy(entry.name, sizeof entry.name - 1);
  entries.push_back(entry);
}

void readPermissions(Reading& reading, const Json* lists, const Place& place, ShareState& share) {
  if (lists == nullptr) return;
  Fields fields(reading, *lists, place);
  share.permissions.emplace();
  for (std::size_t i = 0; i < share.permissions->size(); ++i) {
    const char* const protocol = permissionProtocols[i].name;
    Permissions& entries = (*share.permissions)[i];
    forEachElement(fields.array(protocol), {&fields.place, protocol}, reading,
                   [&](const Json& entry, const Place& at) { readEntry(reading, entry, at, entries); });
    std::set<std::pair<std::string, int>> accounts;
    for (const PermittedItem& entry : entries) {
      std::string name = nameOf(entry);
      if (!accounts.emplace(Nas1UpStr(name.data()), entry.type).second)
        fields.refuse(USAGE, protocol, "holds the " + std::string(kindOf(entry)) + " " + name + " twice");
    }
    sortPermissions(entries);
  }
  fields.finish();
}

void readHost(Reading& reading, const Json& value, const Place& place, std::vector<Host>& hosts) {
  Fields fields(reading, value, place);
  Host host;
  std::string options = "ro";
  fields.require("host");
  (void)fields.text("host", kHostName, Field::nfsHost, host.name);
  if (fields.text("mask", kName, Field::nfsHost, host.mask)) host.flags |= NFS_HOST_MASK;
  (void)fields.text("options", kPath, Field::freeText, options);
  fields.finish();
  if (reading.fault == DONE) reading.fault = checkHost(host, reading.allowUnsafe);
  if (reading.fault == DONE) reading.fault = parseOptions(options, host);
  const bool doubled = std::any_of(hosts.begin(), hosts.end(),
                                   [&](const Host& h) { return h.name == host.name && h.mask == host.mask; });
  if (doubled) fields.refuse(USAGE, "host", "is there twice");
  hosts.push_back(host);
}

void readComment(Fields& fields, Reading& reading, ShareState& share) {
  std::string comment;
  const bool isHome = share.isHome.value_or(false);
  if (!fields.text("comment", kComment, isHome ? Field::freeText : Field::shareComment, comment)) return;
  const bool isLibrarys = comment.starts_with(kHomeComment);
  const std::string own = isLibrarys ? comment.substr(std::strlen(kHomeComment)) : comment;
  const std::string where = Place{&fields.place, "comment"}.spelled();
  if (isHome) reading.fault = checkSafe(Field::shareComment, where.c_str(), own, reading.allowUnsafe);
  share.comment = comment;
}

void readShare(Reading& reading, const Json& value, const Place& place, State& state) {
  Fields fields(reading, value, place);
  ShareState& share = state.shares->emplace_back();
  bool home = false;
  fields.require("name");
  if (fields.text("name", kName, Field::shareName, share.name)) {
    trim(share.name);
    if (share.name.empty()) fields.refuse(USAGE, "name", "is empty");
  }
  if (fields.flag("home", home)) share.isHome = home;
  readComment(fields, reading, share);
  if (fields.text("path", kPath, Field::sharePath, share.path) && !share.path->starts_with('/'))
    fields.refuse(USAGE, "path", "does not begin with /");
  (void)fields.text("read_only_password", kName, Field::freeText, share.passwords[READ_ONLY_PASSWORD]);
  (void)fields.text("read_write_password", kName, Field::freeText, share.passwords[READ_WRITE_PASSWORD]);
  readPermissions(reading, fields.object("permissions"), {&fields.place, "permissions"}, share);
  if (const Json* const hosts = fields.array("hosts")) {
    share.hosts.emplace();
    forEachElement(hosts, {&fields.place, "hosts"}, reading,
                   [&](const Json& host, const Place& at) { readHost(reading, host, at, *share.hosts); });
  }
  fields.finish();
}

// ---- The rest

void readModule(Reading& reading, const Json& value, const Place& place, State& state) {
  Fields fields(reading, value, place);
  std::string name;
  std::string text;
  std::string command;
  std::string digits;
  fields.require("name");
  if (fields.text("name", sizeof(ModuleRecord::description) - 1, Field::freeText, name) && name.empty())
    fields.refuse(USAGE, "name", "is empty");
  (void)fields.text("removal_command", kModuleCommandSize - 1, Field::freeText, command);
  const bool hasText = fields.text("description", kModuleTextSize - 1, Field::freeText, text);
  const bool hasData = fields.text("data_hex", 2 * sizeof(ModuleRecord::description), Field::freeText, digits);
  fields.finish();
  ModuleRecord& record = state.modules->emplace_back(moduleOf(name, hasText ? text : "", command));
  if (hasText && hasData) fields.refuse(USAGE, "data_hex", "stands beside a description");
  if (hasText && name.size() > kName) fields.refuse(USAGE, "name", "leaves no room for a description");
  if (hasData && !putModuleData(record, digits)) fields.refuse(USAGE, "data_hex", "is no data that fit");
}

void readSnapshot(Reading& reading, const Json& value, const Place& place, State& state) {
  Fields fields(reading, value, place);
  SnapshotState& snapshot = state.snapshots->emplace_back();
  long long word = 0;
  for (const char* const name : {"volume", "reserved", "schedule"}) fields.require(name);
  (void)fields.text("volume", kName, Field::volume, snapshot.volume);
  if (fields.number("reserved", 0, UINT32_MAX, word)) snapshot.words[0] = static_cast<std::uint32_t>(word);
  const Json* const schedule = fields.array("schedule");
  fields.finish();
  if (schedule == nullptr) return;
  if (schedule->size() != snapshot.words.size() - 1) return fields.refuse(USAGE, "schedule", "holds no four numbers");
  for (std::size_t i = 0; i < schedule->size(); ++i) {
    const Json& given = (*schedule)[i];
    if (!given.is_number_unsigned() || given.get<std::uint64_t>() > UINT32_MAX)
      return fields.refuse(USAGE, "schedule", "holds something that is no number from 0 to 4294967295");
    snapshot.words[i + 1] = given.get<std::uint32_t>();
  }
}

void readProduct(Reading& reading, const Json& value, const Place& place, State& state) {
  Fields fields(reading, value, place);
  ProductText& product = state.products->emplace_back();
  for (const char* const name : {"key", "text"}) fields.require(name);
  if (fields.text("key", kProductKey, Field::freeText, product.key) && product.key.empty())
    fields.refuse(USAGE, "key", "is empty");
  if (isOwnRecord(product.key)) fields.refuse(REFUSED, "key", "is that of a record of the appliance itself");
  (void)fields.text("text", kProductText, Field::freeText, product.text);
  fields.finish();
}

// ---- The document

// Nothing may be in there twice.
template <typename Item, typename KeyOf>
void refuseDoubles(Reading& reading, const std::optional<std::vector<Item>>& items, const Place& place, KeyOf keyOf) {
  if (!items || reading.fault != DONE) return;
  std::set<decltype(keyOf(items->front()))> keys;
  for (std::size_t i = 0; i < items->size(); ++i) {
    if (!keys.insert(keyOf((*items)[i])).second)
      reading.refuse(USAGE, {&place, nullptr, i}, "is the second of its name");
  }
}

template <typename Item, typename Read, typename KeyOf>
void readFamily(Reading& reading, Fields& families, const char* name, State& state,
                std::optional<std::vector<Item>> State::*items, Read read, KeyOf keyOf) {
  const Json* const array = families.array(name);
  if (array == nullptr) return;
  const Place place = {&families.place, name};
  (state.*items).emplace();
  forEachElement(array, place, reading,
                 [&](const Json& element, const Place& at) { read(reading, element, at, state); });
  refuseDoubles(reading, state.*items, place, keyOf);
}

void readFamilies(Reading& reading, Fields& families, State& state) {
  readSettings(reading, families.object("settings"), {&families.place, "settings"}, state);
  if (reading.fault != DONE) return;
  useCodePageOf(state);
  const auto accountOf = [](const auto& item) { return item.account; };
  readFamily(reading, families, "groups", state, &State::groups, readGroup, accountOf);
  readFamily(reading, families, "modules", state, &State::modules, readModule, moduleName);
  readFamily(reading, families, "products", state, &State::products, readProduct,
             [](const ProductText& product) { return product.key; });
  readFamily(reading, families, "shares", state, &State::shares, readShare,
             [](const ShareState& share) { return share.name; });
  readFamily(reading, families, "snapshots", state, &State::snapshots, readSnapshot,
             [](const SnapshotState& snapshot) { return snapshot.volume; });
  readFamily(reading, families, "users", state, &State::users, readUser, accountOf);
  families.finish();
}

}  // namespace

ExitCode readDocument(const std::string& content, bool allowUnsafe, State& state) {
  Json document;
  if (const ExitCode fault = parseJson(content, document); fault != DONE) return fault;
  if (!document.is_object() || document.value("schema", Json()) != kSchema)
    return complain(USAGE, "the document has not \"schema\": \"%s\", so this version does not understand it", kSchema);
  Reading reading = {allowUnsafe, DONE};
  Fields fields(reading, document, {nullptr, ""});
  std::string schema;
  (void)fields.text("schema", kName, Field::freeText, schema);
  fields.require("state");
  if (const Json* const families = fields.object("state")) {
    Fields members(reading, *families, {nullptr, "state"});
    readFamilies(reading, members, state);
  }
  fields.finish();
  return reading.fault;
}
