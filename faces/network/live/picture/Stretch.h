// From linear values to what the eye sees.
#pragma once

#include <cstdint>
#include <vector>

#include "live/picture/Reduce.h"

namespace orq::network {

/// Black, white and midtones point of one channel, of full scale.
struct StretchPoints {
  double black = 0.0;
  double white = 1.0;
  double mid = 0.5;  ///< between black and white: this becomes middle grey
};

/// The midtones transfer function: 0 at 0, 1 at 1, `0.5` at `mid`; all within 0 to 1.
double midtones(double mid, double x);

/// Each channel by itself, so that the sky is neutral: black lies 2.8 standard deviations of the background below
/// its median, and the median becomes a quarter of full scale. As wished otherwise.
std::vector<StretchPoints> stretchOf(const Planes& planes, const StretchWish& wish);

/// Eight bits, channels beside each other.
void stretch(const Planes& planes, const std::vector<StretchPoints>& points, std::vector<std::uint8_t>& pixels);

}  // namespace orq::network
