// Calls on damaged record files, and on sound files with hostile values in them.
//
//   damage ROUNDS [SEED]
//
// Half of the rounds damage bits, blocks or the length of a file, half put a hostile value into one. Each round has a
// seed of its own, SEED and up: damage 1 N repeats round N. Shell commands and the pauses between the tries to open a
// file are left out; everything else is real.

#include <gdbm.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "calls.h"
#include "nas1api.h"

extern "C" int Nas1System(const char* /*command*/) { return 0; }
extern "C" int system(const char* /*command*/) { return 0; }
extern "C" int usleep(useconds_t /*us*/) { return 0; }
extern "C" FILE* popen(const char* /*command*/, const char* /*mode*/) { return std::fopen("/dev/null", "r"); }
extern "C" int pclose(FILE* stream) { return std::fclose(stream); }

namespace {

using Random = std::mt19937;

constexpr unsigned kMostSeconds = 60;  // for a round; longer is taken for endless stepping

constexpr const char* files[] = {"system",   "share",    "share_nfs", "user_local", "user_smb", "user_nfs",
                                 "user_ncp", "user_afp", "user_id",   "group_id",   "passwd",   "module"};

unsigned below(Random& random, std::size_t limit) { return static_cast<unsigned>(limit == 0 ? 0 : random() % limit); }

std::string somePath(Random& random) {
  return std::string("/etc/admin/") + files[below(random, std::size(files))] + ".gdbm";
}

// Words that lengths and counts are made of in a damaged value.
std::uint32_t oddWord(Random& random) {
  static constexpr std::uint32_t kWords[] = {0, 1, 4, 0x7F, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFF};
  const unsigned choice = below(random, std::size(kWords) + 2);
  return choice < std::size(kWords) ? kWords[choice] : static_cast<std::uint32_t>(random());
}

void damageBytes(Random& random, std::string& bytes) {
  // What steers GDBM stands at the beginning, but a file that does not open at all is soon told: now and then it is
  // there.
  const std::size_t reach = below(random, 4) == 0 ? std::min<std::size_t>(bytes.size(), 512) : bytes.size();
  const std::size_t at = below(random, reach);
  const std::size_t length = std::min<std::size_t>(1U << below(random, 13), bytes.size() - at);
  const std::size_t from = below(random, bytes.size() - length);
  switch (below(random, 7)) {
    case 0:
      for (unsigned i = 0; i <= below(random, 8); ++i)
        bytes[below(random, reach)] ^= static_cast<char>(1 << below(random, 8));
      break;
    case 1:
      for (std::size_t i = at; i < at + length; ++i) bytes[i] = static_cast<char>(random());
      break;
    case 2:
      std::memset(bytes.data() + at, below(random, 2) == 0 ? 0 : 0xFF, length);
      break;
    case 3:
      std::memmove(bytes.data() + at, bytes.data() + from, length);
      break;
    case 4: {
      const std::uint32_t word = oddWord(random);
      const std::size_t place = at / sizeof word * sizeof word;
      if (place + sizeof word <= bytes.size()) std::memcpy(bytes.data() + place, &word, sizeof word);
      break;
    }
    case 5:
      bytes.resize(at);
      break;
    default:
      bytes.resize(bytes.size() + length, '\x5A');
  }
}

void damageFile(Random& random) {
  const std::string path = somePath(random);
  std::ifstream in(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), {}};
  damageBytes(random, bytes);
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

void hostile(Random& random, std::string& value) {
  const std::size_t words = value.size() / 4;
  switch (below(random, 5)) {
    case 0:
      value.resize(below(random, value.size() + 1));
      break;
    case 1:
      value.assign(below(random, 2) == 0 ? value.size() : below(random, 3000), 'x');  // no NUL anywhere
      break;
    case 2:
      for (char& c : value) c = static_cast<char>(random());
      break;
    case 3:
      value += std::string(below(random, 200), 'y');
      [[fallthrough]];
    default:
      for (unsigned i = 0; i <= below(random, 3) && words > 0; ++i) {
        const std::uint32_t word = oddWord(random);
        // Sizes and counts stand at the front and behind the first 36 bytes.
        static constexpr unsigned kPlaces[] = {0, 9, 10, 25};
        const unsigned place = below(random, 2) == 0 ? kPlaces[below(random, 4)] : below(random, words);
        if (place < words) std::memcpy(value.data() + std::size_t{4} * place, &word, sizeof word);
      }
  }
}

// Gives one or two records of a file another value; the file stays sound.
void plantValue(Random& random) {
  auto* const file = gdbm_open(somePath(random).c_str(), 0, GDBM_WRCREAT, 0665, nullptr);
  if (file == nullptr) return;
  for (unsigned wanted = below(random, 8), seen = 0; wanted < 16; wanted += 8, seen = 0) {
    datum key = gdbm_firstkey(file);
    for (; key.dptr != nullptr && seen < wanted; ++seen) {
      const datum next = gdbm_nextkey(file, key);
      if (next.dptr == nullptr) break;
      std::free(key.dptr);
      key = next;
    }
    if (key.dptr == nullptr) break;
    const datum old = gdbm_fetch(file, key);
    std::string value(old.dptr, static_cast<std::size_t>(old.dsize));
    hostile(random, value);
    (void)gdbm_store(file, key, {value.data(), static_cast<int>(value.size())}, GDBM_REPLACE);
    std::free(old.dptr);
    std::free(key.dptr);
  }
  (void)gdbm_close(file);
}

int wrong = 0;

void require(bool held, const char* what) {
  if (held) return;
  (void)std::fprintf(stderr, "did not hold: %s\n", what);
  wrong = 1;
}

// A list of blocks, each with its size in front, must lie within its buffer.
template <typename Fill>
void list(const char* what, int capacity, Fill fill) {
  const auto block = std::make_unique<char[]>(static_cast<std::size_t>(capacity));
  int count = fill(block.get(), capacity);
  int at = 0;
  for (; count > 0 && at <= capacity - 4; --count) {
    std::uint32_t size = 0;
    std::memcpy(&size, block.get() + at, sizeof size);
    if (size < 33 || size > static_cast<std::uint32_t>(capacity - at)) break;
    at += static_cast<int>(size);
  }
  require(count <= 0, what);
}

void readAll(int size, int firstId) {
  list("shares", size, [](char* b, int s) { return Nas1ShareList(0, 100, b, s); });
  list("users", size, [](char* b, int s) { return Nas1ListUserItem(0, 100, b, s); });
  list("groups", size, [](char* b, int s) { return Nas1ListGroupItem(0, 100, b, s); });
  list("local users", size, [](char* b, int s) { return Nas1GetUserList(0, 0, 100, b, s); });
  list("local groups", size, [](char* b, int s) { return Nas1GetGroupList(0, 0, 100, b, s); });
  list("hosts", size, [](char* b, int s) { return Nas1ShareGetPermittedNfs("S1", 100, b, s); });
  const auto block = std::make_unique<char[]>(static_cast<std::size_t>(size));
  for (int protocol = 0; protocol < PROTO_FTP; ++protocol) {
    auto* const items = reinterpret_cast<PermittedItem*>(block.get());
    const int count = Nas1ListPermittedItems("S1", protocol, 0, 100, items, size);
    require(count <= size / 40, "permissions within their buffer");
  }
  require(Nas1ModuleList(0, 100, block.get(), size) <= size / 364, "modules within their buffer");
  for (const char* share : {"S1", "S2", "S3", "S4"}) (void)Nas1GetShareInfo(share, block.get(), size);
  char alice[] = "ALICE";
  char staff[] = "STAFF";
  list("groups of a user", size, [&](char* b, int s) { return Nas1ListUserGroups(alice, 0, 0, 16, b, s); });
  list("members", size, [&](char* b, int s) { return Nas1ListGroupMembers(staff, 0, 0, 100, b, s); });
  int count = 0;
  int bytes = 0;
  (void)Nas1ShareCountSize(&count, &bytes);
  (void)Nas1ShareGetPermittedNfsSize("S1", &count, &bytes);
  (void)Nas1ModuleList(0, 0, nullptr, 0);
  const char* const groups[] = {"STAFF", nullptr};
  for (int protocol = 0; protocol < PROTO_FTP; ++protocol) {
    (void)Nas1GetPermittedItemsCount("S1", protocol);
    (void)Nas1CheckPermission("S1", protocol, "ALICE", groups);
  }
  const auto out = std::make_unique<char[]>(176);
  for (const char* share : {"S1", "S2"}) {
    (void)Nas1GetShareInfoSize(share);
    (void)Nas1ShareGetPassword(share, 1, out.get());
    (void)NasShareGetConfig(share, "is_home", 4, out.get(), nullptr);
  }
  for (const char* user : {"ALICE", "BOB"}) {
    char name[NAS_NAME_SIZE];
    (void)std::snprintf(name, sizeof name, "%s", user);
    (void)Nas1GetUserPasswd(0, name, out.get(), 32);
    (void)NasGetUserConfig(user, "home", 8, out.get(), nullptr);
    int itemSize = 0;
    (void)Nas1CheckUserItem(0, user, out.get(), &itemSize);
  }
  (void)Nas1GetProductConfig("COLOUR", out.get());
  (void)Nas1GetSnapshotConfig("v1", reinterpret_cast<std::uint32_t*>(out.get()));
  (void)Nas1GetDiskConfig(reinterpret_cast<DiskConfig*>(out.get()));
  // Ids from 100 on read the network and the sensors through commands of their own.
  for (int id = firstId; id < 100; id += 10) (void)Nas1GetConfig(id, 64, out.get(), nullptr);
  (void)Nas1UserItemCount();
  (void)Nas1GroupItemCount();
}

void writeAll() {
  for (const Call& call : calls) require(call.run() >= -3, call.name);
  (void)Nas1DelPermittedItem("S1", PROTO_CIFS, "ALICE");
  UserItem item = {};
  item.size = sizeof item;
  (void)std::snprintf(item.name, sizeof item.name, "ALICE");
  (void)Nas1SetUserItem(&item);
  char alice[] = "ALICE";
  char staff[] = "GUESTS";
  (void)Nas1SetPrimaryGroup(0, alice, "GUESTS");
  (void)Nas1LeaveGroup(0, alice, staff);
  (void)Nas1SetUserPasswd(0, alice, "changed");
  (void)NasShareSetConfig("S3", "ro_passwd", 3, "new");
  (void)Nas1ModuleDel("PRINT");
  (void)EnableNas1ShareBatch(0);
}

void round(unsigned seed) {
  Random random(seed);
  if (seed % 2 == 0) {
    damageFile(random);
  } else {
    plantValue(random);
  }
  const int bytes = heldBytes();
  const int descriptors = openDescriptors();
  static constexpr int kSizes[] = {3, 150, 700, 20000};
  const int size = kSizes[below(random, std::size(kSizes))];
  const int firstId = static_cast<int>(below(random, 10));
  if (below(random, 2) == 0) readAll(size, firstId);
  // The daemons' files are written once, at the end.
  (void)EnableNas1ShareBatch(1);
  writeAll();
  readAll(size, firstId);
  require(heldBytes() == bytes, "nothing left in the allocator");
  require(openDescriptors() == descriptors, "no descriptor left open");
}

// Runs a round in a child; false when it did not end well.
bool survives(unsigned seed, int output) {
  restoreSample();
  (void)!ftruncate(output, 0);
  (void)std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    (void)dup2(output, STDOUT_FILENO);
    (void)dup2(output, STDERR_FILENO);
    (void)alarm(kMostSeconds);
    round(seed);
    (void)std::fflush(nullptr);
    _exit(wrong);
  }
  int status = 0;
  (void)waitpid(child, &status, 0);
  if (status == 0) return true;
  (void)std::printf("round %u: %s %d\n", seed, WIFSIGNALED(status) ? "signal" : "exit code",
                    WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
  char text[4000] = {};
  (void)!pread(output, text, sizeof text - 1, 0);
  (void)std::printf("%s\n", text);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || access("/run/appliance/marker", F_OK) != 0) {
    (void)std::fprintf(stderr, "use: appliance/enter --build BUILD -- damage ROUNDS [SEED]\n");
    return 2;
  }
  const auto rounds = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10));
  const auto first = static_cast<unsigned>(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1);
  const int output = memfd_create("output", MFD_CLOEXEC);
  makeSample();
  unsigned failed = 0;
  for (unsigned seed = first; seed < first + rounds; ++seed) failed += survives(seed, output) ? 0 : 1;
  (void)std::printf("damaged files and hostile values: %u rounds, %u failed\n", rounds, failed);
  return failed == 0 ? 0 : 1;
}
