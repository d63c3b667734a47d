#include "link/stream/TransferPool.h"

#include <algorithm>
#include <new>

namespace orq {

TransferPool::TransferPool(BulkPipe& pipe, TransferClient& client, StreamStats& stats)
    : pipe_(pipe), client_(client), stats_(stats) {}

bool TransferPool::Make(int count, int bytesEach) {
  try {
    transfers_.reserve(static_cast<std::size_t>(count));
    {
      const MutexLock lock(mutex_);
      parked_.reserve(static_cast<std::size_t>(count));
    }
    while (static_cast<int>(transfers_.size()) < count) {
      auto transfer = pipe_.MakeTransfer(bytesEach);
      if (!transfer) return false;
      transfer->onComplete = &TransferPool::Completed;
      transfer->owner = this;
      transfers_.push_back(std::move(transfer));
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void TransferPool::Free() {
  transfers_.clear();
}

void TransferPool::QueueAll() {
  {
    const MutexLock lock(mutex_);
    open_ = true;
    parked_.clear();
  }
  for (auto& transfer : transfers_) Queue(*transfer);
  TellWhenStarved();
}

int TransferPool::GiveUpParked() {
  const MutexLock lock(mutex_);
  std::erase_if(transfers_, [this](const auto& transfer) ORQ_REQUIRES(mutex_) {
    return std::find(parked_.begin(), parked_.end(), transfer.get()) != parked_.end();
  });
  parked_.clear();
  return static_cast<int>(transfers_.size());
}

void TransferPool::Close() {
  const MutexLock lock(mutex_);
  open_ = false;
}

bool TransferPool::Drain(std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  MutexLock lock(mutex_);
  open_ = false;
  // A submission that began before the close must have gone out before it can be cancelled.
  if (!lock.WaitUntil(quiet_, deadline, [this]() ORQ_REQUIRES(mutex_) { return submitting_ == 0; })) return false;
  lock.Unlock();
  for (auto& transfer : transfers_) pipe_.Cancel(*transfer);
  lock.Lock();
  const bool quiet = lock.WaitUntil(quiet_, deadline,
                                    [this]() ORQ_REQUIRES(mutex_) { return inFlight_ == 0 && completing_ == 0; });
  parked_.clear();
  return quiet;
}

int TransferPool::InFlight() const {
  const MutexLock lock(mutex_);
  return inFlight_;
}

void TransferPool::Completed(BulkTransfer& transfer) {
  static_cast<TransferPool*>(transfer.owner)->HandleCompleted(transfer);
}

void TransferPool::HandleCompleted(BulkTransfer& transfer) {
  {
    const MutexLock lock(mutex_);
    --inFlight_;
    ++completing_;
  }
  stats_.Update([](StreamCounters& c) { --c.inFlight; });
  if (client_.OnTransfer(transfer) && Queue(transfer)) RetryParked();
  TellWhenStarved();
  // The last look at this object: whoever waits for quiet may free it once the lock is released.
  const MutexLock lock(mutex_);
  --completing_;
  quiet_.notify_all();
}

void TransferPool::RetryParked() {
  while (true) {
    BulkTransfer* transfer = nullptr;
    {
      const MutexLock lock(mutex_);
      if (!open_ || parked_.empty()) return;
      transfer = parked_.back();
      parked_.pop_back();
    }
    stats_.Update([](StreamCounters& c) { ++c.submitRetries; });
    if (!Queue(*transfer)) return;
  }
}

bool TransferPool::Queue(BulkTransfer& transfer) {
  if (!BeginSubmit()) return false;
  const UsbError error = pipe_.Submit(transfer);
  if (error == kUsbOk)
    stats_.Update([](StreamCounters& c) { c.inFlightMax = std::max(c.inFlightMax, c.inFlight); });
  if (error != kUsbOk) UndoSubmit(transfer, error == kUsbNoMem);
  if (error != kUsbOk && error != kUsbNoMem) client_.OnSubmitFailed(error);
  const MutexLock lock(mutex_);
  --submitting_;
  quiet_.notify_all();
  return error == kUsbOk;
}

bool TransferPool::BeginSubmit() {
  {
    const MutexLock lock(mutex_);
    if (!open_) return false;
    ++inFlight_;
    ++submitting_;
  }
  stats_.Update([](StreamCounters& c) { ++c.inFlight; });
  return true;
}

void TransferPool::UndoSubmit(BulkTransfer& transfer, bool park) {
  {
    const MutexLock lock(mutex_);
    --inFlight_;
    if (park) parked_.push_back(&transfer);
  }
  stats_.Update([](StreamCounters& c) { --c.inFlight; });
}

void TransferPool::TellWhenStarved() {
  {
    const MutexLock lock(mutex_);
    if (!open_ || inFlight_ != 0 || parked_.empty()) return;
  }
  client_.OnStarved();
}

}  // namespace orq
