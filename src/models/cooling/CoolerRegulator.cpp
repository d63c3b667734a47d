#include "models/cooling/CoolerRegulator.h"

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
  if (!state.started) {
    state.started = true;
    state.setPoint = temperature;
  }
  const double step = std::clamp(seconds, 0.0, kLongestRegulatorStep);
  state.setPoint = MovedSetPoint(tuning, state.setPoint, temperature, target, step);

  const double tooWarm = temperature - state.setPoint;
  const double proportional = tuning.percentPerDegree * tooWarm;
  const double grown = state.integral + proportional * step / tuning.integralSeconds;
  // The integral takes the drive to either end and does not grow beyond it: it would have to shrink again before
  // the drive could leave.
  if (tooWarm > 0.0)
    state.integral = std::min(grown, std::max(state.integral, tuning.mostPercent - proportional));
  else
    state.integral = std::max(grown, std::min(state.integral, -proportional));
  return std::clamp(proportional + state.integral, 0.0, tuning.mostPercent);
}

}  // namespace orq
