// The recursive mutex of the camera object.
#pragma once

#include <pthread.h>

#include "support/threads/ThreadSafety.h"

/// A recursive mutex. A failing set-up or destruction is logged and otherwise ignored: the mutex works all the
/// same.
/// Lock two of them at once through `std::lock` or `std::scoped_lock`.
class ORQ_CAPABILITY("mutex") CMutex {
 public:
  CMutex();
  ~CMutex();
  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;

  void lock() ORQ_ACQUIRE();
  bool try_lock() ORQ_TRY_ACQUIRE(true);
  void unlock() ORQ_RELEASE();

 private:
  pthread_mutex_t mutex_ = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
  pthread_mutexattr_t attr_{};
};
