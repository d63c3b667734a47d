// The counters of one stream, shared by the threads that it runs on.
#pragma once

#include "link/stream/StreamCounters.h"
#include "support/threads/Mutex.h"

namespace orq {

/// Counters behind one small lock: every change that belongs together is made in one `Update`, so that a
/// snapshot is consistent at any moment. The lock is never held across anything but arithmetic. Any-thread.
class StreamStats {
 public:
  template <class Change>
  void Update(Change change) {
    const MutexLock lock(mutex_);
    change(counters_);
  }

  StreamCounters Snapshot() const {
    const MutexLock lock(mutex_);
    return counters_;
  }

 private:
  mutable Mutex mutex_;
  StreamCounters counters_ ORQ_GUARDED_BY(mutex_);
};

}  // namespace orq
