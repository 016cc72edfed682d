// nas1 perm: who may do what on a share. Each protocol has a list of its own for every share.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "accounts.h"
#include "calls.h"
#include "explain.h"
#include "nouns.h"
#include "output.h"
#include "permission_lists.h"
#include "record_files.h"
#include "safe_values.h"
#include "shares.h"

namespace {

struct Arguments {
  std::string share;
  std::string user;
  std::optional<std::string> protocol;
  std::vector<std::string> entries;
  std::vector<std::string> groups;
  bool only = false;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

constexpr int kNoAccess = -1;

using Entries = std::vector<PermittedItem>;

// ---- Entries

bool isSame(const PermittedItem& a, const PermittedItem& b) { return isSameAccount(a, b) && a.rights == b.rights; }

// The order means nothing.
bool areSame(const Entries& a, const Entries& b) {
  return std::is_permutation(a.begin(), a.end(), b.begin(), b.end(), isSame);
}

PermittedItem* findEntry(Entries& entries, const PermittedItem& account) {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const PermittedItem& e) { return isSameAccount(e, account); });
  return found == entries.end() ? nullptr : &*found;
}

ExitCode checkAccountName(const std::string& name) {
  if (name.empty()) return complain(USAGE, "the name of an account is missing");
  if (Nas1CheckLength(name.c_str(), NAS_NAME_SIZE) != 0) {
    return complain(USAGE, "the name %s has %zu characters; it may have %d", name.c_str(), name.size(),
                    NAS_NAME_SIZE - 1);
  }
  return checkSafe(Field::freeText, "name", name, arguments.allowUnsafe);
}

ExitCode parseRights(const std::string& digits, int& rights) {
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, rights);
  if (error == std::errc() && end == last && rights >= kNoAccess) return DONE;
  return complain(USAGE, "rights are a number from -1 (none) up, not %s", digits.c_str());
}

enum class Rights { given, leftOut };

// Takes "user:NAME=RIGHTS" apart; without "=RIGHTS" where they are left out.
ExitCode parseEntry(const std::string& word, Rights rights, PermittedItem& item) {
  const char* const form = rights == Rights::given ? "=RIGHTS" : "";
  const std::size_t colon = word.find(':');
  const std::size_t equals = rights == Rights::given ? word.rfind('=') : word.size();
  const std::string kind = word.substr(0, colon);
  const bool wellFormed = (kind == "user" || kind == "group") && colon != std::string::npos &&
                          equals != std::string::npos && equals > colon;
  if (!wellFormed) {
    return complain(USAGE, "%s is no entry: write user:NAME%s or group:NAME%s", word.c_str(), form, form);
  }
  const std::string name = word.substr(colon + 1, equals - colon - 1);
  if (const ExitCode fault = checkAccountName(name); fault != DONE) return fault;
  int level = kNoAccess;
  if (rights == Rights::given) {
    if (const ExitCode fault = parseRights(word.substr(equals + 1), level); fault != DONE) return fault;
  }
  item = {kind == "user" ? PERMITTED_USER : PERMITTED_GROUP, level, {}};
  std::memcpy(item.name, name.data(), name.size());
  return DONE;
}

ExitCode parseEntries(Rights rights, Entries& entries) {
  for (const std::string& word : arguments.entries) {
    PermittedItem item;
    if (const ExitCode fault = parseEntry(word, rights, item); fault != DONE) return fault;
    if (findEntry(entries, item) != nullptr) {
      return complain(USAGE, "the %s %s is named twice", kindOf(item), nameOf(item).c_str());
    }
    entries.push_back(item);
  }
  return DONE;
}

// ---- Lists

// The list that a verb is about.
struct List {
  const char* share;
  const Protocol* protocol;

  const char* file() const { return permissionFile(*protocol); }
  Entries read() const { return readPermissions(share, *protocol); }
};

ExitCode chooseProtocol(const char* fallback, const Protocol*& protocol) {
  return findProtocol(permissionProtocols, "a list of permissions", arguments.protocol.value_or(fallback), protocol);
}

// Finds the list that the arguments name. A file that cannot be read would look like one without entries.
ExitCode openList(Use use, List& list) {
  if (const ExitCode fault = chooseProtocol("local", list.protocol); fault != DONE) return fault;
  list.share = arguments.share.c_str();
  if (!findShare(arguments.share)) return noSuchShare(arguments.share);
  return checkRecordFile(list.file(), use);
}

