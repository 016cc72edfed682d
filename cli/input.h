#pragma once
// Files that a command reads whole.

#include <string>

#include "errors.h"

// Reads a file, or standard input when it is called "-". Complains about one that cannot be read.
ExitCode readInput(const std::string& file, std::string& content);
