#pragma once
// The words of a line, as in a shell: parted by blanks and tabs. A word may be quoted, whole or in part, in '...' (all
// as it is) or "..." (a backslash takes a quote or a backslash as it is); elsewhere a backslash takes any character as
// it is. A # at the beginning of a word makes the rest of the line a comment.

#include <string>
#include <vector>

// Returns false for a quote that is not closed, or a backslash with nothing behind it.
bool splitWords(const std::string& line, std::vector<std::string>& words);
