// The library's surface: what it exports is what the list says, and a C program can use it.

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "frame/appliance.h"

extern "C" int useHeaderFromC(void);

TEST(Exports, TheListIsComplete) {
  std::FILE* const nm = popen("nm -D --defined-only " NAS1_LIBRARY, "re");
  ASSERT_NE(nullptr, nm);
  Lines exported;
  char line[512];
  while (std::fgets(line, sizeof line, nm) != nullptr) {
    std::string address;
    std::string type;
    std::string name;
    std::istringstream(line) >> address >> type >> name;
    // Made by the linker, by address checking, and inline parts of the C++ library.
    const bool made = name.starts_with("__") || name.starts_with("_Z") || name == "_init" || name == "_fini" ||
                      name == "_edata" || name == "_end";
    if (!made) exported.push_back(name);
  }
  ASSERT_EQ(0, pclose(nm));
  std::sort(exported.begin(), exported.end());
  EXPECT_EQ(readLines(NAS1_SOURCE_DIR "/src/api/exports.txt"), exported);
}

TEST(Header, ServesACProgram) { EXPECT_EQ(0, useHeaderFromC()); }
