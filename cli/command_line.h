#pragma once
// Carries out one command: NOUN VERB [ARGUMENT...] [OPTION...].

#include <string>
#include <vector>

#include "errors.h"

ExitCode runCommandLine(const std::vector<std::string>& words);
