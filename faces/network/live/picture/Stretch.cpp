#include "live/picture/Stretch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace orq::network {
namespace {

constexpr double kFullScale = 65535.0;
constexpr double kSigmaPerMedianDeviation = 1.4826;  // of a normal distribution
constexpr double kShadowSigmas = 2.8;
constexpr double kTargetBackground = 0.25;
constexpr double kLeastSigma = 16.0 / kFullScale;  // where most values are equal
constexpr std::size_t kMostSamples = 40'000;       // tell a median as well as all do

std::uint16_t middleOf(std::vector<std::uint16_t>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

StretchPoints automaticPoints(const std::uint16_t* plane, std::size_t count) {
  const std::size_t every = std::max<std::size_t>(count / kMostSamples, 1) | 1U;  // odd: no column stands out
  std::vector<std::uint16_t> samples;
  samples.reserve(count / every + 1);
  for (std::size_t i = 0; i < count; i += every) samples.push_back(plane[i]);
  const int median = middleOf(samples);
  for (std::uint16_t& value : samples) value = static_cast<std::uint16_t>(std::abs(value - median));
  const double sigma = std::max(middleOf(samples) * kSigmaPerMedianDeviation / kFullScale, kLeastSigma);
  StretchPoints points;
  points.black = std::clamp(median / kFullScale - kShadowSigmas * sigma, 0.0, 0.99);
  const double background = (median / kFullScale - points.black) / (1.0 - points.black);
  // The function is its own inverse in this sense: with this point it maps the background to the target. What is
  // bright already is not made darker.
  points.mid = background > 0.0 ? std::min(midtones(kTargetBackground, background), 0.5) : 0.5;
  return points;
}

using Table = std::array<std::uint8_t, 65536>;

void fillTable(const StretchPoints& points, Table& table) {
  const auto black = static_cast<float>(points.black * kFullScale);
  const auto span = static_cast<float>((points.white - points.black) * kFullScale);
  const float mid = std::clamp(static_cast<float>(points.mid), 1e-5F, 1.0F - 1e-5F);
  for (std::size_t value = 0; value < table.size(); ++value) {
    const float x = std::clamp((static_cast<float>(value) - black) / span, 0.0F, 1.0F);
    const float y = (mid - 1.0F) * x / ((2.0F * mid - 1.0F) * x - mid);
    table[value] = static_cast<std::uint8_t>(255.99F * y);
  }
}

}  // namespace

double midtones(double mid, double x) {
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1.0;
  return (mid - 1.0) * x / ((2.0 * mid - 1.0) * x - mid);
}

std::vector<StretchPoints> stretchOf(const Planes& planes, const StretchWish& wish) {
  std::vector<StretchPoints> points;
  points.reserve(static_cast<std::size_t>(planes.channels));
  for (int channel = 0; channel < planes.channels; ++channel) {
    points.push_back(wish.automatic ? automaticPoints(planes.plane(channel), planes.pixels())
                                    : StretchPoints{wish.black, wish.white, wish.mid});
  }
  return points;
}

void stretch(const Planes& planes, const std::vector<StretchPoints>& points, std::vector<std::uint8_t>& pixels) {
  const auto channels = static_cast<std::size_t>(planes.channels);
  pixels.resize(planes.pixels() * channels);
  static thread_local Table table;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    fillTable(points[channel], table);
    const std::uint16_t* const plane = planes.plane(static_cast<int>(channel));
    for (std::size_t i = 0; i < planes.pixels(); ++i) pixels[i * channels + channel] = table[plane[i]];
  }
}

}  // namespace orq::network
