#include "operations.h"

#include <cstddef>
#include <cstring>
#include <iterator>

#include "api/nas1api.h"
#include "config/numeric_config.h"
#include "torture.h"

namespace {

constexpr char kBase[] = "base";  // a share whose permission list all of them change
constexpr const char* namedKeys[kOwners] = {"CIFS_SERVER_COMMENT", "NFS_DOMAIN_NAME", "ADMIN_EMAIL", "MAIL_RELAY_HOST"};

std::string shareName(int process) { return text("share%d", process); }
std::string nfsShare(int process) { return text("nfs%d", process); }
std::string user(int process) { return text("USER%d", process); }
std::string permitted(int process) { return text("PERMITTED%d", process); }
std::string path(int process, int generation) { return text("/volume/v1/%d.%d", process, generation); }
// Of different lengths: a record that grows finds another place in its file.
std::string value(int generation) { return text("%d-%.*s", generation, generation % 20, "abcdefghijklmnopqrstuvwxyz"); }
std::string shareText(int process, int generation) { return value(generation) + " " + path(process, generation); }
std::string hosts(int generation) { return text("%d times host%d", generation % 3 + 1, generation); }

// A text in a buffer of its own, as the calls that change their argument want it.
template <std::size_t N = 64>
struct Buffer {
  char text[N] = {};
  explicit Buffer(const std::string& from) { (void)from.copy(text, N - 1); }
};

int addShare(int process, int generation) {
  return Nas1ShareAdd(Buffer(shareName(process)).text, value(generation).c_str(), path(process, generation).c_str());
}
int modifyShare(int process, int generation) {
  return Nas1ShareMod(shareName(process).c_str(), value(generation).c_str(), path(process, generation).c_str());
}
int deleteShare(int process, int /*generation*/) { return Nas1ShareDel(shareName(process).c_str()); }
int setPassword(int process, int generation) {
  return Nas1ShareSetPassword(shareName(process).c_str(), 0, value(generation).c_str());
}
int addPermission(int process, int generation) {
  PermittedItem item = {.type = PERMITTED_USER, .rights = generation, .name = {}};
  (void)permitted(process).copy(item.name, sizeof item.name - 1);
  return Nas1AddPermittedItem(kBase, PROTO_SYSTEM, &item);
}
int deletePermission(int process, int /*generation*/) {
  return Nas1DelPermittedItem(kBase, PROTO_SYSTEM, permitted(process).c_str());
}
int setHosts(int process, int generation) {
  const std::string host = text("host%d", generation);
  std::string entries;
  for (int i = 0; i <= generation % 3; ++i) {
    NfsHostEntry entry = {};
    entry.size = static_cast<std::uint32_t>(offsetof(NfsHostEntry, host) + host.size() + 1);
    entries.append(reinterpret_cast<const char*>(&entry), offsetof(NfsHostEntry, host));
    entries.append(host.c_str(), host.size() + 1);
  }
  return Nas1ShareSetPermittedNfs(nfsShare(process).c_str(), generation % 3 + 1, entries.data());
}
int addUser(int process, int generation) {
  return Nas1AddUser(PROTO_SYSTEM, Buffer(user(process)).text, value(generation).c_str());
}
int deleteUser(int process, int /*generation*/) { return Nas1DelUser(PROTO_SYSTEM, Buffer(user(process)).text); }
int setAccount(int process, int generation) {
  UserItem item = {};
  item.size = sizeof item;
  item.quota = static_cast<std::uint32_t>(generation);
  (void)user(process).copy(item.name, sizeof item.name - 1);
  return Nas1SetUserItem(&item);
}
int setNamed(int process, int generation) {
  const std::string text = value(generation);
  return NasSetConfig(namedKeys[process], static_cast<int>(text.size()) + 1, text.c_str());
}
int setNumbered(int process, int generation) {
  Buffer text(value(generation));
  return Nas1SetConfig(CONFIG_SNMP_TRAP_COMM1 + process, static_cast<int>(std::strlen(text.text)) + 1, text.text);
}

using Effects = std::vector<Effect>;

}  // namespace

