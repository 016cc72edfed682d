#include "values.h"

#include <cstring>

namespace {

struct Rule {
  Target target;
  const char* refused;  // characters
  const char* reader;   // what would misread them
};

constexpr Rule rules[] = {
    {Target::shareName, "[]%/\\\"", "Samba's share list"},
    {Target::shareName, "$`", "a shell"},
    {Target::sharePath, "$", "the shell that makes the folder"},
    {Target::sharePath, "%\"", "Samba's share list"},
    {Target::exportedPath, " #\"\\", "the NFS server's export list"},
    {Target::exportClient, " #\"\\()", "the NFS server's export list"},
    {Target::setting, "$`\"';|&<>()\\", "a shell"},
};

bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 0x7F;
}

bool hasPart(const std::string& path, const std::string& part) {
  return ("/" + path + "/").find("/" + part + "/") != std::string::npos;
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
      return complain(UNSAFE_VALUE, "the %s holds %c, which %s would misread; %s", what, c, rule.reader, kAdvice);
    }
  }
  if (!value.empty() && value.back() == '\\') {
    return complain(UNSAFE_VALUE, "the %s ends with \\, which would join it to the next line of a file; %s", what,
                    kAdvice);
  }
  const char* const fault = target == Target::sharePath ? pathFault(value) : nullptr;
  if (fault != nullptr) return complain(UNSAFE_VALUE, "the %s %s %s; %s", what, value.c_str(), fault, kAdvice);
  return DONE;
}
