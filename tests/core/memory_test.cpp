// The tracked allocator: its list has to be right when it is needed, which is when something else went wrong.

#include <cinttypes>

#include "core/memory.h"
#include "frame/appliance.h"

using Memory = ApplianceTest;

// Lets a request that no machine can answer come back as null under address checking, too.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

// What the dump says: the two counters, and its entries.
struct Dump {
  long most = -1;
  long now = -1;
  std::string entries;

  Dump() {
    const std::string text = printed(sysPrintMemLink);
    EXPECT_EQ(2, std::sscanf(text.c_str(), "sysPrintMemLink(max_allocated:%ld current_allocated:%ld)\n", &most, &now));
    entries = text.substr(text.find('\n') + 1);
  }
};

std::string address(const char* format, const void* block) {
  char text[32];
  (void)std::snprintf(text, sizeof text, format, reinterpret_cast<std::uintptr_t>(block));
  return text;
}

}  // namespace

TEST_F(Memory, BlocksComeFilledAndAreListedInOrderUntilFreed) {
  const Dump before;
  void* const first = sysMalloc("first.c", 11, 3);
  void* const adopted = sysTraceBuf("second.c", 22, strdup("intact"), 7);
  void* const last = sysMalloc(std::string(200, 'u').c_str(), 33, 12345);
  EXPECT_EQ(0, std::memcmp("\xCC\xCC\xCC", first, 3));
  EXPECT_EQ(0, std::memcmp("intact", adopted, 7)) << "a block from elsewhere keeps its content";
  const std::string one = "[first.c,11: " + address("%08" PRIXPTR, first) + ",   3] ";
  const std::string two = "[second.c,22: " + address("%08" PRIXPTR, adopted) + ",   7] ";
  const std::string three = "[" + std::string(127, 'u') + ",33: " + address("%08" PRIXPTR, last) + ",12345] ";
  EXPECT_EQ(one + two + three + "\n", Dump().entries);
  EXPECT_EQ(before.now + 12355, Dump().now);
  sysFree("any.c", 1, adopted);
  EXPECT_EQ(one + three + "\n", Dump().entries) << "the middle";
  sysFree("any.c", 1, last);
  sysFree("any.c", 1, first);
  EXPECT_EQ("\n", Dump().entries);
  EXPECT_EQ(before.now, Dump().now);
  EXPECT_LE(before.now + 12355, Dump().most) << "the highest mark stays";
}

TEST_F(Memory, FaultsAreReportedWithTheCallersLineAndHarmNothing) {
  void* const gone = sysMalloc("b.c", 2, 8);
  void* const block = sysMalloc("a.c", 1, 8);
  sysFree("b.c", 3, gone);
  const std::string dump = printed(sysPrintMemLink);
  EXPECT_EQ("MEM_DEBUG[c.c,4]: try to free unallocated memory!ptr=" + address("%08" PRIxPTR, gone) + "\n" + dump,
            printed([&] { sysFree("c.c", 4, gone); }));
  EXPECT_EQ("MEM_DEBUG[c.c,5]: sysFree ptr== NULL\n", printed([] { sysFree("c.c", 5, nullptr); }));
  const volatile std::size_t tooMuch = SIZE_MAX / 2 + 1;  // on a 32-bit machine half of it can be had
  EXPECT_EQ("MEM_DEBUG[a.c,6]: sysMarkBuf ptr== NULL\n",
            printed([&] { EXPECT_EQ(nullptr, sysMalloc("a.c", 6, tooMuch)); }));
  EXPECT_EQ(dump, printed(sysPrintMemLink));
  sysFree("a.c", 8, block);
}
