// Fuzz harness: one program with a table of targets, each a reader of one kind of text, run inside the throw-away
// appliance because the readers open their real paths. --target=NAME chooses, --seconds=N ends it after that much
// processor time; everything else goes to libFuzzer.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "api/nas1api.h"
#include "backends/name_list_file.h"
#include "backends/ncp.h"
#include "backends/nfs_exports.h"
#include "backends/nis_client.h"
#include "config/defaults_file.h"
#include "config/handlers.h"
#include "events/mail_templates.h"
#include "status/disks.h"
#include "text/code_page.h"
#include "text/mb_string.h"
#include "text/search.h"

static void require(bool held, const char* what) {
  if (held) return;
  (void)std::fprintf(stderr, "did not hold: %s\n", what);
  std::abort();
}

// Nothing that is read may reach a shell unless it is what the command is about.
extern "C" int Nas1System(const char* command) {
  constexpr std::string_view kClient = "/usr/sbin/nwclient ";
  const std::string_view text = command;
  if (text.starts_with(kClient)) {
    const std::size_t end = text.find_first_not_of("0123456789abcdefABCDEF.: ", kClient.size());
    require(text.substr(end) == "> /dev/null", "only addresses on the client's command line");
  }
  return 0;
}
extern "C" int NasGetServiceInstall(const char* /*service*/) { return 1; }
extern "C" void syslog(int /*priority*/, const char* format, ...) {
  char line[8192];
  va_list arguments;
  va_start(arguments, format);
  (void)std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
}

namespace {

using Input = std::string_view;

void put(const char* path, Input content) {
  const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  require(fd >= 0 && write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()), path);
  (void)close(fd);
}

// The input up to the first newline; `rest` is what follows.
std::string firstLine(Input input, Input* rest) {
  const std::size_t end = std::min(input.find('\n'), input.size());
  *rest = input.substr(std::min(end + 1, input.size()));
  return std::string(input.substr(0, end));
}

// A text in a block of its exact size, so that one byte too many is seen.
std::unique_ptr<char[]> exact(Input text) {
  auto block = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(block.get(), text.data(), text.size());
  return block;
}

void defaults(Input input) {
  Input rest;
  const std::string key = firstLine(input, &rest);
  put("/etc/default.zelmar", rest);
  char text[kDefaultTextSize];
  if (findDefault(key.c_str(), text) != DefaultValue::found) return;
  require(strnlen(text, sizeof text) < sizeof text, "a default ends with a NUL");
  unsigned value = 0;
  (void)parseDefaultInteger(text, 10, &value);
  (void)parseDefaultInteger(text, 16, &value);
}

void templates(Input input) {
  static const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
  put("/etc/mail/alert.en", input);
  (void)NasMailMsgInit(0);
  std::int32_t words[4] = {1, 2, 3, 4};
  char text[] = "%n%s";
  // A code of its own for each length of input, and the two with the most to format.
  for (const unsigned code : {static_cast<unsigned>(input.size() % EVENT_COUNT), 4U, 21U}) {
    const bool wantsText = code == 6 || code == 7 || code == 28;
    (void)SetupMailBody(sink, code, wantsText ? static_cast<void*>(text) : words, "a@b");
  }
  (void)NasMailMsgFree(0);
}

void hotSwap(Input input) {
  put("/etc/hotswap.conf", input);
  initDiskNumMap();
  for (const int number : DiskNumMap) require(number >= 1 && number <= DISK_COUNT, "disk numbers are 1 to 256");
}

void volumes(Input input) {
  put("/etc/fstab.zelmar", input);
  for (const int size : {1, 248, 10 * 248 + 247}) {
    const auto block = std::make_unique<char[]>(static_cast<std::size_t>(size));
    (void)Nas1ListVolume(reinterpret_cast<VolumeInfo*>(block.get()), size);
  }
}

void nis(Input input) {
  Input rest;
  const std::string server = firstLine(input, &rest);
  put("/etc/yp.conf", rest);
  (void)nfsSave_nis_server_name(server.c_str());
  put("/etc/yp.conf", rest);
  (void)nfsSet_host_domain_name(server.c_str());
}

void snapshotExports(Input input) {
  put("/etc/exports", "");
  put("/etc/snap_exports", input);
  (void)SnapShareAppend();
}

void lists(Input input) {
  put("/mnt/param/nw/binderyuser", input);
  put("/mnt/param/nw/binderygroup", input);
  for (const std::size_t size : {std::size_t{1}, sizeof(UserItem), 20 * sizeof(UserItem) + 1}) {
    const auto block = std::make_unique<char[]>(size);
    (void)Nas1GetUserList(PROTO_NCP, 0, 1 << 30, block.get(), static_cast<int>(size));
    (void)Nas1GetGroupList(PROTO_NCP, 1, 1 << 30, block.get(), static_cast<int>(size));
  }
  const int count = Nas1GetUserListCountInRemoteServer(PROTO_NCP);
  if (count > 100) return;
  std::vector<std::unique_ptr<char[]>> blocks;
  std::vector<char*> names;
  for (int i = 0; i < std::max(count, 1); ++i) {
    names.push_back(blocks.emplace_back(std::make_unique<char[]>(kListNameSize)).get());
  }
  (void)Nas1ShowUserListInRemoteServer(PROTO_NCP, names.data());
}

