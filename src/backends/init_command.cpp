#include "backends/init_command.h"

#include "api/nas1api.h"

static constexpr int kShellFoundNothing = 127;

int runInitCommand(const char* command) {
  const int status = Nas1System(command);
  return status == -1 || status == kShellFoundNothing ? -1 : 0;
}

int runInitCommand(std::span<const char* const> commands, int how) {
  const auto row = static_cast<unsigned>(how);
  return row < commands.size() ? runInitCommand(commands[row]) : -1;
}
