#include "verify_files.h"

#include <fcntl.h>
#include <nas1api.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "calls.h"
#include "plan_copy.h"
#include "settings.h"
#include "shares.h"
#include "verify_daemons.h"

namespace {

constexpr char kSambaFile[] = "/etc/samba/smb.conf";
constexpr char kVolumeList[] = "/etc/atalk/AppleVolumes.default";
constexpr char kAgentFile[] = "/usr/local/share/snmp/snmpd.conf";
constexpr char kTimeFile[] = "/etc/ntp.conf";
constexpr char kNisFile[] = "/etc/yp.conf";

// The share list is written only where both daemons seem to run.
constexpr char kSambaLocks[] = "/var/lock/samba/locks";
constexpr const char* sambaPids[] = {"smbd.pid", "nmbd.pid"};

constexpr int kSnmp = PROTO_SNMP;
constexpr int kRestart = 2;
constexpr int kSnmpState = 80;

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string setting(const char* name) {
  char text[64] = {};
  (void)NasGetConfig(name, sizeof text - 1, text, nullptr);
  return text;
}

// ---- Making files anew. A setting that is set to what it is has its file written again.

ExitCode setAgain(const char* name) {
  const ConfigKey* key = nullptr;
  bool byNumber = false;
  if (const ExitCode fault = findConfigKey(name, key, byNumber); fault != DONE) return fault;
  return storeSetting(*key, true, {.text = setting(name)});
}

void empty(const char* path) {
  if (exists(path)) (void)!truncate(path, 0);
}

ExitCode rebuildShares() {
  // Without shares the library leaves these two as they are.
  if (allShares().empty() && !isDryRun()) {
    empty(kExports);
    empty(kVolumeList);
  }
  if (!isOnlyShown("EnableNas1ShareBatch", {1})) (void)EnableNas1ShareBatch(1);
  if (!isOnlyShown("EnableNas1ShareBatch", {0})) (void)EnableNas1ShareBatch(0);
  return DONE;
}

ExitCode rebuildAgentFile() {
  if (isOnlyShown("Nas1Restart", {kSnmp, kRestart})) return DONE;
  if (Nas1Restart(kSnmp, kRestart) >= 0) return DONE;
  return complain(LIBRARY_FAILED, "%s could not be written", kAgentFile);
}

ExitCode rebuildTimeFile() { return setAgain("NTP_SERVER_1"); }

ExitCode rebuildNisFile() {
  // Its comments are kept, so there has to be one.
  if (!isDryRun()) (void)std::ofstream(kNisFile, std::ios::app);
  return setAgain("NFS_NIS_SERVER_NAME");
}

// ---- Why a file is not compared; null when it is

const char* noSamba() {
  return exists(kSambaFile) || exists(std::string(kSambaLocks) + "/smbd.pid") ? nullptr : "Samba has never run";
}

const char* noAgent() {
  int state = 0;
  (void)Nas1GetConfig(kSnmpState, sizeof state, &state, nullptr);
  return state != 0 ? nullptr : "SNMP is switched off";
}

const char* noTimeServer() {
  const bool isSet = !setting("NTP_SERVER_1").empty() || !setting("NTP_SERVER_2").empty();
  return isSet ? nullptr : "no time server is set";
}

const char* noNis() {
  const bool isSet = !setting("NFS_NIS_SERVER_NAME").empty() || !setting("NFS_DOMAIN_NAME").empty();
  return isSet ? nullptr : "no NIS server is set";
}

const char* always() { return nullptr; }

struct GeneratedFile {
  const char* path;
  const char* daemon;  // what reads it, if it can be asked
  const char* (*whyNot)();
  ExitCode (*makeAnew)();
};

// clang-format off
constexpr GeneratedFile generatedFiles[] = {
    {kSambaFile,  kSamba,     noSamba,      rebuildShares},
    {kExports,    kNfsServer, always,       rebuildShares},
    {kVolumeList, "",         always,       rebuildShares},
    {kAgentFile,  kSnmpAgent, noAgent,      rebuildAgentFile},
    {kTimeFile,   "",         noTimeServer, rebuildTimeFile},
    {kNisFile,    "",         noNis,        rebuildNisFile},
};
// clang-format on

ExitCode rebuildWhere(const auto& isMeant) {
  std::vector<ExitCode (*)()> done;
  for (const GeneratedFile& file : generatedFiles) {
    if (!isMeant(file) || std::find(done.begin(), done.end(), file.makeAnew) != done.end()) continue;
    if (const ExitCode fault = file.makeAnew(); fault != DONE) return fault;
    done.push_back(file.makeAnew);
  }
  return DONE;
}

// In a copy, with nothing of what the files hold now.
ExitCode rebuildAll() {
  setDryRun(false);
  if (exists(kSambaLocks)) {
    for (const char* const pid : sambaPids) std::ofstream(std::string(kSambaLocks) + "/" + pid) << "1\n";
  }
  for (const char* const path : {kSambaFile, kExports, kVolumeList}) empty(path);
  return rebuildWhere([](const GeneratedFile& file) { return file.whyNot() == nullptr; });
}

// ---- Reading them

// The first word, which may be in quotes.
std::string firstWord(const std::string& line) {
  if (line[0] == '"') return line.substr(0, line.find('"', 1) + 1);
  return line.substr(0, line.find_first_of(" \t"));
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

void add(std::map<std::string, std::string>& entries, const std::string& name, const std::string& text) {
  std::string& entry = entries[name];
  entry += (entry.empty() || text.empty() ? "" : "; ") + text;
}

}  // namespace

ExitCode rebuild(const std::set<std::string>& places) {
  return rebuildWhere(
      [&](const GeneratedFile& file) { return places.contains(file.path) || places.contains(file.daemon); });
}

ExitCode expectedContents(Contents& expected) {
  // The copy is a process of its own.
  const OpenFile store(memfd_create("expected", MFD_CLOEXEC));
  const auto keep = [&](const CopyRun& run) {
    if (run.exitCode != DONE) return static_cast<ExitCode>(run.exitCode);
    std::string all;
    for (const GeneratedFile& file : generatedFiles) {
      if (file.whyNot() != nullptr) continue;
      const auto made = run.filesAfter.find(file.path);
      all += file.path + std::string(1, '\0') + (made == run.filesAfter.end() ? "" : made->second.content) + '\0';
    }
    const bool isKept = write(store.fd, all.data(), all.size()) == static_cast<ssize_t>(all.size());
    return isKept ? DONE : complain(LIBRARY_FAILED, "the copy of the appliance is too large");
  };
  if (const ExitCode fault = runInCopy({}, rebuildAll, keep); fault != DONE) return fault;
  std::ifstream file("/proc/self/fd/" + std::to_string(store.fd), std::ios::binary);
  for (std::string path; std::getline(file, path, '\0');) std::getline(file, expected[path], '\0');
  return DONE;
}

void compareFiles(const Contents& expected, Differences& differences, std::vector<std::string>& left) {
  for (const GeneratedFile& file : generatedFiles) {
    const auto content = expected.find(file.path);
    if (content == expected.end()) {
      const char* const reason = file.whyNot();
      left.push_back(std::string(file.path) + " is not compared: " + (reason == nullptr ? "it is new" : reason));
      continue;
    }
    const auto wanted = entriesOf(content->second);
    const auto present = entriesOf(readFile(file.path));
    auto all = wanted;
    all.insert(present.begin(), present.end());
    for (const auto& [name, ignored] : all) {
      const auto of = [&name = name](const auto& entries) {
        const auto entry = entries.find(name);
        return entry == entries.end() ? "" : entry->second.empty() ? "(nothing)" : entry->second;
      };
      const std::string should = of(wanted);
      const std::string is = of(present);
      if (should != is) differences.insert({file.path, name, should, is});
    }
  }
}

std::map<std::string, std::string> entriesOf(const std::string& content) {
  std::map<std::string, std::string> entries;
  std::string section;
  for (std::size_t at = 0; at < content.size();) {
    const std::size_t end = std::min(content.find('\n', at), content.size());
    const std::string line = content.substr(at, end - at);
    at = end + 1;
    const bool isOfSection = line.starts_with(' ') && !section.empty();
    if (trimmed(line).empty() || line[0] == '#') continue;
    if (isOfSection) {
      add(entries, section, trimmed(line));
      continue;
    }
    const std::string word = firstWord(line);
    section = line[0] == '[' ? line : "";
    add(entries, section.empty() ? word : section, section.empty() ? trimmed(line.substr(word.size())) : "");
  }
  return entries;
}
