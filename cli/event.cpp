// nas1 event: what may happen to the appliance, raised by hand; mails that wait for the next start.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "calls.h"
#include "confirm.h"
#include "deferred_mails.h"
#include "events.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"

namespace {

struct Arguments {
  std::string code;
  std::vector<std::string> words;
  bool yes = false;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

constexpr unsigned kFanStopped = 8;
constexpr unsigned kOverheated = 11;

bool shutsDown(unsigned code) {
  const std::uint32_t action = readMask("EVENT_ACTION");
  return (code == kFanStopped && hasBit(action, 29)) || (code == kOverheated && hasBit(action, 30));
}

std::string describe(const GivenEvent& event) {
  if (event.hasText) return event.text;
  std::string words;
  const std::size_t count = event.hasArgument ? arguments.words.size() : 0;
  for (std::size_t i = 0; i < count; ++i) words += (i == 0 ? "" : ", ") + arguments.words[i];
  return words;
}

ExitCode raise() {
  GivenEvent event;
  if (const ExitCode fault = parseEvent(arguments.code, arguments.words, arguments.allowUnsafe, event); fault != DONE)
    return fault;
  if (shutsDown(event.code)) {
    tell("event %u shuts the appliance down, as EVENT_ACTION says", event.code);
    if (!isConfirmed(arguments.yes)) return complain(REFUSED, "nothing was raised");
  }
  if (isOnlyShown("Nas1Event", {event.code, describedArgument(describe(event))})) return DONE;
  if (Nas1Event(event.code, event.argument()) != 0) {
    return complain(LIBRARY_FAILED, "the event was raised, but the system could not take it");
  }
  return DONE;
}

ExitCode list() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  const std::uint32_t action = readMask("EVENT_ACTION");
  const std::uint32_t status = readMask("HW_EVENT_STATUS");
  Listing listing = {
      "events", {"code", "meaning", "level", "category", "argument", "notify", "happened", "effect"}, {}};
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    const EventInfo& info = events[code];
    listing.rows.push_back({static_cast<long long>(code), info.meaning, info.level, info.category,
                            argumentName(info.argument), hasBit(action, code), hasBit(status, code), info.effect});
  }
  return printListing(arguments.output, listing);
}

ExitCode pending() {
  const std::uint32_t waiting = deferred::pending();
  Listing listing = {"pending", {"code", "meaning", "argument"}, {}};
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    if (!hasBit(waiting, code)) continue;
    const bool keepsArgument = code == 17 || code == 18;
    listing.rows.push_back(
        {static_cast<long long>(code), events[code].meaning, keepsArgument ? deferred::keptArgument() : ""});
  }
  return printListing(arguments.output, listing);
}

ExitCode replay() {
  const std::uint32_t waiting = deferred::pending();
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    if (hasBit(waiting, code) && isOnlyShown("Nas1Event", {code, describedArgument("-1")})) continue;
  }
  if (isDryRun()) return DONE;
  const std::uint32_t sent = deferred::replay();
  if (sent == 0) tell("no mail was waiting");
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    if (hasBit(sent, code)) tell("the mail of event %u (%s) was sent", code, events[code].meaning);
  }
  return DONE;
}

}  // namespace

void registerEvent(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const raiseVerb = noun.add_subcommand("raise", "Report that something happened, as the monitors do");
  raiseVerb->add_option("CODE", arguments.code, "0 to 28; nas1 event list shows them")->required();
  raiseVerb->add_option("ARGUMENT", arguments.words, "What it is about: a disk's index, an interface, a job, ...");
  raiseVerb->add_flag("--yes", arguments.yes, "Do not ask before an event that shuts the appliance down");
  raiseVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Allow control characters in a text");
  addDryRunOption(*raiseVerb);
  raiseVerb->callback([&result] { result = raise(); });

  CLI::App* const listVerb = noun.add_subcommand("list", "Print all events and what they do");
  addOutputOptions(*listVerb, arguments.output);
  listVerb->callback([&result] { result = list(); });

  CLI::App* const pendingVerb = noun.add_subcommand("pending", "Print the mails that wait for the next start");
  addOutputOptions(*pendingVerb, arguments.output);
  pendingVerb->callback([&result] { result = pending(); });

  CLI::App* const replayVerb = noun.add_subcommand("replay", "Send the mails that wait; part of the start-up");
  addDryRunOption(*replayVerb);
  replayVerb->callback([&result] { result = replay(); });
}
