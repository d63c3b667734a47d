// Exposures of small regions, and their statistics.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "virtual/sensor/FrameSource.h"

namespace orq::test {

using Frame = std::vector<std::uint16_t>;

inline Frame Shoot(FrameSource& source, const ExposureSettings& settings) {
  Frame frame(static_cast<std::size_t>(settings.width) * static_cast<std::size_t>(settings.height), 0xDEAD);
  source.Expose(settings, frame);
  return frame;
}

/// Which pixels of a region count, by column and row.
using Choice = std::function<bool(int x, int y)>;
inline bool Every(int, int) {
  return true;
}
/// The green pixels of an RGGB mosaic that starts at an even corner.
inline bool Green(int x, int y) {
  return ((x + y) & 1) == 1;
}

struct PairStatistics {
  double mean = 0.0;      ///< of both frames
  double variance = 0.0;  ///< temporal variance of one frame: half that of the difference
};

/// Fixed pattern falls out of the difference of two frames taken alike.
inline PairStatistics ComparePair(const Frame& a, const Frame& b, int width, const Choice& counts = Every) {
  double sum = 0.0, differences = 0.0, squares = 0.0;
  double n = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto at = static_cast<int>(i);
    if (!counts(at % width, at / width)) continue;
    const double difference = static_cast<double>(a[i]) - b[i];
    sum += static_cast<double>(a[i]) + b[i];
    differences += difference;
    squares += difference * difference;
    n += 1.0;
  }
  return {sum / (2.0 * n), (squares / n - (differences / n) * (differences / n)) / 2.0};
}

inline PairStatistics ShootPair(FrameSource& source, ExposureSettings settings, const Choice& counts = Every) {
  const Frame first = Shoot(source, settings);
  ++settings.frameNumber;
  return ComparePair(first, Shoot(source, settings), settings.width, counts);
}

inline double Mean(const Frame& frame) {
  double sum = 0.0;
  for (const std::uint16_t one : frame) sum += one;
  return sum / static_cast<double>(frame.size());
}

}  // namespace orq::test
