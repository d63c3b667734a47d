// Delivered frames and the bounded memory that they live in.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "models/camera/FrameTypes.h"
#include "support/threads/Mutex.h"

namespace orq {

class FramePool;

/// What every frame begins with, so that a pointer from outside can be told from one to something else.
inline constexpr std::uint32_t kFrameMark = 0x4D415246;

/// A frame's pixels and what is known about them. Filled by one thread, then published and shared by any number of
/// holders that only read. Its memory goes back to its pool when the last one lets go, also when nobody else knows
/// the pool any more. Any-thread once it is published.
class SharedFrame {
 public:
  SharedFrame(const SharedFrame&) = delete;
  SharedFrame& operator=(const SharedFrame&) = delete;

  std::uint32_t Mark() const { return mark_; }
  std::span<const std::uint8_t> Pixels() const { return {bytes_.get(), size_}; }
  const FrameInfo& Info() const { return info_; }
  std::uint64_t Number() const { return number_; }  ///< of the frames that were published, from 1
  /// What whoever opened the camera wants to find with its frames (`FrameMailbox::SetOrigin`); may be null.
  const std::shared_ptr<const void>& Origin() const { return origin_; }

  /// The first one of a video that goes on after its camera was lost.
  bool AfterGap() const { return afterGap_; }

  /// Before it is published.
  std::span<std::uint8_t> Room() { return {bytes_.get(), size_}; }
  /// Takes a buffer of `capacity` bytes in exchange for this frame's, which is as large; false when it is not.
  bool Swap(std::unique_ptr<std::uint8_t[]>& bytes, std::size_t capacity) {
    if (capacity != capacity_) return false;
    bytes_.swap(bytes);
    return true;
  }
  void Describe(const FrameInfo& info, std::uint64_t number, const std::shared_ptr<const void>& origin,
                bool afterGap) {
    info_ = info;
    number_ = number;
    origin_ = origin;
    afterGap_ = afterGap;
  }

  void Retain() { holders_.fetch_add(1, std::memory_order_relaxed); }
  void Release();

 private:
  friend class FramePool;
  friend struct std::default_delete<SharedFrame>;
  explicit SharedFrame(std::size_t capacity);
  ~SharedFrame() = default;

  const std::uint32_t mark_ = kFrameMark;  // first
  const std::size_t capacity_;
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
  FrameInfo info_;
  std::uint64_t number_ = 0;
  std::shared_ptr<const void> origin_;
  bool afterGap_ = false;
  std::atomic<std::uint32_t> holders_{0};
  std::shared_ptr<FramePool> home_;  ///< while somebody holds it
};

/// One holder of a frame, or none.
class FramePtr {
 public:
  FramePtr() = default;
  /// Takes over a holder that there is already.
  explicit FramePtr(SharedFrame* held) : frame_(held) {}
  FramePtr(const FramePtr& other) : frame_(other.frame_) {
    if (frame_ != nullptr) frame_->Retain();
  }
  FramePtr(FramePtr&& other) noexcept : frame_(other.Detach()) {}
  FramePtr& operator=(FramePtr other) noexcept {
    std::swap(frame_, other.frame_);
    return *this;
  }
  ~FramePtr() {
    if (frame_ != nullptr) frame_->Release();
  }

  SharedFrame* operator->() const { return frame_; }
  SharedFrame& operator*() const { return *frame_; }
  explicit operator bool() const { return frame_ != nullptr; }
  /// Gives the holder to the caller, who releases the frame.
  SharedFrame* Detach() { return std::exchange(frame_, nullptr); }

 private:
  SharedFrame* frame_ = nullptr;
};

/// Memory for frames, all of them together bounded. Buffers go round: after the first frames nothing is allocated
/// while their size stays. Those of another size are given up when the room is needed. Any-thread.
class FramePool : public std::enable_shared_from_this<FramePool> {
 public:
  static std::shared_ptr<FramePool> Make(std::size_t limitBytes);

  /// A frame of `bytes` bytes in a buffer of `capacity` bytes, with one holder; none when that would take the
  /// frames beyond the limit, or the system has no memory.
  FramePtr Acquire(std::size_t bytes, std::size_t capacity);
  FramePtr Acquire(std::size_t bytes) { return Acquire(bytes, bytes); }
  /// Holds from the next frame on; what is held already stays.
  void SetLimit(std::size_t bytes);
  std::size_t Limit() const;
  /// Room for so many more bytes beyond the limit, for somebody who holds many frames, until `Narrow` takes it
  /// back.
  void Widen(std::size_t bytes);
  void Narrow(std::size_t bytes);
  /// Bytes of all frames, held ones and spare ones.
  std::size_t Bytes() const;

 private:
  friend class SharedFrame;
  explicit FramePool(std::size_t limitBytes) : limit_(limitBytes) {}
  void TakeBack(SharedFrame* frame);
  /// Gives up spare frames until `bytes` more fit. False when they do not even then.
  bool MakeRoom(std::size_t bytes) ORQ_REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::size_t limit_ ORQ_GUARDED_BY(mutex_);
  std::size_t beyond_ ORQ_GUARDED_BY(mutex_) = 0;
  std::size_t bytes_ ORQ_GUARDED_BY(mutex_) = 0;
  std::size_t frames_ ORQ_GUARDED_BY(mutex_) = 0;
  std::vector<std::unique_ptr<SharedFrame>> spare_ ORQ_GUARDED_BY(mutex_);
};

}  // namespace orq
