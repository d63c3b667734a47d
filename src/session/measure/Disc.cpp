#include "session/measure/Disc.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace orq::session {
namespace {

constexpr int kLeastBlock = 4;
constexpr int kMostBlocks = 256;      // along the longer side
constexpr double kLeastSignal = 8.0;  // of the spread of the background

struct Blocks {
  int side = 0;  ///< pixels
  int columns = 0;
  int rows = 0;
  std::vector<double> means;
};

double Value(const std::uint8_t* at, IMG_TYPE format) {
  switch (format) {
    case ORQ_IMG_RAW16: {
      std::uint16_t sample = 0;
      std::memcpy(&sample, at, sizeof sample);
      return sample;
    }
    case ORQ_IMG_RGB24:
      return at[1];  // green
    default:
      return *at;
  }
}

Blocks Average(std::span<const std::uint8_t> pixels, const FrameRegion& region) {
  const int longer = std::max(region.width, region.height);
  Blocks blocks;
  blocks.side = std::max(kLeastBlock, (longer + kMostBlocks - 1) / kMostBlocks);
  blocks.columns = region.width / blocks.side;
  blocks.rows = region.height / blocks.side;
  if (blocks.columns < 1 || blocks.rows < 1) return blocks;
  const auto bytes =
      pixels.size() / (static_cast<std::size_t>(region.width) * static_cast<std::size_t>(region.height));
  const double area = static_cast<double>(blocks.side) * blocks.side;
  for (int row = 0; row < blocks.rows; ++row) {
    for (int column = 0; column < blocks.columns; ++column) {
      double sum = 0.0;
      for (int y = row * blocks.side; y < (row + 1) * blocks.side; ++y) {
        const std::size_t first = static_cast<std::size_t>(y) * static_cast<std::size_t>(region.width) +
                                  static_cast<std::size_t>(column * blocks.side);
        const std::uint8_t* at = pixels.data() + first * bytes;
        for (int x = 0; x < blocks.side; ++x, at += bytes) sum += Value(at, region.format);
      }
      blocks.means.push_back(sum / area);
    }
  }
  return blocks;
}

double Quantile(std::vector<double> values, double share) {
  const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), values.begin() + place, values.end());
  return values[static_cast<std::size_t>(place)];
}

}  // namespace

// The darkest quarter is background also where the disc fills half of the frame.
std::optional<Disc> FindDisc(std::span<const std::uint8_t> pixels, const FrameRegion& region) {
  if (pixels.empty()) return std::nullopt;
  const Blocks blocks = Average(pixels, region);
  if (blocks.means.empty()) return std::nullopt;
  const double background = Quantile(blocks.means, 0.25);
  const double spread = std::max(background - Quantile(blocks.means, 0.05), 0.5);
  const double peak = std::ranges::max(blocks.means);
  if (peak - background < kLeastSignal * spread) return std::nullopt;
  const double half = (background + peak) / 2;
  double weights = 0.0;
  double sumX = 0.0;
  double sumY = 0.0;
  int count = 0;
  for (int row = 0; row < blocks.rows; ++row) {
    for (int column = 0; column < blocks.columns; ++column) {
      const double mean = blocks.means[static_cast<std::size_t>(row) * static_cast<std::size_t>(blocks.columns) +
                                       static_cast<std::size_t>(column)];
      if (mean < half) continue;
      weights += mean - background;
      sumX += (mean - background) * (column + 0.5);
      sumY += (mean - background) * (row + 0.5);
      ++count;
    }
  }
  const double area = static_cast<double>(count) * blocks.side * blocks.side;
  return Disc{sumX / weights * blocks.side, sumY / weights * blocks.side,
              2.0 * std::sqrt(area / std::numbers::pi)};
}

}  // namespace orq::session
