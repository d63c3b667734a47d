#include "models/camera/FrameMailbox.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace orq {

FrameReader::FrameReader(ReadMode mode, std::size_t depth)
    : mode_(mode), line_(mode == ReadMode::Newest ? 1 : std::max<std::size_t>(depth, 1)) {}

FrameMailbox::FrameMailbox(std::size_t memoryBytes) : pool_(FramePool::Make(memoryBytes)) {
  readers_.reserve(kMostReaders);
}

bool FrameMailbox::Prepare(std::size_t bytes, std::size_t adoptable) {
  frameBytes_ = bytes;
  // A small frame is copied soon enough, and in a large buffer it would take more memory than its share.
  adoptable_ = bytes <= adoptable && adoptable / 2 <= bytes ? adoptable : 0;
  work_ = FramePtr();
  return !Work().empty();
}

std::span<std::uint8_t> FrameMailbox::Work() {
  if (!work_) work_ = pool_->Acquire(frameBytes_, std::max(frameBytes_, adoptable_));
  return work_ ? work_->Room() : std::span<std::uint8_t>();
}

void FrameMailbox::Adopt(std::unique_ptr<std::uint8_t[]>& frame) {
  const std::span<std::uint8_t> work = Work();
  if (adoptable_ == 0 || !work_->Swap(frame, adoptable_)) std::memcpy(work.data(), frame.get(), work.size());
}

void FrameMailbox::Publish(const FrameInfo& info) {
  PublishIf(
      info, [] { return true; });
}

void FrameMailbox::PublishIf(const FrameInfo& info, const std::function<bool()>& wanted) {
  if (!work_) return;
  {
    const MutexLock lock(mutex_);
    if (muted_ || !wanted()) return;
    work_->Describe(info, ++published_, origin_, std::exchange(gap_, false));
    lastPublished_ = info;
    Put(own_, work_);
    for (const auto& reader : readers_) Put(*reader, work_);
    Ring();
  }
  work_ = FramePtr();
  changed_.notify_all();
}

void FrameMailbox::CountNoBuffer() {
  const MutexLock lock(mutex_);
  ++noBuffer_;
}

void FrameMailbox::Put(FrameReader& reader, const FramePtr& frame) {
  if (reader.waiting_ == reader.line_.size()) {
    ++reader.missed_;
    if (reader.mode_ == ReadMode::Every) return;
    Take(reader);
  }
  reader.line_[(reader.first_ + reader.waiting_) % reader.line_.size()] = frame;
  ++reader.waiting_;
}

FramePtr FrameMailbox::Take(FrameReader& reader) {
  FramePtr frame = std::move(reader.line_[reader.first_]);
  reader.first_ = (reader.first_ + 1) % reader.line_.size();
  --reader.waiting_;
  return frame;
}

void FrameMailbox::Drop(FrameReader& reader) {
  while (reader.waiting_ != 0) Take(reader);
}

void FrameMailbox::DropNewest() {
  Drop(own_);
  for (const auto& reader : readers_)
    if (reader->mode_ == ReadMode::Newest) Drop(*reader);
  Ring();
}

void FrameMailbox::Ring() const {
  if (doorbell_) doorbell_(own_.waiting_ != 0);
}

FrameMailbox::Result FrameMailbox::Wait(MutexLock& lock, const FrameReader& reader, int waitMs,
                                        const std::function<bool()>& mayCome) {
  const auto decided = [&] { return reader.waiting_ != 0 || reader.closed_ || !mayCome(); };
  if (waitMs < 0)
    lock.Wait(changed_, decided);
  else if (!lock.WaitFor(changed_, std::chrono::milliseconds(waitMs), decided))
    return Result::TimedOut;
  if (reader.closed_) return Result::Closed;
  return reader.waiting_ != 0 ? Result::Frame : Result::Ended;
}

FrameMailbox::Result FrameMailbox::Fetch(FrameReader& reader, int waitMs, const std::function<bool()>& mayCome,
                                         FramePtr& frame) {
  MutexLock lock(mutex_);
  const Result result = Wait(lock, reader, waitMs, mayCome);
  if (result != Result::Frame) return result;
  frame = Take(reader);
  ++reader.delivered_;
  return result;
}

