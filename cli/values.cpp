#include "values.h"

#include <algorithm>
#include <cstring>

namespace {

struct Rule {
  Target target;
  const char* refused;  // characters
  const char* reader;   // what would misread them
};

constexpr char kExportList[] = "the NFS server's export list";

constexpr Rule rules[] = {
    {Target::shareName, "[]%/\\\"", "Samba's share list"},
    {Target::shareName, "$`", "a shell"},
    {Target::sharePath, "$", "the shell that makes the folder"},
    {Target::sharePath, "%\"", "Samba's share list"},
    {Target::exportedPath, " (\"", kExportList},
    {Target::exportClient, " ()\"", kExportList},
    {Target::setting, "$`\"';|&<>()\\", "a shell"},
};

bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 0x7F;
}

bool hasPart(const std::string& path, const std::string& part) {
  return ("/" + path + "/").find("/" + part + "/") != std::string::npos;
}

// The export list may spell a character as a backslash and its number.
bool hasOctalSpelling(const std::string& path) {
  for (std::size_t at = path.find('\\'); at != std::string::npos; at = path.find('\\', at + 1)) {
    if (std::min(path.find_first_not_of("01234567", at + 1), path.size()) - at > 3) return true;
  }
  return false;
}

const char* pathFault(const std::string& path) {
  if (hasPart(path, "..")) return "leads upwards with \"..\"";
  // Deleting a share removes its folder: the root and what stands directly below it belong to the system.
  const std::size_t first = path.find_first_not_of('/');
  const std::size_t slash = first == std::string::npos ? first : path.find('/', first);
  if (slash == std::string::npos || path.find_first_not_of('/', slash) == std::string::npos) {
    return "is a folder of the system, not one on a volume";
  }
  return nullptr;
}

constexpr char kAdvice[] = "choose another value, or give --allow-unsafe";

}  // namespace

ExitCode checkSafe(Target target, const char* what, const std::string& value, bool allowUnsafe) {
  if (allowUnsafe) return DONE;
  for (const char c : value) {
    if (isControl(c))
      return complain(UNSAFE_VALUE, "the %s holds the control character 0x%02X; %s", what, c & 0xFF, kAdvice);
    for (const Rule& rule : rules) {
      if (rule.target != target || std::strchr(rule.refused, c) == nullptr) continue;
      const char shown[] = {c, '\0'};
      return complain(UNSAFE_VALUE, "the %s holds %s, which %s would misread; %s", what, c == ' ' ? "a blank" : shown,
                      rule.reader, kAdvice);
    }
  }
  if (!value.empty() && value.back() == '\\') {
    return complain(UNSAFE_VALUE, "the %s ends with \\, which would join it to the next line of a file; %s", what,
                    kAdvice);
  }
  if (target == Target::exportedPath && hasOctalSpelling(value)) {
    return complain(UNSAFE_VALUE, "the %s holds \\ and three digits, which %s would take for one character; %s", what,
                    kExportList, kAdvice);
  }
  const char* const fault = target == Target::sharePath ? pathFault(value) : nullptr;
  if (fault != nullptr) return complain(UNSAFE_VALUE, "the %s %s %s; %s", what, value.c_str(), fault, kAdvice);
  return DONE;
}
