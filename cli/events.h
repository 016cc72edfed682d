#pragma once
// The events that Nas1Event knows, for people, and how one is given on the command line.

#include <cstdint>
#include <string>
#include <vector>

#include <nas1api.h>

#include "errors.h"

// What an event is about.
enum class EventArgument { none, disk, volume, interface, backupJob, raid, anyText };

struct EventInfo {
  const char* meaning;
  const char* level;     // of its log line; empty when it is not logged
  const char* category;  // likewise
  EventArgument argument;
  const char* effect;  // what it does beyond log line, status bit, and the trap and mail that EVENT_ACTION asks for
};

extern const EventInfo events[EVENT_COUNT];

// How an argument is named in help and listings: "DISK"; empty for none.
const char* argumentName(EventArgument argument);

// An event as it was given on the command line.
struct GivenEvent {
  unsigned code = 0;
  std::int32_t words[4] = {};  // the argument as words
  std::string text;            // or as a text
  bool hasText = false;
  bool hasArgument = false;

  // What Nas1Event takes.
  void* argument();
};

// Reads an event's code and argument. Returns DONE, or complains.
ExitCode parseEvent(const std::string& code, const std::vector<std::string>& words, bool allowUnsafe,
                    GivenEvent& event);

// Settings and state that verbs about events read; 0 where there is none.
std::uint32_t readMask(const char* key);
inline bool hasBit(std::uint32_t mask, unsigned bit) { return (mask >> bit & 1U) != 0; }
