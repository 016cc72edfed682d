#include "protocols.h"

#include <strings.h>

#include <vector>

#include "suggest.h"

// "cifs, nfs and ncp"
static std::string enumerated(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
    text += names[i];
  }
  return text;
}

ExitCode findProtocol(std::span<const Protocol> known, const char* has, const std::string& word,
                      const Protocol*& protocol) {
  std::vector<std::string> names;
  for (const Protocol& candidate : known) {
    names.emplace_back(candidate.name);
    protocol = &candidate;
    if (strcasecmp(candidate.name, word.c_str()) == 0) return DONE;
  }
  return complain(UNKNOWN_OBJECT, "no protocol %s has %s%s; %s have one", word.c_str(), has,
                  suggestion(word, names).c_str(), enumerated(names).c_str());
}
