// Binning on the host.
#pragma once

#include <cstdint>
#include <span>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// What is binned: the output's size and how many input samples, in each direction, make one output sample.
struct BinShape {
  int width = 0;       ///< output samples per row
  int height = 0;      ///< output rows
  int factor = 1;      ///< 1 to 4
  bool bayer = false;  ///< combine samples of the same colour, so that the output keeps the input's Bayer pattern;
                       ///< width and height must then be even
};

/// Bins `width * factor` x `height * factor` samples of `in` into `out`; the spans must not overlap. 8-bit samples
/// are summed and saturate at 255, 16-bit samples are averaged and rounded to nearest. Factor 1 copies. False,
/// with nothing written, when the shape is not possible or a span is too small. Any-thread.
bool HostBin(std::span<const std::uint8_t> in, const BinShape& shape, std::span<std::uint8_t> out,
             VectorTarget target = BestVectorTarget());
bool HostBin(std::span<const std::uint16_t> in, const BinShape& shape, std::span<std::uint16_t> out,
             VectorTarget target = BestVectorTarget());

}  // namespace orq
