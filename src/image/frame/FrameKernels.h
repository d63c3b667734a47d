// Sample-wise steps of the frame path. Free functions over spans: no allocation, any-thread.
#pragma once

#include <cstdint>
#include <span>

#include "image/frame/Algorithm.h"
#include "support/vectors/VectorTarget.h"

namespace orq {

/// Neutral white-balance value: the channel is left as it is.
inline constexpr int kNeutralWhiteBalance = 50;

/// Turns samples in host order into such with the most significant byte first, in place.
void HostToMsbFirst(std::span<std::uint16_t> samples, VectorTarget target = BestVectorTarget());

/// Multiplies the red and the blue samples of a Bayer frame by `red`/50 and `blue`/50 (values 1 to 99), rounded to
/// nearest and saturating; green samples do not change. `samples` holds whole rows of `width`.
void WhiteBalance(std::span<std::uint8_t> samples, int width, BayerPattern pattern, int red, int blue,
                  VectorTarget target = BestVectorTarget());
void WhiteBalance(std::span<std::uint16_t> samples, int width, BayerPattern pattern, int red, int blue,
                  VectorTarget target = BestVectorTarget());

}  // namespace orq
