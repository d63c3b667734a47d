// How a gain setting scales the signal, and what one ADC unit is worth at it.
#pragma once

#include <string_view>

namespace orq {

/// The factor by which a gain setting multiplies the signal: by the stepped table where the model has one, in
/// units of 0.1 dB otherwise. Any `gain` is accepted, also beyond the model's limits.
double GainFactor(std::string_view modelName, int gain);

/// Electrons per ADC unit at `gain`: `base` (the value at factor 1) divided by the gain factor.
float ElectronsPerAdu(float base, std::string_view modelName, int gain);

}  // namespace orq
