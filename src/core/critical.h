#pragma once
// Critical sections of this process over a pthread mutex.

#include <pthread.h>

#pragma GCC visibility push(default)
extern "C" {
// Lock and unlock; a failure is only reported on standard output.
void sysEnterCritical(pthread_mutex_t* m);
void sysExitCritical(pthread_mutex_t* m);
}
#pragma GCC visibility pop
