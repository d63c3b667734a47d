// A mutex that clang's thread-safety analysis knows, and the lock that goes with it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "support/threads/ThreadSafety.h"

namespace orq {

/// std::mutex with words for the analysis: fields say with ORQ_GUARDED_BY which one guards them. Any-thread.
class ORQ_CAPABILITY("mutex") Mutex {
 public:
  void lock() ORQ_ACQUIRE() { mutex_.lock(); }
  bool try_lock() ORQ_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void unlock() ORQ_RELEASE() { mutex_.unlock(); }

 private:
  friend class MutexLock;
  std::mutex mutex_;
};

/// Holds a mutex from its making to its end, but for what lies between `Unlock` and `Lock`. Waits on a condition
/// with it; the predicate says with ORQ_REQUIRES that it runs with the mutex held:
///
///     lock.Wait(changed_, [this]() ORQ_REQUIRES(mutex_) { return ready_; });
class ORQ_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ORQ_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  ~MutexLock() ORQ_RELEASE() = default;
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void Unlock() ORQ_RELEASE() { lock_.unlock(); }
  void Lock() ORQ_ACQUIRE() { lock_.lock(); }

  /// Until the next notification, or `time`, or for no reason at all: for loops that look at their condition anew.
  void WaitOnce(std::condition_variable& condition) { condition.wait(lock_); }
  template <class Clock, class Duration>
  void WaitOnceUntil(std::condition_variable& condition, const std::chrono::time_point<Clock, Duration>& time) {
    condition.wait_until(lock_, time);
  }
  template <class Done>
  void Wait(std::condition_variable& condition, Done done) {
    condition.wait(lock_, std::move(done));
  }
  /// False when `done` still says no after `patience`.
  template <class Rep, class Period, class Done>
  bool WaitFor(std::condition_variable& condition, const std::chrono::duration<Rep, Period>& patience, Done done) {
    return condition.wait_for(lock_, patience, std::move(done));
  }
  /// False when `done` still says no at `time`.
  template <class Clock, class Duration, class Done>
  bool WaitUntil(std::condition_variable& condition, const std::chrono::time_point<Clock, Duration>& time,
                 Done done) {
    return condition.wait_until(lock_, time, std::move(done));
  }

 private:
  friend class MutexPause;
  std::unique_lock<std::mutex> lock_;
};

/// Lets go of a mutex that a caller's lock holds, from its making to its end.
class ORQ_SCOPED_CAPABILITY MutexPause {
 public:
  /// `lock` holds `mutex`.
  MutexPause(Mutex& mutex, MutexLock& lock) ORQ_RELEASE(mutex) : lock_(lock.lock_) {
    static_cast<void>(mutex);
    lock_.unlock();
  }
  ~MutexPause() ORQ_RELEASE() { lock_.lock(); }
  MutexPause(const MutexPause&) = delete;
  MutexPause& operator=(const MutexPause&) = delete;

 private:
  std::unique_lock<std::mutex>& lock_;
};

}  // namespace orq
