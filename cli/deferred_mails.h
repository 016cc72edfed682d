#pragma once
// The alert mails that wait for the next start: /var/log/MailEvent holds one hexadecimal number, a bit per event.

#include <cstdint>
#include <string>

namespace deferred {

// The events whose mail waits; 0 when none does.
std::uint32_t pending();

// The argument that is kept for a waiting event 17 or 18; empty for none.
std::string keptArgument();

// Sends what waits, event by event, and takes each off the list as soon as it is handed over. This is what the start-up
// of the appliance runs. Returns the events that were replayed.
std::uint32_t replay();

}  // namespace deferred
