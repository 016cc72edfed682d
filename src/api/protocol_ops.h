#pragma once
// The protocol operations table: one row per file protocol, one slot per operation. Every change made through the API
// is handed to the protocols by walking it.

#include <span>

#include "api/nas1api.h"

struct ProtocolOps {
  // Slot 0. Starts, stops or restarts the daemon; `how` as in Nas1Restart.
  int (*restart)(int how) = nullptr;
  // Slot 1. Rebuilds the daemon's files from the record files; called once when a batch ends.
  int (*dbUpdate)() = nullptr;
  // Slots 2 to 4. A share was added, deleted, modified; the system row does it, the others follow.
  int (*shareAdd)(const char* name, const char* comment, const char* path) = nullptr;
  int (*shareDel)(const char* name) = nullptr;
  int (*shareMod)(const char* name, const char* comment, const char* path) = nullptr;
  // Slot 5. Lists connections as ConnectionRecords, in place of the shared table; returns the number written.
  int (*listConnection)(int start, int count, void* buffer, int size) = nullptr;
  // Slot 6. Ends a client's session; what a and b are is the protocol's own.
  int (*netDisconnect)(int a, int b) = nullptr;
  // Slot 7. Stores a configuration value (system row) or reacts to its change.
  int (*setConfig)(int id, int size, void* value) = nullptr;
  // Slot 8. An event was reported.
  int (*sysEvent)(int code, const void* argument) = nullptr;
  // Slots 9 and 10. List groups and users of the protocol's account source; a negative count only counts.
  int (*getGroupList)(int start, int count, void* buffer, int size) = nullptr;
  int (*getUserList)(int start, int count, void* buffer, int size) = nullptr;
  // Slots 11 and 12. List the groups of a user, the members of a group.
  int (*listGroups)(const char* user, int start, int count, void* buffer, int size) = nullptr;
  int (*listMembers)(const char* group, int start, int count, void* buffer, int size) = nullptr;
  // Slots 13 and 14. Read and store the password of a local user.
  int (*getUserPasswd)(const char* user, char* out, int size) = nullptr;
  int (*setUserPasswd)(const char* user, const char* password) = nullptr;
  // Slots 15 to 20. Accounts of a remote server: fetch into the list file, count, show; users, then groups.
  // The server of the first may be upper-cased in place.
  int (*getUserListFromRemote)(char* server) = nullptr;
  int (*getUserListCountInRemote)() = nullptr;
  int (*showUserListInRemote)(char** names) = nullptr;
  int (*getGroupListFromRemote)(const char* server) = nullptr;
  int (*getGroupListCountInRemote)() = nullptr;
  int (*showGroupListInRemote)(char** names) = nullptr;
};
static_assert(sizeof(ProtocolOps) == 21 * sizeof(void (*)()), "21 slots");

extern const ProtocolOps protocolOps[PROTO_COUNT];

#pragma GCC visibility push(default)
extern "C" int sysRestart(int how);  // returns 0
#pragma GCC visibility pop

// Set by EnableNas1ShareBatch and EnableNasDelPermBatch; read by the entries that batch.
extern int shareBatch;
extern int permissionDeleteBatch;

// When a walk over the rows ends early.
enum class Stop {
  never,
  onShareBatch,  // after the first row that was called, while the share batch flag is set
};

// Calls one slot of every row that has it, in row order.
// Only the system row decides the result: a daemon that cannot reload must not make a stored change look lost.
template <typename... P, typename... A>
int broadcast(std::span<const ProtocolOps> rows, int (*ProtocolOps::*slot)(P...), Stop stop, A... arguments) {
  int result = 0;
  for (const ProtocolOps& row : rows) {
    if (row.*slot == nullptr) continue;
    const int r = (row.*slot)(arguments...);
    if (r < 0 && &row == &rows[PROTO_SYSTEM]) result = -1;
    if (stop == Stop::onShareBatch && shareBatch != 0) break;
  }
  return result;
}

// Whether a protocol is known and its row has a slot.
template <typename... P>
bool rowHas(int protocol, int (*ProtocolOps::*slot)(P...)) {
  return static_cast<unsigned>(protocol) < PROTO_COUNT && protocolOps[protocol].*slot != nullptr;
}

// Calls one slot of one protocol's row; `absent` for an unknown protocol and an empty slot.
template <typename... P, typename... A>
int callRow(int protocol, int (*ProtocolOps::*slot)(P...), int absent, A... arguments) {
  return rowHas(protocol, slot) ? (protocolOps[protocol].*slot)(arguments...) : absent;
}
