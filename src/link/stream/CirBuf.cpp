#include "link/stream/CirBuf.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <system_error>

#include "support/LargeBuffer.h"

CirBuf::CirBuf(std::size_t frameBytes, int count)
    : frameBytes_(frameBytes), slots_(static_cast<std::size_t>(std::max(count, 1))), ended_(slots_.size()) {
  for (Slot& slot : slots_) slot.payload = orq::MakeLargeBufferForOverwrite(frameBytes_);
  ready_.reserve(slots_.size());
}

CirBuf::~CirBuf() {
  StopInstBufThr();
}

void CirBuf::StartInstBufThr() {
  if (thread_.joinable()) return;
  stop_.store(false, std::memory_order_relaxed);
  try {
    thread_ = std::thread(&CirBuf::RunInsert, this);
  } catch (const std::system_error&) {
    throw std::bad_alloc();
  }
  const orq::MutexLock lock(mutex_);
  running_ = true;
}

void CirBuf::StopInstBufThr() {
  if (!thread_.joinable()) return;
  stop_.store(true, std::memory_order_release);
  wake_.release();
  thread_.join();
  const orq::MutexLock lock(mutex_);
  std::uint64_t judged = judged_.load(std::memory_order_relaxed);
  for (const std::uint64_t head = endedHead_.load(std::memory_order_acquire); judged != head; ++judged)
    Free(slots_[static_cast<std::size_t>(ended_[judged % ended_.size()].load(std::memory_order_relaxed))]);
  judged_.store(judged, std::memory_order_release);
  running_ = false;
  readyChanged_.notify_all();
  judgedChanged_.notify_all();
}

void CirBuf::SetCheck(Check check, void* context) {
  check_ = check;
  checkContext_ = context;
}

CirBuf::Slot* CirBuf::BeginFrame() {
  for (Slot& slot : slots_) {
    if (slot.state.load(std::memory_order_acquire) != SlotState::Free) continue;
    slot.payloadBytes = 0;
    slot.markBytes = 0;
    slot.excessBytes = 0;
    slot.tag = 0;
    slot.beginNs = 0;
    slot.endNs = 0;
    slot.state.store(SlotState::Filling, std::memory_order_relaxed);
    return &slot;
  }
  return nullptr;
}

void CirBuf::EndFrame(Slot& slot) {
  // The queue has a place for every slot, and a slot is in it at most once: it cannot overflow.
  const std::uint64_t head = endedHead_.load(std::memory_order_relaxed);
  ended_[head % ended_.size()].store(static_cast<int>(&slot - slots_.data()), std::memory_order_relaxed);
  endedHead_.store(head + 1, std::memory_order_release);
  wake_.release();
}

void CirBuf::AbortFrame(Slot& slot) {
  Free(slot);
}

void CirBuf::Free(Slot& slot) {
  slot.state.store(SlotState::Free, std::memory_order_release);
}

void CirBuf::RunInsert() {
  while (true) {
    wake_.acquire();
    if (stop_.load(std::memory_order_acquire)) return;
    JudgeEnded();
  }
}

void CirBuf::JudgeEnded() {
  while (!stop_.load(std::memory_order_acquire)) {
    const std::uint64_t judged = judged_.load(std::memory_order_relaxed);
    if (judged == endedHead_.load(std::memory_order_acquire)) return;
    const int number = ended_[judged % ended_.size()].load(std::memory_order_relaxed);
    Slot& slot = slots_[static_cast<std::size_t>(number)];
    const bool good = check_ == nullptr || check_(checkContext_, slot);
    const orq::MutexLock lock(mutex_);
    // Judged before free: once the slot is free the producer may use its place in the queue again.
    judged_.store(judged + 1, std::memory_order_release);
    if (good) {
      slot.state.store(SlotState::Ready, std::memory_order_relaxed);
      ready_.push_back(number);
      readyChanged_.notify_one();
    } else {
      Free(slot);
    }
    judgedChanged_.notify_all();
  }
}

bool CirBuf::Take(std::unique_ptr<std::uint8_t[]>& buffer, Frame& frame, int waitMs) {
  if (!buffer) return false;
  orq::MutexLock lock(mutex_);
  const auto decided = [this]() ORQ_REQUIRES(mutex_) { return !ready_.empty() || !running_; };
  if (waitMs < 0)
    lock.Wait(readyChanged_, decided);
  else
    lock.WaitFor(readyChanged_, std::chrono::milliseconds(waitMs), decided);
  if (ready_.empty()) return false;
  Slot& slot = slots_[static_cast<std::size_t>(ready_.front())];
  ready_.erase(ready_.begin());
  slot.state.store(SlotState::Lent, std::memory_order_relaxed);
  lock.Unlock();

  frame.payloadBytes = slot.payloadBytes;
  frame.marks = slot.marks;
  frame.markBytes = slot.markBytes;
  frame.beginNs = slot.beginNs;
  frame.endNs = slot.endNs;
  slot.payload.swap(buffer);
  Free(slot);
  return true;
}

int CirBuf::Discard() {
  const orq::MutexLock lock(mutex_);
  const int count = static_cast<int>(ready_.size());
  for (const int number : ready_) Free(slots_[static_cast<std::size_t>(number)]);
  ready_.clear();
  return count;
}

void CirBuf::WaitJudged() {
  orq::MutexLock lock(mutex_);
  const std::uint64_t ended = endedHead_.load(std::memory_order_acquire);
  lock.Wait(judgedChanged_,
            [&]() ORQ_REQUIRES(mutex_) { return !running_ || judged_.load(std::memory_order_acquire) >= ended; });
}
