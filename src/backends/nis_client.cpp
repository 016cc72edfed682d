#include "backends/nis_client.h"

#include <fcntl.h>

#include <cstring>

#include "api/nas1api.h"
#include "backends/generated_file.h"
#include "config/numeric_config.h"
#include "core/command.h"
#include "core/memory.h"

static constexpr char kUnit[] = "nis_client.cpp";

static constexpr char kYpConf[] = "/etc/yp.conf";
static constexpr char kBackUp[] = "cp -f /etc/yp.conf /etc/yp.conf.bak";
static constexpr char kRestore[] = "cp -f /etc/yp.conf.bak /etc/yp.conf";

static constexpr int kFullLine = 10;
static constexpr int kLastLine = -1;

void nisSetDomain(const char* domain) {
  if (domain[0] == '\0') {
    (void)Nas1System("domainname ''");
  } else {
    (void)runCommand(kUnit, __LINE__, "domainname %s", domain);
  }
}

void nisStop() { (void)Nas1System("/etc/init.d/ypbind stop"); }

void nisStart() { (void)Nas1System("/etc/init.d/ypbind start"); }

// A file without a name that vanishes with the scope.
namespace {
struct TemporaryFile {
  std::FILE* const file = std::tmpfile();

  TemporaryFile() {
    if (file != nullptr) (void)fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
  }
  ~TemporaryFile() {
    if (file != nullptr) (void)std::fclose(file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
};
}  // namespace

// Calls visit(line) for every line up to the end of the file.
template <typename Visit>
static void forEachLine(std::FILE* file, char* line, Visit visit) {
  for (int result = kFullLine; result == kFullLine;) {
    result = GetOneLine(file, line);
    if (line[0] != '\0') visit();
  }
}

// Fills the draft of the new file: the old one's comments and the one line that counts. The value that did not change,
// null here, is the stored one. False when there is no old file.
static bool writeDraft(std::FILE* draft, char* line, char* stored, const char* domain, const char* server) {
  const LockedFile old(kYpConf, FileUse::reading);
  if (old.file == nullptr) return false;
  if (domain != nullptr) nisSetDomain(domain);
  forEachLine(old.file, line, [&] {
    if (line[0] == '#') (void)std::fputs(line, draft);
  });

  std::memset(stored, 0, kNisTextSize);
  (void)Nas1GetConfig(domain != nullptr ? CONFIG_NFS_NIS_SERVER_NAME : CONFIG_NFS_DOMAIN_NAME, kNisTextSize, stored,
                      nullptr);
  stored[kNisTextSize - 1] = '\0';
  // Kept: with an empty stored domain this only prints the domain that is set.
  if (domain == nullptr) (void)runCommand(kUnit, __LINE__, "domainname %s", stored);
  (void)std::snprintf(line, kNisTextSize, "domain\t%s\tserver\t%s", domain != nullptr ? domain : stored,
                      server != nullptr ? server : stored);
  (void)std::fprintf(draft, "%s\n", line);
  return true;
}

static bool copyDraft(std::FILE* draft, char* line) {
  LockedFile target(kYpConf, FileUse::rewriting);
  if (!target.startOver()) return false;
  std::rewind(draft);
  forEachLine(draft, line, [&] { (void)std::fputs(line, target.file); });
  return target.finish();
}

static int rewriteYpConf(const char* domain, const char* server) {
  const TemporaryFile draft;
  const TrackedBuffer line(kUnit, __LINE__, kNisTextSize);
  const TrackedBuffer stored(kUnit, __LINE__, kNisTextSize);
  if (draft.file == nullptr || line.data == nullptr || stored.data == nullptr) return -1;
  if (!writeDraft(draft.file, line.text(), stored.text(), domain, server)) return -1;
  (void)Nas1System(kBackUp);
  if (!copyDraft(draft.file, line.text())) {
    (void)Nas1System(kRestore);
    return -1;
  }
  nisStop();
  nisStart();
  return 0;
}

extern "C" int nfsSave_nis_server_name(const char* server) {
  return server == nullptr ? -1 : rewriteYpConf(nullptr, server);
}

extern "C" int nfsSet_host_domain_name(const char* domain) {
  return domain == nullptr ? -1 : rewriteYpConf(domain, nullptr);
}

extern "C" int GetOneLine(std::FILE* file, char* buffer) {
  constexpr int kMostCharacters = kNisTextSize - 2;  // beside newline and NUL
  int length = 0;
  int character = std::fgetc(file);
  for (; character != EOF && character != '\n'; character = std::fgetc(file)) {
    if (length < kMostCharacters) buffer[length++] = static_cast<char>(character);
  }
  if (character == '\n' || length > 0) buffer[length++] = '\n';
  buffer[length] = '\0';
  return character == EOF ? kLastLine : kFullLine;
}
