// Temperature and supply voltage of a camera.
#pragma once

#include <optional>

#include "models/camera/ModelCamera.h"

namespace orq::session {

bool HasThermometer(const CModelCamera& camera);

/// What the sensor's thermometer says at this moment, °C, rounded to hundredths; nothing when there is none or it
/// does not answer (the camera's own readers then repeat the last value).
std::optional<double> SensorCelsius(CModelCamera& camera);

/// The supply voltage, rounded to hundredths; nothing on boards that do not measure it.
std::optional<double> SupplyVolts(CModelCamera& camera);

}  // namespace orq::session
