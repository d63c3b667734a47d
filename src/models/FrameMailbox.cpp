#include "models/FrameMailbox.h"

#include <chrono>
#include <cstring>
#include <utility>

#include "image/FrameKernels.h"

namespace orq {

void FrameMailbox::Grow(Buffer& buffer, std::size_t bytes) {
  if (buffer.capacity >= bytes) return;
  buffer.data = std::make_unique_for_overwrite<std::uint8_t[]>(bytes);
  buffer.capacity = bytes;
}

void FrameMailbox::Prepare(std::size_t bytes) {
  const MutexLock lock(mutex_);
  Grow(work_, bytes);
  if (!prepared_) {
    spare_.reserve(4);
    spare_.resize(1);
    prepared_ = true;
  }
  for (Buffer& buffer : spare_) Grow(buffer, bytes);
  // A buffer that a reader has right now grows when it comes back.
  if (!fresh_) Grow(ready_, bytes);
  frameBytes_ = bytes;
}

std::span<std::uint8_t> FrameMailbox::Work() {
  Grow(work_, frameBytes_);  // only the writer changes the size: no lock
  work_.msbFirst = false;
  return {work_.data.get(), work_.capacity};
}

void FrameMailbox::Adopt(std::unique_ptr<std::uint8_t[]>& frame, std::size_t capacity, bool msbFirst) {
  Grow(work_, capacity);
  work_.data.swap(frame);
  work_.capacity = capacity;
  work_.msbFirst = msbFirst;
}

void FrameMailbox::Publish(std::size_t bytes, const FrameInfo& info) {
  {
    const MutexLock lock(mutex_);
    work_.bytes = bytes;
    work_.info = info;
    if (fresh_) ++overwritten_;
    std::swap(work_, ready_);
    fresh_ = true;
  }
  changed_.notify_all();
}

FrameMailbox::Result FrameMailbox::Fetch(std::span<std::uint8_t> out, int waitMs,
                                         const std::function<bool()>& mayCome, FrameInfo& info) {
  MutexLock lock(mutex_);
  const auto decided = [&]() ORQ_REQUIRES(mutex_) { return fresh_ || !mayCome(); };
  if (waitMs < 0) {
    lock.Wait(changed_, decided);
  } else if (!lock.WaitFor(changed_, std::chrono::milliseconds(waitMs), decided)) {
    return Result::TimedOut;
  }
  if (!fresh_) return Result::Ended;
  if (out.size() < ready_.bytes) return Result::TooSmall;

  Buffer taken = std::move(ready_);
  ready_ = Buffer{};
  fresh_ = false;
  if (!spare_.empty()) {
    ready_ = std::move(spare_.back());
    spare_.pop_back();
  }
  lastFetched_ = taken.info;
  lock.Unlock();

  if (taken.msbFirst) {
    MsbFirstToHost(std::span<const std::uint8_t>(taken.data.get(), taken.bytes), out);
  } else {
    std::memcpy(out.data(), taken.data.get(), taken.bytes);
  }
  info = taken.info;

  lock.Lock();
  if (taken.capacity < frameBytes_) taken = Buffer{};  // the writer makes larger ones
  spare_.push_back(std::move(taken));
  return Result::Frame;
}

void FrameMailbox::Await(int waitMs, const std::function<bool()>& done) {
  MutexLock lock(mutex_);
  lock.WaitFor(changed_, std::chrono::milliseconds(waitMs), done);
}

void FrameMailbox::Notify(const std::function<void()>& change) {
  {
    const MutexLock lock(mutex_);
    change();
  }
  changed_.notify_all();
}

void FrameMailbox::Discard() {
  const MutexLock lock(mutex_);
  fresh_ = false;
}

void FrameMailbox::DiscardIf(const std::function<bool()>& stale) {
  const MutexLock lock(mutex_);
  if (stale()) fresh_ = false;
}

FrameInfo FrameMailbox::LastFetched() const {
  const MutexLock lock(mutex_);
  return lastFetched_;
}

std::uint64_t FrameMailbox::Overwritten() const {
  const MutexLock lock(mutex_);
  return overwritten_;
}

void FrameMailbox::ResetCount() {
  const MutexLock lock(mutex_);
  overwritten_ = 0;
}

}  // namespace orq
