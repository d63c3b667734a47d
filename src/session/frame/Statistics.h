// What a frame's pixel values are like.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "models/camera/FrameTypes.h"

namespace orq::session {

inline constexpr std::size_t kHistogramSteps = 256;

/// In units of the delivered pixel values: 0 to 255, or 0 to 65535 of frames with 16 bits. All colours together.
struct FrameStatistics {
  std::uint64_t values = 0;  ///< pixels; of RGB 24 three for each
  std::uint32_t minimum = 0;
  std::uint32_t maximum = 0;
  double mean = 0.0;
  double median = 0.0;     ///< the lower one of two in the middle
  double deviation = 0.0;  ///< standard deviation
  double saturated = 0.0;  ///< share of values at which a pixel is full, or at the top of the range; 0 to 1
  std::array<std::uint32_t, kHistogramSteps> histogram{};  ///< values by their highest eight bits
};

/// `bytes`: the pixels in the region's format. Throws Failure (invalid): not as many as the region has.
FrameStatistics StatisticsOf(std::span<const std::uint8_t> bytes, const FrameInfo& info);

}  // namespace orq::session
