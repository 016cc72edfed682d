#include "init/init.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

// Under address checking: behind the outer half's unshare the leak checker can no longer start the thread it needs.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

int notPossible(const char* what) {
  std::fprintf(stderr, "appliance: %s is not possible here: %s\n", what, std::strerror(errno));
  return kNotPossible;
}

void become(char** command) {
  (void)execvp(command[0], command);
  const int reason = errno;
  std::fprintf(stderr, "appliance: cannot run %s: %s\n", command[0], std::strerror(reason));
  _exit(reason == ENOENT ? 127 : 126);
}

int main(int argc, char** argv) {
  if (argc > 2 && std::strcmp(argv[1], "outside") == 0) return runOutside(argv + 2);
  if (argc > 2 && std::strcmp(argv[1], "inside") == 0) return runInside(argv + 2);
  std::fprintf(stderr, "usage: appliance-init outside|inside COMMAND [ARGUMENT...]; appliance/enter calls it\n");
  return kNotPossible;
}
