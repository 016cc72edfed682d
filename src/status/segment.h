#pragma once
// The System V shared-memory segments: one per protocol 0 to 4, all of one size. Those of the file protocols hold the
// connection table; that of protocol 0 holds the numeric-id allocation and the status words.

#include <cstddef>
#include <cstdint>

#include "api/nas1api.h"

inline constexpr int kSegmentCount = 5;
inline constexpr std::size_t kSegmentSize = 213064;  // bytes
inline constexpr int kIdentityRange = 32212;         // ids of one kind

// Segments of protocols 1 to 4.
struct ConnectionSegment {
  std::uint32_t lock;  // 0 free, 1 held
  std::int32_t count;  // records in use, at the front of the array; clamp before use
  std::uint8_t reserved[64];
  ConnectionRecord records[CONNECTION_MAX];
};
static_assert(offsetof(ConnectionSegment, count) == 4);
static_assert(offsetof(ConnectionSegment, records) == 72);
static_assert(sizeof(ConnectionSegment) == kSegmentSize);

// The segment of protocol 0. Kinds: 0 user, 1 group.
struct IdentitySegment {
  std::uint32_t lock;                       // 0 free, 1 held
  std::int32_t counts[2];                   // ids taken, by kind; clamp before use
  std::uint32_t hardwareEventStatus;        // HW_EVENT_STATUS
  std::uint32_t fileSystemStatus;           // FILESYSTEM_STATUS
  std::uint32_t nextIndexes[2];             // index to try first, by kind; 0: bitmap not loaded; check before use
  std::uint8_t reserved[44];                // zero
  std::uint8_t bitmaps[2][kIdentityRange];  // by kind; 1: taken
};
static_assert(offsetof(IdentitySegment, counts) == 4);
static_assert(offsetof(IdentitySegment, hardwareEventStatus) == 12);
static_assert(offsetof(IdentitySegment, fileSystemStatus) == 16);
static_assert(offsetof(IdentitySegment, nextIndexes) == 20);
static_assert(offsetof(IdentitySegment, bitmaps) == 72);
static_assert(sizeof(IdentitySegment) == 72 + 2 * kIdentityRange && sizeof(IdentitySegment) <= kSegmentSize);

#pragma GCC visibility push(default)
extern "C" {

// Returns a protocol's segment, made and attached on first use; null for a protocol without one and on failure, which
// is in the system log. Takes no lock. Detach before the same protocol is locked.
void* sysAttachShareMem(int protocol);

// Detaches a protocol's segment if it is attached.
void sysDeAttachShareMem(int protocol);

// Attaches a protocol's segment and takes its lock word, for at most about 10 ms: after that the holder counts as dead.
// A segment that this process has already attached is returned without taking the lock: calls do not nest.
void* sysLockShareMem(int protocol);

// Frees the lock word of an attached segment and detaches it.
void sysUnlockShareMem(int protocol);
}
#pragma GCC visibility pop

// A segment attached for reading; data is null when there is none.
template <typename Layout>
struct AttachedSegment {
  const int protocol;
  const Layout* const data;

  explicit AttachedSegment(int p) : protocol(p), data(static_cast<const Layout*>(sysAttachShareMem(p))) {}
  ~AttachedSegment() {
    if (data != nullptr) sysDeAttachShareMem(protocol);
  }
  AttachedSegment(const AttachedSegment&) = delete;
  AttachedSegment& operator=(const AttachedSegment&) = delete;
};

// A segment attached and locked for changes; data is null when there is none. Hold it briefly: see sysLockShareMem.
template <typename Layout>
struct SegmentLock {
  const int protocol;
  Layout* const data;

  explicit SegmentLock(int p) : protocol(p), data(static_cast<Layout*>(sysLockShareMem(p))) {}
  ~SegmentLock() {
    if (data != nullptr) sysUnlockShareMem(protocol);
  }
  SegmentLock(const SegmentLock&) = delete;
  SegmentLock& operator=(const SegmentLock&) = delete;
};