// clang-format off
const Operation operations[] = {
    {"add a share", addShare, [](int p, int g) { return Effects{{SHARE, shareText(p, g)},
        {READ_PASSWORD, shareName(p), false}, {WRITE_PASSWORD, shareName(p), false}}; }, 2},
    {"modify a share", modifyShare, [](int p, int g) { return Effects{{SHARE, shareText(p, g)}}; }, 0},
    {"delete a share", deleteShare, [](int, int) { return Effects{{SHARE, ""}, {READ_PASSWORD, ""}, {WRITE_PASSWORD, ""}}; }, 0},
    {"set a share's password", setPassword, [](int, int g) { return Effects{{READ_PASSWORD, value(g)}}; }, 0},
    {"add a permission", addPermission, [](int, int g) { return Effects{{PERMISSION, std::to_string(g)}}; }, 5},
    {"delete a permission", deletePermission, [](int, int) { return Effects{{PERMISSION, ""}}; }, 4},
    {"set NFS hosts", setHosts, [](int, int g) { return Effects{{NFS_HOSTS, hosts(g)}}; }, 6},
    {"add a user", addUser, [](int, int g) { return Effects{{PASSWORD, value(g)}, {ACCOUNT, "0"}}; }, 8},
    {"delete a user", deleteUser, [](int, int) { return Effects{{PASSWORD, ""}, {ACCOUNT, ""}}; }, 7},
    {"set an account", setAccount, [](int, int g) { return Effects{{ACCOUNT, std::to_string(g)}}; }, 7},
    {"set a named setting", setNamed, [](int, int g) { return Effects{{NAMED, value(g)}}; }, 10},
    {"set a numbered setting", setNumbered, [](int, int g) { return Effects{{NUMBERED, value(g)}}; }, 11},
};
// clang-format on
const int operationCount = static_cast<int>(std::size(operations));

void prepareObjects() {
  constexpr char kShareItsName[] = "name";
  for (const char* const key : {"DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD"}) {
    (void)NasSetConfig(key, sizeof kShareItsName, kShareItsName);
  }
  (void)NasSetConfig("AUTO_HOME", 2, "0");
  (void)Nas1ShareAdd(Buffer(kBase).text, "", "/volume/v1/base");
  for (int process = 0; process < kOwners; ++process) {
    (void)Nas1ShareAdd(Buffer(nfsShare(process)).text, "", "/volume/v1/nfs");
    for (const Operation& operation : operations) (void)operation.call(process, 0);
  }
}

Parts readParts(int process) {
  Parts parts(PART_COUNT);
  char buffer[4096] = {};
  const std::string share = shareName(process);
  if (Nas1GetShareInfo(share.c_str(), buffer, sizeof buffer) == 0) {
    const auto* const info = reinterpret_cast<const ShareInfo*>(buffer);
    parts[SHARE] = std::string(info->comment) + " " + info->path;
    if (Nas1ShareGetPassword(share.c_str(), 0, buffer) == 0) parts[READ_PASSWORD] = buffer;
    if (Nas1ShareGetPassword(share.c_str(), 1, buffer) == 0) parts[WRITE_PASSWORD] = buffer;
  }
  PermittedItem items[16];
  const int count = Nas1ListPermittedItems(kBase, PROTO_SYSTEM, 0, 16, items, sizeof items);
  for (int i = 0; i < count; ++i) {
    if (permitted(process) == items[i].name) parts[PERMISSION] += std::to_string(items[i].rights);
  }
  const int entries = Nas1ShareGetPermittedNfs(nfsShare(process).c_str(), 16, buffer, sizeof buffer);
  const auto* const host = reinterpret_cast<const NfsHostEntry*>(buffer);
  if (entries > 0) parts[NFS_HOSTS] = std::to_string(entries) + " times " + host->host;
  const std::string account = user(process);
  UserItem item;
  int size = 0;
  if (Nas1CheckUserItem(PROTO_SYSTEM, account.c_str(), &item, &size) == 0) parts[ACCOUNT] = std::to_string(item.quota);
  if (Nas1GetUserPasswd(PROTO_SYSTEM, Buffer(account).text, buffer, 64) == 0) parts[PASSWORD] = buffer;
  if (NasGetConfig(namedKeys[process], 64, buffer, nullptr) == 0) parts[NAMED] = buffer;
  if (Nas1GetConfig(CONFIG_SNMP_TRAP_COMM1 + process, 64, buffer, nullptr) == 0) parts[NUMBERED] = buffer;
  return parts;
}
