#include "autoctl/WhiteBalanceDecision.h"

#include <algorithm>
#include <cstdlib>

#include "support/Wrapped.h"

namespace orq {
namespace {

constexpr std::int32_t kDarkestMean = 9;
constexpr std::int32_t kTolerance = 4;  // percent of green
constexpr std::int32_t kLooseTolerance = 10;
constexpr std::int32_t kCoarseValue = 4;  // a step of one is a quarter of it or more

std::int32_t NextValue(std::int32_t now, std::int32_t green, std::int32_t own) {
  const std::int32_t divisor = Wrapped(std::int64_t{own} + 1);
  const std::int32_t product = Wrapped(std::int64_t{now} * green);
  const std::int32_t next = divisor != 0 ? Wrapped(std::int64_t{product} / divisor) : now;
  const bool heldBack = next <= now && green > own && now <= kCoarseValue;
  return heldBack ? Wrapped(std::int64_t{next} + 1) : next;
}

}  // namespace

BlockPlace PlaceOfBlock(std::size_t block, const FrameSize& frame) {
  const auto row = static_cast<std::int64_t>(block) / kBlocksPerSide;
  const auto column = static_cast<std::int64_t>(block) % kBlocksPerSide;
  return {.x = Wrapped(column * frame.width) / kBlocksPerSide,
          .y = Wrapped(row * frame.height) / kBlocksPerSide,
          .width = frame.width / kBlocksPerSide,
          .height = frame.height / kBlocksPerSide};
}

bool ChannelBlocks::Take(std::size_t block, std::int32_t variance, std::int32_t average) {
  averages[block] = average;
  variances[block] = variance;
  varianceSum = Wrapped(std::int64_t{varianceSum} + variance);
  return variance >= 0;
}

float ChannelBlocks::Mean() const {
  if (varianceSum == 0) return static_cast<float>(averages[0]);
  const auto weight = static_cast<float>(static_cast<std::uint32_t>(varianceSum) + 1U);
  float mean = 0.0F;
  for (std::size_t i = 0; i < kBlocks; ++i)
    mean += static_cast<float>(variances[i]) * static_cast<float>(averages[i]) / weight;
  return mean;
}

bool TooDarkForColour(const ColourMeans& means) {
  return std::ranges::all_of(
      means, [](std::int32_t mean) { return mean <= kDarkestMean; });
}

bool ColoursBalanced(const ColourMeans& means, bool exposureAutomatic) {
  const std::int32_t tolerance = exposureAutomatic ? kLooseTolerance : kTolerance;
  const auto near = [&](std::int32_t mean) {
    return 100 * std::abs(means[kGreenChannel] - mean) <= tolerance * means[kGreenChannel];
  };
  return near(means[kRedChannel]) && near(means[kBlueChannel]);
}

WhiteBalanceValues NextWhiteBalance(const ColourMeans& means, const WhiteBalanceValues& now) {
  return {NextValue(now.red, means[kGreenChannel], means[kRedChannel]),
          NextValue(now.blue, means[kGreenChannel], means[kBlueChannel])};
}

}  // namespace orq
