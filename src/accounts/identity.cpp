#include "accounts/identity.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "events/event_log.h"

static constexpr char kUnit[] = "uid";
static constexpr const char* kStartKeys[KIND_COUNT] = {"UID_START", "GID_START"};
static constexpr auto kRange = static_cast<std::uint32_t>(kIdentityRange);

namespace {

// What the segment says about one kind, or what a walk over the account file found.
struct Identities {
  int count = 0;
  std::uint32_t next = 0;  // index to try first; 0: not loaded
  std::uint8_t* bitmap = nullptr;

  void mark(std::uint32_t index) {
    bitmap[index] = 1;
    ++count;
    if (next <= index) next = index + 1;
  }
};

int clampedCount(std::int32_t count) { return std::clamp(count, 0, kIdentityRange); }

// Next index and count as they stand; a reader takes no lock.
bool readLoaded(ItemKind kind, int* count) {
  const AttachedSegment<IdentitySegment> segment(PROTO_SYSTEM);
  if (segment.data == nullptr) return false;
  *count = clampedCount(segment.data->counts[kind]);
  return segment.data->nextIndexes[kind] != 0;
}

std::uint32_t configuredStart(ItemKind kind) {
  std::uint32_t start = 0;
  (void)NasGetConfig(kStartKeys[kind], sizeof start, &start, nullptr);
  return start;
}

// Marks the id of every record of the account file. False when the file turns out to be damaged: ids of records that
// were not reached would be handed out again.
bool collect(ItemKind kind, const RecordFile& accounts, Identities* found) {
  const ItemLayout& layout = itemLayouts[kind];
  bool whole = true;
  walkKeys(kUnit, __LINE__, accounts, [&](const FetchedValue& key) {
    const FetchedValue value(kUnit, __LINE__, gdbm_fetch(accounts.handle, key.asDatum()));
    whole = !value.unreadable;
    if (!whole) return false;
    const char* const item = itemIn(layout, value.data, value.bytes);
    if (item == nullptr) return true;
    const std::uint32_t index = itemWord(item, layout.id) - static_cast<std::uint32_t>(kFirstId);
    if (index < kRange) found->mark(index);
    return true;
  });
  return whole && gdbm_last_errno(accounts.handle) == GDBM_ITEM_NOT_FOUND;
}

// Puts what was found into the segment, unless another process has loaded it meanwhile: its newer marks are kept.
int publish(ItemKind kind, const Identities& found) {
  const SegmentLock<IdentitySegment> segment(PROTO_SYSTEM);
  if (segment.data == nullptr) return 0;
  if (segment.data->nextIndexes[kind] != 0) return clampedCount(segment.data->counts[kind]);
  std::memcpy(segment.data->bitmaps[kind], found.bitmap, kRange);
  segment.data->counts[kind] = found.count;
  segment.data->nextIndexes[kind] = found.next < kRange ? found.next : 0;
  return found.count;
}

// Makes sure that the bitmap of a kind is loaded. `held` is the account file where the caller has it open: it must not
// be opened twice. Returns false when the file cannot be opened or read.
bool load(ItemKind kind, const RecordFile* held, int* count) {
  if (readLoaded(kind, count)) return true;
  *count = 0;
  const TrackedBuffer bitmap(kUnit, __LINE__, kRange);
  if (bitmap.data == nullptr) return false;
  std::memset(bitmap.data, 0, kRange);
  Identities found = {.next = configuredStart(kind), .bitmap = static_cast<std::uint8_t*>(bitmap.data)};
  // The walk comes before the lock, which holds others off for no more than 10 ms; the file stays open to the end, so
  // that nothing is stored between the walk and the lock.
  std::optional<RecordFile> opened;
  if (held == nullptr) {
    opened.emplace(itemLayouts[kind].file, Access::walk);
  } else {
    mapFile(held->handle);
  }
  const RecordFile& accounts = held != nullptr ? *held : *opened;
  if (accounts.handle == nullptr || !collect(kind, accounts, &found)) return false;
  *count = publish(kind, found);
  return true;
}

// Marks an id as taken. Atomic: the segment's lock gives way after 10 ms, and no id may ever be handed out twice.
bool take(IdentitySegment* segment, ItemKind kind, std::uint32_t index) {
  return __atomic_exchange_n(&segment->bitmaps[kind][index], std::uint8_t{1}, __ATOMIC_SEQ_CST) == 0;
}

// The hint first, then the lowest free index; kRange when there is none.
std::uint32_t takeFree(IdentitySegment* segment, ItemKind kind) {
  const std::uint32_t hint = segment->nextIndexes[kind];
  if (hint < kRange && take(segment, kind, hint)) return hint;
  std::uint8_t* const bitmap = segment->bitmaps[kind];
  for (std::uint32_t index = 0; index < kRange; ++index) {
    if (bitmap[index] == 0 && take(segment, kind, index)) return index;
  }
  return kRange;
}

}  // namespace

int allocateId(ItemKind kind, const RecordFile* held) {
  int loaded = 0;
  if (!load(kind, held, &loaded)) return kIdOverflow;
  std::uint32_t index = kRange;
  {
    const SegmentLock<IdentitySegment> segment(PROTO_SYSTEM);
    if (segment.data == nullptr) return kIdOverflow;
    index = takeFree(segment.data, kind);
    if (index < kRange) {
      (void)__atomic_add_fetch(&segment.data->counts[kind], 1, __ATOMIC_SEQ_CST);
      // 0 also says that the bitmap is not loaded, so a hint that wraps has the next call rebuild it.
      segment.data->nextIndexes[kind] = index + 1 < kRange ? index + 1 : 0;
    }
  }
  if (index == kRange) {
    (void)nas1_log(2, 2, "UID_GID[%d] overflow!", kind);
    return kIdOverflow;
  }
  return kFirstId + static_cast<int>(index);
}

void rememberId(ItemKind kind, int id) {
  // Kept: not wrapped, unlike the hint; reading it back for a rebuild turns 32212 into 0.
  const auto start = static_cast<std::uint32_t>(id - kFirstId + 1);
  (void)NasSetConfig(kStartKeys[kind], sizeof start, &start);
}

int freeId(ItemKind kind, std::uint32_t id, const RecordFile* held) {
  const std::uint32_t index = id - static_cast<std::uint32_t>(kFirstId);
  if (index >= kRange) return -1;
  int loaded = 0;
  if (!load(kind, held, &loaded)) return 0;
  std::uint8_t was = 0;
  {
    const SegmentLock<IdentitySegment> segment(PROTO_SYSTEM);
    if (segment.data == nullptr) return 0;
    std::uint8_t* const mark = &segment.data->bitmaps[kind][index];
    was = 1;
    const bool freed =
        __atomic_compare_exchange_n(mark, &was, std::uint8_t{0}, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
    if (freed) (void)__atomic_sub_fetch(&segment.data->counts[kind], 1, __ATOMIC_SEQ_CST);
    if (freed) return 0;
  }
  (void)nas1_log(0, 2, "Del UID_GID[%d][%d]=%d Errors!", kind, static_cast<int>(index), was);
  return 0;
}

extern "C" int sysItemCount(int kind) {
  if (static_cast<unsigned>(kind) >= KIND_COUNT) return 0;
  int count = 0;
  (void)load(static_cast<ItemKind>(kind), nullptr, &count);
  return count;
}

extern "C" int Nas1DelUidGid(int kind, int id) {
  if (static_cast<unsigned>(kind) >= KIND_COUNT) return -1;
  return freeId(static_cast<ItemKind>(kind), static_cast<std::uint32_t>(id), nullptr);
}