void addresses(Input input) {
  put("/mnt/param/nw/ipxaddr_temp", input);
  char server[] = "server";
  (void)ncpGetUserListFromBindery(server);
}

void resolver(Input input) {
  put("/etc/resolv.conf", input);
  for (const int size : {1, 5, 64}) {
    const auto block = std::make_unique<char[]>(static_cast<std::size_t>(size));
    int length = 0;
    (void)get_IP_DNS(size, block.get(), &length);
    require(length >= 1 && length <= size, "an address fits its buffer");
  }
}

// First byte: code page and coding; then two texts, a line each.
void text(Input input) {
  if (input.empty()) return;
  static constexpr int kCodePages[] = {860, 932, 936, 949, 950};
  const auto choice = static_cast<unsigned char>(input[0]);
  (void)NasLangInit(kCodePages[choice % 5], choice / 5 % 3 - 1);
  Input second;
  const std::string first = firstLine(input.substr(1), &second);
  const auto a = exact(first);
  const auto b = exact(second);
  const auto fresh = [&] { return exact(first); };
  const auto length = static_cast<int>(std::strlen(a.get()));

  const auto upper = fresh();
  (void)NasStrUpper(upper.get());
  require(std::strlen(upper.get()) == static_cast<std::size_t>(length), "case changes no length");
  require(NasStrCaseCmp(a.get(), upper.get()) == 0, "case does not count");
  (void)NasStrLower(fresh().get());
  (void)NasStrCaseCmp(a.get(), b.get());
  for (const int count : {-1, 0, 1, length, length + 1, 1 << 20}) {
    (void)NasStrNCaseCmp(a.get(), b.get(), count);
    (void)mbStrnEqual(a.get(), b.get(), count);
    const auto copy = std::make_unique<char[]>(static_cast<std::size_t>(std::clamp(count, 0, length) + 1));
    (void)NasStrNCpy(copy.get(), a.get(), std::min(count, length));
    (void)mbSafeStrcpy(copy.get(), a.get(), std::min(count, length));
  }
  for (const int byte : {0, 0x5C, static_cast<int>(choice)}) {
    (void)NasStrchr(a.get(), byte);
    (void)findLastChar(a.get(), byte);
    (void)NasReplaceChar(fresh().get(), b.get(), byte);
  }
  (void)findText(a.get(), b.get());
  const auto tokens = fresh();
  char* rest = nullptr;
  for (char* t = nextToken(tokens.get(), b.get(), &rest); t != nullptr; t = nextToken(nullptr, b.get(), &rest)) {
  }
  // There and back again is the same text wherever the way there changed it.
  const auto round = fresh();
  (void)NasStrServerToClient(round.get());
  (void)NasStrClientToServer(round.get());
  (void)NasStrClientToServer(fresh().get());
  const auto trimmed = fresh();
  Nas1Remove_ht_space(trimmed.get());
  (void)Nas1UpStr(trimmed.get());
  const auto doubled = std::make_unique<char[]>(2 * first.size() + 2);
  (void)NasAddSlash(2 * length + 2, doubled.get(), length + 1, a.get());
}

const struct Target {
  const char* name;
  void (*run)(Input input);
} targets[] = {
    {"defaults", defaults}, {"templates", templates},
    {"hotswap", hotSwap},   {"volumes", volumes},
    {"nis", nis},           {"snapshots", snapshotExports},
    {"lists", lists},       {"addresses", addresses},
    {"resolver", resolver}, {"text", text},
};
const Target* chosen = nullptr;
std::clock_t endAt = 0;  // processor time

}  // namespace

// The value of an option "--NAME=VALUE"; empty when it is not there.
static std::string_view option(int argc, char** argv, std::string_view name) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument.starts_with(name)) return argument.substr(name.size());
  }
  return {};
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  const std::string_view name = option(*argc, *argv, "--target=");
  chosen = std::find_if(std::begin(targets), std::end(targets), [&](const Target& t) { return t.name == name; });
  endAt = std::strtol(std::string(option(*argc, *argv, "--seconds=")).c_str(), nullptr, 10) * CLOCKS_PER_SEC;
  if (chosen != std::end(targets)) return 0;
  for (const Target& target : targets) (void)std::puts(target.name);
  std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  chosen->run(Input(reinterpret_cast<const char*>(data), size));
  // libFuzzer itself only knows the time of day; on a busy machine that says little. An interrupt ends it in order.
  if (endAt > 0 && std::clock() >= endAt) (void)std::raise(SIGINT);
  return 0;
}
