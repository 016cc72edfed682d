#include "db_identities.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <nas1api.h>

#include <atomic>
#include <cstdint>

#include "record_layouts.h"

namespace {

struct IdentityMemory {
  char* start = nullptr;

  // The memory is left alone when it is not there or is not what it should be.
  explicit IdentityMemory(int mode) {
    const key_t key = ftok(layout::kIdentityPath, layout::kIdentityProject);
    const int id = key == -1 ? -1 : shmget(key, layout::kTakenIds[1] + layout::kIdCount, 0);
    void* const attached = id < 0 ? nullptr : shmat(id, nullptr, mode);
    if (reinterpret_cast<std::intptr_t>(attached) != -1) start = static_cast<char*>(attached);
  }
  ~IdentityMemory() {
    if (start != nullptr) (void)shmdt(start);
  }
  IdentityMemory(const IdentityMemory&) = delete;
  IdentityMemory& operator=(const IdentityMemory&) = delete;

  [[nodiscard]] std::atomic_ref<std::uint32_t> nextIndex(int kind) const {
    return std::atomic_ref(*reinterpret_cast<std::uint32_t*>(start + layout::kNextIndex[kind]));
  }
};

}  // namespace

void readTakenIds(TakenIds (&taken)[2]) {
  const IdentityMemory memory(SHM_RDONLY);
  for (int kind = 0; kind < 2; ++kind) {
    taken[kind].isLoaded = memory.start != nullptr && memory.nextIndex(kind).load() != 0;
    if (!taken[kind].isLoaded) continue;
    const char* const ids = memory.start + layout::kTakenIds[kind];
    taken[kind].ids.resize(layout::kIdCount);
    for (unsigned i = 0; i < layout::kIdCount; ++i) taken[kind].ids[i] = ids[i] != 0;
  }
}

void offerId(int kind, std::uint32_t id) {
  const std::uint32_t index = id - layout::kFirstId;
  if (index >= layout::kIdCount) return;
  const IdentityMemory memory(0);
  if (memory.start != nullptr && memory.nextIndex(kind).load() != 0) {
    // 0 would mean that nothing is filled; an index behind the last one has the lowest free number taken.
    memory.nextIndex(kind).store(index != 0 ? index : layout::kIdCount);
  } else {
    (void)NasSetConfig(kind == 0 ? "UID_START" : "GID_START", sizeof index, &index);
  }
}

void forgetTakenIds() {
  const IdentityMemory memory(0);
  if (memory.start == nullptr) return;
  for (int kind = 0; kind < 2; ++kind) memory.nextIndex(kind).store(0);
}
