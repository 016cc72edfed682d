// The nas1 command, from its start to its first output, and a long list to its end.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "bare.h"
#include "harness.h"

enum class Until { firstOutput, end };

static void runProgram(std::vector<std::string> words, Until until) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  (void)posix_spawn_file_actions_init(&actions);
  (void)posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  (void)posix_spawn_file_actions_addclose(&actions, ends[0]);
  (void)posix_spawn_file_actions_addclose(&actions, ends[1]);
  pid_t child = 0;
  if (posix_spawn(&child, words[0].c_str(), &actions, nullptr, arguments.data(), environ) != 0) std::abort();
  (void)posix_spawn_file_actions_destroy(&actions);
  (void)close(ends[1]);
  char block[65536];
  ssize_t got = read(ends[0], block, sizeof block);
  if (got <= 0) std::abort();
  while (until == Until::end && got > 0) got = read(ends[0], block, sizeof block);
  (void)close(ends[0]);
  (void)waitpid(child, nullptr, 0);
}

// A program of the build that this one belongs to.
static std::string built(const char* name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::vector<Row> programRows() {
  return {{.job = "nas1 --version, beside an empty program",
           .goal = "5 ms",
           .library =
               [] {
                 runProgram({built("nas1"), "--version"}, Until::firstOutput);
               },
           .bare = [] { runProgram({built("nas1_nothing")}, Until::firstOutput); }},
          {.job = "nas1 share list",
           .count = 10000,
           .goal = "40 ms",
           .prepare =
               [] {
                 emptyAppliance();
                 storeShares(10000);
               },
           .library =
               [] {
                 runProgram({built("nas1"), "share", "list"}, Until::end);
               }}};
}
