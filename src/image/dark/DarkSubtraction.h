// Subtraction of a dark image. It runs over every sample of every frame.
#pragma once

#include <cstdint>
#include <span>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// Makes each sample sample - dark + average, clamped; dark values and average count 256 times in 16-bit samples.
/// `dark` holds as many samples as `frame`. Any-thread.
void SubtractDark(std::span<std::uint8_t> frame, std::uint8_t average, std::span<const std::uint8_t> dark,
                  VectorTarget target = BestVectorTarget());
void SubtractDark(std::span<std::uint16_t> frame, std::uint8_t average, std::span<const std::uint8_t> dark,
                  VectorTarget target = BestVectorTarget());

}  // namespace orq
