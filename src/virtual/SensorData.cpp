#include "virtual/SensorData.h"

#include <algorithm>
#include <cmath>

namespace orq {
namespace {

constexpr std::array<SensorData, 2> kSensors{{
    {.key = "k1c",
     .width = 1936,
     .height = 1096,
     .adcBits = 12,
     .bayerPattern = 0,
     .pixelSizeUm = 2.9,
     .lineTimeNs = 13'500,
     .gainLaw = SensorGainLaw::Stepped,
     .baseElectronsPerAdu = 3.6F,
     .countsPerOffsetStep = 1,
     .fullWellElectrons = 14'700.0,
     .readNoiseBeforeGain = 0.9,
     .readNoiseAfterGain = 3.175,
     .darkElectronsPerSecond = 0.05,
     .hotPixelFraction = 1.0e-4,
     .hotPixelMinRate = 1.0,
     .hotPixelMaxRate = 1000.0,
     .hotRows = 3,
     .hotRowMinRate = 3.0,
     .hotRowMaxRate = 15.0,
     .response = {0.62, 1.0, 0.74},
     .skyElectronsPerSecond = 2.0,
     .starCount = 2500,
     .faintestStar = 40.0},
    {.key = "x26m",
     .width = 6248,
     .height = 4176,
     .adcBits = 16,
     .bayerPattern = -1,
     .pixelSizeUm = 3.76,
     .lineTimeNs = 36'800,
     .gainLaw = SensorGainLaw::TenthDecibel,
     .baseElectronsPerAdu = 0.78F,
     .countsPerOffsetStep = 10,
     .fullWellElectrons = 51'000.0,
     .readNoiseBeforeGain = 1.4,
     .readNoiseAfterGain = 2.988,
     .darkElectronsPerSecond = 0.06,
     .hotPixelFraction = 5.0e-5,
     .hotPixelMinRate = 1.0,
     .hotPixelMaxRate = 1000.0,
     .hotRows = 4,
     .hotRowMinRate = 3.0,
     .hotRowMaxRate = 15.0,
     .skyElectronsPerSecond = 4.0,
     .starCount = 6000,
     .faintestStar = 60.0},
}};

double SteppedFactor(int g) {
  if (g < 16) return 1.0 + g * 0.0625;
  if (g < 32) return 2.0 + 2.0 * (g - 16) * 0.0625;
  if (g < 48) return 4.0 + 4.0 * (g - 32) * 0.0625;
  if (g < 64) return 8.0 + 8.0 * (g - 48) * 0.0625;
  if (g < 80) return g - 48;
  return (g - 80) * 32.0 / 20.0 + 32.0;
}

}  // namespace

const SensorData* FindSensor(std::string_view key) {
  const auto found =
      std::find_if(kSensors.begin(), kSensors.end(), [&](const SensorData& s) { return s.key == key; });
  return found == kSensors.end() ? nullptr : &*found;
}

double GainFactor(SensorGainLaw law, int gain) {
  const int g = std::max(gain, 0);
  return law == SensorGainLaw::Stepped ? SteppedFactor(g) : std::pow(10.0, std::min(g, 2000) / 200.0);
}

double ElectronsPerAdu(const SensorData& sensor, int gain) {
  return static_cast<double>(sensor.baseElectronsPerAdu) / GainFactor(sensor.gainLaw, gain);
}

double ReadNoiseElectrons(const SensorData& sensor, int gain) {
  return std::hypot(sensor.readNoiseBeforeGain, sensor.readNoiseAfterGain / GainFactor(sensor.gainLaw, gain));
}

double DarkScale(double temperatureC) {
  const double held = std::clamp(temperatureC, -100.0, 100.0);
  return std::exp2((held - kDarkReferenceC) / kDarkDoublingDegrees);
}

int BlackLevelCounts(const SensorData& sensor, int offset) {
  const int largest = (1 << sensor.adcBits) - 1;
  const int steps = std::clamp(offset, 0, largest);
  return std::min(steps * sensor.countsPerOffsetStep, largest);
}

}  // namespace orq
