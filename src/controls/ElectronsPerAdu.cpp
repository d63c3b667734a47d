#include "controls/ElectronsPerAdu.h"

#include <cmath>

#include "controls/ModelQuirks.h"
#include "link/SteppedGain.h"

namespace orq {
namespace {

// Narrowed to float before it is used: callers compare with values computed so.
float TenthDecibelFactor(int gain) {
  return static_cast<float>(std::pow(10.0, gain / 200.0));
}

}  // namespace

double GainFactor(std::string_view modelName, int gain) {
  return quirks::HasSteppedGain(modelName) ? SteppedGain(gain) : static_cast<double>(TenthDecibelFactor(gain));
}

float ElectronsPerAdu(float base, std::string_view modelName, int gain) {
  if (quirks::HasSteppedGain(modelName)) return static_cast<float>(static_cast<double>(base) / SteppedGain(gain));
  return base / TenthDecibelFactor(gain);
}

}  // namespace orq
