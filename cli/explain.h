#pragma once
// nas1 perm explain.

#include "errors.h"

namespace CLI {
class App;
}

void registerExplain(CLI::App& perm, ExitCode& result);
