// The engine's own thread: mends faults and finds memory for transfers when none is left in flight.
#include <chrono>

#include "link/stream/StreamCore.h"

namespace orq {

using namespace stream_error;

void StreamEngine::Core::Run() {
  while (true) {
    MutexLock lock(mutex_);
    lock.Wait(changed_,
              [this]() ORQ_REQUIRES(mutex_) { return stopping_ || phase_ != Phase::Running || starved_; });
    if (stopping_) return;
    const Phase phase = phase_;
    lock.Unlock();
    if (phase == Phase::Faulted) {
      if (!Mend()) return;
    } else if (phase == Phase::Failed) {
      if (pool_.Drain(std::chrono::milliseconds(tuning_.drainMs)))
        parser_.Break(FrameStreamParser::Fault::Transport);
      return;
    } else {
      FeedStarved();
    }
  }
}

bool StreamEngine::Core::Mend() {
  if (!pool_.Drain(std::chrono::milliseconds(tuning_.drainMs))) {
    Fail(kStuck);
    return false;
  }
  {
    const MutexLock lock(mutex_);
    starved_ = false;
    parser_.Break(fault_);
  }
  ring_.WaitJudged();
  const std::uint64_t good = stats_.Snapshot().completed;
  if (good != goodAtLastResync_) resyncsInARow_ = 0;
  goodAtLastResync_ = good;
  if (!ClearHalt()) return true;
  parser_.Restart();
  {
    const MutexLock lock(mutex_);
    if (phase_ != Phase::Faulted) return true;
    phase_ = Phase::Running;
  }
  pool_.QueueAll();
  return true;
}

bool StreamEngine::Core::ClearHalt() {
  if (resyncsInARow_ >= tuning_.maxResyncs) {
    Fail(kUnsteady);
    return false;
  }
  ++resyncsInARow_;
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::milliseconds(tuning_.clearMs);
  while (true) {
    const UsbError error = pipe_.ClearHalt();
    if (error == kUsbOk) {
      stats_.Update([](StreamCounters& c) {
        ++c.haltsCleared;
        ++c.resyncs;
      });
      return true;
    }
    // A device that is being taken away fails in many ways before, or without, the error that says so.
    if (error == kUsbNoDevice || pipe_.Gone()) {
      NoteGone();
      return false;
    }
    if (std::chrono::steady_clock::now() >= giveUp) {
      Fail(kClearFailed);
      return false;
    }
    if (!Pause()) return false;
  }
}

void StreamEngine::Core::FeedStarved() {
  for (int tries = 0; tries < tuning_.maxStarvedRetries; ++tries) {
    if (!Pause()) return;
    pool_.RetryParked();
    const MutexLock lock(mutex_);
    if (phase_ != Phase::Running || pool_.InFlight() != 0) {
      starved_ = false;
      return;
    }
  }
  Fail(kNoUsbMemory);
}

void StreamEngine::Core::Fail(const char* reason) {
  if (pipe_.Gone()) return NoteGone();
  const MutexLock lock(mutex_);
  if (error_.empty()) error_ = reason;
  if (phase_ != Phase::Stopped) phase_ = Phase::Failed;
}

bool StreamEngine::Core::Pause() {
  MutexLock lock(mutex_);
  return !lock.WaitFor(changed_, std::chrono::milliseconds(tuning_.retryMs),
                       [this]() ORQ_REQUIRES(mutex_) { return stopping_; });
}

}  // namespace orq
