// The gain register of sensors whose gain is a table of steps.
#pragma once

namespace orq {

/// The factor of a setting: four octaves of sixteen steps that double in size, then whole steps, then a straight
/// line, which also serves settings below zero.
constexpr double SteppedGain(int gain) {
  const double g = gain;
  if (gain >= 0 && gain < 16) return 1.0 + g * 0.0625;
  if (gain >= 16 && gain < 32) return 2.0 + 2.0 * (g - 16.0) * 0.0625;
  if (gain >= 32 && gain < 48) return 4.0 + 4.0 * (g - 32.0) * 0.0625;
  if (gain >= 48 && gain < 64) return 8.0 + 8.0 * (g - 48.0) * 0.0625;
  if (gain >= 64 && gain < 80) return g - 48.0;
  return (g - 80.0) * 32.0 / 20.0 + 32.0;
}

}  // namespace orq
