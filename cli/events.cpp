#include "events.h"

#include <charconv>
#include <limits>

#include "safe_values.h"
#include "suggest.h"

using enum EventArgument;

// clang-format off
const EventInfo events[EVENT_COUNT] = {
    /*  0 */ {"disk failed",                  "CRIT", "HD",   disk,      "lights the disk's LED"},
    /*  1 */ {"disk added",                   "INFO", "HD",   disk,      ""},
    /*  2 */ {"disk removed",                 "WARN", "HD",   disk,      ""},
    /*  3 */ {"disk rebuilt",                 "INFO", "HD",   disk,      ""},
    /*  4 */ {"volume running full",          "ERR",  "HD",   volume,    ""},
    /*  5 */ {"disk has bad sectors",         "ERR",  "HD",   disk,      ""},
    /*  6 */ {"network link lost",            "ERR",  "NW",   interface, ""},
    /*  7 */ {"network link back",            "INFO", "NW",   interface, ""},
    /*  8 */ {"fan stopped",                  "CRIT", "HW",   none,      "shuts down if EVENT_ACTION has bit 29"},
    /*  9 */ {"mains power failed",           "CRIT", "UPS",  none,      "makes /var/log/ups_fault with its mail"},
    /* 10 */ {"UPS battery low",              "WARN", "UPS",  none,      "mail after the next start"},
    /* 11 */ {"processor too hot",            "CRIT", "HW",   none,      "shuts down if EVENT_ACTION has bit 30"},
    /* 12 */ {"supply voltage out of range",  "ERR",  "HW",   none,      ""},
    /* 13 */ {"file system has errors",       "ERR",  "SW",   none,      ""},
    /* 14 */ {"system started",               "INFO", "SW",   none,      "mail after the next start"},
    /* 15 */ {"backup finished",              "INFO", "SW",   backupJob, ""},
    /* 16 */ {"backup failed",                "ERR",  "SW",   backupJob, ""},
    /* 17 */ {"restore finished",             "INFO", "SW",   backupJob, "mail after the next start unless job 2"},
    /* 18 */ {"restore failed",               "ERR",  "SW",   backupJob, "mail after the next start unless job 2"},
    /* 19 */ {"kernel error",                 "ERR",  "KERN", none,      ""},
    /* 20 */ {"disk system failed",           "CRIT", "HD",   none,      "always mails"},
    /* 21 */ {"RAID not protected",           "CRIT", "HD",   raid,      ""},
    /* 22 */ {"disk about to fail",           "CRIT", "HD",   disk,      ""},
    /* 23 */ {"test mail",                    "",     "",     none,      "always mails, never a trap"},
    /* 24 */ {"UPS does not answer",          "ERR",  "UPS",  none,      ""},
    /* 25 */ {"mains power back",             "INFO", "UPS",  none,      "ends 9, 10 and 24"},
    /* 26 */ {"fans running again",           "",     "",     none,      "ends 8"},
    /* 27 */ {"processor cooled down",        "",     "",     none,      "ends 11"},
    /* 28 */ {"disk of another system",       "CRIT", "HD",   anyText,   ""},
};
// clang-format on

const char* argumentName(EventArgument argument) {
  static constexpr const char* names[] = {"",     "DISK", "VOLUME BLOCKS USED BLOCKSIZE", "INTERFACE", "JOB",
                                          "RAID", "TEXT"};
  return names[static_cast<int>(argument)];
}

void* GivenEvent::argument() {
  if (!hasArgument) return nullptr;
  return hasText ? static_cast<void*>(text.data()) : words;
}

namespace {

struct Range {
  long long least, most;
};

Range rangeOf(EventArgument argument) {
  if (argument == disk) return {0, DISK_COUNT - 1};
  if (argument == backupJob) return {1, BACKUP_JOB_COUNT};
  // The four words of a volume are unsigned.
  if (argument == volume) return {0, std::numeric_limits<std::uint32_t>::max()};
  return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
}

template <typename Number>
bool toNumber(const std::string& word, Number& number) {
  const char* const end = word.data() + word.size();
  const auto [stop, fault] = std::from_chars(word.data(), end, number);
  return fault == std::errc() && stop == end;
}

ExitCode takeWord(const EventInfo& info, const std::string& word, std::int32_t& place) {
  const Range range = rangeOf(info.argument);
  long long number = 0;
  if (!toNumber(word, number) || number < range.least || number > range.most) {
    return complain(USAGE, "%s is no %s: it takes a number from %lld to %lld", word.c_str(),
                    argumentName(info.argument), range.least, range.most);
  }
  place = static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
  return DONE;
}

}  // namespace

ExitCode parseEvent(const std::string& code, const std::vector<std::string>& words, bool allowUnsafe,
                    GivenEvent& event) {
  if (!toNumber(code, event.code) || event.code >= EVENT_COUNT) {
    return complain(UNKNOWN_OBJECT, "there is no event %s; nas1 event list shows them", code.c_str());
  }
  const EventInfo& info = events[event.code];
  const std::size_t wanted = info.argument == none ? 0 : info.argument == volume ? 4 : 1;
  if (words.size() != wanted) {
    if (wanted == 0) return complain(USAGE, "event %u (%s) takes no argument", event.code, info.meaning);
    return complain(USAGE, "event %u (%s) takes %s", event.code, info.meaning, argumentName(info.argument));
  }
  event.hasArgument = wanted != 0;
  event.hasText = info.argument == interface || info.argument == anyText;
  if (event.hasText) {
    event.text = words[0];
    return checkSafe(Field::freeText, "text", event.text, allowUnsafe);
  }
  for (std::size_t i = 0; i < wanted; ++i) {
    if (const ExitCode fault = takeWord(info, words[i], event.words[i]); fault != DONE) return fault;
  }
  return DONE;
}

std::uint32_t readMask(const char* key) {
  std::uint32_t mask = 0;
  if (NasGetConfig(key, sizeof mask, &mask, nullptr) < 0) return 0;
  return mask;
}
