// Whether a thread waits for something, as the kernel sees it.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace orq::test {

/// Waits until a thread of this process sleeps; false when it does not within `patience`. The thread stores its
/// `gettid()` in `thread` as the last thing before the call that is to wait.
inline bool AwaitSleep(const std::atomic<pid_t>& thread, std::chrono::seconds patience) {
  const auto giveUp = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < giveUp) {
    if (thread != 0) {
      std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
      std::string line;
      std::getline(stat, line);                  // none when the thread has ended
      const std::size_t name = line.rfind(')');  // "number (name) state ..."
      if (name != std::string::npos && line.at(name + 2) == 'S') return true;
    }
    std::this_thread::yield();
  }
  return false;
}

}  // namespace orq::test