ExitCode explainChange(const List& list, const PermittedItem& entry, const char* done) {
  const std::string what =
      std::string("the entry of the ") + kindOf(entry) + " " + nameOf(entry) + " could not be " + done;
  return explainFailure(list.file(), Use::change, what.c_str());
}

// ---- Verbs

ExitCode add() {
  List list;
  Entries added;
  if (const ExitCode fault = parseEntries(Rights::given, added); fault != DONE) return fault;
  if (const ExitCode fault = openList(Use::change, list); fault != DONE) return fault;
  Entries present = list.read();
  for (const PermittedItem& entry : added) {
    if (findEntry(present, entry) == nullptr) continue;
    return complain(REFUSED, "the %s %s has an entry already; nas1 perm set changes it", kindOf(entry),
                    nameOf(entry).c_str());
  }
  for (const PermittedItem& entry : added) {
    if (isOnlyShown("Nas1AddPermittedItem", {list.share, list.protocol->number, describedArgument(describe(entry))}))
      continue;
    if (Nas1AddPermittedItem(list.share, list.protocol->number, &entry) != 0)
      return explainChange(list, entry, "added");
  }
  return DONE;
}

ExitCode del() {
  List list;
  Entries deleted;
  if (const ExitCode fault = parseEntries(Rights::leftOut, deleted); fault != DONE) return fault;
  if (const ExitCode fault = openList(Use::change, list); fault != DONE) return fault;
  Entries present = list.read();
  for (PermittedItem& entry : deleted) {
    const PermittedItem* const found = findEntry(present, entry);
    if (found == nullptr) {
      return complain(UNKNOWN_OBJECT, "the %s %s has no entry in the %s list of %s; nas1 perm list shows them",
                      kindOf(entry), nameOf(entry).c_str(), list.protocol->name, list.share);
    }
    entry.type = found->type;
  }
  for (const PermittedItem& entry : deleted) {
    if (isOnlyShown("Nas1DelPermittedItemEx", {list.share, list.protocol->number, nameOf(entry), entry.type})) continue;
    if (Nas1DelPermittedItemEx(list.share, list.protocol->number, nameOf(entry).c_str(), entry.type) != 0)
      return explainChange(list, entry, "deleted");
  }
  return DONE;
}

// The list as it stands with the rights of some accounts changed or added.
Entries withChanges(Entries entries, const Entries& changes) {
  for (const PermittedItem& change : changes) {
    PermittedItem* const found = findEntry(entries, change);
    if (found != nullptr) {
      found->rights = change.rights;
    } else {
      entries.push_back(change);
    }
  }
  return entries;
}

ExitCode set() {
  List list;
  Entries given;
  if (!arguments.only && arguments.entries.empty())
    return complain(USAGE, "nothing to change: name an entry, or empty the list with --only");
  if (const ExitCode fault = parseEntries(Rights::given, given); fault != DONE) return fault;
  if (const ExitCode fault = openList(Use::change, list); fault != DONE) return fault;
  const Entries present = list.read();
  const Entries wanted = arguments.only ? given : withChanges(present, given);
  if (areSame(wanted, present)) return unchanged();
  return storePermissions(list.share, *list.protocol, wanted);
}

void addRows(const List& list, Listing& listing) {
  for (const PermittedItem& entry : list.read()) {
    listing.rows.push_back(
        {list.share, list.protocol->name, kindOf(entry), nameOf(entry), static_cast<long long>(entry.rights)});
  }
}

ExitCode list() {
  const Protocol* only = nullptr;
  if (arguments.protocol) {
    if (const ExitCode fault = chooseProtocol("", only); fault != DONE) return fault;
  }
  std::vector<Share> shares;
  if (arguments.share.empty()) {
    if (const ExitCode fault = checkRecordFile(kShareFile, Use::read); fault != DONE) return fault;
    shares = allShares();
  } else if (const std::optional<Share> share = findShare(arguments.share)) {
    shares = {*share};
  } else {
    return noSuchShare(arguments.share);
  }

  Listing listing = {"permissions", {"share", "protocol", "type", "name", "rights"}, {}};
  for (const Protocol& protocol : permissionProtocols) {
    if (only != nullptr && only != &protocol) continue;
    if (const ExitCode fault = checkRecordFile(permissionFile(protocol), Use::read); fault != DONE) return fault;
  }
  for (const Share& share : shares) {
    for (const Protocol& protocol : permissionProtocols) {
      if (only == nullptr || only == &protocol) addRows({share.name.c_str(), &protocol}, listing);
    }
  }
  return printListing(arguments.output, listing);
}

