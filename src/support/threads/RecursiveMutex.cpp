#include "support/threads/RecursiveMutex.h"

#include <cerrno>
#include <cstring>

#include "support/DbgPrint.h"

namespace orq {
namespace {

/// True when `result` reports a failure, which is then also in `errno`: the thread functions return their
/// error instead of storing it.
bool Failed(int result) {
  if (result != 0) errno = result;
  return result != 0;
}

}  // namespace

void SetUpRecursiveMutex(pthread_mutex_t& mutex, pthread_mutexattr_t& attribute) {
  constexpr const char* kTag = "CMutex";
  if (Failed(pthread_mutexattr_init(&attribute)))
    DbgPrint(-1, kTag, "pthread_mutexattr_init fail: %s\n", std::strerror(errno));
  else if (Failed(pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_RECURSIVE)))
    DbgPrint(-1, kTag, "pthread_mutexattr_settype fail: %s\n", std::strerror(errno));
  else if (Failed(pthread_mutex_init(&mutex, &attribute)))
    DbgPrint(-1, kTag, "pthread_mutex_init fail: %s\n", std::strerror(errno));
}

void DestroyRecursiveMutex(pthread_mutex_t& mutex, pthread_mutexattr_t& attribute) {
  constexpr const char* kTag = "~CMutex";
  if (Failed(pthread_mutex_destroy(&mutex)))
    DbgPrint(-1, kTag, "pthread_mutex_destroy fail: %s\n", std::strerror(errno));
  if (Failed(pthread_mutexattr_destroy(&attribute)))
    DbgPrint(-1, kTag, "pthread_mutexattr_destroy fail: %s\n", std::strerror(errno));
}

}  // namespace orq
