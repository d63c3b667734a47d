// Where the frames of a recording go.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "session/frame/FrameFacts.h"
#include "session/recording/TimesFile.h"

namespace orq::session {

/// A file of frames of one size and format, or a folder of files. What fails gives an errno; caller-serialised.
class RecordingSink {
 public:
  /// Everything that is known of a frame, for who writes it down.
  using Facts = std::function<FrameFacts()>;

  RecordingSink() = default;
  virtual ~RecordingSink() = default;
  RecordingSink(const RecordingSink&) = delete;
  RecordingSink& operator=(const RecordingSink&) = delete;

  /// Appends a frame. After a failure only `Keep` and `Finish` come.
  virtual int Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) = 0;
  /// What has been put reaches the system, so that killing the program does not lose it.
  virtual int Flush() = 0;
  /// And the disk, so that a power cut does not either.
  virtual int Sync() = 0;
  /// How many frames, from the first on, are to be kept: all, or after a failure those that have been written.
  /// Throws away what is behind them, in the file as well.
  virtual int Keep(std::uint64_t& frames) = 0;
  /// Makes a finished file of the frames that `Keep` has left. With ENOSPC or EFBIG there was no room for what
  /// stands behind the frames; the caller may keep fewer and try again.
  virtual int Finish() = 0;

  /// Bytes of the finished file if it had so many frames.
  virtual std::uint64_t BytesOf(std::uint64_t frames) const = 0;
  /// Bytes of the disk that are taken beyond what is written.
  virtual std::uint64_t Ahead() const = 0;
  virtual bool IsDirect() const = 0;
};

}  // namespace orq::session
