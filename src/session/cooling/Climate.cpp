#include "session/cooling/Climate.h"

#include <cmath>

#include "models/cooling/SensorTemperature.h"

namespace orq::session {

namespace {

double Hundredths(float value) {
  return std::round(static_cast<double>(value) * 100.0) / 100.0;
}

}  // namespace

bool HasThermometer(const CModelCamera& camera) {
  return camera.Model().thermometer != Thermometer::None;
}

std::optional<double> SensorCelsius(CModelCamera& camera) {
  const std::optional<float> celsius = ReadSensorTemperature(camera);
  return celsius ? std::optional(Hundredths(*celsius)) : std::nullopt;
}

std::optional<double> SupplyVolts(CModelCamera& camera) {
  const float volts = camera.GetADS1014ADC();
  return volts > 0.0F ? std::optional(Hundredths(volts)) : std::nullopt;
}

}  // namespace orq::session
