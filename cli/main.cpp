// nas1: shares, accounts, settings, connections and log of the appliance from the command line.
//   nas1 NOUN VERB [ARGUMENT...] [OPTION...]

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "command_line.h"
#include "environment.h"
#include "errors.h"
#include "plan_copy.h"

static ExitCode run(const std::vector<std::string>& words) {
  if (const ExitCode fault = fixEnvironment(); fault != DONE) return fault;
  if (!words.empty() && !words[0].starts_with('-')) useConfiguredTimeZone();
  const ExitCode result = runCommandLine(words);
  // A listing that could not be written whole must not look like a short one.
  if (std::fflush(stdout) != 0) return complain(LIBRARY_FAILED, "the output could not be written");
  return result;
}

int main(int argc, char** argv) {
  if (isShellOfCopy(argc, argv)) return runAsShellOfCopy(argv[2]);
  try {
    return run({argv + std::min(argc, 1), argv + argc});
  } catch (const std::exception& error) {
    return complain(LIBRARY_FAILED, "nas1 cannot go on: %s", error.what());
  }
}
