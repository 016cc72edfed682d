#include "backends/ftp.h"

#include "backends/init_command.h"
#include "config/numeric_config.h"
#include "config/stored_values.h"

static constexpr const char* kInitCommands[] = {"/usr/sbin/ftprestart", "/usr/sbin/ftpshut now",
                                                "/usr/sbin/ftpshut now;/usr/sbin/ftprestart"};
static constexpr int kStart = 0;
static constexpr int kStop = 1;

extern "C" {
int ftpRestart(int how) { return runInitCommand(kInitCommands, how); }

int ftpSetConfig(int id, int size, void* value) {
  if (id != CONFIG_FTP_ENABLED) return 0;
  return ftpRestart(integerIn(size, value) != 0 ? kStart : kStop);
}
}
