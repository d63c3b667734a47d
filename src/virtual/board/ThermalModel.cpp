#include "virtual/board/ThermalModel.h"

#include <cmath>

namespace orq {
namespace {

constexpr double kSensorSeconds = 30.0;      ///< time constant of the sensor against what it is mounted on
constexpr double kHotSideJoulePerK = 400.0;  ///< heat capacity of the warm side
constexpr double kStillAirKPerWatt = 0.75;   ///< warm side to the air, fan at rest
constexpr double kFanGain = 2.75;            ///< by this much better at full speed
constexpr double kCoolerWatt = 30.0;         ///< at full drive
constexpr double kLargestDeltaC = 48.0;      ///< cold below warm side at full drive, sensor at rest
constexpr double kDeltaBend = 0.6;           ///< share that the cooler's own heat takes away again
constexpr double kHeaterC = 2.0;             ///< what the window heater at full drive does to the sensor

/// Thermal resistance of the warm side to the air, K/W.
double ToAir(const ThermalInputs& inputs) {
  return kStillAirKPerWatt / (1.0 + kFanGain * inputs.fan);
}

/// Where the sensor settles above (or below) the warm side.
double Difference(const ThermalInputs& inputs) {
  const double u = inputs.cooler;
  return (inputs.running ? kSelfHeatingC : 0.0) + kHeaterC * inputs.heater -
         kLargestDeltaC * ((1.0 + kDeltaBend) * u - kDeltaBend * u * u);
}

}  // namespace

ThermalState Settled(const ThermalInputs& inputs) {
  const double hot = inputs.ambientC + ToAir(inputs) * kCoolerWatt * inputs.cooler * inputs.cooler;
  return {hot + Difference(inputs), hot};
}

// The warm side relaxes towards its own end; the sensor follows the warm side:
//   hot'    = (hotEnd - hot) / hotSeconds
//   sensor' = (hot + difference - sensor) / sensorSeconds
// The two time constants always differ (80 to 300 s against 30 s), so the solution is a sum of two exponentials.
ThermalState After(const ThermalState& from, const ThermalInputs& inputs, double seconds) {
  const ThermalState end = Settled(inputs);
  const double hotSeconds = kHotSideJoulePerK * ToAir(inputs);
  const double hotGap = from.hotSideC - end.hotSideC;
  const double following = hotGap * hotSeconds / (hotSeconds - kSensorSeconds);
  const double hotDecay = std::exp(-seconds / hotSeconds);
  const double sensorDecay = std::exp(-seconds / kSensorSeconds);
  return {end.sensorC + following * hotDecay + (from.sensorC - end.sensorC - following) * sensorDecay,
          end.hotSideC + hotGap * hotDecay};
}

}  // namespace orq
