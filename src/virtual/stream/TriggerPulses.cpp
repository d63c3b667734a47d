#include "virtual/stream/TriggerPulses.h"

#include <utility>

namespace orq {

TriggerPulses::TriggerPulses(std::chrono::microseconds period, std::function<void(bool high)> line)
    : period_(period), line_(std::move(line)), thread_([this] { Run(); }) {}

TriggerPulses::~TriggerPulses() {
  {
    const MutexLock lock(mutex_);
    quit_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void TriggerPulses::Run() {
  using Clock = std::chrono::steady_clock;
  auto next = Clock::now() + period_ / 2;
  bool high = false;
  MutexLock lock(mutex_);
  while (!lock.WaitUntil(changed_, next, [this]() ORQ_REQUIRES(mutex_) { return quit_; })) {
    high = !high;
    lock.Unlock();
    line_(high);
    lock.Lock();
    next += period_ / 2;
  }
}

}  // namespace orq
