// A call in a thread of its own that must wait for a lock which the test holds.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include "support/AwaitSleep.h"

namespace orq::test {

/// Runs `work` at once; joins it when destroyed, so release the lock before.
class HeldThread {
 public:
  explicit HeldThread(std::function<void()> work)
      : thread_([this, work = std::move(work)] {
          id_ = gettid();
          work();
          done_.set_value();
        }) {}
  ~HeldThread() { thread_.join(); }
  HeldThread(const HeldThread&) = delete;
  HeldThread& operator=(const HeldThread&) = delete;

  /// Whether it goes on without an end and sleeps: without the lock, it would be done long before the time is
  /// over.
  bool IsHeld() {
    return ended_.wait_for(kHeldFor) == std::future_status::timeout && AwaitSleep(id_, kPatience) &&
           ended_.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
  }

 private:
  static constexpr std::chrono::milliseconds kHeldFor{200};
  static constexpr std::chrono::seconds kPatience{60};

  std::atomic<pid_t> id_{0};
  std::promise<void> done_;
  std::future<void> ended_ = done_.get_future();
  std::thread thread_;
};

}  // namespace orq::test
