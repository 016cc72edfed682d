#include "text_diff.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace {

using Lines = std::vector<std::string_view>;

constexpr std::size_t kContext = 3;
// Comparing every line with every other must stay bearable; beyond it everything counts as replaced.
constexpr std::size_t kMostPairs = 16 << 20;

Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

struct Edit {
  char mark;  // ' ', '-' or '+'
  std::string_view line;
};

// The edits between two runs of lines that have nothing in common at either end.
void addChanged(const Lines& a, const Lines& b, std::vector<Edit>& edits) {
  const std::size_t width = b.size() + 1;
  std::vector<std::uint32_t> common;  // longest common lines from (i, j) to the end
  const bool isBearable = !a.empty() && !b.empty() && a.size() <= kMostPairs / width;
  if (isBearable) {
    common.assign((a.size() + 1) * width, 0);
    for (std::size_t i = a.size(); i-- > 0;) {
      for (std::size_t j = b.size(); j-- > 0;) {
        common[i * width + j] = a[i] == b[j] ? common[(i + 1) * width + j + 1] + 1
                                             : std::max(common[(i + 1) * width + j], common[i * width + j + 1]);
      }
    }
  }
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() || j < b.size()) {
    if (isBearable && i < a.size() && j < b.size() && a[i] == b[j]) {
      edits.push_back({' ', a[i++]});
      ++j;
    } else if (j == b.size() ||
               (i < a.size() && (!isBearable || common[(i + 1) * width + j] >= common[i * width + j + 1]))) {
      edits.push_back({'-', a[i++]});
    } else {
      edits.push_back({'+', b[j++]});
    }
  }
}

std::vector<Edit> editsBetween(Lines a, Lines b) {
  std::vector<Edit> edits;
  std::size_t same = 0;
  while (same < a.size() && same < b.size() && a[same] == b[same]) edits.push_back({' ', a[same++]});
  Lines tail;
  while (a.size() > same && b.size() > same && a.back() == b.back()) {
    tail.push_back(a.back());
    a.pop_back();
    b.pop_back();
  }
  a.erase(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(same));
  b.erase(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(same));
  addChanged(a, b, edits);
  for (; !tail.empty(); tail.pop_back()) edits.push_back({' ', tail.back()});
  return edits;
}

// "3,7": first line and number of lines of one side of a hunk.
std::string range(std::size_t before, std::size_t count) {
  return std::to_string(count == 0 ? before : before + 1) + "," + std::to_string(count);
}

void addHunk(const std::vector<Edit>& edits, std::size_t first, std::size_t end, std::vector<std::string>& out) {
  const auto count = [&](std::size_t from, std::size_t to, char other) {
    return static_cast<std::size_t>(std::count_if(edits.begin() + static_cast<std::ptrdiff_t>(from),
                                                  edits.begin() + static_cast<std::ptrdiff_t>(to),
                                                  [other](const Edit& e) { return e.mark != other; }));
  };
  out.push_back("@@ -" + range(count(0, first, '+'), count(first, end, '+')) + " +" +
                range(count(0, first, '-'), count(first, end, '-')) + " @@");
  for (std::size_t i = first; i < end; ++i) out.push_back(edits[i].mark + std::string(edits[i].line));
}

}  // namespace

std::vector<std::string> diffLines(const std::string& before, const std::string& after) {
  const std::vector<Edit> edits = editsBetween(linesOf(before), linesOf(after));
  std::vector<std::string> out;
  std::size_t i = 0;
  while (i < edits.size()) {
    if (edits[i].mark == ' ') {
      ++i;
      continue;
    }
    const std::size_t first = i > kContext ? i - kContext : 0;
    std::size_t last = i;  // the last change that belongs to this hunk
    for (; i < edits.size() && i <= last + 2 * kContext; ++i) {
      if (edits[i].mark != ' ') last = i;
    }
    const std::size_t end = std::min(last + 1 + kContext, edits.size());
    addHunk(edits, first, end, out);
    i = end;
  }
  return out;
}
