#include "image/hotpixels/HotRows.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orq {
namespace {

// A dark is brighter towards some of its edges: rows are compared with as many on one side as on the other, and at
// the edges themselves with few.
constexpr std::size_t kReach = 24;
constexpr std::size_t kLeastReach = 2;
constexpr double kLeastExcess = 0.25;
constexpr double kSigmas = 8.0;
// Nine in ten of normal deviations are smaller than this many standard deviations; hot rows are among the tenth.
constexpr std::size_t kTenths = 9;
constexpr double kSigmasOfTenths = 1.645;
constexpr std::size_t kMostOneIn = 50;

/// The mean of the row's middle half: a few hot or dead pixels do not show in it, a fraction of a unit does.
double LevelOf(std::span<const std::uint8_t> row) {
  std::array<std::size_t, 256> counts{};
  for (const std::uint8_t value : row) ++counts[value];
  const std::size_t first = row.size() / 4;
  const std::size_t last = row.size() - first;
  std::size_t rank = 0;
  std::size_t sum = 0;
  for (std::size_t value = 0; value < counts.size(); ++value) {
    const std::size_t end = rank + counts[value];
    const std::size_t from = std::max(rank, first);
    const std::size_t to = std::min(end, last);
    if (from < to) sum += value * (to - from);
    rank = end;
  }
  return static_cast<double>(sum) / static_cast<double>(last - first);
}

/// The value that `rank` of the others are below.
double Ranked(std::vector<double>& values, std::size_t rank) {
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(rank);
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

double MedianOf(std::vector<double> values) {
  const std::size_t half = values.size() / 2;
  return (Ranked(values, half) + Ranked(values, (values.size() - 1) / 2)) / 2.0;
}

/// By how much each level exceeds the median of the others around it.
std::vector<double> Excesses(const std::vector<double>& levels) {
  std::vector<double> excesses(levels.size());
  for (std::size_t y = 0; y < levels.size(); ++y) {
    const std::size_t reach = std::max(kLeastReach, std::min({kReach, y, levels.size() - 1 - y}));
    std::vector<double> others;
    for (std::size_t other = y > reach ? y - reach : 0; other < std::min(y + reach + 1, levels.size()); ++other)
      if (other != y) others.push_back(levels[other]);
    if (!others.empty()) excesses[y] = levels[y] - MedianOf(std::move(others));
  }
  return excesses;
}

/// Of good rows, whatever the few hot ones are.
double Scatter(const std::vector<double>& excesses) {
  std::vector<double> sizes(excesses.size());
  std::ranges::transform(excesses, sizes.begin(), [](double excess) { return std::abs(excess); });
  return Ranked(sizes, sizes.size() * kTenths / 10) / kSigmasOfTenths;
}

}  // namespace

std::vector<std::size_t> FindHotRows(std::span<const std::uint8_t> dark, std::size_t width) {
  const std::size_t rows = width == 0 ? 0 : dark.size() / width;
  if (rows == 0) return {};
  std::vector<double> levels(rows);
  for (std::size_t y = 0; y < rows; ++y) levels[y] = LevelOf(dark.subspan(y * width, width));
  const std::vector<double> excesses = Excesses(levels);
  const double least = std::max(kLeastExcess, kSigmas * Scatter(excesses));
  std::vector<std::size_t> hot;
  for (std::size_t y = 0; y < rows; ++y)
    if (excesses[y] >= least) hot.push_back(y);
  if (hot.size() * kMostOneIn > rows) hot.clear();
  return hot;
}

}  // namespace orq
