// Directories of shares, made and removed by shell commands that do nothing while the builduser lock exists: another
// tool is then rebuilding users and directories.

#include <cstring>

#include "api/nas1api.h"
#include "core/assert.h"
#include "core/command.h"
#include "core/memory.h"

static constexpr char kUnit[] = "share_directories.cpp";
static constexpr unsigned kAnonymousOwner = 32767;

#define UNLESS_LOCKED "[ -a /var/lock/zelmar_builduser ] || "

enum DirectoryCommand {
  DIR_CREATE,
  DIR_OWNER,
  DIR_MODE,
  DIR_REMOVE,
  DIR_STICKY,
  DIR_ACL_MASK,
  DIR_ACL_GROUP,
  DIR_ACL_OTHER
};

// The sticky bit and the access control lists are not used by this version.
static constexpr const char* kCommands[] = {
    UNLESS_LOCKED "mkdir -p ",
    UNLESS_LOCKED "chown ",
    UNLESS_LOCKED "chmod 755 ",
    UNLESS_LOCKED "rm -rf ",
    UNLESS_LOCKED "chmod +t ",
    UNLESS_LOCKED "setfacl -m m::rwx ",
    UNLESS_LOCKED "setfacl -m d:g::r-x ",
    UNLESS_LOCKED "setfacl -m d:o::r-x ",
};
static_assert(sizeof kCommands / sizeof kCommands[0] == DIR_ACL_OTHER + 1);

static constexpr int kOutOfMemory = -2;

extern "C" int NasAddSlash(int size, char* destination, int sourceLength, const char* source) {
  if (sourceLength < 0) return -1;
  if (destination == nullptr || size < 0 || size / 2 < sourceLength) sysAssert(kUnit, __LINE__);
  if (sourceLength > 0 && source == nullptr) sysAssert(kUnit, __LINE__);
  char* out = destination;
  for (int i = 0; i < sourceLength; ++i) {
    const char c = source[i];
    if (c == '\\' || c == '`' || c == '"') *out++ = '\\';
    *out++ = c;
  }
  // Only an empty destination, or a source without a NUL and each byte of it escaped, leaves no room for one.
  const auto written = static_cast<int>(out - destination);
  if (written < size) *out = '\0';
  return written;
}

// A path quoted for a shell command; text() is null when memory ran out.
struct QuotedPath {
  const TrackedBuffer buffer;

  explicit QuotedPath(const char* path) : buffer(kUnit, __LINE__, 2 * (std::strlen(path) + 1)) {
    const auto bytes = static_cast<int>(std::strlen(path) + 1);
    if (buffer.data != nullptr) (void)NasAddSlash(2 * bytes, buffer.text(), bytes, path);
  }
};

// Runs one command of the table on a quoted path. Returns its exit code, or kCommandNoMemory.
static int runOn(DirectoryCommand command, const char* quotedPath) {
  return runCommand(kUnit, __LINE__, "%s\"%s\"", kCommands[command], quotedPath);
}

extern "C" int Nas1SysMkdir(const char* path) {
  if (path == nullptr || path[0] == '\0') sysAssert(kUnit, __LINE__);
  // Reading the key also stores its default; the directory is made the same way with and without access control lists.
  int aclEnabled = 0;
  (void)NasGetConfig("ACL_ENABLED", sizeof aclEnabled, &aclEnabled, nullptr);

  const QuotedPath quoted(path);
  if (quoted.buffer.data == nullptr) return kOutOfMemory;
  const int created = runOn(DIR_CREATE, quoted.buffer.text());
  if (created != 0) return created == kCommandNoMemory ? kOutOfMemory : -1;

  const int owned =
      runCommand(kUnit, __LINE__, "%s%u \"%s\"", kCommands[DIR_OWNER], kAnonymousOwner, quoted.buffer.text());
  if (owned == kCommandNoMemory) return kOutOfMemory;
  if (runOn(DIR_MODE, quoted.buffer.text()) == kCommandNoMemory) return kOutOfMemory;
  return 0;
}

extern "C" int NasSysRmdir(const char* path) {
  if (path == nullptr || path[0] == '\0') sysAssert(kUnit, __LINE__);
  const QuotedPath quoted(path);
  if (quoted.buffer.data == nullptr) return kOutOfMemory;
  const int removed = runOn(DIR_REMOVE, quoted.buffer.text());
  if (removed == kCommandNoMemory) return kOutOfMemory;
  return removed != 0 ? -1 : 0;
}
