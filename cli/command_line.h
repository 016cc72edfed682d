#pragma once
// Carries out one command: NOUN VERB [ARGUMENT...] [OPTION...].

#include <string>
#include <vector>

#include "errors.h"

// Complains about a command that would not be understood; nothing is carried out.
ExitCode checkCommandLine(const std::vector<std::string>& words);

ExitCode runCommandLine(const std::vector<std::string>& words);
