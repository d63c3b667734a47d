// What automatic white balance does about the colours of a frame. Free functions over values; any-thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "autoctl/AutoFrame.h"

namespace orq {

inline constexpr int kBlocksPerSide = 16;
inline constexpr std::size_t kBlocks = 256;

/// Where a block lies in the frame: its first sample and its size.
struct BlockPlace {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool operator==(const BlockPlace&) const = default;
};
/// Blocks are counted row by row.
BlockPlace PlaceOfBlock(std::size_t block, const FrameSize& frame);

enum ColourChannel : std::size_t { kRedChannel = 0, kGreenChannel = 1, kBlueChannel = 2 };
inline constexpr std::size_t kChannels = 3;

/// One colour in every block of a frame: `row * 16 + column`.
struct ChannelBlocks {
  /// Takes one block; false when its variance is negative, which counts all the same.
  bool Take(std::size_t block, std::int32_t variance, std::int32_t average);
  /// Mean of the blocks' averages, each counted by its variance, in single precision. Blocks without structure
  /// tell little about a colour. When no block has any, the top-left block's average.
  float Mean() const;

  std::unique_ptr<std::int32_t[]> averages = std::make_unique<std::int32_t[]>(kBlocks);
  std::unique_ptr<std::int32_t[]> variances = std::make_unique<std::int32_t[]>(kBlocks);
  std::int32_t varianceSum = 0;
};

/// Means of the channels on the 0 to 255 scale.
using ColourMeans = std::array<std::int32_t, kChannels>;

/// No channel is bright enough to judge.
bool TooDarkForColour(const ColourMeans& means);
/// Red and blue lie within 4 % of green, or 10 % while exposure or gain is automatic.
bool ColoursBalanced(const ColourMeans& means, bool exposureAutomatic);

struct WhiteBalanceValues {
  std::int32_t red = 0;
  std::int32_t blue = 0;
  bool operator==(const WhiteBalanceValues&) const = default;
};
/// The values that bring red and blue to green. Small values, which truncation would hold back, move by one at
/// least. Not clamped.
WhiteBalanceValues NextWhiteBalance(const ColourMeans& means, const WhiteBalanceValues& now);

}  // namespace orq
