#include "http/Workers.h"

#include <utility>

namespace orq::network {

Workers::Workers(std::size_t threads, std::size_t longestLine) : longestLine_(longestLine) {
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { loop(); });
}

Workers::~Workers() {
  end();
}

bool Workers::run(std::function<void()> work) {
  {
    const std::scoped_lock lock(mutex_);
    if (ending_ || line_.size() >= longestLine_) return false;
    line_.push_back(std::move(work));
  }
  changed_.notify_one();
  return true;
}

void Workers::end() {
  std::deque<std::function<void()>> forgotten;
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
    forgotten.swap(line_);
  }
  changed_.notify_all();
  for (std::thread& thread : threads_)
    if (thread.joinable()) thread.join();
}

void Workers::loop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !line_.empty(); });
    if (line_.empty()) return;
    std::function<void()> work = std::move(line_.front());
    line_.pop_front();
    lock.unlock();
    work();
    work = nullptr;  // what it holds goes without the lock, and may bring more work
    lock.lock();
  }
}

}  // namespace orq::network
