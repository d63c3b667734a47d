#include "session/frame/Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "models/camera/FrameGeometry.h"
#include "session/Failure.h"

namespace orq::session {
namespace {

constexpr std::uint32_t kTop8 = 255;
constexpr std::uint32_t kTop16 = 65535;

// How often each value occurs.
std::vector<std::uint64_t> Count(std::span<const std::uint8_t> bytes, bool wide) {
  std::vector<std::uint64_t> counts(wide ? kTop16 + 1 : kTop8 + 1);
  if (!wide) {
    for (const std::uint8_t value : bytes) ++counts[value];
    return counts;
  }
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    std::uint16_t value = 0;
    std::memcpy(&value, bytes.data() + i, sizeof value);
    ++counts[value];
  }
  return counts;
}

// From which value on a pixel counts as full: noise lies on both sides of where it is.
std::uint32_t SaturatedFrom(const FrameInfo& info, std::uint32_t top) {
  if (!info.levels.saturated) return top;
  return static_cast<std::uint32_t>(std::clamp(std::floor(*info.levels.saturated), 1.0, static_cast<double>(top)));
}

}  // namespace

FrameStatistics StatisticsOf(std::span<const std::uint8_t> bytes, const FrameInfo& info) {
  const FrameRegion& region = info.region;
  if (bytes.empty() || bytes.size() != static_cast<std::size_t>(region.width) *
                                           static_cast<std::size_t>(region.height) *
                                           static_cast<std::size_t>(BytesPerPixel(region.format)))
    throw Failure(Status::Invalid, "cannot measure the frame: the pixels are not those of the region");
  const bool wide = region.format == ORQ_IMG_RAW16;
  const std::vector<std::uint64_t> counts = Count(bytes, wide);
  const std::uint32_t top = wide ? kTop16 : kTop8;
  const std::uint32_t full = SaturatedFrom(info, top);
  FrameStatistics statistics;
  statistics.values = wide ? bytes.size() / 2 : bytes.size();
  const auto total = static_cast<double>(statistics.values);
  double sum = 0.0;
  std::uint64_t saturated = 0;
  std::uint64_t below = 0;
  bool first = true;
  bool middle = false;
  for (std::uint32_t value = 0; value <= top; ++value) {
    const std::uint64_t count = counts[value];
    if (count == 0) continue;
    if (first) statistics.minimum = value;
    first = false;
    statistics.maximum = value;
    sum += static_cast<double>(count) * value;
    if (value >= full) saturated += count;
    statistics.histogram[wide ? value >> 8U : value] += static_cast<std::uint32_t>(count);
    below += count;
    if (!middle && below * 2 >= statistics.values) {
      statistics.median = value;
      middle = true;
    }
  }
  statistics.mean = sum / total;
  double squares = 0.0;
  for (std::uint32_t value = 0; value <= top; ++value) {
    const double distance = value - statistics.mean;
    squares += static_cast<double>(counts[value]) * distance * distance;
  }
  statistics.deviation = std::sqrt(squares / total);
  statistics.saturated = static_cast<double>(saturated) / total;
  return statistics;
}

}  // namespace orq::session
