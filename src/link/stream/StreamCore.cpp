// A stream's start and stop on the caller's thread, and its completions on the usb-thread.
#include "link/stream/StreamCore.h"

#include <algorithm>
#include <chrono>
#include <system_error>

#include "link/WireProtocol.h"

namespace orq {

using namespace stream_error;

namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t NowNs() {
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count());
}

FrameStreamParser::Fault FaultOf(TransferStatus status) {
  switch (status) {
    case TransferStatus::Stall:
      return FrameStreamParser::Fault::Stalled;
    case TransferStatus::TimedOut:
      return FrameStreamParser::Fault::TimedOut;
    default:
      return FrameStreamParser::Fault::Transport;
  }
}

}  // namespace

bool StreamEngine::Core::Start() {
  live_ = true;
  if (!pool_.Make(tuning_.transfers, tuning_.blocksPerTransfer * wire::kBlockBytes)) return FailStart(kNoMemory);
  if (!ClearAtStart()) return FailStart(kClearFailed);
  if (tuning_.quietMs > 0) {
    output_.stop();
    if (!EmptyPipe()) return FailStart(kStuck);
    if (!ClearAtStart()) return FailStart(kClearFailed);
  }
  ring_.SetCheck(&FrameCheck::Run, &check_);
  {
    const MutexLock lock(mutex_);
    phase_ = Phase::Running;
  }
  pool_.QueueAll();
  if (!Running()) return FailStart(kQueueFailed);
  if (pool_.GiveUpParked() < tuning_.fewestTransfers) return FailStart(kNoUsbMemory);
  try {
    thread_ = std::thread(&Core::Run, this);
  } catch (const std::system_error&) {
    return FailStart(kNoThread);
  }
  if (!output_.start()) return FailStart(kOutputFailed);
  return true;
}

bool StreamEngine::Core::ClearAtStart() {
  const UsbError cleared = pipe_.ClearHalt();
  if (cleared == kUsbNoDevice) NoteGone();
  return cleared == kUsbOk;
}

// A program that died may have left half a frame in the camera or in the host's controller. False when transfers
// do not end.
bool StreamEngine::Core::EmptyPipe() {
  const auto giveUp = Clock::now() + std::chrono::milliseconds(tuning_.emptyingMs);
  {
    const MutexLock lock(mutex_);
    phase_ = Phase::Emptying;
  }
  pool_.QueueAll();
  int before = -1;
  while (before != leftovers_ && Clock::now() < giveUp) {
    before = leftovers_;
    std::this_thread::sleep_for(std::chrono::milliseconds(tuning_.quietMs));
  }
  const bool ended = pool_.Drain(std::chrono::milliseconds(tuning_.drainMs));
  lastCompletionNs_ = 0;
  stats_.Update([](StreamCounters& c) { c.longestGapUs = 0; });
  const MutexLock lock(mutex_);
  starved_ = false;
  return ended;
}

bool StreamEngine::Core::FailStart(const char* reason) {
  if (pipe_.Gone()) NoteGone();
  {
    const MutexLock lock(mutex_);
    if (error_.empty()) error_ = reason;
  }
  Stop();
  return false;
}

void StreamEngine::Core::Stop() {
  if (!live_) return;
  live_ = false;
  {
    // Before the camera is told: it ends the frame in work early, which is then an aborted one and not too short.
    const MutexLock lock(mutex_);
    stopping_ = true;
    phase_ = Phase::Stopped;
    changed_.notify_all();
  }
  output_.stop();
  if (thread_.joinable()) thread_.join();
  stuck_ = !pool_.Drain(std::chrono::milliseconds(tuning_.drainMs));
  EndFrames();
  if (!stuck_) {
    pool_.Free();
    return;
  }
  const MutexLock lock(mutex_);
  error_ = kStuck;
}

void StreamEngine::Core::EndFrames() {
  parser_.Abort();
  ring_.WaitJudged();
  // What a stopped ring did not judge was cut off as well, and is not to be delivered by a later start.
  ring_.SetCheck([](void*, const CirBuf::Slot&) { return false; }, nullptr);
  stats_.Update([](StreamCounters& c) {
    c.aborted += c.filling;
    c.filling = 0;
  });
}

bool StreamEngine::Core::OnTransfer(const BulkTransfer& transfer) {
  const std::uint64_t nowNs = NowNs();
  const std::size_t bytes = static_cast<std::size_t>(std::max(transfer.actual, 0));
  MeasureGap(nowNs);
  const bool running = Running();
  if (!running) ++leftovers_;
  stats_.Update([bytes, running](StreamCounters& c) {
    c.bytes += bytes;
    if (!running) c.bytesDiscarded += bytes;
  });
  // What a failed transfer brought belongs to a frame as well: a frame that broke off in its first transfer is a
  // failed one, not one that was never sent.
  if (running) parser_.Feed({transfer.buffer, bytes}, nowNs);
  if (running && transfer.status == TransferStatus::Completed) {
    if (transfer.actual < transfer.capacity) parser_.EndFrame(nowNs);
    return true;
  }
  if (transfer.status == TransferStatus::NoDevice)
    NoteGone();
  else if (Emptying())
    return transfer.status == TransferStatus::Completed;
  else if (running)
    NoteFault(FaultOf(transfer.status));
  return false;
}

void StreamEngine::Core::MeasureGap(std::uint64_t nowNs) {
  if (lastCompletionNs_ != 0) {
    const std::uint64_t gapUs = (nowNs - lastCompletionNs_) / 1000;
    stats_.Update([gapUs](StreamCounters& c) { c.longestGapUs = std::max(c.longestGapUs, gapUs); });
  }
  lastCompletionNs_ = nowNs;
}

void StreamEngine::Core::OnSubmitFailed(UsbError error) {
  if (error == kUsbNoDevice)
    NoteGone();
  else
    NoteFault(FrameStreamParser::Fault::Transport);
}

void StreamEngine::Core::OnStarved() {
  const MutexLock lock(mutex_);
  starved_ = true;
  changed_.notify_all();
}

void StreamEngine::Core::NoteFault(FrameStreamParser::Fault fault) {
  pool_.Close();
  const MutexLock lock(mutex_);
  if (phase_ != Phase::Running) return;
  phase_ = Phase::Faulted;
  fault_ = fault;
  changed_.notify_all();
}

void StreamEngine::Core::NoteGone() {
  pool_.Close();
  const MutexLock lock(mutex_);
  deviceLost_ = true;
  error_ = kUnplugged;
  fault_ = FrameStreamParser::Fault::Transport;
  if (phase_ != Phase::Stopped) phase_ = Phase::Failed;
  changed_.notify_all();
}

}  // namespace orq
