// Entries that list accounts of one source through its row of the operations table.

#include <cstring>

#include "api/nas1api.h"
#include "api/protocol_ops.h"

// Both lists of a source; without room for a single item the row is asked for the number of accounts. A source without
// such a list leaves the buffer alone.
static int listAccounts(int source, int (*ProtocolOps::*slot)(int, int, void*, int), int start, int count, void* buffer,
                        int size) {
  if (size < 0 || !rowHas(source, slot)) return 0;
  if (count < 1 || buffer == nullptr || size == 0) return callRow(source, slot, 0, start, -1, buffer, size);
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return callRow(source, slot, 0, start < 0 ? 0 : start, count, buffer, size);
}

// The groups of a user, the members of a group.
static int listMemberships(int source, int (*ProtocolOps::*slot)(const char*, int, int, void*, int), char* name,
                           int start, int count, void* buffer, int size) {
  if (name == nullptr || name[0] == '\0' || buffer == nullptr || size <= 0) return 0;
  if (static_cast<unsigned>(source) >= PROTO_COUNT) return 0;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  return callRow(source, slot, 0, static_cast<const char*>(Nas1UpStr(name)), start, count, buffer, size);
}

extern "C" int Nas1GetUserList(int source, int start, int count, void* buffer, int size) {
  return listAccounts(source, &ProtocolOps::getUserList, start, count, buffer, size);
}

extern "C" int Nas1GetGroupList(int source, int start, int count, void* buffer, int size) {
  return listAccounts(source, &ProtocolOps::getGroupList, start, count, buffer, size);
}

extern "C" int Nas1ListUserGroups(char* user, int source, int start, int count, void* buffer, int size) {
  return listMemberships(source, &ProtocolOps::listGroups, user, start, count, buffer, size);
}

extern "C" int Nas1ListGroupMembers(char* group, int source, int start, int count, void* buffer, int size) {
  return listMemberships(source, &ProtocolOps::listMembers, group, start, count, buffer, size);
}

extern "C" int Nas1GetUserListFromRemoteServer(int source, char* server) {
  return callRow(source, &ProtocolOps::getUserListFromRemote, 0, server);
}

extern "C" int Nas1GetUserListCountInRemoteServer(int source) {
  return callRow(source, &ProtocolOps::getUserListCountInRemote, 0);
}

extern "C" int Nas1ShowUserListInRemoteServer(int source, char** names) {
  return callRow(source, &ProtocolOps::showUserListInRemote, 0, names);
}

extern "C" int Nas1GetGroupListFromRemoteServer(int source, const char* server) {
  return callRow(source, &ProtocolOps::getGroupListFromRemote, 0, server);
}

extern "C" int Nas1GetGroupListCountInRemoteServer(int source) {
  return callRow(source, &ProtocolOps::getGroupListCountInRemote, 0);
}

extern "C" int Nas1ShowGroupListInRemoteServer(int source, char** names) {
  return callRow(source, &ProtocolOps::showGroupListInRemote, 0, names);
}
