#pragma once
// What the tests of the back-ends share: which numbers make one act, and how it ends a client's process.

#include <csignal>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "frame/appliance.h"

// The commands that `call` runs. Only for calls that run none in the background.
inline Lines commandsOf(const std::function<void()>& call) {
  const std::size_t before = commands().size();
  call();
  Lines all = commands();
  all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(before));
  return all;
}

// All numbers that can arrive, ids and row numbers, for which a back-end runs commands, in order: "7: COMMAND;
// COMMAND".
inline Lines reactionsOf(int (*setConfig)(int, int, void*), std::uint32_t value) {
  Lines reactions;
  for (int id = -1; id <= 128; ++id) {
    std::string line;
    for (const std::string& command : commandsOf([&] { (void)setConfig(id, sizeof value, &value); }))
      line += (line.empty() ? std::to_string(id) + ": " : "; ") + command;
    if (!line.empty()) reactions.push_back(line);
  }
  return reactions;
}

// One mode of a restart, what it returns, and the command that it runs (empty: none).
struct RestartCase {
  int how;
  int result;
  std::string command;
};

// Looks at the given modes and at some outside of them; a command that ends badly has been run, one that the shell
// cannot run has not.
inline void expectRestarts(int (*restart)(int), const std::string& helper, const std::vector<RestartCase>& cases) {
  for (const int outside : {-1, 4, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(-1, restart(outside)); })) << outside;
  for (const auto& [how, result, command] : cases) {
    const Lines expected = command.empty() ? Lines{} : Lines{command};
    EXPECT_EQ(expected, commandsOf([&, how = how, result = result] { EXPECT_EQ(result, restart(how)); })) << how;
  }
  setExitStatus(helper, 1);
  EXPECT_EQ(0, restart(0)) << "the command ended badly";
  setExitStatus(helper, 127);
  EXPECT_EQ(-1, restart(0)) << "the shell found nothing to run";
}

// Starts a process, hands it to `end`, and returns the signal that ended it; 0 when it is still there after 5 s.
inline int signalThatEnds(const std::function<void(pid_t)>& end) {
  const pid_t pid = fork();
  if (pid == 0) {
    for (;;) (void)pause();
  }
  end(pid);
  int status = 0;
  for (int waitedMs = 0; waitedMs < 5000; ++waitedMs) {
    if (waitpid(pid, &status, WNOHANG) == pid) return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    (void)usleep(1000);
  }
  (void)kill(pid, SIGKILL);
  (void)waitpid(pid, &status, 0);
  return 0;
}
