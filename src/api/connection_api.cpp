// Entries of the connection table. Ending a client's session is a matter of its protocol: see the dispatch entries.

#include <algorithm>
#include <cstring>

#include "api/nas1api.h"
#include "api/protocol_ops.h"
#include "status/connections.h"

namespace {

// The system itself has no clients.
bool servesClients(int protocol) { return protocol > PROTO_SYSTEM && protocol < PROTO_COUNT; }

}  // namespace

extern "C" int Nas1AddConnection(int protocol, const ConnectionRecord* record) {
  if (!servesClients(protocol) || record == nullptr) return -1;
  return sysAddConnection(protocol, record);
}

extern "C" int Nas1DelConnection(int protocol, int pid) {
  if (!servesClients(protocol)) return -1;
  return sysDelConnection(protocol, pid);
}

extern "C" int Nas1ConnectionCount(int protocol) {
  if (!servesClients(protocol)) return 0;
  return sysConnectionCount(protocol);
}

extern "C" int Nas1ListConnection(int protocol, int start, int count, void* buffer, int size) {
  if (!servesClients(protocol) || buffer == nullptr || count == 0 || size <= 0) return 0;
  std::memset(buffer, 0, static_cast<std::size_t>(size));
  // An NFS client may be served by any number of processes or none: its protocol would have to tell.
  if (protocol == PROTO_NFS) return callRow(PROTO_NFS, &ProtocolOps::listConnection, 0, start, count, buffer, size);
  const int fitting = size / static_cast<int>(sizeof(ConnectionRecord));
  return sysListConnection(protocol, start, std::min(count, fitting), buffer);
}
