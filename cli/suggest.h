#pragma once
// The nearest known word to a mistyped one.

#include <string>
#include <vector>

// Returns ", did you mean WORD?" for the nearest of the known words, or an empty text when none is near.
std::string suggestion(const std::string& typed, const std::vector<std::string>& known);
