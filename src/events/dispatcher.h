#pragma once
// The event dispatcher behind Nas1Event: what each event does to status word, trap, mail, log and appliance.

// Hands an event to every protocol; negative when the system row failed.
using TellProtocols = int (*)(int code, const void* arg);

// Does all of Nas1Event; `tell` reaches the protocols, which stand above this room.
int dispatchEvent(unsigned code, void* arg, TellProtocols tell);
