#pragma once
// Passwords are typed, piped in or read from a file, never given on the command line, where every user sees them.

#include <string>

#include "errors.h"

// readSecret: asks for a password twice on a terminal, else takes the first line of standard input or of a file.
//   what    what the password is for, in the prompt
//   file    empty for the terminal or standard input
//   most    most characters
//   secret  receives the password, which may be empty
// Returns DONE, or USAGE with a complaint.
ExitCode readSecret(const char* what, const std::string& file, std::size_t most, std::string& secret);
