// Threads that share the list of tracked blocks, watched by ThreadSanitizer; it ends the program with 66 when it sees a
// race.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "core/memory.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2000;

void takeAndGiveBack(int thread) {
  for (int i = 0; i < kRounds; ++i) {
    void* const one = sysMalloc("thread.c", thread, 16);
    void* const other = sysTraceBuf("thread.c", thread, std::malloc(32), 32);
    if (i % 500 == 0) sysPrintMemLink();
    sysFree("thread.c", thread, one);
    sysFree("thread.c", thread, other);
  }
}

// The last dump of those in a file.
std::string lastDump(const char* path) {
  sysPrintMemLink();
  (void)std::fflush(stdout);
  std::string text(1 << 20, '\0');
  std::FILE* const file = std::fopen(path, "r");
  if (file == nullptr) return "";
  text.resize(std::fread(text.data(), 1, text.size(), file));
  (void)std::fclose(file);
  const std::size_t at = text.rfind("sysPrintMemLink(");
  return at == std::string::npos ? "" : text.substr(at);
}

}  // namespace

int main() {
  char path[] = "/tmp/allocator_threads.XXXXXX";
  if (mkstemp(path) < 0 || std::freopen(path, "w", stdout) == nullptr) return 1;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(takeAndGiveBack, t);
  for (std::thread& thread : threads) thread.join();

  const std::string dump = lastDump(path);
  (void)std::remove(path);
  const bool isEmpty = dump.ends_with("current_allocated:0)\n\n");
  if (!isEmpty) (void)std::fprintf(stderr, "blocks are left: %s", dump.c_str());
  return isEmpty ? 0 : 1;
}
