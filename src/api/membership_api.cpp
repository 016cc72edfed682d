// Group membership entries.

#include "accounts/account_items.h"
#include "accounts/membership.h"
#include "api/nas1api.h"

static bool missing(const char* name) { return name == nullptr || name[0] == '\0'; }

static bool badMembership(int source, const char* user, const char* group) {
  return static_cast<unsigned>(source) >= kSourceCount || missing(user) || missing(group);
}

extern "C" int Nas1JoinGroup(int source, char* user, char* group) {
  if (badMembership(source, user, group)) return -1;
  return sysJoinGroup(source, Nas1UpStr(user), Nas1UpStr(group));
}

extern "C" int Nas1LeaveGroup(int source, char* user, char* group) {
  if (badMembership(source, user, group)) return -1;
  return sysLeaveGroup(source, Nas1UpStr(user), Nas1UpStr(group));
}

extern "C" int Nas1SetPrimaryGroup(int source, const char* user, const char* group) {
  if (static_cast<unsigned>(source) >= kSourceCount || missing(user)) return -1;
  return sysSetPrimaryGroup(source, user, group);
}

extern "C" int Nas1ListGroupMembersCount(char* group, int source) {
  if (missing(group) || source != PROTO_SYSTEM) return -1;
  return sysListMembersCount(Nas1UpStr(group));
}

extern "C" int Nas1GetUserListCount(void) { return sysGetUserListCount(); }

extern "C" int Nas1GetGroupListCount(void) { return sysGetGroupListCount(); }
