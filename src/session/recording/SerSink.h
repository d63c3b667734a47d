// A recording as a SER file.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "session/recording/BlockFile.h"
#include "session/recording/RecordingSink.h"
#include "support/ser/SerHeader.h"

namespace orq::session {

/// The header announces no frame until the file is finished: bytes of a frame are never taken for time stamps, and
/// readers see that it is not finished. The trailer comes first, then the number of frames.
class SerSink final : public RecordingSink {
 public:
  /// `header` without frames and times. `beforeWrite`: see BlockFile. Throws Failure: the file cannot be made.
  SerSink(const std::string& path, Existing existing, const SerHeader& header, std::function<int()> beforeWrite);

  int Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) override;
  int Flush() override { return file_.Flush(); }
  int Sync() override { return file_.Sync(); }
  int Keep(std::uint64_t& frames) override;
  int Finish() override;
  std::uint64_t BytesOf(std::uint64_t frames) const override;
  std::uint64_t Ahead() const override { return file_.Ahead(); }
  bool IsDirect() const override { return file_.IsDirect(); }

 private:
  SerHeader header_;
  BlockFile file_;
  std::vector<std::int64_t> times_;
};

/// The local time of day at a time in UTC; both in units of 100 ns since 1970.
std::int64_t LocalTenths(std::int64_t utcTenths);

/// What stands in the header for the format and pattern of frames; the rest of it is empty.
SerHeader SerHeaderFor(const FrameRegion& region, int bayerPattern);

/// Bytes of time stamps as they stand behind the frames.
std::vector<std::uint8_t> SerTrailer(std::span<const std::int64_t> serTimes);

}  // namespace orq::session
