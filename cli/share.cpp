// nas1 share: the shares of the appliance.

#include <nas1api.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <optional>
#include <string>

#include "calls.h"
#include "confirm.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "secret.h"
#include "shares.h"

namespace {

struct Arguments {
  std::string name;
  std::optional<std::string> path;
  std::optional<std::string> comment;
  std::string file;
  bool readOnly = false;
  bool readWrite = false;
  bool yes = false;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

constexpr std::size_t kPasswordLength = NAS_NAME_SIZE - 1;
enum { READ_ONLY_PASSWORD = 0, READ_WRITE_PASSWORD = 1 };

ExitCode checkPath(Field field, const std::string& path) {
  if (!path.starts_with('/')) return complain(USAGE, "the path %s does not begin with /", path.c_str());
  return checkSafe(field, "path", path, arguments.allowUnsafe);
}

ExitCode checkNewPath(const std::string& path) {
  const ExitCode fault = checkPath(Field::sharePath, path);
  return fault != DONE ? fault : checkWayTo(path);
}

ExitCode checkComment(const std::string& comment) {
  if (Nas1CheckLength(comment.c_str(), NAS_COMMENT_SIZE) != 0) {
    return complain(USAGE, "the comment has %zu characters; it may have %d", comment.size(), NAS_COMMENT_SIZE - 1);
  }
  return checkSafe(Field::shareComment, "comment", comment, arguments.allowUnsafe);
}

ExitCode checkName(std::string& name) {
  // As the library does, which ends the process for a name of blanks.
  Nas1Remove_ht_space(name.data());
  name.resize(std::strlen(name.c_str()));
  if (name.empty()) return complain(USAGE, "the name of the share is empty");
  if (Nas1CheckLength(name.c_str(), NAS_NAME_SIZE) != 0) {
    return complain(USAGE, "the name has %zu characters; it may have %d", name.size(), NAS_NAME_SIZE - 1);
  }
  return checkSafe(Field::shareName, "name", name, arguments.allowUnsafe);
}

// Every change of a share makes the exports anew, from the hosts of all shares: where those cannot be read, shares
// would be open to everybody.
ExitCode checkHosts() { return checkRecordFile(kShareNfsFile, Use::change); }

ExitCode add() {
  const std::string comment = arguments.comment.value_or("");
  if (const ExitCode fault = checkName(arguments.name); fault != DONE) return fault;
  if (const ExitCode fault = checkNewPath(*arguments.path); fault != DONE) return fault;
  if (const ExitCode fault = checkComment(comment); fault != DONE) return fault;
  if (Nas1GetShareInfoSize(arguments.name.c_str()) >= 0) {
    return complain(REFUSED, "there is a share %s already; nas1 share mod changes it", arguments.name.c_str());
  }
  if (const ExitCode fault = checkNamesake(arguments.name, arguments.allowUnsafe); fault != DONE) return fault;
  if (const ExitCode fault = checkHosts(); fault != DONE) return fault;
  if (isOnlyShown("Nas1ShareAdd", {arguments.name, comment, *arguments.path})) return DONE;
  if (Nas1ShareAdd(arguments.name.data(), comment.c_str(), arguments.path->c_str()) != 0) {
    return explainFailure(kShareFile, Use::change, "the share could not be added");
  }
  return checkFolderOf(arguments.name, *arguments.path);
}

bool folderIsKept() {
  int reserved = 0;
  return NasGetConfig("RESERVE_SHARE_PATH", sizeof reserved, &reserved, nullptr) >= 0 && reserved == 1;
}

ExitCode del() {
  const std::optional<Share> share = findShare(arguments.name);
  if (!share) return noSuchShare(arguments.name);
  // The folder would go even if the record could not: look first whether it can.
  if (const ExitCode fault = checkRecordFile(kShareFile, Use::change); fault != DONE) return fault;
  if (const ExitCode fault = checkHosts(); fault != DONE) return fault;
  const bool kept = folderIsKept();
  const char* const path = share->path.c_str();
  if (!kept) {
    if (const ExitCode fault = checkPath(Field::removedFolder, share->path); fault != DONE) return fault;
  }
  tell(kept ? "the share %s goes; its folder %s stays" : "the share %s goes, and its folder %s with all that is in it",
       share->name.c_str(), path);
  if (!isConfirmed(arguments.yes)) return complain(REFUSED, "nothing was changed");
  if (isOnlyShown("Nas1ShareDel", {arguments.name})) return DONE;
  if (Nas1ShareDel(arguments.name.c_str()) != 0) {
    return explainFailure(kShareFile, Use::change, "the share could not be deleted");
  }
  tellOfLeftExports();
  if (!kept && access(path, F_OK) == 0)
    return complain(LIBRARY_FAILED, "the share is gone, but its folder %s is still there", path);
  return DONE;
}

ExitCode mod() {
  if (!arguments.path && !arguments.comment)
    return complain(USAGE, "nothing to change: give --comment, --path or both");
  const std::optional<Share> share = findShare(arguments.name);
  if (!share) return noSuchShare(arguments.name);
  // What stays as it is was checked when it was set.
  if (arguments.path) {
    if (const ExitCode fault = checkNewPath(*arguments.path); fault != DONE) return fault;
  }
  if (arguments.comment) {
    if (const ExitCode fault = checkComment(*arguments.comment); fault != DONE) return fault;
  }
  const std::string comment = arguments.comment.value_or(share->comment);
  const std::string path = arguments.path.value_or(share->path);
  if (comment == share->comment && path == share->path) return unchanged();
  if (const ExitCode fault = checkHosts(); fault != DONE) return fault;
  if (isOnlyShown("Nas1ShareMod", {arguments.name, comment, path})) return DONE;
  if (Nas1ShareMod(arguments.name.c_str(), comment.c_str(), path.c_str()) != 0) {
    return explainFailure(kShareFile, Use::change, "the share could not be changed");
  }
  if (path == share->path) return DONE;
  tell("the old folder %s stays as it is", share->path.c_str());
  return checkFolderOf(share->name, path);
}

ExitCode list() {
  // A file that cannot be opened lists like an empty one.
  if (const ExitCode fault = checkRecordFile(kShareFile, Use::read); fault != DONE) return fault;
  Listing listing = {"shares", {"name", "comment", "path"}, {}};
  for (const Share& share : allShares()) listing.rows.push_back({share.name, share.comment, share.path});
  return printListing(arguments.output, listing);
}

bool readPassword(const std::string& name, int which, std::string& password) {
  char text[NAS_NAME_SIZE + 1] = {};
  if (Nas1ShareGetPassword(name.c_str(), which, text) != 0) return false;
  password = text;
  return true;
}

ExitCode show() {
  const std::optional<Share> share = findShare(arguments.name);
  if (!share) return noSuchShare(arguments.name);
  std::string readOnly;
  std::string readWrite;
  int isHome = 0;
  const bool read = readPassword(share->name, READ_ONLY_PASSWORD, readOnly) &&
                    readPassword(share->name, READ_WRITE_PASSWORD, readWrite) &&
                    NasShareGetConfig(share->name.c_str(), "is_home", sizeof isHome, &isHome, nullptr) == 0;
  if (!read) return explainFailure(kShareFile, Use::read, "the settings of the share could not be read");
  return printObject(arguments.output, "share",
                     {{"name", share->name},
                      {"comment", share->comment},
                      {"path", share->path},
                      {"home", isHome != 0},
                      {"read_only_password", secretCell(arguments.output, readOnly)},
                      {"read_write_password", secretCell(arguments.output, readWrite)}});
}

ExitCode passwd() {
  if (arguments.readOnly == arguments.readWrite)
    return complain(USAGE, "say which password: --read-only or --read-write");
  if (!findShare(arguments.name)) return noSuchShare(arguments.name);
  std::string password;
  const char* const what = arguments.readWrite ? "read-write password" : "read-only password";
  if (const ExitCode fault = readSecret(what, arguments.file, kPasswordLength, password); fault != DONE) return fault;
  if (const ExitCode fault = checkSafe(Field::freeText, what, password, arguments.allowUnsafe); fault != DONE)
    return fault;
  const int which = arguments.readWrite ? READ_WRITE_PASSWORD : READ_ONLY_PASSWORD;
  std::string present;
  if (readPassword(arguments.name, which, present) && present == password) return unchanged();
  if (isOnlyShown("Nas1ShareSetPassword", {arguments.name, which, maskedArgument()})) return DONE;
  if (Nas1ShareSetPassword(arguments.name.c_str(), which, password.c_str()) != 0) {
    return explainFailure(kShareFile, Use::change, "the password could not be set");
  }
  return DONE;
}

CLI::App* addVerb(CLI::App& noun, ExitCode& result, const char* name, const char* about, ExitCode (*run)()) {
  CLI::App* const verb = noun.add_subcommand(name, about);
  verb->callback([&result, run] { result = run(); });
  return verb;
}

void addNameArgument(CLI::App& verb) { verb.add_option("NAME", arguments.name, "Name of the share")->required(); }

void addUnsafeOption(CLI::App& verb) {
  verb.add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a value on that a shell or daemon may misread");
}

}  // namespace

void registerShare(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const addShare = addVerb(noun, result, "add", "Add a share and make its folder", add);
  addNameArgument(*addShare);
  addShare->add_option("PATH", arguments.path, "Its folder")->required();
  addShare->add_option("--comment", arguments.comment, "What it is for");
  addUnsafeOption(*addShare);
  addDryRunOption(*addShare);

  CLI::App* const delShare =
      addVerb(noun, result, "del", "Delete a share and, unless RESERVE_SHARE_PATH is 1, its folder", del);
  addNameArgument(*delShare);
  delShare->add_flag("--yes", arguments.yes, "Do not ask");
  delShare->add_flag("--allow-unsafe", arguments.allowUnsafe, "Remove the folder wherever it is");
  addDryRunOption(*delShare);

  CLI::App* const modShare = addVerb(noun, result, "mod", "Change a share's comment or folder", mod);
  addNameArgument(*modShare);
  modShare->add_option("--comment", arguments.comment, "New comment");
  modShare->add_option("--path", arguments.path, "New folder; the old one stays as it is");
  addUnsafeOption(*modShare);
  addDryRunOption(*modShare);

  addOutputOptions(*addVerb(noun, result, "list", "Print all shares", list), arguments.output);

  CLI::App* const showShare = addVerb(noun, result, "show", "Print one share", show);
  addNameArgument(*showShare);
  addOutputOptions(*showShare, arguments.output);
  addSecretsOption(*showShare, arguments.output);

  CLI::App* const passwdShare =
      addVerb(noun, result, "passwd", "Set a password of a share: typed, piped in or from --file", passwd);
  addNameArgument(*passwdShare);
  passwdShare->add_flag("--read-only", arguments.readOnly, "The password for reading");
  passwdShare->add_flag("--read-write", arguments.readWrite, "The password for reading and writing");
  passwdShare->add_option("--file", arguments.file, "File whose first line is the password");
  addUnsafeOption(*passwdShare);
  addDryRunOption(*passwdShare);
}
