#include "core/critical.h"

#include <atomic>
#include <cstdio>

// What the last lock or unlock said; for whoever looks at a stuck process with a debugger.
static std::atomic<int> lastResult = 0;

extern "C" void sysEnterCritical(pthread_mutex_t* m) {
  const int result = pthread_mutex_lock(m);
  lastResult.store(result, std::memory_order_relaxed);
  if (result != 0) std::printf("pthread_mutex_lock\n");
}

extern "C" void sysExitCritical(pthread_mutex_t* m) {
  const int result = pthread_mutex_unlock(m);
  lastResult.store(result, std::memory_order_relaxed);
  if (result != 0) std::printf("pthread_mutex_unlock\n");
}
