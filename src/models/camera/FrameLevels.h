// What the values of delivered pixels mean.
#pragma once

#include "models/camera/FrameGeometry.h"
#include "models/camera/FrameTypes.h"
#include "models/table/ModelData.h"

namespace orq {

/// What was done to the pixels on their way.
struct PixelTreatment {
  int gain = 0;
  int offset = 0;
  int readoutMode = 0;     ///< of the sensor
  bool highSpeed = false;  ///< the fast readout stops at 10 bits
  /// What subtracting a dark took from every sample beyond what it gave back, in units of 8-bit samples.
  double darkExcess = 0.0;
  bool mixed = false;  ///< binning has mixed the colours
  int red = 50;        ///< white balance
  int blue = 50;
  int gamma = 50;
};

/// The levels of frames of this model; empty where the model does not tell. Any-thread.
PixelLevels LevelsOf(const ModelData& model, const FrameSetup& setup, const PixelTreatment& treatment);

}  // namespace orq
