// Three planes of one colour each become pixels.
#pragma once

#include <cstdint>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// Writes `count` pixels of 3 bytes: blue, green, red. Nothing may overlap. Any-thread.
void Interleave(const std::uint8_t* blue, const std::uint8_t* green, const std::uint8_t* red, int count,
                std::uint8_t* bgr, VectorTarget target = BestVectorTarget());

}  // namespace orq
