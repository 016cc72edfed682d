#include "environment.h"

#include <nas1api.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "record_files.h"

static constexpr char kPath[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
static constexpr mode_t kOnlyRoot = 077;

ExitCode fixEnvironment() {
  if (getuid() != geteuid() || getgid() != getegid()) {
    return complain(NO_PRIVILEGE,
                    "nas1 does not lend anybody the rights of its owner; take its set-user-id bit off and become root");
  }
  (void)clearenv();
  (void)setenv("PATH", kPath, 1);
  (void)setenv("LANG", "C", 1);
  (void)umask(kOnlyRoot);
  return DONE;
}

void useConfiguredTimeZone() {
  // Where there are no settings yet, reading one would make their file.
  if (access(kSystemFile, R_OK) == 0) (void)nas_time(nullptr);
}
