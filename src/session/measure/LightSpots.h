// Where a picture is brighter than its background.
#pragma once

#include <span>
#include <vector>

namespace orq::session {

/// Pixels that touch each other, at a side or a corner, and are all brighter than a threshold. Lengths in pixels;
/// the centre of the top left pixel is (0, 0).
struct LightSpot {
  double x = 0.0;       ///< the middle of its light
  double y = 0.0;       ///< likewise
  double spread = 0.0;  ///< standard deviation of its light along its longer axis
  double flux = 0.0;    ///< sum of its pixels
  float peak = 0.0F;    ///< its brightest pixel
  int left = 0;
  int right = 0;  ///< last column
  int top = 0;
  int bottom = 0;        ///< last row
  int pixels = 0;        ///< whose light, smoothed, is above the threshold
  int brightPixels = 0;  ///< of these, that are above it as they stand
  bool cutOff = false;   ///< it touches the edge of the picture
};

/// The spots of at least `leastPixels` pixels in a picture without its background, `width` values a row. It is
/// smoothed first, by 1-2-1 both ways, so that noise makes none; spots that touch count as one. Nothing is thrown
/// but what a lack of memory throws.
std::vector<LightSpot> FindLightSpots(std::span<const float> light, int width, float threshold, int leastPixels);

}  // namespace orq::session
