// The event entry: the dispatcher with the way to every protocol.

#include "api/nas1api.h"
#include "api/protocol_ops.h"
#include "events/dispatcher.h"

static int tellProtocols(int code, const void* arg) {
  return broadcast(protocolOps, &ProtocolOps::sysEvent, Stop::never, code, arg);
}

extern "C" int Nas1Event(unsigned code, void* arg) { return dispatchEvent(code, arg, tellProtocols); }
