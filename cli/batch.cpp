// nas1 batch: many commands at once. The daemons rebuild what they serve once, at the end.

#include <fcntl.h>
#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "calls.h"
#include "code_page.h"
#include "command_line.h"
#include "complaint_place.h"
#include "input.h"
#include "interruption.h"
#include "nouns.h"
#include "progress.h"
#include "words.h"

namespace {

struct Arguments {
  std::string file;
  bool keepGoing = false;
};
Arguments arguments;

// A command and the line that it stands on, from 1.
struct Command {
  std::size_t line = 0;
  std::string text;
};

// They would carry out commands of their own, or print what is no command's result.
constexpr const char* refusedNouns[] = {"batch", "plan", "completion"};

std::string placeOf(const Command& command) { return "line " + std::to_string(command.line) + ": "; }

std::vector<Command> commandsIn(const std::string& content) {
  std::vector<Command> commands;
  std::size_t line = 0;
  for (std::size_t at = 0; at < content.size(); ++at) {
    const std::size_t end = std::min(content.find('\n', at), content.size());
    Command command = {++line, content.substr(at, end - at)};
    const std::size_t first = command.text.find_first_not_of(" \t\r");
    if (first != std::string::npos && command.text[first] != '#') commands.push_back(std::move(command));
    at = end;
  }
  return commands;
}

ExitCode wordsOf(const Command& command, std::vector<std::string>& words) {
  if (command.text.find('\0') != std::string::npos) return complain(UNSAFE_VALUE, "the line holds a NUL character");
  if (!splitWords(command.text, words))
    return complain(USAGE, "a quote is not closed, or nothing stands behind the backslash at the end");
  if (std::find(std::begin(refusedNouns), std::end(refusedNouns), words[0]) != std::end(refusedNouns))
    return complain(USAGE, "nas1 %s cannot be part of a batch", words[0].c_str());
  if (words[0] == "log" && std::find(words.begin(), words.end(), "--follow") != words.end())
    return complain(USAGE, "nas1 log --follow never ends, and so cannot be part of a batch");
  return DONE;
}

// A mistyped line is found before anything is done.
ExitCode checkAll(const std::vector<Command>& commands) {
  ExitCode result = DONE;
  for (const Command& command : commands) {
    std::vector<std::string> words;
    sayWhere(placeOf(command));
    result = wordsOf(command, words);
    if (result == DONE && !words[0].starts_with('-')) result = checkCommandLine(words);
    if (result != DONE) break;
  }
  sayWhere("");
  return result;
}

ExitCode carryOut(const Command& command, bool dry) {
  std::vector<std::string> words;
  sayWhere(placeOf(command));
  ExitCode result = wordsOf(command, words);
  if (result == DONE) {
    // None of them is to feel what the one before was told or has changed.
    setDryRun(dry);
    useCodePage(0);
    if (!dry) (void)EnableNas1ShareBatch(1);
    result = runCommandLine(words);
  }
  sayWhere("");
  return result;
}

ExitCode carryOutAll(const std::vector<Command>& commands, bool dry) {
  const Interruption interruption;
  Progress progress("command", commands.size());
  ExitCode result = DONE;
  std::size_t done = 0;
  for (const Command& command : commands) {
    progress.show(done);
    const ExitCode fault = carryOut(command, dry);
    if (result == DONE) result = fault;
    if (fault != DONE && !arguments.keepGoing) {
      tell("the batch ended there; of its %zu commands %zu were carried out before", commands.size(), done);
      break;
    }
    ++done;
    if (done == commands.size() || !interruption.hasCome()) continue;
    result = complain(LIBRARY_FAILED, "interrupted behind line %zu; of %zu commands %zu were carried out", command.line,
                      commands.size(), done);
    break;
  }
  setDryRun(dry);
  return result;
}

// What the commands read is what they name, not the rest of the batch.
void closeInput() {
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (nothing >= 0) (void)dup2(nothing, STDIN_FILENO);
  if (nothing > STDIN_FILENO) (void)close(nothing);
}

ExitCode batch() {
  std::string content;
  const bool dry = isDryRun();
  if (const ExitCode fault = readInput(arguments.file, content); fault != DONE) return fault;
  const std::vector<Command> commands = commandsIn(content);
  if (!arguments.keepGoing) {
    if (const ExitCode fault = checkAll(commands); fault != DONE) return fault;
  }
  closeInput();
  const ExitCode result = carryOutAll(commands, dry);
  // Whatever became of the commands: the daemons learn of what was changed.
  if (!dry) (void)EnableNas1ShareBatch(0);
  return result;
}

}  // namespace

void registerBatch(CLI::App& noun, ExitCode& result) {
  arguments = {};
  noun.add_option("FILE", arguments.file, "The commands, one a line without nas1; - for standard input")->required();
  noun.add_flag("--keep-going", arguments.keepGoing, "Go on behind a command that fails");
  addDryRunOption(noun);
  noun.callback([&result] { result = batch(); });
}
