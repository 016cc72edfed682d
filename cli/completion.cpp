// nas1 completion: scripts by which a shell completes command lines. They ask the command itself, so they know the
// nouns, verbs, options and objects of the moment.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "accounts.h"
#include "config_keys.h"
#include "nouns.h"
#include "output.h"
#include "shares.h"
#include "volumes.h"

namespace {

using Words = std::vector<std::string>;

struct Arguments {
  std::string shell;
  Words words;
};
Arguments arguments;

// ---- Objects

Words shareNames() {
  Words names;
  for (const Share& share : allShares()) names.push_back(share.name);
  return names;
}

// Of every source, once.
template <typename Item>
Words accountNames(ExitCode (*read)(std::vector<Item>&)) {
  std::vector<Item> items;
  (void)read(items);  // nothing to offer is all that can be done about a failure here
  Words names;
  for (const Item& item : items) names.push_back(nameOf(item));
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

Words userNames() { return accountNames(readUsers); }
Words groupNames() { return accountNames(readGroups); }

Words keyNames() {
  Words names;
  for (const ConfigKey& key : configKeys()) names.emplace_back(key.name);
  return names;
}

Words volumeNames() {
  Words names;
  for (const VolumeInfo& volume : allVolumes(nullptr)) names.push_back(fieldText(volume.name, sizeof volume.name));
  return names;
}

Words moduleNames() {
  const int count = Nas1ModuleList(0, 0, nullptr, 0);
  std::vector<ModuleRecord> modules(static_cast<std::size_t>(std::max(count, 0)));
  const int bytes = static_cast<int>(modules.size() * sizeof(ModuleRecord));
  const int listed = modules.empty() ? 0 : Nas1ModuleList(0, count, modules.data(), bytes);
  Words names;
  for (int i = 0; i < listed; ++i) names.push_back(fieldText(modules[i].description, sizeof modules[i].description));
  return names;
}

// What an argument or the value of an option may be: fixed words, or objects. The first row that fits holds.
struct Values {
  const char* noun;  // null for all
  const char* verb;  // null for all
  const char* name;  // of the argument or option
  const char* fixed;
  Words (*objects)();
};

// clang-format off
constexpr Values valueTable[] = {
    {nullptr,      "add",   "NAME",       "",                                          nullptr},
    {"share",      nullptr, "NAME",       nullptr,                                     shareNames},
    {"user",       nullptr, "NAME",       nullptr,                                     userNames},
    {"group",      nullptr, "NAME",       nullptr,                                     groupNames},
    {"module",     nullptr, "NAME",       nullptr,                                     moduleNames},
    {"config",     nullptr, "KEY",        nullptr,                                     keyNames},
    {"config",     nullptr, "PREFIX",     nullptr,                                     keyNames},
    {"perm",       nullptr, "PROTOCOL",   "local cifs nfs ncp afp",                    nullptr},
    {"perm",       nullptr, "--protocol", "local cifs nfs ncp afp",                    nullptr},
    {"service",    nullptr, "PROTOCOL",   "cifs nfs ncp afp ftp snmp",                 nullptr},
    {"service",    nullptr, "ACTION",     "start stop restart reload",                 nullptr},
    {"account",    nullptr, "KIND",       "users groups",                              nullptr},
    {"account",    nullptr, "PROTOCOL",   "cifs ncp",                                  nullptr},
    {"conn",       nullptr, "PROTOCOL",   "cifs nfs ncp afp",                          nullptr},
    {"log",        nullptr, "--level",    "INFO WARN ERR CRIT ACCESS",                 nullptr},
    {"log",        nullptr, "--category", "KERN HW SW HD NW UPS CIFS NFS NCP AFP DIS", nullptr},
    {"completion", nullptr, "SHELL",      "bash zsh fish",                             nullptr},
    {nullptr,      nullptr, "--source",   "local cifs nfs ncp afp ftp snmp",           nullptr},
    {nullptr,      nullptr, "--group",    nullptr,                                     groupNames},
    {nullptr,      nullptr, "SHARE",      nullptr,                                     shareNames},
    {nullptr,      nullptr, "USER",       nullptr,                                     userNames},
    {nullptr,      nullptr, "VOLUME",     nullptr,                                     volumeNames},
};
// clang-format on

Words split(const std::string& text) {
  Words words;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

Words valuesOf(const std::string& noun, const std::string& verb, const std::string& name) {
  const auto* const row = std::find_if(std::begin(valueTable), std::end(valueTable), [&](const Values& v) {
    return (v.noun == nullptr || noun == v.noun) && (v.verb == nullptr || verb == v.verb) && name == v.name;
  });
  if (row == std::end(valueTable)) return {};
  return row->objects != nullptr ? row->objects() : split(row->fixed);
}

// ---- Command lines

// "NAME" for an argument, "--name" for an option.
std::string nameOf(const CLI::Option& option) { return option.get_name(option.get_positional()); }

const CLI::Option* optionNamed(const CLI::App& app, const std::string& word) {
  return word.size() > 1 && word[0] == '-' ? app.get_option_no_throw(word) : nullptr;
}

Words optionNames(const CLI::App& app) {
  Words names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

// The argument that comes after as many; the last one when it takes any number.
const CLI::Option* argumentAt(const CLI::App& app, std::size_t index) {
  const CLI::Option* last = nullptr;
  for (const CLI::Option* const option : app.get_options()) {
    if (!option->get_positional()) continue;
    if (index-- == 0) return option;
    last = option;
  }
  return last != nullptr && last->get_items_expected_max() > 1 ? last : nullptr;
}

// What may stand in the place of the last of these words, which follow the verb.
Words afterVerb(const std::string& noun, const std::string& verb, const CLI::App& app, const Words& words) {
  if (words.back().starts_with('-')) return optionNames(app);
  std::size_t index = 0;
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    const CLI::Option* const option = optionNamed(app, words[i]);
    const bool takesValue = option != nullptr && option->get_items_expected_max() > 0;
    if (takesValue && i + 2 == words.size()) return valuesOf(noun, verb, nameOf(*option));
    if (takesValue) ++i;
    if (option == nullptr) ++index;
  }
  const CLI::Option* const argument = argumentAt(app, index);
  return argument == nullptr ? Words() : valuesOf(noun, verb, nameOf(*argument));
}

// How many words plan itself takes, with its options and their values.
std::size_t wordsOfPlan(const Words& words) {
  ExitCode ignored = DONE;
  CLI::App plan;
  registerPlan(plan, ignored);
  std::size_t count = 1;
  while (count < words.size() && words[count].starts_with('-')) {
    const CLI::Option* const option = optionNamed(plan, words[count]);
    count += option != nullptr && option->get_items_expected_max() > 0 ? 2 : 1;
  }
  return count;
}

Words candidates(Words words) {
  // The command that is to be planned is one like any other.
  while (words.size() > 1 && words[0] == "plan") {
    const std::size_t own = wordsOfPlan(words);
    if (own >= words.size()) break;
    words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(own));
  }
  Words names;
  if (words.size() < 2) {
    for (const Noun& noun : nouns()) names.emplace_back(noun.name);
    names.insert(names.end(), {"--help", "--version"});
    return names;
  }
  const Noun* const noun = findNoun(words[0]);
  if (noun == nullptr) return {};
  ExitCode ignored = DONE;
  CLI::App app(noun->about, noun->name);
  noun->registerVerbs(app, ignored);
  words.erase(words.begin());
  const auto verbs = app.get_subcommands([](CLI::App* verb) { return !verb->get_name().empty(); });
  if (verbs.empty()) return afterVerb(noun->name, "", app, words);
  if (words.size() == 1) {
    for (const CLI::App* const verb : verbs) names.push_back(verb->get_name());
    names.emplace_back("--help");
    return names;
  }
  const auto verb =
      std::find_if(verbs.begin(), verbs.end(), [&](const CLI::App* v) { return v->get_name() == words[0]; });
  if (verb == verbs.end()) return {};
  words.erase(words.begin());
  return afterVerb(noun->name, (*verb)->get_name(), **verb, words);
}

void printCandidates() {
  const std::string& typed = arguments.words.back();
  for (const std::string& word : candidates(arguments.words)) {
    // A shell reads them by line.
    if (word.starts_with(typed) && visible(word) == word && !word.empty()) (void)std::puts(word.c_str());
  }
}

// ---- Scripts

// File names where nothing else is known.
constexpr char kBash[] = R"(# bash completion for nas1
_nas1() {
  local words=("${COMP_WORDS[@]:1:COMP_CWORD}") word
  words=("${words[@]//[\\\"\']/}")
  COMPREPLY=()
  while IFS= read -r word; do
    printf -v word %q "$word"
    COMPREPLY+=("$word")
  done < <(nas1 completion words -- "${words[@]}" 2>/dev/null)
}
complete -o default -F _nas1 nas1
)";

constexpr char kZsh[] = R"(#compdef nas1
_nas1() {
  local -a candidates
  candidates=("${(@f)$(nas1 completion words -- "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")
  candidates=("${(@)candidates:#}")
  if (( $#candidates )); then compadd -a candidates; else _files; fi
}
# Loaded as a function on its first use it does that function's work; read in, it registers it.
if [[ $funcstack[1] == _nas1 ]]; then _nas1 "$@"; else compdef _nas1 nas1; fi
)";

constexpr char kFish[] = R"(# fish completion for nas1
function __nas1_candidates
    set -l words (commandline -opc)
    set -l found (nas1 completion words -- $words[2..-1] (commandline -ct) 2>/dev/null)
    if test (count $found) -gt 0
        printf '%s\n' $found
    else
        __fish_complete_path (commandline -ct)
    end
end
complete -c nas1 -f -a '(__nas1_candidates)'
)";

struct Shell {
  const char* name;
  const char* script;
};
constexpr Shell shells[] = {{"bash", kBash}, {"zsh", kZsh}, {"fish", kFish}};

ExitCode completion() {
  if (arguments.shell == "words") {
    if (!arguments.words.empty()) printCandidates();
    return DONE;
  }
  const auto* const shell =
      std::find_if(std::begin(shells), std::end(shells), [](const Shell& s) { return arguments.shell == s.name; });
  if (shell == std::end(shells) || !arguments.words.empty()) {
    return complain(USAGE, "say which shell's completion to print: bash, zsh or fish");
  }
  (void)std::fputs(shell->script, stdout);
  return DONE;
}

}  // namespace

void registerCompletion(CLI::App& noun, ExitCode& result) {
  arguments = {};
  noun.add_option("SHELL", arguments.shell, "bash, zsh or fish")->required();
  noun.add_option("WORD", arguments.words, "")->group("");  // the scripts ask with these
  noun.callback([&result] { result = completion(); });
}
