// How the frame geometry cuts a whole-sensor table: region, binning and where binned sensor pixels go.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "image/ImageState.h"

namespace orq {

/// The geometry of the frames that follow, as far as tables of the whole sensor are cut for it. Any values are
/// allowed; what lies outside the sensor or outside a buffer is left out by those who use it.
struct SensorCut {
  std::int32_t sensorWidth = 0, sensorHeight = 0;  ///< sensor pixels; the tables' row stride and rows
  std::int32_t startX = 0, startY = 0;             ///< first pixel of the region, sensor pixels
  std::int32_t width = 0, height = 0;              ///< image, output pixels
  std::int32_t bin = 1;                            ///< bin factor, 1 to 4
  bool twoStageBin4 = false;                       ///< bin 4 is hardware bin 2 followed by software bin 2
  bool hardwareBin = false;                        ///< frames arrive binned

  /// The region in sensor pixels.
  std::int32_t RegionWidth() const;
  std::int32_t RegionHeight() const;
  /// The frame at the stage where it is corrected, in samples: as the sensor sends it. With hardware binning at
  /// bin 4 that is the stage of bin 2.
  std::int32_t FrameWidth() const;
  std::int32_t FrameHeight() const;
  /// How many sensor pixels, in each direction, make one sample in hardware.
  std::int32_t HardwareFactor() const { return twoStageBin4 && bin == 4 ? 2 : bin; }
};

/// The model's table of `kBinOffsets` entries; shorter tables read as empty behind their end.
using BinOffsets = std::span<const BinOffset>;

/// The offsets of one axis for sensor pixels of one parity, in sensor pixels.
struct AxisOffsets {
  std::array<std::int32_t, 4> values{};
  std::size_t count = 0;  ///< at least 1

  std::span<const std::int32_t> Values() const { return {values.data(), count}; }
};

/// The offsets that `axis` (`&BinOffset::dx` or `&BinOffset::dy`) has at a bin factor for pixels of a parity
/// (0 or 1): the table's first entry of that parity, 0 when it is empty, and the next ones up to an empty one.
AxisOffsets OffsetsFor(BinOffsets table, std::int32_t bin, int parity, std::int8_t BinOffset::*axis);

/// Column (or row) of the binned sample that a sensor pixel of the region contributes to; of the pixel's own
/// colour on a Bayer sensor. `factor` is at least 1; the division truncates toward zero.
constexpr std::int32_t BinnedPlace(std::int32_t place, std::int32_t offset, std::int32_t factor) {
  return static_cast<std::int32_t>((place & 1) + (std::int64_t{place} + offset) / (2 * std::int64_t{factor}) * 2);
}

}  // namespace orq
