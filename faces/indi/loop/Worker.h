// Calls that take long, off INDI's thread.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace orq::indi {

/// Runs jobs one after the other on a thread of its own. The owner sees to it that a job ends soon when this is
/// destroyed: what it uses is closed before.
class Worker {
 public:
  Worker();
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void run(std::function<void()> job);
  /// Forgets jobs that have not begun.
  void cancel();
  /// Waits for the job that has begun. `hurry` is called until it has ended: what it does to make it end may come
  /// before the job has reached what can be ended.
  void finish(const std::function<void()>& hurry);

 private:
  void loop();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::function<void()>> jobs_;
  bool working_ = false;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace orq::indi
