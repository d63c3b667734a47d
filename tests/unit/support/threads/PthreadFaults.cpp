#include "unit/support/threads/PthreadFaults.h"

#include <pthread.h>

#include <memory>

namespace faults {

Results results;
Calls calls;
Gate threadBegin;
Gate detach;

void Reset() {
  for (std::atomic<int>* value :
       {&results.mutexAttrInit, &results.mutexAttrSetType, &results.mutexInit, &results.mutexDestroy,
        &results.mutexAttrDestroy, &results.create, &calls.mutexAttrSetType, &calls.mutexInit, &calls.mutexDestroy,
        &calls.created, &calls.joined, &calls.detached})
    *value = 0;
}

namespace {

struct ThreadBody {
  void* (*run)(void*);
  void* argument;
};

void* RunBehindGate(void* raw) {
  const std::unique_ptr<ThreadBody> body(static_cast<ThreadBody*>(raw));
  threadBegin.Pass();
  return body->run(body->argument);
}

}  // namespace
}  // namespace faults

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker's --wrap prescribes
extern "C" {

int __real_pthread_mutexattr_init(pthread_mutexattr_t* attribute);
int __real_pthread_mutexattr_settype(pthread_mutexattr_t* attribute, int type);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_mutexattr_destroy(pthread_mutexattr_t* attribute);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attribute, void* (*run)(void*), void* argument);
int __real_pthread_join(pthread_t thread, void** result);
int __real_pthread_detach(pthread_t thread);

int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attribute) {
  const int failure = faults::results.mutexAttrInit;
  return failure != 0 ? failure : __real_pthread_mutexattr_init(attribute);
}

int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t* attribute, int type) {
  ++faults::calls.mutexAttrSetType;
  const int failure = faults::results.mutexAttrSetType;
  return failure != 0 ? failure : __real_pthread_mutexattr_settype(attribute, type);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attribute) {
  ++faults::calls.mutexInit;
  const int failure = faults::results.mutexInit;
  return failure != 0 ? failure : __real_pthread_mutex_init(mutex, attribute);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
  ++faults::calls.mutexDestroy;
  const int failure = faults::results.mutexDestroy;
  return failure != 0 ? failure : __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_mutexattr_destroy(pthread_mutexattr_t* attribute) {
  const int failure = faults::results.mutexAttrDestroy;
  return failure != 0 ? failure : __real_pthread_mutexattr_destroy(attribute);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attribute, void* (*run)(void*),
                          void* argument) {
  const int failure = faults::results.create;
  if (failure != 0) return failure;
  ++faults::calls.created;
  return __real_pthread_create(thread, attribute, faults::RunBehindGate, new faults::ThreadBody{run, argument});
}

int __wrap_pthread_join(pthread_t thread, void** result) {
  ++faults::calls.joined;
  return __real_pthread_join(thread, result);
}

int __wrap_pthread_detach(pthread_t thread) {
  ++faults::calls.detached;
  faults::detach.Pass();
  return __real_pthread_detach(thread);
}
}
// NOLINTEND(bugprone-reserved-identifier)
