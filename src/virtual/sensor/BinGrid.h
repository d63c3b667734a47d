// Which sensor pixels a hardware-binned sample is made of.
#pragma once

#include <algorithm>
#include <cstdint>

namespace orq {

/// Along one axis: sample `i` is made of `bin` pixels from `First(i)` on, `Step()` apart. With `bayer` they are
/// two apart and so of one colour, and neighbouring samples keep the mosaic; without it they are neighbours.
struct BinGrid {
  int bin = 1;
  bool bayer = false;

  constexpr int First(int i) const { return bayer ? (i / 2) * 2 * bin + (i & 1) : i * bin; }
  constexpr int Step() const { return bayer ? 2 : 1; }
};

/// Samples of an axis: [first, last).
struct Overlap {
  int first = 0;
  int last = 0;
};

/// Of `samples` samples from sensor pixel `start` on, those that lie on the sensor wholly or in part.
constexpr Overlap OnSensor(const BinGrid& grid, int start, int samples, int sensorPixels) {
  const auto touches = [&](int i) {
    const std::int64_t from = static_cast<std::int64_t>(start) + grid.First(i);
    const std::int64_t reach = std::int64_t{grid.bin - 1} * grid.Step();
    return from + reach >= 0 && from < sensorPixels;
  };
  Overlap overlap{0, samples};
  while (overlap.first < samples && !touches(overlap.first)) ++overlap.first;
  while (overlap.last > overlap.first && !touches(overlap.last - 1)) --overlap.last;
  return overlap;
}

/// A hardware bin factor as the sensor takes it.
constexpr int HeldBin(int bin) {
  return std::clamp(bin, 1, 4);
}

}  // namespace orq
