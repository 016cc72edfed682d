#pragma once
// Values that would be misread further on: the library hands texts to shell commands and daemon files as they are.

#include <string>

#include "errors.h"

// Where a value ends up.
enum class Target { shareName, shareComment, sharePath, exportedPath, exportClient, setting, freeText };

// Returns DONE for a value that is safe there, or when unsafe ones are allowed; else complains, naming the character
// and what would misread it.
//   what   the value's name in the complaint
//   value  looked at byte by byte: a second byte of a double-byte character counts like any other, as it does for the
//          programs that read it
ExitCode checkSafe(Target target, const char* what, const std::string& value, bool allowUnsafe);
