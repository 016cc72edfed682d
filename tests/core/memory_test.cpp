// The tracked allocator: its list has to be right when it is needed, which is when something else went wrong.

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "core/memory.h"
#include "frame/appliance.h"

using Memory = ApplianceTest;

// Lets a request that no machine can answer come back as null under address checking, too.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

struct Counters {
  long most = -1;
  long now = -1;
};

Counters counters() {
  Counters read;
  const std::string text = printed(sysPrintMemLink);
  EXPECT_EQ(2, std::sscanf(text.c_str(), "sysPrintMemLink(max_allocated:%ld current_allocated:%ld)\n", &read.most,
                           &read.now));
  return read;
}

std::string format(const char* pattern, const void* block) {
  char text[64];
  (void)std::snprintf(text, sizeof text, pattern, reinterpret_cast<std::uintptr_t>(block));
  return text;
}

// The dump's entries, without its first line.
std::string listed() {
  const std::string text = printed(sysPrintMemLink);
  return text.substr(text.find('\n') + 1);
}

}  // namespace

TEST_F(Memory, BlocksComeFilledAndAreListedInOrderUntilFreed) {
  const Counters before = counters();
  auto* const first = static_cast<unsigned char*>(sysMalloc("first.c", 11, 3));
  void* const adopted = sysTraceBuf("second.c", 22, std::memcpy(std::malloc(7), "kept it", 7), 7);
  void* const last = sysMalloc(std::string(200, 'u').c_str(), 33, 12345);
  EXPECT_EQ(std::string(3, '\xCC'), std::string(reinterpret_cast<char*>(first), 3));
  EXPECT_EQ(0, std::memcmp("kept it", adopted, 7)) << "a block from elsewhere keeps its content";

  const std::string one = "[first.c,11: " + format("%08" PRIXPTR, first) + ",   3] ";
  const std::string two = "[second.c,22: " + format("%08" PRIXPTR, adopted) + ",   7] ";
  const std::string three = "[" + std::string(127, 'u') + ",33: " + format("%08" PRIXPTR, last) + ",12345] ";
  EXPECT_EQ(one + two + three + "\n", listed());
  EXPECT_EQ(before.now + 12355, counters().now);

  sysFree("any.c", 1, adopted);
  EXPECT_EQ(one + three + "\n", listed()) << "the middle";
  sysFree("any.c", 1, last);
  EXPECT_EQ(one + "\n", listed()) << "the tail";
  void* const appended = sysMalloc("third.c", 44, 1);
  sysFree("any.c", 1, first);
  EXPECT_EQ("[third.c,44: " + format("%08" PRIXPTR, appended) + ",   1] \n", listed()) << "the head";
  sysFree("any.c", 1, appended);
  EXPECT_EQ("\n", listed());
  EXPECT_EQ(before.now, counters().now);
  EXPECT_LE(before.now + 12355, counters().most) << "the highest mark stays";
}

TEST_F(Memory, AWrongFreeIsReportedAndHarmsNothing) {
  void* const block = sysMalloc("a.c", 1, 8);
  void* const gone = sysMalloc("b.c", 2, 8);
  sysFree("b.c", 3, gone);
  const Counters before = counters();
  const std::string dump = printed(sysPrintMemLink);
  const std::string report =
      "MEM_DEBUG[c.c,4]: try to free unallocated memory!ptr=" + format("%08" PRIxPTR, gone) + "\n";
  EXPECT_EQ(report + dump, printed([&] { sysFree("c.c", 4, gone); }));
  EXPECT_EQ("MEM_DEBUG[c.c,5]: sysFree ptr== NULL\n", printed([] { sysFree("c.c", 5, nullptr); }));
  EXPECT_EQ(before.now, counters().now);
  sysFree("a.c", 6, block);
  EXPECT_EQ("", printed([&] { sysFree("c.c", 7, block); })) << "nothing is listed at all";
}

TEST_F(Memory, MissingMemoryIsReportedWithTheCallersLine) {
  void* block = &block;
  const volatile std::size_t tooMuch = SIZE_MAX / 2;
  EXPECT_EQ("MEM_DEBUG[a.c,1]: sysMarkBuf ptr== NULL\n", printed([&] { block = sysMalloc("a.c", 1, tooMuch); }));
  EXPECT_EQ(nullptr, block);
  EXPECT_EQ("MEM_DEBUG[a.c,2]: sysMarkBuf ptr== NULL\n", printed([] { (void)sysTraceBuf("a.c", 2, nullptr, 4); }));
  EXPECT_EQ("\n", listed());
}

TEST_F(Memory, ThreadsShareOneList) {
  const Counters before = counters();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 2000; ++i) {
        void* const one = sysMalloc("thread.c", t, 16);
        void* const two = sysMalloc("thread.c", t, 32);
        sysFree("thread.c", t, one);
        sysFree("thread.c", t, two);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ("\n", listed());
  EXPECT_EQ(before.now, counters().now);
}
