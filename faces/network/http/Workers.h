// Threads on which requests are handled: a camera may take its time, and connections are not to wait for that.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace orq::network {

/// A fixed number of threads, and a line of bounded length before them.
class Workers {
 public:
  Workers(std::size_t threads, std::size_t longestLine);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  /// Runs `work`, which must not throw, soon. False: the line is full, or it has ended. Any thread.
  bool run(std::function<void()> work);
  /// Forgets what has not begun, and waits for what has.
  void end();

 private:
  void loop();

  const std::size_t longestLine_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> line_;
  bool ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace orq::network
