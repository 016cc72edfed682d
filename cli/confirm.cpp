#include "confirm.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "calls.h"

bool isConfirmed(bool yes) {
  if (yes || isDryRun() || isatty(STDIN_FILENO) != 1) return true;
  (void)std::fputs("Go on? [y/N] ", stderr);
  std::string answer;
  return std::getline(std::cin, answer) && (answer == "y" || answer == "yes");
}
