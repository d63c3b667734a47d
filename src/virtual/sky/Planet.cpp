#include "virtual/sky/Planet.h"

#include <algorithm>
#include <cmath>

#include "virtual/bus/VirtualOptions.h"
#include "virtual/sensor/BayerMosaic.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

/// The air makes its edge so wide, pixels.
constexpr double kEdgePixels = 2.0;

/// Where something is that began in the middle of [0, size - 1] and turns back `margin` before both ends.
double Bounced(double way, double margin, int size) {
  const double room = size - 1.0 - 2.0 * margin;
  if (room <= 0.0) return (size - 1.0) / 2.0;
  const double turn = std::fmod(room / 2.0 + way, 2.0 * room);
  const double there = turn < 0.0 ? turn + 2.0 * room : turn;
  return margin + (there > room ? 2.0 * room - there : there);
}

}  // namespace

Planet::Planet(const SensorData& sensor, const VirtualPlanet& options, double flux)
    : width_(sensor.width),
      height_(sensor.height),
      bayerPattern_(sensor.bayerPattern),
      radius_(options.diameter / 2.0),
      driftX_(options.driftX),
      driftY_(options.driftY) {
  for (std::size_t i = 0; i < rates_.size(); ++i)
    rates_[i] = flux * (bayerPattern_ < 0 ? 1.0 : sensor.response[i]);
}

Planet::Place Planet::At(double seconds) const {
  return {Bounced(driftX_ * seconds, radius_, width_), Bounced(driftY_ * seconds, radius_, height_)};
}

double Planet::Brightness(double r) const {
  const double edge = std::clamp((radius_ - r) / kEdgePixels + 0.5, 0.0, 1.0);
  const double relative = std::min(r / radius_, 1.0);
  return edge * (1.0 - kLimbDarkening * (1.0 - std::sqrt(1.0 - relative * relative)));
}

void Planet::AddRow(int y, int startX, float lightSeconds, double seconds, std::span<float> electrons) const {
  const Place centre = At(seconds);
  const double reach = radius_ + kEdgePixels;
  const double dy = y - centre.y;
  if (std::abs(dy) > reach) return;
  const double half = std::sqrt(reach * reach - dy * dy);
  const int from = std::max(static_cast<int>(std::ceil(centre.x - half)), startX);
  const int to =
      std::min(static_cast<int>(std::floor(centre.x + half)) + 1, startX + static_cast<int>(electrons.size()));
  for (int x = from; x < to; ++x) {
    const double rate = rates_[static_cast<std::size_t>(FilterAt(bayerPattern_, x, y))];
    const double light = rate * Brightness(std::hypot(x - centre.x, dy)) * static_cast<double>(lightSeconds);
    electrons[static_cast<std::size_t>(x - startX)] += static_cast<float>(light);
  }
}

}  // namespace orq
