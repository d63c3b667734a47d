// How sharp the stars of a frame are.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "models/camera/FrameTypes.h"

namespace orq::session {

/// A part of a frame, in its pixels from its top left corner on.
struct FrameArea {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// Lengths in pixels of the frame. The centre of its top left pixel is (0, 0).
struct MeasuredStar {
  double x = 0.0;
  double y = 0.0;
  double flux = 0.0;  ///< of the whole image above the background, in pixel values
  double peak = 0.0;  ///< of the brightest pixel, above the background
  double hfr = 0.0;   ///< half-flux radius: of the circle around its centre that holds half of its light
  double fwhm = 0.0;  ///< width at half of the height
  bool saturated = false;
  bool cutOff = false;  ///< by the edge of what was looked at
};

struct StarMeasures {
  int count = 0;                                          ///< stars found
  int measured = 0;                                       ///< of these, that the medians are of
  int saturated = 0;                                      ///< of the listed ones
  double hfr = std::numeric_limits<double>::quiet_NaN();  ///< medians; NaN: of no star
  double fwhm = std::numeric_limits<double>::quiet_NaN();
  double background = 0.0;          ///< pixel value between the stars
  double noise = 0.0;               ///< its standard deviation
  std::vector<MeasuredStar> stars;  ///< the brightest first
};

/// As many stars are listed, and measured, at most.
inline constexpr std::size_t kMostStars = 500;

/// Finds and measures the stars in `area` (none: all) of a frame. The medians are of the listed stars that are
/// neither saturated nor cut off, or of all where every one is. Of colour frames green counts, and of a mosaic the
/// gaps of green are filled from their neighbours. Hot pixels are no stars. `pixels` in the region's format.
/// Throws Failure: not as many pixels as the region has, or an area that is not within the frame (invalid).
StarMeasures MeasureStars(std::span<const std::uint8_t> pixels, const FrameInfo& info,
                          const std::optional<FrameArea>& area);

}  // namespace orq::session
