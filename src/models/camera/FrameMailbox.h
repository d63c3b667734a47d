// The place where the capture worker leaves frames for the application.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "models/camera/FramePool.h"
#include "models/camera/FrameTypes.h"
#include "support/threads/Mutex.h"

namespace orq {

/// What a reader of frames wants.
enum class ReadMode : std::uint8_t {
  Newest,  ///< a frame that is not fetched before the next one is replaced
  Every,   ///< frames wait in line; when the line is full the newest is left out
};

/// One reader's frames. Handed to the mailbox that made it.
class FrameReader {
 public:
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

 private:
  friend class FrameMailbox;
  FrameReader(ReadMode mode, std::size_t depth);

  // Guarded by the mailbox's lock.
  const ReadMode mode_;
  std::vector<FramePtr> line_;  ///< a ring
  std::size_t first_ = 0;
  std::size_t waiting_ = 0;
  std::uint64_t delivered_ = 0;
  std::uint64_t missed_ = 0;
  bool closed_ = false;
};

/// Hands the newest delivered frame to whoever asks for one, and frames to any number of further readers: all of
/// them share the frame, nobody copies it. The writer is one thread; everything else is any-thread.
class FrameMailbox {
 public:
  enum class Result { Frame, Ended, TimedOut, TooSmall, Closed };
  struct ReaderCounts {
    std::size_t waiting = 0;      ///< in line now
    std::uint64_t delivered = 0;  ///< handed over
    std::uint64_t missed = 0;     ///< replaced or left out
  };
  static constexpr std::size_t kMostReaders = 64;

  explicit FrameMailbox(std::size_t memoryBytes);

  /// Writer: the next frames have `bytes` bytes; buffers of `adoptable` bytes are offered to `Adopt`. False when
  /// there is no memory for one.
  bool Prepare(std::size_t bytes, std::size_t adoptable = 0);
  /// Writer: where the next frame is to be put; empty while the frames that are held take all the memory.
  std::span<std::uint8_t> Work();
  /// Writer: makes what lies in `frame` the content of `Work`, which is not empty. A large frame is not copied: a
  /// buffer of the same size is left in its place.
  void Adopt(std::unique_ptr<std::uint8_t[]>& frame);
  /// Writer: gives what is in `Work` to the readers.
  void Publish(const FrameInfo& info);
  /// The same when `wanted` says so, which is asked with the lock held; not asked while muted.
  void PublishIf(const FrameInfo& info, const std::function<bool()>& wanted);
  /// Writer: a frame had to be left out, because `Work` was empty.
  void CountNoBuffer();

  /// The default reader: waits up to `waitMs` (negative: for ever) for a frame. `Ended` as soon as none waits and
  /// `mayCome` says that none will; it is asked under the mailbox's lock, at first and after every `Notify`.
  Result Fetch(int waitMs, const std::function<bool()>& mayCome, FramePtr& frame);
  /// The same into `out`. `TooSmall` leaves the frame waiting.
  Result Fetch(std::span<std::uint8_t> out, int waitMs, const std::function<bool()>& mayCome, FrameInfo& info);

  /// One more reader, from the next frame on; null when there are kMostReaders. `depth` (at least 1) counts for
  /// ReadMode::Every.
  std::shared_ptr<FrameReader> OpenReader(ReadMode mode, std::size_t depth);
  /// As the default reader's `Fetch`. `Closed` at once after `CloseReader`.
  Result Fetch(FrameReader& reader, int waitMs, const std::function<bool()>& mayCome, FramePtr& frame);
  ReaderCounts Counts(const FrameReader& reader) const;
  /// Wakes whoever waits with it and gives its frames back.
  void CloseReader(FrameReader& reader);

  /// Waits up to `waitMs` until `done`, which is asked under the mailbox's lock, at first and after every
  /// `Notify`.
  void Await(int waitMs, const std::function<bool()>& done);
  /// Runs `question` under the mailbox's lock.
  void Ask(const std::function<void()>& question) const;
  /// Runs `change` under the mailbox's lock and wakes all readers.
  void Notify(const std::function<void()>& change);
  /// Drops frames that wait for readers of the newest one.
  void Discard();
  /// Drops them when `stale` says so, which is asked with the lock held.
  void DiscardIf(const std::function<bool()>& stale);
  /// While muted, frames are left out, and those that wait for readers of the newest one are dropped.
  void Mute(bool on);
  /// Mutes when `wanted` says so, which is asked with the lock held.
  void MuteIf(const std::function<bool()>& wanted);
  /// Whether the next frame that is published comes after a gap.
  void SetGap(bool on);
  /// Goes with every frame that is published from now on.
  void SetOrigin(std::shared_ptr<const void> origin);
  /// Called with the lock held whenever the default reader's frame comes or goes: whether one waits. Empty: nobody
  /// is called.
  void SetDoorbell(std::function<void(bool waits)> doorbell);

  /// Facts of the frame that was published last, and of the one that the default reader fetched last.
  FrameInfo LastPublished() const;
  FrameInfo LastFetched() const;
  /// Frames replaced before the default reader fetched them, and frames that found no memory, since `ResetCounts`.
  std::uint64_t Overwritten() const;
  std::uint64_t NoBuffer() const;
  void ResetCounts();

  FramePool& Pool() { return *pool_; }
  const FramePool& Pool() const { return *pool_; }

 private:
  void Put(FrameReader& reader, const FramePtr& frame) ORQ_REQUIRES(mutex_);
  FramePtr Take(FrameReader& reader) ORQ_REQUIRES(mutex_);
  void Drop(FrameReader& reader) ORQ_REQUIRES(mutex_);
  void DropNewest() ORQ_REQUIRES(mutex_);
  void SetMuted(bool on) ORQ_REQUIRES(mutex_);
  void Ring() const ORQ_REQUIRES(mutex_);
  Result Wait(MutexLock& lock, const FrameReader& reader, int waitMs, const std::function<bool()>& mayCome)
      ORQ_REQUIRES(mutex_);

  const std::shared_ptr<FramePool> pool_;
  FramePtr work_;  // writer only, as the next two
  std::size_t frameBytes_ = 0;
  std::size_t adoptable_ = 0;  // size of the buffers that change places; 0: frames are copied
  mutable Mutex mutex_;
  std::condition_variable changed_;
  FrameReader own_ ORQ_GUARDED_BY(mutex_){ReadMode::Newest, 1};
  std::vector<std::shared_ptr<FrameReader>> readers_ ORQ_GUARDED_BY(mutex_);
  std::function<void(bool)> doorbell_ ORQ_GUARDED_BY(mutex_);
  bool muted_ ORQ_GUARDED_BY(mutex_) = false;
  bool gap_ ORQ_GUARDED_BY(mutex_) = false;
  std::shared_ptr<const void> origin_ ORQ_GUARDED_BY(mutex_);
  FrameInfo lastPublished_ ORQ_GUARDED_BY(mutex_);
  FrameInfo lastFetched_ ORQ_GUARDED_BY(mutex_);
  std::uint64_t published_ ORQ_GUARDED_BY(mutex_) = 0;
  std::uint64_t noBuffer_ ORQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace orq
