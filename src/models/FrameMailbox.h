// The place where the capture worker leaves frames for the application.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "models/FrameTypes.h"
#include "support/Mutex.h"

namespace orq {

/// Holds the newest delivered frame until it is fetched or replaced. Three buffers go round (one in work, one
/// waiting, one being copied out), so that neither side waits for the other's copying and nothing is allocated per
/// frame. The writer is one thread; everything else is any-thread.
class FrameMailbox {
 public:
  enum class Result { Frame, Ended, TimedOut, TooSmall };

  /// Writer: makes room for frames of `bytes` bytes. Throws std::bad_alloc.
  void Prepare(std::size_t bytes);
  /// Writer: where the next frame is to be put; `Prepare`d bytes. Throws std::bad_alloc, and only after a change
  /// to larger frames.
  std::span<std::uint8_t> Work();
  /// Writer: makes `frame`, a buffer of `capacity` bytes, the work buffer and leaves another one of that size in
  /// its place, so that a frame that needs no work is not copied. `msbFirst`: its samples of 16 bits are in that
  /// order; they are brought into host order when they are fetched. Allocates only when frames of fewer bytes were
  /// prepared.
  void Adopt(std::unique_ptr<std::uint8_t[]>& frame, std::size_t capacity, bool msbFirst);
  /// Writer: offers the first `bytes` of the work buffer to readers and takes another buffer for work. A frame
  /// that was still waiting is replaced and counted.
  void Publish(std::size_t bytes, const FrameInfo& info);

  /// Waits up to `waitMs` (negative: for ever) for a frame and copies it into `out`. `Ended` as soon as none waits
  /// and `mayCome` says that none will; it is asked under the mailbox's lock, at first and after every `Notify`.
  /// `TooSmall` leaves the frame waiting.
  Result Fetch(std::span<std::uint8_t> out, int waitMs, const std::function<bool()>& mayCome, FrameInfo& info);
  /// Waits up to `waitMs` until `done`, which is asked under the mailbox's lock, at first and after every
  /// `Notify`.
  void Await(int waitMs, const std::function<bool()>& done);
  /// Runs `change` under the mailbox's lock and wakes all readers.
  void Notify(const std::function<void()>& change);
  /// Drops a waiting frame.
  void Discard();
  /// Drops it when `stale` says so, which is asked with the lock held.
  void DiscardIf(const std::function<bool()>& stale);

  /// Facts of the frame that was fetched last.
  FrameInfo LastFetched() const;
  /// Frames replaced before they were fetched, since `ResetCount`.
  std::uint64_t Overwritten() const;
  void ResetCount();

 private:
  struct Buffer {
    std::unique_ptr<std::uint8_t[]> data;
    std::size_t capacity = 0;
    std::size_t bytes = 0;
    bool msbFirst = false;
    FrameInfo info;
  };
  static void Grow(Buffer& buffer, std::size_t bytes);

  Buffer work_;  // writer only
  mutable Mutex mutex_;
  std::condition_variable changed_;
  std::size_t frameBytes_ = 0;  // changed by the writer only, with the lock held: it reads it without
  Buffer ready_ ORQ_GUARDED_BY(mutex_);
  bool fresh_ ORQ_GUARDED_BY(mutex_) = false;
  std::vector<Buffer> spare_ ORQ_GUARDED_BY(mutex_);
  bool prepared_ ORQ_GUARDED_BY(mutex_) = false;
  FrameInfo lastFetched_ ORQ_GUARDED_BY(mutex_);
  std::uint64_t overwritten_ ORQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace orq
