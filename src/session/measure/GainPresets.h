// Gains with a meaning of their own, from what the model's converter is worth.
#pragma once

#include <cstdint>

#include "models/table/ModelData.h"

namespace orq::session {

enum class GainPreset : std::uint8_t {
  Unity,        ///< one count of the converter is one electron, as nearly as the camera comes to it
  LowestNoise,  ///< least electrons per count: there the converter's own noise counts least
  LargestRange  ///< the most gain at which the converter takes the full well; the least when it never does
};

struct PresetGain {
  int gain = 0;                    ///< setting of the gain control
  double electronsPerCount = 0.0;  ///< of the converter
  double mostElectrons = 0.0;      ///< that a pixel can tell: full well or the converter's end
};

/// Of the gains that the sensor has in a readout mode; of several that are as good, the least. Throws Failure
/// (Unsupported): what a count is worth is not known.
PresetGain GainOf(const ModelData& model, int readoutMode, GainPreset preset);

}  // namespace orq::session
