// nas1 log: the appliance's event log, a text file of lines "TIME <LEVEL> [CATEGORY] MESSAGE" in columns.

#include <strings.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "log_reader.h"
#include "nouns.h"
#include "output.h"
#include "suggest.h"

namespace {

constexpr useconds_t kFollowPauseUs = 200'000;

constexpr const char* levels[] = {"INFO", "WARN", "ERR", "CRIT", "ACCESS"};
constexpr const char* categories[] = {"KERN", "HW", "SW", "HD", "NW", "UPS", "CIFS", "NFS", "NCP", "AFP", "DIS"};

struct Arguments {
  int count = 20;
  std::string level;
  std::string category;
  bool follow = false;
  Output output;
};
Arguments arguments;

struct Entry {
  std::string time;
  std::string level;
  std::string category;
  std::string message;
  std::string line;  // all of it as it stands in the file
};

// Takes a tag such as "<ERR>  " off the text at `at`, with its padding to `width` at least.
bool takeTag(const std::string& line, std::size_t& at, char open, char close, std::size_t width, std::string& tag) {
  if (at >= line.size() || line[at] != open) return false;
  const std::size_t end = line.find(close, at);
  if (end == std::string::npos) return false;
  tag = line.substr(at + 1, end - at - 1);
  at = std::max(at + width, end + 2);
  return true;
}

// A line of another form is a message without level and category.
Entry parseLine(const std::string& line) {
  constexpr std::size_t kTimeLength = 24;
  constexpr std::size_t kTagWidth = 7;
  Entry entry = {"", "", "", line, line};
  std::size_t at = kTimeLength + 1;
  std::string level;
  std::string category;
  if (!takeTag(line, at, '<', '>', kTagWidth, level) || !takeTag(line, at, '[', ']', kTagWidth, category)) return entry;
  return {line.substr(0, kTimeLength), level, category, at < line.size() ? line.substr(at) : "", line};
}

bool isWanted(const Entry& entry) {
  const auto matches = [](const std::string& wanted, const std::string& tag) {
    return wanted.empty() || strcasecmp(wanted.c_str(), tag.c_str()) == 0;
  };
  return matches(arguments.level, entry.level) && matches(arguments.category, entry.category);
}

// The wanted entries among the whole lines read so far.
std::vector<Entry> takeEntries(LogReader& reader) {
  std::vector<Entry> entries;
  for (const std::string& line : takeLines(reader)) {
    Entry entry = parseLine(line);
    if (isWanted(entry)) entries.push_back(std::move(entry));
  }
  return entries;
}

ExitCode printEntries(std::span<const Entry> entries) {
  if (isForPerson(arguments.output)) {
    for (const Entry& entry : entries) (void)std::puts(visible(entry.line).c_str());
    return DONE;
  }
  Listing listing = {"log", {"time", "level", "category", "message"}, {}};
  for (const Entry& entry : entries) listing.rows.push_back({entry.time, entry.level, entry.category, entry.message});
  return printListing(arguments.output, listing);
}

[[noreturn]] void follow(LogReader& reader) {
  for (;;) {
    (void)std::fflush(stdout);
    (void)usleep(kFollowPauseUs);
    if (!readOn(reader)) continue;
    const std::vector<Entry> entries = takeEntries(reader);
    if (!entries.empty()) (void)printEntries(entries);
  }
}

ExitCode checkTag(const char* what, const std::string& word, std::span<const char* const> known) {
  const auto same = [&](const char* tag) { return strcasecmp(tag, word.c_str()) == 0; };
  if (word.empty() || std::any_of(known.begin(), known.end(), same)) return DONE;
  const std::vector<std::string> names(known.begin(), known.end());
  return complain(USAGE, "there is no %s %s%s; nas1 log --help lists them", what, word.c_str(),
                  suggestion(word, names).c_str());
}

ExitCode show() {
  if (const ExitCode fault = checkTag("level", arguments.level, levels); fault != DONE) return fault;
  if (const ExitCode fault = checkTag("category", arguments.category, categories); fault != DONE) return fault;
  LogReader reader;
  if (!readOn(reader)) {
    if (errno == EACCES) return complain(NO_PRIVILEGE, "you may not read %s; run nas1 as root", kLogFile);
    if (errno != ENOENT) return complain(LIBRARY_FAILED, "%s cannot be read: %s", kLogFile, std::strerror(errno));
    tell("nothing has been logged yet");
  }
  const std::vector<Entry> entries = takeEntries(reader);
  const std::size_t wanted = arguments.count == 0 ? entries.size() : static_cast<std::size_t>(arguments.count);
  const ExitCode printed = printEntries(std::span(entries).last(std::min(wanted, entries.size())));
  if (printed == DONE && arguments.follow) follow(reader);
  return printed;
}

std::string listed(std::span<const char* const> tags) {
  std::string text;
  for (const char* const tag : tags) text += (text.empty() ? "" : ", ") + std::string(tag);
  return text;
}

}  // namespace

void registerLog(CLI::App& noun, ExitCode& result) {
  arguments = {};
  noun.add_option("-n", arguments.count, "How many of the last lines; 0 for all")
      ->capture_default_str()
      ->check([](const std::string& text) {
        return text.starts_with('-') ? "a number of lines is 0 or more, not " + text : "";
      });
  noun.add_option("--level", arguments.level, "Only this level: " + listed(levels));
  noun.add_option("--category", arguments.category, "Only this category: " + listed(categories));
  noun.add_flag("--follow,-f", arguments.follow, "Go on printing what is logged");
  addOutputOptions(noun, arguments.output);
  noun.callback([&result] { result = show(); });
}
