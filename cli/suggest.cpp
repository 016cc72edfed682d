#include "suggest.h"

#include <algorithm>
#include <cctype>

namespace {

char folded(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// How many letters have to be changed, added, left out or swapped with their neighbour; case does not count.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> beforeLast, last(b.size() + 1), current(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = folded(a[i - 1]) == folded(b[j - 1]);
      current[j] = std::min({last[j] + 1, current[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      const bool swapped =
          i > 1 && j > 1 && folded(a[i - 1]) == folded(b[j - 2]) && folded(a[i - 2]) == folded(b[j - 1]);
      if (swapped) current[j] = std::min(current[j], beforeLast[j - 2] + 1);
    }
    beforeLast = last;
    last = current;
  }
  return last[b.size()];
}

}  // namespace

std::string suggestion(const std::string& typed, const std::vector<std::string>& known) {
  const std::string* nearest = nullptr;
  // A third of the letters may be wrong: beyond that it is a guess.
  std::size_t least = std::max<std::size_t>(typed.size() / 3, 1) + 1;
  for (const std::string& word : known) {
    const std::size_t letters = distance(typed, word);
    if (letters >= least) continue;
    least = letters;
    nearest = &word;
  }
  return nearest == nullptr ? "" : ", did you mean " + *nearest + "?";
}
