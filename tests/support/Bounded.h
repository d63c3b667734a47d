// A call that must come to its end.
#pragma once

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <thread>

namespace orq::test {

/// Runs `work` in a thread of its own. Ends the process when it has not returned after half a minute: a thread
/// that waits on cannot be joined.
inline void MustReturn(const std::function<void()>& work) {
  constexpr std::chrono::seconds kPatience{30};
  std::promise<void> done;
  std::thread thread([&] {
    work();
    done.set_value();
  });
  if (done.get_future().wait_for(kPatience) != std::future_status::ready) {
    std::cerr << "the call does not return\n";
    std::abort();
  }
  thread.join();
}

}  // namespace orq::test
