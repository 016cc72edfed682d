#include "core/critical.h"

#include <cstdio>

// What the last lock or unlock said; for whoever looks at a stuck process with a debugger.
static volatile int lastResult = 0;

extern "C" void sysEnterCritical(pthread_mutex_t* m) {
  lastResult = pthread_mutex_lock(m);
  if (lastResult != 0) std::printf("pthread_mutex_lock\n");
}

extern "C" void sysExitCritical(pthread_mutex_t* m) {
  lastResult = pthread_mutex_unlock(m);
  if (lastResult != 0) std::printf("pthread_mutex_unlock\n");
}
