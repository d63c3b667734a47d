// A sensor that plays recorded frames.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "virtual/replay/RecordedFrames.h"
#include "virtual/sensor/FrameSource.h"

namespace orq {

/// Plays the frames of a FITS, PGM or SER file in turn, again and again. Exposure, gain, offset and temperature do
/// not count. At bin 1 the samples are the file's; above, each is the average of `bin` x `bin` samples of one
/// colour, cut to a whole number. What lies outside the recorded frame reads as 0.
class ReplaySource final : public FrameSource {
 public:
  /// `bayer` (0 to 3, below 0 monochrome) replaces the pattern that the file states.
  ReplaySource(RecordedFrames recording, std::optional<int> bayer);
  /// Null with a one-line reason in `error` when the file cannot be used.
  static std::unique_ptr<ReplaySource> Open(const std::string& path, std::optional<int> bayer, std::string& error);

  int Width() const override { return recording_.width; }
  int Height() const override { return recording_.height; }
  int AdcBits() const override { return recording_.adcBits; }
  int BayerPattern() const override { return bayer_; }
  std::uint64_t LineTimeNs() const override;
  RecordedFacts Recorded() const override { return recording_.facts; }
  void Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) override;

 private:
  RecordedFrames recording_;
  int bayer_;
};

}  // namespace orq