ExitCode check() {
  List list;
  if (const ExitCode fault = checkAccountName(arguments.user); fault != DONE) return fault;
  for (const std::string& group : arguments.groups) {
    if (const ExitCode fault = checkAccountName(group); fault != DONE) return fault;
  }
  if (const ExitCode fault = openList(Use::read, list); fault != DONE) return fault;
  if (const ExitCode fault = checkAccountFiles(); fault != DONE) return fault;
  const int protocol = list.protocol->number;
  const std::vector<std::string> groups =
      arguments.groups.empty() ? groupsOf(protocol, arguments.user) : arguments.groups;
  std::vector<const char*> names;
  names.reserve(groups.size() + 1);
  for (const std::string& group : groups) names.push_back(group.c_str());
  names.push_back(nullptr);

  // To AppleTalk whoever is asked about becomes known.
  if (protocol == PROTO_AFP && isOnlyShown("Nas1CheckPermission", {arguments.share, protocol, arguments.user}))
    return DONE;
  const long long rights = Nas1CheckPermission(list.share, protocol, arguments.user.c_str(), names.data());
  if (!arguments.output.json && arguments.output.field.empty()) {
    printBare(rights);
    return DONE;
  }
  return printObject(
      arguments.output, "permission",
      {{"user", arguments.user}, {"share", arguments.share}, {"protocol", list.protocol->name}, {"rights", rights}});
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

void addProtocolOption(CLI::App& verb, const char* fallback) {
  verb.add_option("--protocol", arguments.protocol, std::string("local, cifs, nfs, ncp or afp; ") + fallback);
}

CLI::App* addChangingVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, const char* form,
                          ExitCode (*run)()) {
  CLI::App* const verb = addVerb(noun, result, name, about, run);
  verb->add_option("SHARE", arguments.share, "Name of the share")->required();
  verb->add_option("ENTRY", arguments.entries, form);
  addProtocolOption(*verb, "local without it");
  addDryRunOption(*verb);
  return verb;
}

void addUnsafeOption(CLI::App& verb) {
  verb.add_flag("--allow-unsafe", arguments.allowUnsafe, "Allow control characters in a name");
}

}  // namespace

void registerPerm(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const listVerb = addVerb(noun, result, "list", "Print who may do what", list);
  listVerb->add_option("SHARE", arguments.share, "Name of the share; all of them without it");
  addProtocolOption(*listVerb, "all of them without it");
  addOutputOptions(*listVerb, arguments.output);

  constexpr char kEntryWithRights[] = "user:NAME=RIGHTS or group:NAME=RIGHTS";
  CLI::App* const addEntries =
      addChangingVerb(noun, result, "add", "Give accounts rights on a share", kEntryWithRights, add);
  addEntries->get_option("ENTRY")->required();
  addUnsafeOption(*addEntries);

  CLI::App* const delEntries =
      addChangingVerb(noun, result, "del", "Take accounts off a share's list", "user:NAME or group:NAME", del);
  delEntries->get_option("ENTRY")->required();
  addUnsafeOption(*delEntries);

  CLI::App* const setEntries =
      addChangingVerb(noun, result, "set", "Change the rights of accounts, or replace the list", kEntryWithRights, set);
  setEntries->add_flag("--only", arguments.only, "Take all others off the list");
  addUnsafeOption(*setEntries);

  CLI::App* const checkVerb =
      addVerb(noun, result, "check",
              "Print the rights that a user has on a share; for afp this may add accounts and entries", check);
  checkVerb->add_option("USER", arguments.user, "Name of the user")->required();
  checkVerb->add_option("SHARE", arguments.share, "Name of the share")->required();
  checkVerb->add_option("--group", arguments.groups, "A group of the user, in place of those that it is known to be in")
      ->allow_extra_args(false);
  addProtocolOption(*checkVerb, "local without it");
  addUnsafeOption(*checkVerb);
  addOutputOptions(*checkVerb, arguments.output);

  registerExplain(noun, result);
}
