// Sensors whose controller takes the settings themselves.
#pragma once

#include "models/sensors/Sensor.h"

namespace orq {

/// Runs when it has power, counts microseconds in the FPGA and its gain in units of 0.1 dB.
class PlainSensor final : public Sensor {};

/// The same with a stepped gain.
class SteppedSensor final : public Sensor {
 public:
  float ElectronsPerAdu(float base, int setting) const override;
};

inline constexpr PlainSensor kPlainSensor;
inline constexpr SteppedSensor kSteppedSensor;

}  // namespace orq
