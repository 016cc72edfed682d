#pragma once
// The state as a document: sorted JSON, a change of one thing being a change of few lines.

#include <string>

#include "errors.h"
#include "state_model.h"

// Passwords only where they are wanted.
std::string writeDocument(const State& state, bool withSecrets);

// Reads a document and checks every value in it: types, sizes, and who would misread it. Complains about the first that
// cannot be, with the place where it stands; fields that it does not know are refused.
ExitCode readDocument(const std::string& content, bool allowUnsafe, State& state);
