#include "core/critical.h"

#include <cstdio>

// What the last lock or unlock said; for whoever looks at a stuck process with a debugger.
static int lastResult = 0;

extern "C" void sysEnterCritical(pthread_mutex_t* m) {
  const int result = pthread_mutex_lock(m);
  if (result != 0) std::printf("pthread_mutex_lock\n");
  lastResult = result;
}

extern "C" void sysExitCritical(pthread_mutex_t* m) {
  lastResult = 0;
  const int result = pthread_mutex_unlock(m);
  if (result == 0) return;
  std::printf("pthread_mutex_unlock\n");
  lastResult = result;
}
