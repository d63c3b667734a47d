#include "models/cooling/SensorTemperature.h"

#include <cmath>

#include "models/cooling/Cooler.h"

namespace orq {

std::optional<float> ReadSensorTemperature(CModelCamera& camera) {
  if (camera.Model().thermometer == Thermometer::None || !ThermometerAnswers(camera)) return std::nullopt;
  const float celsius = camera.GetTemp();
  return std::isfinite(celsius) ? std::optional(celsius) : std::nullopt;
}

}  // namespace orq
