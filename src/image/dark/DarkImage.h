// The dark image: collecting it, cutting it for a frame geometry, and what stands out from it. Any-thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "image/SensorCut.h"

namespace orq {

/// The highest dark value that is still unremarkable where the mean is `average`; at most 255.
constexpr std::uint32_t DarkLimit(std::uint32_t average) {
  constexpr std::uint32_t kMargin = 30;
  return average < 255 - kMargin ? average + kMargin : 255;
}

/// Whether a dark in use is subtracted from a frame: short automatic exposures stay as they are.
inline constexpr std::uint64_t kShortAutoExposureUs = 500'000;
constexpr bool IsDarkSubtracted(bool autoExposure, std::uint64_t exposureUs) {
  return !autoExposure || exposureUs >= kShortAutoExposureUs;
}

/// A dark image of `pixels` samples that leaves frames as they are when it is subtracted with `average`: until it
/// is adjusted, the average stays that of the dark before.
std::unique_ptr<std::uint8_t[]> MakeNeutralDark(std::size_t pixels, std::uint32_t average);

/// Adds `frame` / `frames` (truncated; fewer than one frame counts as one) to `dark`, saturating at 255. Both hold
/// 8-bit samples; the shorter one decides.
void AccumulateDark(std::span<const std::uint8_t> frame, std::int32_t frames, std::span<std::uint8_t> dark);

/// Cuts `full` (row stride `cut.sensorWidth`) to the frame: copied without hardware binning; with it, each sensor
/// pixel is added to its binned sample, saturating at 255, undivided if `sum`, else divided twice by the hardware
/// bin factor (truncated each time). A region that leaves the sensor at the right goes on in the next row; pixels
/// behind the end, or before the begin, of `full` leave the unbinned image as it was. Samples outside `out` are
/// left out.
void CutDarkImage(std::span<const std::uint8_t> full, const SensorCut& cut, BinOffsets offsets, bool sum,
                  std::span<std::uint8_t> out);

/// The truncated mean; 0 of nothing.
std::uint32_t MeanOf(std::span<const std::uint8_t> image);

/// By how much the mean of the samples up to `DarkLimit(average)` exceeds `average`; 0 when there are none.
double ExcessOf(std::span<const std::uint8_t> image, std::uint32_t average);

/// Positions of the samples above `DarkLimit(average)`, ascending.
struct DarkPixelList {
  std::unique_ptr<std::uint32_t[]> positions;  ///< never null
  std::size_t count = 0;
};
DarkPixelList ListDarkPixels(std::span<const std::uint8_t> image, std::uint32_t average);

}  // namespace orq
