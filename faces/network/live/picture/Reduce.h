// A part of a frame, made small enough to be looked at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <orqcam/orqcam.hpp>
#include <vector>

#include "live/picture/PictureRequest.h"

namespace orq::network {

/// Which part of a frame a picture shows, in frame pixels.
struct Crop {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// Linear 16-bit values, full scale 65535 whatever the frame's format; planes of equal size, one or red, green,
/// blue.
struct Planes {
  int width = 0;
  int height = 0;
  int channels = 1;
  int step = 1;  ///< frame pixels along a side of a pixel
  Crop crop;     ///< what they show
  std::vector<std::uint16_t> values;

  std::size_t pixels() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
  std::uint16_t* plane(int channel) { return values.data() + static_cast<std::size_t>(channel) * pixels(); }
  const std::uint16_t* plane(int channel) const {
    return values.data() + static_cast<std::size_t>(channel) * pixels();
  }
};

/// Averages whole squares of pixels, as few as the wished size allows. A Bayer mosaic becomes colour: by its cells
/// where a pixel holds one, else each pixel takes the colours that it lacks from its neighbours.
void reduce(const Frame& frame, const PictureRequest& wish, Planes& planes);

}  // namespace orq::network
