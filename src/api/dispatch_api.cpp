// Entries that reach one row or all rows of the operations table: restart, disconnection, batching.

#include "api/nas1api.h"
#include "api/protocol_ops.h"

extern "C" int Nas1Restart(int protocol, int how) { return callRow(protocol, &ProtocolOps::restart, -1, how); }

extern "C" int Nas1NetDisconnect(int protocol, int a, int b) {
  return callRow(protocol, &ProtocolOps::netDisconnect, -1, a, b);
}

extern "C" int EnableNas1ShareBatch(int on) {
  shareBatch = on;
  if (on == 0) (void)broadcast(protocolOps, &ProtocolOps::dbUpdate, Stop::never);
  return 0;
}

extern "C" int EnableNasDelPermBatch(int on) {
  permissionDeleteBatch = on;
  return 0;
}
