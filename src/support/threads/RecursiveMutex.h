// Set-up and destruction of recursive mutexes, with the log lines that they have in common.
#pragma once

#include <pthread.h>

namespace orq {

/// Makes `mutex` a recursive mutex by way of `attribute`. The first failing step is logged under "CMutex" and
/// ends the set-up: the mutex then stays what it was, so give it a static recursive initialiser.
void SetUpRecursiveMutex(pthread_mutex_t& mutex, pthread_mutexattr_t& attribute);

/// Destroys the mutex, then the attribute; failures are logged under "~CMutex".
void DestroyRecursiveMutex(pthread_mutex_t& mutex, pthread_mutexattr_t& attribute);

}  // namespace orq
