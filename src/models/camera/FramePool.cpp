#include "models/camera/FramePool.h"

#include <algorithm>
#include <new>
#include <utility>

#include "support/LargeBuffer.h"

namespace orq {

SharedFrame::SharedFrame(std::size_t capacity)
    : capacity_(capacity), bytes_(MakeLargeBufferForOverwrite(capacity)) {}

void SharedFrame::Release() {
  if (holders_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  const std::shared_ptr<FramePool> home = std::move(home_);  // the frame may be its pool's last friend
  home->TakeBack(this);
}

std::shared_ptr<FramePool> FramePool::Make(std::size_t limitBytes) {
  return std::shared_ptr<FramePool>(new FramePool(limitBytes));
}

FramePtr FramePool::Acquire(std::size_t bytes, std::size_t capacity) {
  const MutexLock lock(mutex_);
  const auto fitting = std::ranges::find(spare_, capacity, &SharedFrame::capacity_);
  std::unique_ptr<SharedFrame> frame;
  if (fitting != spare_.end()) {
    frame = std::move(*fitting);
    *fitting = std::move(spare_.back());
    spare_.pop_back();
  } else {
    if (!MakeRoom(capacity)) return {};
    try {
      spare_.reserve(frames_ + 1);  // coming back must not fail
      frame.reset(new SharedFrame(capacity));
    } catch (const std::bad_alloc&) {
      return {};
    }
    bytes_ += capacity;
    ++frames_;
  }
  frame->size_ = bytes;
  frame->holders_.store(1, std::memory_order_relaxed);
  frame->home_ = shared_from_this();
  return FramePtr(frame.release());
}

bool FramePool::MakeRoom(std::size_t bytes) {
  while (!spare_.empty() && bytes_ + bytes > limit_ + beyond_) {
    bytes_ -= spare_.back()->capacity_;
    --frames_;
    spare_.pop_back();
  }
  return bytes_ + bytes <= limit_ + beyond_;
}

void FramePool::TakeBack(SharedFrame* frame) {
  std::unique_ptr<SharedFrame> owned(frame);
  owned->origin_.reset();
  const MutexLock lock(mutex_);
  if (bytes_ > limit_ + beyond_) {
    bytes_ -= owned->capacity_;
    --frames_;
    return;
  }
  spare_.push_back(std::move(owned));
}

void FramePool::SetLimit(std::size_t bytes) {
  const MutexLock lock(mutex_);
  limit_ = bytes;
  MakeRoom(0);
}

void FramePool::Widen(std::size_t bytes) {
  const MutexLock lock(mutex_);
  beyond_ += bytes;
}

void FramePool::Narrow(std::size_t bytes) {
  const MutexLock lock(mutex_);
  beyond_ -= bytes;
  MakeRoom(0);
}

std::size_t FramePool::Limit() const {
  const MutexLock lock(mutex_);
  return limit_;
}

std::size_t FramePool::Bytes() const {
  const MutexLock lock(mutex_);
  return bytes_;
}

}  // namespace orq
