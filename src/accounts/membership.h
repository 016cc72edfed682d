#pragma once
// Group membership and the local account lists. A user is in a group when one of its 16 slots holds the group's gid; an
// empty slot may stand between used ones; slot 0 is the primary group.

#pragma GCC visibility push(default)
extern "C" {
// Returns 0 when the user is in the group, else -1: a membership is never added here.
int sysJoinGroup(int source, const char* user, const char* group);
// Empties the slot that holds the group. Returns 0; -1.
int sysLeaveGroup(int source, const char* user, const char* group);
// Puts the group into slot 0; a group that does not exist, or a null one, empties all slots. Returns 0; -1.
int sysSetPrimaryGroup(int source, const char* user, const char* group);

// The groups in the user's slots start to start + count - 1, of every source, as GroupItems. Returns the number copied;
// -1 for a user without a password record.
int sysListGroups(const char* user, int start, int count, void* buffer, int size);
// Local users in a local group, as UserItems, and their number. -1 for an unknown group.
int sysListMembers(const char* group, int start, int count, void* buffer, int size);
int sysListMembersCount(const char* group);

// Items of one source: their number, and up to count of them from the start-th on.
int ExGetUserListCount(int source);
int ExGetGroupListCount(int source);
int ExGetUserList(int source, int start, int count, void* buffer, int size);
int ExGetGroupList(int source, int start, int count, void* buffer, int size);
// The local ones; a negative count only counts.
int sysGetUserList(int start, int count, void* buffer, int size);
int sysGetGroupList(int start, int count, void* buffer, int size);
int sysGetUserListCount();
int sysGetGroupListCount();
}
#pragma GCC visibility pop
