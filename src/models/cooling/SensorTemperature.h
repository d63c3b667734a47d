// What the sensor's thermometer says, as far as it can be believed.
#pragma once

#include <optional>

#include "models/camera/ModelCamera.h"

namespace orq {

/// °C at this moment; nothing when the model has no thermometer or it does not answer (the camera's own readers
/// then repeat the last value). Any-thread.
std::optional<float> ReadSensorTemperature(CModelCamera& camera);

}  // namespace orq
