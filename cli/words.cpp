#include "words.h"

namespace {

constexpr char kBlanks[] = " \t\r";

// Appends what stands between quotes; `at` is behind the opening one and moves behind the closing one.
bool takeQuoted(const std::string& line, char quote, std::size_t& at, std::string& word) {
  for (; at < line.size(); ++at) {
    if (line[at] == quote) {
      ++at;
      return true;
    }
    const bool escaped =
        quote == '"' && line[at] == '\\' && at + 1 < line.size() && (line[at + 1] == '"' || line[at + 1] == '\\');
    if (escaped) ++at;
    word += line[at];
  }
  return false;
}

}  // namespace

bool splitWords(const std::string& line, std::vector<std::string>& words) {
  words.clear();
  for (std::size_t at = line.find_first_not_of(kBlanks); at < line.size(); at = line.find_first_not_of(kBlanks, at)) {
    if (line[at] == '#') return true;
    std::string& word = words.emplace_back();
    while (at < line.size() && std::string(kBlanks).find(line[at]) == std::string::npos) {
      const char c = line[at++];
      if (c == '\'' || c == '"') {
        if (!takeQuoted(line, c, at, word)) return false;
      } else if (c == '\\') {
        if (at == line.size()) return false;
        word += line[at++];
      } else {
        word += c;
      }
    }
  }
  return true;
}
