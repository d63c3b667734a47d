// Repair of single samples, rows and columns of a frame, in place. Free functions over spans: no allocation;
// any-thread, one at a time per frame. They touch only what is listed.
#pragma once

#include <cstdint>
#include <span>

namespace orq {

/// The frame under repair, of 8-bit or 16-bit samples (`std::uint8_t`, `std::uint16_t`). Positions are
/// y * width + x. Whatever width, height, lists, maps and flags say, samples outside `samples` are neither read
/// nor written: a repair that would need one does not take place.
template <class Sample>
struct FrameView {
  std::span<Sample> samples;  ///< the whole buffer, which may hold more than the frame
  std::int32_t width = 0;     ///< of the frame that lists, map and flags refer to
  std::int32_t height = 0;
  std::int32_t step = 1;  ///< distance between samples of one colour: 1 monochrome, 2 Bayer; at least 1
};

/// Replaces the samples on `list` (ascending): inside the frame by the mean of their usable neighbours
/// (`AverageNeighbours`), within one step of the border by a copy of one neighbour, which in 16-bit frames is
/// chosen by `BorderReplacement`. Means in 16-bit frames get the trailing zeros of samples with `adcBits` bits
/// (the low byte counts: 16 and 14, anything else is 12).
template <class Sample>
void RepairHotPixels(const FrameView<Sample>& frame, std::span<const std::uint32_t> list,
                     std::span<const std::uint8_t> map, std::int32_t adcBits);

/// The sample at `pos` = y * width + x becomes the truncated mean of those of its neighbours up, left, right and
/// down at the distance of one step that `map` (non-zero is hot; 0 beyond its end) calls good or that come before
/// it and so were repaired already. Without any it becomes the sample just before it. False, and nothing done,
/// when there is no map.
template <class Sample>
bool AverageNeighbours(const FrameView<Sample>& frame, std::span<const std::uint8_t> map, std::int32_t x,
                       std::int32_t y, std::int32_t pos);

/// The position to copy onto the hot pixel `list[index]` at the border of a `width` x `height` frame. With `atEnd`
/// (last columns and rows) the sample to the left; else the first good one of right, up and down, or the one
/// diagonally below. May lie outside the frame where that is smaller than a few steps. `index` lies in the list.
std::int32_t BorderReplacement(std::span<const std::uint32_t> list, std::size_t index, std::int32_t step,
                               std::int32_t width, std::int32_t height, bool atEnd);

/// Every row whose flag is not 0 becomes the truncated mean of the nearest rows of the same colour above and below
/// without a flag, or a copy of the one that there is; without any it stays. Missing flags are 0; rows that the
/// buffer does not hold in full are left out.
template <class Sample>
void RepairRows(const FrameView<Sample>& frame, std::span<const std::uint32_t> flags);

/// The same for columns.
template <class Sample>
void RepairColumns(const FrameView<Sample>& frame, std::span<const std::uint32_t> flags);

/// Replaces the samples on `list` by the truncated mean of their neighbours of the same colour left and right;
/// within one step of the border by a copy of the right one (first columns and rows) or the left one.
template <class Sample>
void RepairDarkPixels(const FrameView<Sample>& frame, std::span<const std::uint32_t> list);

}  // namespace orq
