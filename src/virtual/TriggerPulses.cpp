#include "virtual/TriggerPulses.h"

#include <utility>

namespace orq {

TriggerPulses::TriggerPulses(std::chrono::microseconds period, std::function<void(bool high)> line)
    : period_(period), line_(std::move(line)), thread_([this] { Run(); }) {}

TriggerPulses::~TriggerPulses() {
  {
    const std::lock_guard lock(mutex_);
    quit_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void TriggerPulses::Run() {
  using Clock = std::chrono::steady_clock;
  auto next = Clock::now() + period_ / 2;
  bool high = false;
  std::unique_lock lock(mutex_);
  while (!changed_.wait_until(lock, next, [this] { return quit_; })) {
    high = !high;
    lock.unlock();
    line_(high);
    lock.lock();
    next += period_ / 2;
  }
}

}  // namespace orq
