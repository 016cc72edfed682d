#include "verify_daemons.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <nas1api.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>

#include "db_records.h"
#include "shares.h"

namespace {

using Entries = std::map<std::string, std::string>;

void compare(const char* daemon, const Entries& wanted, const Entries& served, Differences& differences) {
  const auto in = [](const Entries& entries, const std::string& name) {
    const auto found = entries.find(name);
    return found == entries.end() ? std::string() : found->second;
  };
  Entries all = wanted;
  all.insert(served.begin(), served.end());
  for (const auto& [name, ignored] : all) {
    if (in(wanted, name) != in(served, name)) differences.insert({daemon, name, in(wanted, name), in(served, name)});
  }
}

// ---- Samba: what it tells a client

constexpr char kSambaPid[] = "/var/lock/samba/locks/smbd.pid";

bool sambaRuns() {
  std::string pid;
  std::string name;
  std::ifstream(kSambaPid) >> pid;
  std::ifstream("/proc/" + pid + "/comm") >> name;
  return name == "smbd";
}

// What a program prints; false when it fails or is not there.
bool outputOf(std::vector<const char*> words, std::string& output) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  const OpenFile reading(ends[0]);
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    (void)dup2(ends[1], STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    (void)dup2(nowhere, STDIN_FILENO);
    (void)dup2(nowhere, STDERR_FILENO);
    (void)execvp(words[0], const_cast<char* const*>(words.data()));
    _exit(127);
  }
  (void)close(ends[1]);
  char piece[4096];
  for (ssize_t got; (got = read(reading.fd, piece, sizeof piece)) > 0;)
    output.append(piece, static_cast<std::size_t>(got));
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return child > 0 && status == 0;
}

// How other characters are spelled depends on what the client takes them for.
bool isPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// As Samba reads a value: without outer blanks, one between words.
std::string squeezed(const std::string& text) {
  std::istringstream words(text);
  std::string all;
  for (std::string word; words >> word;) all += (all.empty() ? "" : " ") + word;
  return all;
}

std::string sharedAs(const std::string& comment) {
  return "served" + (comment.empty() ? "" : " as \"" + comment + "\"");
}

void compareSamba(Differences& differences, std::vector<std::string>& left) {
  std::string output;
  if (!sambaRuns() || !outputOf({"smbclient", "-N", "-g", "-L", "localhost"}, output)) {
    left.push_back(std::string("Samba is not compared: ") +
                   (sambaRuns() ? "smbclient cannot ask it" : "it does not run"));
    return;
  }
  Entries wanted;
  Entries served;
  Entries nameOfLine;  // a name may hold what stands between name and comment
  std::size_t others = 0;
  for (const Share& share : allShares()) {
    const std::string comment = squeezed(share.comment);
    if (!isPlain(share.name + comment)) {
      ++others;
      continue;
    }
    wanted[share.name] = sharedAs(comment);
    nameOfLine["Disk|" + share.name + "|" + comment] = share.name;
  }
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const bool isAsWanted = nameOfLine.contains(line) && wanted.erase(nameOfLine[line]) == 1;
    if (isAsWanted || !line.starts_with("Disk|")) continue;
    const std::string name = line.substr(5, line.find('|', 5) - 5);
    const std::string comment = line.substr(std::min(5 + name.size() + 1, line.size()));
    if (isPlain(name + comment)) served[name] = sharedAs(comment);
  }
  if (others != 0)
    left.push_back(std::to_string(others) + " shares are not compared with Samba: not all of their letters are ASCII");
  compare(kSamba, wanted, served, differences);
}

// ---- NFS: the table that the server answers from

constexpr char kExportTable[] = "/var/lib/nfs/etab";

// A backslash and three digits spell a character.
std::string unescaped(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isSpelled = text[i] == '\\' && text.find_first_not_of("01234567", i + 1) >= i + 4 && i + 3 < text.size();
    plain += isSpelled ? static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8)) : text[i];
    if (isSpelled) i += 3;
  }
  return plain;
}

// As the server spells a path: one slash between folders, none at the end.
std::string plainPath(const std::string& path) {
  std::string plain;
  for (const char c : path) {
    if (c != '/' || !plain.ends_with('/')) plain += c;
  }
  if (plain.size() > 1 && plain.ends_with('/')) plain.pop_back();
  return plain;
}

