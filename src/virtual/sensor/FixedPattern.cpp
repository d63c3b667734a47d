#include "virtual/sensor/FixedPattern.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "virtual/sensor/NoiseGenerator.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

constexpr std::uint64_t kPatternSalt = 0x484F5453ULL;

double LogUniform(SplitMix64& random, double low, double high) {
  return low * std::pow(high / low, random.Uniform());
}

int Below(SplitMix64& random, int limit) {
  return static_cast<int>(random.Uniform() * limit);
}

}  // namespace

FixedPattern::FixedPattern(const SensorData& sensor, std::uint64_t seed)
    : baseRate_(sensor.darkElectronsPerSecond) {
  SplitMix64 random(Mix64(seed ^ kPatternSalt));
  for (int i = 0; i < sensor.hotRows; ++i) {
    const int y = Below(random, sensor.height);
    hotRows_.push_back({y, LogUniform(random, sensor.hotRowMinRate, sensor.hotRowMaxRate)});
  }
  const auto pixels = static_cast<std::size_t>(
      std::lround(sensor.hotPixelFraction * static_cast<double>(sensor.width) * sensor.height));
  hotPixels_.reserve(pixels);
  for (std::size_t i = 0; i < pixels; ++i) {
    const int x = Below(random, sensor.width);
    const int y = Below(random, sensor.height);
    hotPixels_.push_back({x, y, LogUniform(random, sensor.hotPixelMinRate, sensor.hotPixelMaxRate)});
  }
  std::sort(hotPixels_.begin(), hotPixels_.end(),
            [](const HotPixel& a, const HotPixel& b) { return std::tie(a.y, a.x) < std::tie(b.y, b.x); });
  rowStart_.assign(static_cast<std::size_t>(sensor.height) + 1, 0);
  for (const HotPixel& hot : hotPixels_) ++rowStart_[static_cast<std::size_t>(hot.y) + 1];
  for (std::size_t y = 1; y < rowStart_.size(); ++y) rowStart_[y] += rowStart_[y - 1];
}

void FixedPattern::AddRow(int y, int startX, float seconds, std::span<float> electrons) const {
  double rate = baseRate_;
  for (const HotRow& row : hotRows_)
    if (row.y == y) rate += row.electronsPerSecond;
  const float charge = static_cast<float>(rate) * seconds;
  for (float& one : electrons) one += charge;
  const int endX = startX + static_cast<int>(electrons.size());
  for (std::uint32_t k = rowStart_[static_cast<std::size_t>(y)]; k < rowStart_[static_cast<std::size_t>(y) + 1];
       ++k) {
    const HotPixel& hot = hotPixels_[k];
    if (hot.x < startX || hot.x >= endX) continue;
    electrons[static_cast<std::size_t>(hot.x - startX)] += static_cast<float>(hot.electronsPerSecond) * seconds;
  }
}

}  // namespace orq
