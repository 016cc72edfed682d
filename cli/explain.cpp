// nas1 perm explain: what decides what a user may do on a share. Computed from the lists: the library's own check would
// make AppleTalk users known in passing.

#include "explain.h"

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "accounts.h"
#include "output.h"
#include "permission_lists.h"
#include "record_files.h"
#include "shares.h"

namespace {

struct Arguments {
  std::string user;
  std::string share;
  std::optional<std::string> protocol;
  std::vector<std::string> groups;
  Output output;
};
Arguments arguments;

constexpr int kNoAccess = -1;

bool isNamed(const PermittedItem& entry, const std::string& name) {
  return NasStrCaseCmp(nameOf(entry).c_str(), name.c_str()) == 0;
}

bool matches(const PermittedItem& entry, const std::vector<std::string>& groups) {
  if (isUser(entry)) return isNamed(entry, arguments.user);
  return std::any_of(groups.begin(), groups.end(), [&](const std::string& group) { return isNamed(entry, group); });
}

std::string enumerated(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::string whyNone(std::size_t entries, std::size_t matching, const std::vector<std::string>& groups) {
  if (entries == 0) return "the share has no entries here";
  if (matching > 0) return "its entries give no rights";
  std::string why = "none of " + std::to_string(entries) + (entries == 1 ? " entry" : " entries") + " is for the user";
  return why + (groups.empty() ? ", which is in no known group" : " or its groups " + enumerated(groups));
}

std::string whyThis(const PermittedItem& entry, std::size_t matching) {
  const std::string whose = isUser(entry) ? "the user's own entry" : "the entry of a group of the user";
  return matching == 1 ? whose : whose + ", the highest of " + std::to_string(matching);
}

std::vector<Cell> explained(const Protocol& protocol) {
  const std::vector<std::string> groups =
      arguments.groups.empty() ? groupsOf(protocol.number, arguments.user) : arguments.groups;
  const std::vector<PermittedItem> entries = readPermissions(arguments.share, protocol);
  const PermittedItem* decisive = nullptr;
  std::size_t matching = 0;
  for (const PermittedItem& entry : entries) {
    if (!matches(entry, groups)) continue;
    ++matching;
    if (entry.rights > (decisive == nullptr ? kNoAccess : decisive->rights)) decisive = &entry;
  }
  if (decisive == nullptr) {
    return {protocol.name, static_cast<long long>(kNoAccess), {}, {}, whyNone(entries.size(), matching, groups)};
  }
  return {protocol.name, static_cast<long long>(decisive->rights), kindOf(*decisive), nameOf(*decisive),
          whyThis(*decisive, matching)};
}

ExitCode explain() {
  const Protocol* only = nullptr;
  if (arguments.protocol) {
    const ExitCode fault = findProtocol(permissionProtocols, "a list of permissions", *arguments.protocol, only);
    if (fault != DONE) return fault;
  }
  if (!findShare(arguments.share)) return noSuchShare(arguments.share);
  if (const ExitCode fault = checkAccountFiles(); fault != DONE) return fault;
  Listing listing = {"permissions", {"protocol", "rights", "type", "name", "reason"}, {}};
  for (const Protocol& protocol : permissionProtocols) {
    if (only != nullptr && only != &protocol) continue;
    if (const ExitCode fault = checkRecordFile(permissionFile(protocol), Use::read); fault != DONE) return fault;
    listing.rows.push_back(explained(protocol));
  }
  return printListing(arguments.output, listing);
}

}  // namespace

void registerExplain(CLI::App& perm, ExitCode& result) {
  arguments = {};
  CLI::App* const verb =
      perm.add_subcommand("explain", "Tell what gives a user its rights on a share, or why it has none");
  verb->callback([&result] { result = explain(); });
  verb->add_option("USER", arguments.user, "Name of the user")->required();
  verb->add_option("SHARE", arguments.share, "Name of the share")->required();
  verb->add_option("PROTOCOL", arguments.protocol, "local, cifs, nfs, ncp or afp; all of them without it");
  verb->add_option("--group", arguments.groups, "A group of the user, in place of those that it is known to be in")
      ->expected(1);
  addOutputOptions(*verb, arguments.output);
}
