// The disc of a planet in a frame.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "models/camera/FrameTypes.h"

namespace orq::session {

/// In pixels of the frame, the centre from its top left corner on.
struct Disc {
  double x = 0.0;
  double y = 0.0;
  double diameter = 0.0;  ///< of a circle that has the area of what is brighter than half
};

/// What stands out of the background: everything brighter than the middle between that and the brightest part. A
/// frame is looked at by blocks of at least 4 x 4 pixels, so that neither single hot pixels nor a colour mosaic
/// count. Nothing when no block stands out of the noise.
std::optional<Disc> FindDisc(std::span<const std::uint8_t> pixels, const FrameRegion& region);

}  // namespace orq::session
