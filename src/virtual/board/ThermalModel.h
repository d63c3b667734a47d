// How warm the sensor and the warm side of its cooler get. `docs/sensor-model.md` has the formulae.
#pragma once

namespace orq {

/// °C.
struct ThermalState {
  double sensorC = 0;
  double hotSideC = 0;
};

/// What drives the temperatures; drives from 0 to 1.
struct ThermalInputs {
  double ambientC = 0;
  double cooler = 0;
  double heater = 0;
  double fan = 0;
  bool running = false;  ///< the sensor has its clock and is not in standby
};

/// A running sensor is this much warmer than what it is mounted on.
inline constexpr double kSelfHeatingC = 3.0;

/// The temperatures after `seconds` (from 0) of inputs that do not change. Exact, so that one long step and many
/// short ones end at the same temperatures.
ThermalState After(const ThermalState& from, const ThermalInputs& inputs, double seconds);

/// The temperatures that constant inputs lead to.
ThermalState Settled(const ThermalInputs& inputs);

}  // namespace orq
