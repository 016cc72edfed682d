#include "hot_swap.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

std::vector<std::string> listedDisks() {
  std::vector<std::string> devices;
  std::FILE* const file = std::fopen(kHotSwapFile, "re");
  if (file == nullptr) return devices;
  char line[256];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    constexpr char key[] = "disks";
    if (std::strncmp(line, key, sizeof key - 1) != 0) continue;
    // One character, whichever, parts the key from the list; the last list counts.
    devices.clear();
    char* rest = nullptr;
    const char* word = strtok_r(line + std::min(std::strlen(line), sizeof key), " \t\r\n", &rest);
    for (; word != nullptr; word = strtok_r(nullptr, " \t\r\n", &rest))
      devices.emplace_back(std::strncmp(word, "/dev/", 5) == 0 ? word : "");
  }
  (void)std::fclose(file);
  return devices;
}
