#include "controls/ElectronsPerAdu.h"

#include <cmath>

#include "controls/ModelQuirks.h"

namespace orq {
namespace {

// The stepped table: four octaves of sixteen steps that double in size, then whole steps, then a straight line
// that also serves settings below zero.
double SteppedFactor(int gain) {
  const double g = gain;
  if (gain >= 0 && gain < 16) return 1.0 + g * 0.0625;
  if (gain >= 16 && gain < 32) return 2.0 + 2.0 * (g - 16.0) * 0.0625;
  if (gain >= 32 && gain < 48) return 4.0 + 4.0 * (g - 32.0) * 0.0625;
  if (gain >= 48 && gain < 64) return 8.0 + 8.0 * (g - 48.0) * 0.0625;
  if (gain >= 64 && gain < 80) return g - 48.0;
  return (g - 80.0) * 32.0 / 20.0 + 32.0;
}

// Narrowed to float before it is used: callers compare with values computed so.
float TenthDecibelFactor(int gain) {
  return static_cast<float>(std::pow(10.0, gain / 200.0));
}

}  // namespace

double GainFactor(std::string_view modelName, int gain) {
  return quirks::HasSteppedGain(modelName) ? SteppedFactor(gain) : static_cast<double>(TenthDecibelFactor(gain));
}

float ElectronsPerAdu(float base, std::string_view modelName, int gain) {
  if (quirks::HasSteppedGain(modelName))
    return static_cast<float>(static_cast<double>(base) / SteppedFactor(gain));
  return base / TenthDecibelFactor(gain);
}

}  // namespace orq
