#include "models/CoolerRegulator.h"

#include <algorithm>

namespace orq {
namespace {

// The set point moves at the ramp's rate, and never further ahead of the sensor than allowed: a cooler at its
// limit that later finds power to spare would otherwise let the sensor fall faster than the ramp.
double MovedSetPoint(const RegulatorTuning& tuning, double setPoint, double temperature, double target,
                     double seconds) {
  const double reach = tuning.degreesPerMinute * seconds / 60.0;
  const double moved = std::clamp(target, setPoint - reach, setPoint + reach);
  return std::clamp(moved, temperature - tuning.mostDegreesAhead, temperature + tuning.mostDegreesAhead);
}

}  // namespace

double NextDrive(const RegulatorTuning& tuning, RegulatorState& state, double temperature, double target,
                 double seconds) {
  if (!state.started) state = {.started = true, .setPoint = temperature};
  const double step = std::clamp(seconds, 0.0, kLongestRegulatorStep);
  state.setPoint = MovedSetPoint(tuning, state.setPoint, temperature, target, step);

  const double tooWarm = temperature - state.setPoint;
  const double proportional = tuning.percentPerDegree * tooWarm;
  const double grown = state.integral + proportional * step / tuning.integralSeconds;
  // At either end of the drive the integral does not grow any further beyond it.
  const double wanted = proportional + grown;
  const bool beyond = (wanted > tuning.mostPercent && tooWarm > 0.0) || (wanted < 0.0 && tooWarm < 0.0);
  if (!beyond) state.integral = std::clamp(grown, 0.0, tuning.mostPercent);
  return std::clamp(proportional + state.integral, 0.0, tuning.mostPercent);
}

}  // namespace orq
