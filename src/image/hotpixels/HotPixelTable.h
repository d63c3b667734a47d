// The map of hot sensor pixels, and what is cut from it for a frame geometry. Any-thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "image/SensorCut.h"

namespace orq {

/// The longest list of hot pixels; more are not worth repairing one by one.
inline constexpr std::size_t kMaxHotPixels = 100'000;

/// Whether a row with so many hot samples is bad as a whole: at least half of it (`width / 2`, truncated).
constexpr bool IsBadRow(std::uint32_t hot, std::uint32_t width) {
  return hot >= width / 2;
}

/// How a model's FPGA places sensor pixels on binned samples.
enum class BinPlacement {
  SameColour,  ///< `BinnedPlace`
  Scaled,      ///< the scaled coordinate in single precision, rounded in y and truncated in x, plus the offset
};

/// What the repair of frames of one geometry needs beside the map. Positions are y * width + x.
struct HotPixelTable {
  std::int32_t width = 0, height = 0;        ///< the frame at the stage where it is corrected
  std::unique_ptr<std::uint32_t[]> badRows;  ///< one flag per row; null without bad rows
  std::unique_ptr<std::uint32_t[]> list;     ///< hot samples outside bad rows, ascending; never null
  std::size_t count = 0;                     ///< entries of `list`, at most `kMaxHotPixels`: the first ones
};

/// Marks as 1 every entry of `fullMap` whose dark value exceeds `average` by 31 or more, and the others as 0.
/// Entries without a dark value stay.
void MarkHotPixels(std::span<const std::uint8_t> dark, std::uint32_t average, std::span<std::uint8_t> fullMap);

/// Cuts `fullMap` (non-zero is hot, row stride `cut.sensorWidth`) to the frame into `map`, and makes the table.
/// A bad row (`IsBadRow`) is cleared in the map. What lies outside the sensor is good, what lies outside `map` is
/// left out.
HotPixelTable CutHotPixelTable(std::span<const std::uint8_t> fullMap, const SensorCut& cut, BinOffsets offsets,
                               BinPlacement placement, std::span<std::uint8_t> map);

}  // namespace orq
