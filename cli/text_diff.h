#pragma once
// What differs between two texts, line by line.

#include <string>
#include <vector>

// Lines in the unified form: "@@ -1,4 +1,5 @@", then " common", "-old", "+new", with three common lines around each
// change. Empty for equal texts.
std::vector<std::string> diffLines(const std::string& before, const std::string& after);
