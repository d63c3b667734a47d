// Frames as pictures for looking at.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "models/camera/FrameTypes.h"

namespace orq::session {

/// Eight bits a sample, rows top down without gaps.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 1;  ///< 1: grey; 3: red, green, blue
  std::vector<std::uint8_t> samples;
};

struct PictureOptions {
  int maxWidth = 0;  ///< pixels; 0: the frame's, as below
  int maxHeight = 0;
  bool stretch = true;  ///< false: the highest eight bits as they are
};

/// Width, height and channels of the picture, without its samples: the largest one within the options that keeps
/// the frame's proportions; never larger than the frame.
Picture PictureOf(const FrameInfo& info, const PictureOptions& options);

/// Grey for mono frames and luminance, colour for RGB 24 and for raw Bayer frames, which are demosaiced or, where
/// a pixel of the picture holds a whole cell of the mosaic, averaged by colour. The stretch is that of the whole
/// frame; each colour is stretched by itself, which makes the sky neutral. `bytes`: the pixels in the region's
/// format. Throws Failure (invalid): not as many as the region has.
Picture MakePicture(std::span<const std::uint8_t> bytes, const FrameInfo& info, const PictureOptions& options);

}  // namespace orq::session
