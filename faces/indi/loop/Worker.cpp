#include "loop/Worker.h"

#include <chrono>

namespace orq::indi {

Worker::Worker() : thread_([this] { loop(); }) {}

Worker::~Worker() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    jobs_.clear();
    changed_.notify_all();
  }
  thread_.join();
}

void Worker::run(std::function<void()> job) {
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  changed_.notify_all();
}

void Worker::cancel() {
  const std::lock_guard lock(mutex_);
  jobs_.clear();
}

void Worker::finish(const std::function<void()>& hurry) {
  std::unique_lock lock(mutex_);
  while (working_) {
    lock.unlock();
    hurry();
    lock.lock();
    changed_.wait_for(lock, std::chrono::milliseconds(2), [this] { return !working_; });
  }
}

void Worker::loop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
    if (ending_) return;
    const std::function<void()> job = std::move(jobs_.front());
    jobs_.erase(jobs_.begin());
    working_ = true;
    lock.unlock();
    job();
    lock.lock();
    working_ = false;
    changed_.notify_all();
  }
}

}  // namespace orq::indi
