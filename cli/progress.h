#pragma once
// How far something long has got, on a terminal only.

#include <chrono>
#include <cstddef>

// Takes the line away that shows it, before something else is written.
void clearProgress();

class Progress {
 public:
  Progress(const char* name, std::size_t count);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(std::size_t done);

 private:
  const char* const what;
  const std::size_t all;
  const bool shown;
  std::chrono::steady_clock::time_point next;
};
