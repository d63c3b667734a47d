#include "support/threads/CMutex.h"

#include "support/threads/RecursiveMutex.h"

CMutex::CMutex() {
  orq::SetUpRecursiveMutex(mutex_, attr_);
}

CMutex::~CMutex() {
  orq::DestroyRecursiveMutex(mutex_, attr_);
}

void CMutex::lock() {
  pthread_mutex_lock(&mutex_);
}

bool CMutex::try_lock() {
  return pthread_mutex_trylock(&mutex_) == 0;
}

void CMutex::unlock() {
  pthread_mutex_unlock(&mutex_);
}
