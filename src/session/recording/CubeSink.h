// A recording as a FITS cube.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "session/fits/FitsCube.h"
#include "session/recording/BlockFile.h"
#include "session/recording/RecordingSink.h"

namespace orq::session {

/// The header announces the frames that are in the file, at every flush: they are written first, with the zeros
/// that fill up their last block. The table of times comes behind them at the end. The header has room for the
/// facts of the first frame, which are not known before it.
class CubeSink final : public RecordingSink {
 public:
  /// `expected`: what frames of this region will be like. `beforeWrite`: see BlockFile. Throws Failure: the file
  /// cannot be made.
  CubeSink(const std::string& path, Existing existing, const FrameFacts& expected,
           std::function<int()> beforeWrite);

  int Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) override;
  int Flush() override;
  int Sync() override;
  int Keep(std::uint64_t& frames) override;
  int Finish() override;
  std::uint64_t BytesOf(std::uint64_t frames) const override;
  std::uint64_t Ahead() const override { return file_.Ahead(); }
  bool IsDirect() const override { return file_.IsDirect(); }

 private:
  int FillUp();
  int Announce(std::uint64_t frames);
  std::uint64_t Frames() const;

  const CubeShape shape_;
  FrameFacts facts_;  ///< of the first frame, until the end of the last one
  BlockFile file_;
  std::uint64_t headerBytes_ = 0;
  std::uint64_t announced_ = 0;
  std::vector<std::uint8_t> samples_;
  std::vector<std::uint8_t> rows_;  ///< of the table
};

}  // namespace orq::session
