// Colour filters of a Bayer sensor, by pattern number: 0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG; below 0 monochrome.
#pragma once

#include "support/BayerNames.h"

namespace orq {

enum class FilterColour : int { Red = 0, Green = 1, Blue = 2 };

/// Filter over the pixel at (x, y) from the sensor's corner. A monochrome sensor answers Green, the channel that
/// all responses are relative to.
constexpr FilterColour FilterAt(int pattern, int x, int y) {
  if (pattern < 0) return FilterColour::Green;
  const int redX = (pattern == 1 || pattern == 2) ? 1 : 0;
  const int redY = (pattern == 1 || pattern == 3) ? 1 : 0;
  return static_cast<FilterColour>(((x ^ redX) & 1) + ((y ^ redY) & 1));
}

/// The pattern seen from a corner moved by (dx, dy) pixels.
constexpr int MovedPattern(int pattern, int dx, int dy) {
  if (pattern < 0) return pattern;
  for (int i = 0; i < 4; ++i)
    if (FilterAt(i, 0, 0) == FilterAt(pattern, dx, dy) && FilterAt(i, 1, 0) == FilterAt(pattern, dx + 1, dy))
      return i;
  return pattern;
}

}  // namespace orq
