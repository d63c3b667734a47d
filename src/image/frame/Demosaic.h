// Bilinear interpolation of the colours that a Bayer frame lacks.
#pragma once

#include <cstdint>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// Where red stands in the 2x2 block, as column and row parities; blue stands diagonally opposite.
struct RedSite {
  unsigned x;
  unsigned y;
};

/// A frame of at least 2 x 2 samples, row by row.
struct BayerFrame {
  const std::uint8_t* samples;
  int width;
  int height;
  RedSite red;
};

/// What red, green and blue count in the luminance, in units of 1/256; 256 together, or nothing.
struct LuminanceWeights {
  std::uint16_t red;
  std::uint16_t green;
  std::uint16_t blue;
};

/// Writes 3 bytes per pixel: blue, green, red. A missing colour is the mean of its two or four nearest samples,
/// halves up; beyond a border the frame goes on as its mirror image about the border sample. Nothing may overlap.
/// Any-thread.
void DemosaicToBgr(const BayerFrame& frame, std::uint8_t* bgr, VectorTarget target = BestVectorTarget());
/// Writes the weighted sum of exactly these colours, rounded to nearest.
void DemosaicToLuminance(const BayerFrame& frame, LuminanceWeights weights, std::uint8_t* luminance,
                         VectorTarget target = BestVectorTarget());

}  // namespace orq
