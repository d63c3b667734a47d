#include "camera/LongWork.h"

#include <chrono>
#include <future>

#include "output/Signals.h"

namespace orq::cli {

namespace {

constexpr std::chrono::milliseconds kLook{10};

}  // namespace

void RunAbortably(Device& camera, const std::function<void()>& work, const std::function<void()>& look) {
  std::future<void> done = std::async(std::launch::async, work);
  while (done.wait_for(kLook) != std::future_status::ready) {
    // Again and again: the work may not have begun to listen.
    if (StopRequested()) camera->abort();
    if (look) look();
  }
  done.get();
}

}  // namespace orq::cli
