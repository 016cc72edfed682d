#pragma once
// A command of many changes is not left half way: an interrupt from the keyboard waits until the change in hand is
// finished, and the programs that it started do not see it either.

#include <csignal>

class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  // Whether there was one since the last look.
  [[nodiscard]] bool hasCome() const;

 private:
  sigset_t waiting = {};
  sigset_t before = {};
};
