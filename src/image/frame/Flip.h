// Mirroring a frame while it is copied.
#pragma once

#include <cstdint>
#include <span>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// Copies `width` x `height` samples from `in` to `out`, mirrored left-right (`horizontal`) and top-bottom
/// (`vertical`). Both spans hold the whole frame and must not overlap. Any-thread.
void FlipCopy(std::span<const std::uint8_t> in, int width, int height, bool horizontal, bool vertical,
              std::span<std::uint8_t> out, VectorTarget target = BestVectorTarget());
void FlipCopy(std::span<const std::uint16_t> in, int width, int height, bool horizontal, bool vertical,
              std::span<std::uint16_t> out, VectorTarget target = BestVectorTarget());

}  // namespace orq
