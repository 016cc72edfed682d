#pragma once
// What the network looks like now, as opposed to how it is configured. The readers of the numbered interfaces
// (getHwAddr1 and so on) are configuration handlers and declared with those.

#pragma GCC visibility push(default)
extern "C" {

// One line per interface that has an address: "eth0 ADDRESS MASK GATEWAY\n", the gateway "-" when there is no default
// route. As text into the caller's buffer; lengthOut (may be null) receives its length plus 1.
// Returns 0; -1 for a bad buffer or when no interface has an address.
int getInetConfig(int size, void* buffer, int* lengthOut);

// The host name, handed over likewise. Returns 0; -1 for a bad buffer.
int getHostname(int size, void* buffer, int* lengthOut);
}
#pragma GCC visibility pop
