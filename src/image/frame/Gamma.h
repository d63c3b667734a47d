// The gamma curve.
#pragma once

#include <cstdint>

namespace orq {

/// Exponent of the curve for a gamma setting: 2.0 at 0, 1.0 at 50 (neutral), 0.5 at 100. Settings beyond 0..100 go
/// on along the line of their side. Any-thread.
float GammaExponent(int gamma);

/// What a sample becomes under a gamma setting; a result beyond the largest sample is the largest sample.
/// Any-thread.
std::uint16_t GammaCurve16(int gamma, std::uint16_t sample);
std::uint8_t GammaCurve8(int gamma, std::uint8_t sample);

}  // namespace orq
