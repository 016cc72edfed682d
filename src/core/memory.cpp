#include "core/memory.h"

#include <pthread.h>
#include <sys/single_threaded.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "core/critical.h"

namespace {

struct AllocationRecord {
  std::uint32_t size;  // bytes asked for
  void* block;
  char file[128];  // the caller's unit, NUL-terminated
  std::int32_t line;
  AllocationRecord* next;
};

AllocationRecord* head = nullptr;
AllocationRecord* tail = nullptr;
std::int32_t current_allocated = 0;  // bytes
std::int32_t max_allocated = 0;      // bytes
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

// A process without threads goes without the mutex: a walk over a record file would take it four times a record.
struct Locked {
  const bool shared = __libc_single_threaded == 0;

  Locked() {
    if (shared) sysEnterCritical(&mutex);
  }
  ~Locked() {
    if (shared) sysExitCritical(&mutex);
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
};

// Records of freed blocks, kept for the next ones: a walk over a record file lists and frees two blocks a record.
constexpr int kMostSpare = 16;
AllocationRecord* spare = nullptr;
int spareCount = 0;

AllocationRecord* takeRecord() {
  if (spare == nullptr) return static_cast<AllocationRecord*>(std::malloc(sizeof(AllocationRecord)));
  AllocationRecord* const record = spare;
  spare = record->next;
  --spareCount;
  return record;
}

void giveBackRecord(AllocationRecord* record) {
  if (spareCount == kMostSpare) {
    std::free(record);
    return;
  }
  record->next = spare;
  spare = record;
  ++spareCount;
}

// Lists a block at the tail; false when there is no memory for the record. Called with the mutex held.
bool append(const char* file, int line, void* block, std::size_t size) {
  AllocationRecord* const record = takeRecord();
  if (record == nullptr) {
    std::printf("MEM_DEBUG[%s,%d]: sysMarkBuf t== NULL\n", file, line);
    return false;
  }
  current_allocated += static_cast<std::int32_t>(size);
  if (current_allocated > max_allocated) max_allocated = current_allocated;

  record->size = static_cast<std::uint32_t>(size);
  record->block = block;
  const std::size_t fileLength = strnlen(file, sizeof record->file - 1);
  std::memcpy(record->file, file, fileLength);
  record->file[fileLength] = '\0';
  record->line = line;
  record->next = nullptr;
  if (head == nullptr) {
    head = record;
  } else {
    tail->next = record;
  }
  tail = record;
  return true;
}

// Takes a block off the list; null when it is not there, else its record. Called with the mutex held.
AllocationRecord* unlink(const void* block) {
  AllocationRecord* previous = nullptr;
  for (AllocationRecord* record = head; record != nullptr; previous = record, record = record->next) {
    if (record->block != block) continue;
    (previous == nullptr ? head : previous->next) = record->next;
    if (tail == record) tail = previous;
    return record;
  }
  return nullptr;
}

}  // namespace

extern "C" void* sysMalloc(const char* file, int line, std::size_t size) {
  const Locked locked;
  void* const block = std::malloc(size);
  if (block == nullptr) {
    std::printf("MEM_DEBUG[%s,%d]: sysMarkBuf ptr== NULL\n", file, line);
    return nullptr;
  }
  if (!append(file, line, block, size)) {
    std::free(block);
    return nullptr;
  }
  return std::memset(block, 0xCC, size);
}

extern "C" void* sysTraceBuf(const char* file, int line, void* block, std::size_t size) {
  const Locked locked;
  if (block == nullptr) {
    std::printf("MEM_DEBUG[%s,%d]: sysMarkBuf ptr== NULL\n", file, line);
    return nullptr;
  }
  if (!append(file, line, block, size)) {
    std::free(block);
    return nullptr;
  }
  return block;
}

// Takes a block off the list and frees it; its size, nothing when it is not on the list. Called with the mutex held.
static std::optional<std::uint32_t> release(void* block) {
  AllocationRecord* const record = unlink(block);
  if (record == nullptr) return std::nullopt;
  const std::uint32_t size = record->size;
  giveBackRecord(record);
  std::free(block);
  return size;
}

extern "C" void sysFree(const char* file, int line, void* block) {
  bool dump = false;
  {
    const Locked locked;
    if (block == nullptr) {
      std::printf("MEM_DEBUG[%s,%d]: sysFree ptr== NULL\n", file, line);
      return;
    }
    const auto size = release(block);
    if (size && static_cast<std::uint32_t>(current_allocated) < *size) {
      std::printf("MEM_DEBUG[%s,%d]: sysFree, memory lost, free more than allocated.\n", file, line);
    } else if (size) {
      current_allocated -= static_cast<std::int32_t>(*size);
    } else if (head != nullptr) {
      std::printf("MEM_DEBUG[%s,%d]: try to free unallocated memory!ptr=%08" PRIxPTR "\n", file, line,
                  reinterpret_cast<std::uintptr_t>(block));
      dump = true;
    }
  }
  // The dump takes the mutex itself.
  if (dump) sysPrintMemLink();
}

extern "C" void sysPrintMemLink() {
  std::int32_t most;
  std::int32_t now;
  {
    const Locked locked;
    most = max_allocated;
    now = current_allocated;
  }
  std::printf("sysPrintMemLink(max_allocated:%d current_allocated:%d)\n", most, now);
  const Locked locked;
  for (const AllocationRecord* record = head; record != nullptr; record = record->next) {
    std::printf("[%s,%d: %08" PRIXPTR ",%4d] ", record->file, record->line,
                reinterpret_cast<std::uintptr_t>(record->block), static_cast<int>(record->size));
  }
  std::printf("\n");
}
