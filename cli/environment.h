#pragma once
// The surroundings of every command that the library starts: the same whoever runs nas1, and from wherever.

#include "errors.h"

// Refuses to run with the rights of another user than the caller; then sets PATH, language and file mode, and nothing
// else stays in the environment.
ExitCode fixEnvironment();

// Sets the time zone to the configured one.
void useConfiguredTimeZone();
