#pragma once
// A protocol's segment as any process finds it, attached past the library, which does not count it as its own.

#include <sys/ipc.h>
#include <sys/shm.h>

#include "frame/appliance.h"

struct RawSegment {
  static constexpr std::size_t kSize = 213064;
  std::uint32_t* const words;

  explicit RawSegment(const char* path)
      : words(static_cast<std::uint32_t*>(shmat(shmget(ftok(path, 'S'), kSize, 0), nullptr, 0))) {}
  ~RawSegment() { (void)shmdt(words); }
  RawSegment(const RawSegment&) = delete;
  RawSegment& operator=(const RawSegment&) = delete;
  [[nodiscard]] char* bytes() const { return reinterpret_cast<char*>(words); }
};
