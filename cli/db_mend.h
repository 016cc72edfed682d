#pragma once
// Records that do not fit together are mended through the library where it can.

#include <string>

#include "db_check.h"

// What is done about a finding, before it is done.
const char* remedy(Rule rule);

// Mends a finding. `done` receives what was done, or what is left to the user. Returns false when it failed.
bool mend(const Finding& finding, std::string& done);
