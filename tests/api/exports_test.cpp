// The library's surface: what it exports is what the list says, and a C program can use it.

#include "frame/appliance.h"

extern "C" int useHeaderFromC(void);

TEST(Exports, TheListIsComplete) {
  std::FILE* const nm = popen("nm -D --defined-only " NAS1_LIBRARY, "re");
  ASSERT_NE(nullptr, nm);
  Lines exported;
  char symbol[256];
  while (std::fscanf(nm, "%*s %*s %255s", symbol) == 1) {
    const std::string name = symbol;
    // Made by the linker or by address checking, and inline parts of the C++ library.
    const bool made = name.starts_with("__") || name.starts_with("_Z") || name == "_init" || name == "_fini";
    if (!made) exported.push_back(name);
  }
  ASSERT_EQ(0, pclose(nm));
  std::sort(exported.begin(), exported.end());
  EXPECT_EQ(readLines(NAS1_SOURCE_DIR "/src/api/exports.txt"), exported);
}

TEST(Header, ServesACProgram) { EXPECT_EQ(0, useHeaderFromC()); }
