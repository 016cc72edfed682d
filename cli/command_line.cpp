#include "command_line.h"

#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "nouns.h"
#include "suggest.h"

namespace {

void printOverview(std::FILE* stream) {
  (void)std::fputs("nas1 manages this network-attached storage appliance.\nUsage: nas1 NOUN VERB [ARGUMENT...]\n\n",
                   stream);
  for (const Noun& noun : nouns()) (void)std::fprintf(stream, "  %-10s %s\n", noun.name, noun.about);
  (void)std::fputs("\nnas1 NOUN --help lists the verbs of a noun.\n\nExit codes:\n", stream);
  for (int code = 0; code < EXIT_CODE_COUNT; ++code) (void)std::fprintf(stream, "  %d  %s\n", code, exitMeanings[code]);
}

ExitCode printVersion() {
  int major = 0;
  int minor = 0;
  (void)Nas1ApiVersion(&major, &minor);
  (void)std::printf("nas1, API version %d.%d\n", major, minor);
  return DONE;
}

std::vector<std::string> nounNames() {
  std::vector<std::string> names;
  for (const Noun& noun : nouns()) names.emplace_back(noun.name);
  return names;
}

std::vector<std::string> verbNames(const CLI::App& noun) {
  std::vector<std::string> names;
  for (const CLI::App* const verb : noun.get_subcommands({})) names.push_back(verb->get_name());
  return names;
}

// The nearest option to the first one that a verb does not have.
std::string optionSuggestion(const CLI::App& verb, const std::vector<std::string>& words) {
  std::vector<std::string> known;
  for (const CLI::Option* const option : verb.get_options()) {
    for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
  }
  for (const std::string& word : words) {
    const std::string name = word.substr(0, word.find('='));
    if (name == "--") break;
    if (name.starts_with("--") && std::find(known.begin(), known.end(), name) == known.end())
      return suggestion(name, known);
  }
  return "";
}

bool isExtra(const CLI::ParseError& error) {
  return error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
}

// The parser itself names what it did not expect backwards.
std::string reason(const CLI::App& noun, const CLI::ParseError& error) {
  if (!isExtra(error)) return error.what();
  std::string words;
  for (const std::string& word : noun.remaining(true)) words += " " + word;
  return "not expected:" + words;
}

// What helps, beyond what was not understood.
std::string advice(const CLI::App& noun, const CLI::ParseError& error, const std::vector<std::string>& words) {
  const auto given = [&](const char* option) { return std::find(words.begin(), words.end(), option) != words.end(); };
  if (isExtra(error) && (given("--json") || given("--plain")))
    return "; this verb prints no data, so it has no --json or --plain";
  const auto chosen = noun.get_subcommands();
  return optionSuggestion(chosen.empty() ? noun : *chosen[0], words) + "; nas1 " + noun.get_name() +
         (chosen.empty() ? "" : " " + chosen[0]->get_name()) + " --help shows its use";
}

enum class How { run, checkOnly };

// Scripts for shells are anybody's; everything else reads or changes what is root's.
bool mayRun(const Noun& noun) { return geteuid() == 0 || std::string(noun.name) == "completion"; }

// Parsing still reads every argument, but nothing comes of it.
void forgetCallbacks(CLI::App& app) {
  app.callback({});
  for (CLI::App* const verb : app.get_subcommands({})) verb->callback({});
}

ExitCode runNoun(const Noun& noun, std::vector<std::string> words, How how) {
  ExitCode result = DONE;
  CLI::App app(noun.about, noun.name);
  noun.registerVerbs(app, result);
  const bool isRun = how == How::run && mayRun(noun);
  if (!isRun) forgetCallbacks(app);
  app.footer("nas1 --help explains the exit codes.");

  const std::vector<std::string> verbs = verbNames(app);
  if (!verbs.empty() && words.empty()) {
    if (how == How::run) (void)std::fputs(app.help("nas1").c_str(), stderr);
    return how == How::run ? USAGE
                           : complain(USAGE, "%s needs a verb; nas1 %s --help lists them", noun.name, noun.name);
  }
  const auto isGiven = [&](const char* word) { return words[0] == word; };
  const bool isVerb = verbs.empty() || isGiven("--help") || isGiven("-h") ||
                      std::find(verbs.begin(), verbs.end(), words[0]) != verbs.end();
  if (!isVerb && words[0].starts_with('-')) {
    return complain(USAGE, "%s needs a verb before %s%s; nas1 %s --help lists them", noun.name, words[0].c_str(),
                    suggestion(words[0], {"--help"}).c_str(), noun.name);
  }
  if (!isVerb) {
    return complain(USAGE, "%s has no verb %s%s; nas1 %s --help lists its verbs", noun.name, words[0].c_str(),
                    suggestion(words[0], verbs).c_str(), noun.name);
  }
  try {
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    if (how == How::run) (void)std::fputs(app.help("nas1").c_str(), stdout);
    return DONE;
  } catch (const CLI::ParseError& error) {
    return complain(USAGE, "%s%s", reason(app, error).c_str(), advice(app, error, words).c_str());
  }
  if (how == How::run && !isRun) return complain(NO_PRIVILEGE, "only root can manage the appliance; run nas1 as root");
  return result;
}

const Noun* nounOf(const std::vector<std::string>& words) {
  const Noun* const noun = findNoun(words[0]);
  if (noun != nullptr) return noun;
  const bool isOption = words[0].starts_with('-');
  const std::string nearest =
      suggestion(words[0], isOption ? std::vector<std::string>{"--help", "--version"} : nounNames());
  (void)complain(USAGE,
                 isOption ? "nas1 itself has no option %s%s; nas1 --help shows its use"
                          : "there is no noun %s%s; nas1 --help lists them",
                 words[0].c_str(), nearest.c_str());
  return noun;
}

ExitCode runWords(const Noun* noun, const std::vector<std::string>& words, How how) {
  return noun == nullptr ? USAGE : runNoun(*noun, {words.begin() + 1, words.end()}, how);
}

}  // namespace

ExitCode checkCommandLine(const std::vector<std::string>& words) {
  return runWords(nounOf(words), words, How::checkOnly);
}

ExitCode runCommandLine(const std::vector<std::string>& words) {
  if (words.empty()) {
    printOverview(stderr);
    return USAGE;
  }
  if (words[0] == "--help" || words[0] == "-h") {
    printOverview(stdout);
    return DONE;
  }
  if (words[0] == "--version") return printVersion();
  return runWords(nounOf(words), words, How::run);
}