// Each client of each folder and its options.
Entries clientsOf(const std::string& content) {
  Entries clients;
  for (const auto& [path, list] : entriesOf(content)) {
    std::istringstream words(list);
    for (std::string word; words >> word;) {
      const std::size_t at = std::min(word.find('('), word.size());
      const std::string options = word.substr(at + (at < word.size()), word.find(')') - at - 1);
      clients[plainPath(unescaped(path)) + " to " + word.substr(0, at)] = options;
    }
  }
  return clients;
}

bool holdsAll(const std::string& options, const std::string& wanted) {
  std::istringstream words(wanted);
  for (std::string word; std::getline(words, word, ',');) {
    if (("," + options + ",").find("," + word + ",") == std::string::npos) return false;
  }
  return true;
}

void compareNfs(const std::string& exports, Differences& differences, std::vector<std::string>& left) {
  std::ifstream table(kExportTable, std::ios::binary);
  if (!table) {
    left.emplace_back("the NFS server is not compared: it has never exported anything");
    return;
  }
  const Entries wanted = clientsOf(exports);
  Entries served = clientsOf({std::istreambuf_iterator<char>(table), {}});
  // The table spells every option out; the list those that matter.
  for (auto& [client, options] : served) {
    const auto line = wanted.find(client);
    if (line != wanted.end() && holdsAll(options, line->second)) options = line->second;
  }
  compare(kNfsServer, wanted, served, differences);
}

// ---- SNMP: whether the agent answers those who know the community

constexpr int kSnmpState = 80;
constexpr int kSnmpReadCommunity = 85;
constexpr int kAgentPort = 161;
constexpr int kPatienceMs = 1000;
constexpr char kServices[] = "\x2B\x06\x01\x02\x01\x01\x07\x00";  // sysServices.0

// A value with its type and length; none is longer than 127 bytes.
std::string block(char type, const std::string& content) {
  return type + std::string(1, static_cast<char>(content.size())) + content;
}

// A request for one value in the protocol's first version, as a datagram.
std::string requestFor(const std::string& community) {
  const std::string number(1, 0);
  const std::string zero = block(2, number);
  const std::string name = block(6, {kServices, sizeof kServices - 1});
  const std::string list = block(0x30, block(0x30, name + block(5, "")));
  return block(0x30, zero + block(4, community) + block('\xA0', zero + zero + zero + list));
}

enum class Answer { given, none, nobodyThere };

Answer answerTo(const std::string& request) {
  const OpenFile wire(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in agent = {};
  agent.sin_family = AF_INET;
  agent.sin_port = htons(kAgentPort);
  agent.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const bool isSent = connect(wire.fd, reinterpret_cast<const sockaddr*>(&agent), sizeof agent) == 0 &&
                      send(wire.fd, request.data(), request.size(), 0) > 0;
  pollfd waiting = {wire.fd, POLLIN, 0};
  if (!isSent || poll(&waiting, 1, kPatienceMs) <= 0) return Answer::none;
  char answer[512];
  if (recv(wire.fd, answer, sizeof answer, 0) > 0) return Answer::given;
  return errno == ECONNREFUSED ? Answer::nobodyThere : Answer::none;
}

void compareSnmp(Differences& differences, std::vector<std::string>& left) {
  int state = 0;
  char community[30] = {};
  (void)Nas1GetConfig(kSnmpState, sizeof state, &state, nullptr);
  (void)Nas1GetConfig(kSnmpReadCommunity, sizeof community - 1, community, nullptr);
  if (state == 0) return;
  const Answer answer = answerTo(requestFor(community));
  if (answer == Answer::nobodyThere) left.emplace_back("the SNMP agent is not compared: it does not run");
  if (answer == Answer::none) differences.insert({kSnmpAgent, std::string("community ") + community, "answers", ""});
}

}  // namespace

void compareDaemons(const std::string& exports, Differences& differences, std::vector<std::string>& left) {
  compareSamba(differences, left);
  compareNfs(exports, differences, left);
  compareSnmp(differences, left);
  left.emplace_back("the servers for AppleTalk, NetWare, FTP, time and NIS are not compared: they cannot be asked");
}
