// What stays the same from frame to frame: hot pixels and hot rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orq {

struct SensorData;

/// A pixel whose dark current stands out.
struct HotPixel {
  int x = 0;
  int y = 0;
  double electronsPerSecond = 0.0;  ///< at the reference temperature, above that of other pixels
};

/// A row whose dark current stands out.
struct HotRow {
  int y = 0;
  double electronsPerSecond = 0.0;  ///< at the reference temperature, above that of other rows
};

/// The dark current of every pixel of one sensor, decided by the seed alone. Constant once made: any-thread.
class FixedPattern {
 public:
  FixedPattern(const SensorData& sensor, std::uint64_t seed);

  std::span<const HotPixel> HotPixels() const { return hotPixels_; }  ///< by row, then column
  std::span<const HotRow> HotRows() const { return hotRows_; }
  /// Adds the dark charge of `seconds` at the reference temperature, in electrons, to the pixels from column
  /// `startX` of sensor row `y`. Another temperature scales the seconds.
  void AddRow(int y, int startX, float seconds, std::span<float> electrons) const;

 private:
  double baseRate_;
  std::vector<HotPixel> hotPixels_;
  std::vector<HotRow> hotRows_;
  std::vector<std::uint32_t> rowStart_;  ///< of each row in `hotPixels_`; one more at the end
};

}  // namespace orq