FrameMailbox::Result FrameMailbox::Fetch(int waitMs, const std::function<bool()>& mayCome, FramePtr& frame) {
  MutexLock lock(mutex_);
  const Result result = Wait(lock, own_, waitMs, mayCome);
  if (result != Result::Frame) return result;
  frame = Take(own_);
  ++own_.delivered_;
  lastFetched_ = frame->Info();
  Ring();
  return result;
}

FrameMailbox::Result FrameMailbox::Fetch(std::span<std::uint8_t> out, int waitMs,
                                         const std::function<bool()>& mayCome, FrameInfo& info) {
  FramePtr frame;
  {
    MutexLock lock(mutex_);
    const Result result = Wait(lock, own_, waitMs, mayCome);
    if (result != Result::Frame) return result;
    if (out.size() < own_.line_[own_.first_]->Pixels().size()) return Result::TooSmall;
    frame = Take(own_);
    ++own_.delivered_;
    lastFetched_ = frame->Info();
    Ring();
  }
  std::memcpy(out.data(), frame->Pixels().data(), frame->Pixels().size());
  info = frame->Info();
  return Result::Frame;
}

std::shared_ptr<FrameReader> FrameMailbox::OpenReader(ReadMode mode, std::size_t depth) {
  std::shared_ptr<FrameReader> reader(new FrameReader(mode, depth));
  const MutexLock lock(mutex_);
  if (readers_.size() >= kMostReaders) return nullptr;
  readers_.push_back(reader);
  return reader;
}

FrameMailbox::ReaderCounts FrameMailbox::Counts(const FrameReader& reader) const {
  const MutexLock lock(mutex_);
  return {reader.waiting_, reader.delivered_, reader.missed_};
}

void FrameMailbox::CloseReader(FrameReader& reader) {
  {
    const MutexLock lock(mutex_);
    reader.closed_ = true;
    Drop(reader);
    std::erase_if(readers_, [&reader](const auto& other) { return other.get() == &reader; });
  }
  changed_.notify_all();
}

void FrameMailbox::Await(int waitMs, const std::function<bool()>& done) {
  MutexLock lock(mutex_);
  lock.WaitFor(changed_, std::chrono::milliseconds(waitMs), done);
}

void FrameMailbox::Ask(const std::function<void()>& question) const {
  const MutexLock lock(mutex_);
  question();
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
  DropNewest();
}

void FrameMailbox::DiscardIf(const std::function<bool()>& stale) {
  const MutexLock lock(mutex_);
  if (stale()) DropNewest();
}

void FrameMailbox::Mute(bool on) {
  const MutexLock lock(mutex_);
  SetMuted(on);
}

void FrameMailbox::MuteIf(const std::function<bool()>& wanted) {
  const MutexLock lock(mutex_);
  if (wanted()) SetMuted(true);
}

void FrameMailbox::SetMuted(bool on) {
  muted_ = on;
  if (on) DropNewest();
}

void FrameMailbox::SetGap(bool on) {
  const MutexLock lock(mutex_);
  gap_ = on;
}

void FrameMailbox::SetOrigin(std::shared_ptr<const void> origin) {
  const MutexLock lock(mutex_);
  origin_ = std::move(origin);
}

void FrameMailbox::SetDoorbell(std::function<void(bool)> doorbell) {
  const MutexLock lock(mutex_);
  doorbell_ = std::move(doorbell);
  Ring();
}

FrameInfo FrameMailbox::LastPublished() const {
  const MutexLock lock(mutex_);
  return lastPublished_;
}

FrameInfo FrameMailbox::LastFetched() const {
  const MutexLock lock(mutex_);
  return lastFetched_;
}

std::uint64_t FrameMailbox::Overwritten() const {
  const MutexLock lock(mutex_);
  return own_.missed_;
}

std::uint64_t FrameMailbox::NoBuffer() const {
  const MutexLock lock(mutex_);
  return noBuffer_;
}

void FrameMailbox::ResetCounts() {
  const MutexLock lock(mutex_);
  own_.missed_ = 0;
  noBuffer_ = 0;
}

}  // namespace orq
