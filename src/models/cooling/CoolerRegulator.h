// How hard a cooler is driven: a ramp towards the target and a proportional-integral regulator behind it.
#pragma once

namespace orq {

/// Temperatures in degrees Celsius, drive in percent of full.
struct RegulatorTuning {
  double percentPerDegree = 8.0;  ///< proportional share
  double integralSeconds = 25.0;  ///< in which the integral share grows by the proportional one
  double degreesPerMinute = 5.0;  ///< the sensor is cooled and warmed no faster
  double mostDegreesAhead = 2.0;  ///< the set point waits for the sensor when it is so far ahead of it
  double mostPercent = 100.0;
};

/// What the regulator remembers between two steps. A default one begins at the sensor's temperature; `integral` is
/// then the drive that it begins with.
struct RegulatorState {
  bool started = false;
  double setPoint = 0.0;  ///< on its way from the first temperature to the target
  double integral = 0.0;  ///< percent
};

/// A step is counted as no longer than this: after a standstill of the computer the ramp goes on from where it
/// was.
inline constexpr double kLongestRegulatorStep = 5.0;

/// The drive, 0 to `mostPercent`, for the time until the next step. `seconds` have passed since the last one.
/// All numbers must be finite. Pure: no clock, no device.
double NextDrive(const RegulatorTuning& tuning, RegulatorState& state, double temperature, double target,
                 double seconds);

}  // namespace orq
