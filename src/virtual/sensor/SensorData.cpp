#include "virtual/sensor/SensorData.h"

#include <algorithm>
#include <cmath>

#include "link/SteppedGain.h"

namespace orq {
namespace {

constexpr SensorData K1M() {
  return {.key = "k1m",
          .width = 1936,
          .height = 1096,
          .adcBits = 12,
          .pixelSizeUm = 2.9,
          .lineTimeNs = 13'500,
          .gainLaw = SensorGainLaw::Stepped,
          .baseElectronsPerAdu = 3.6F,
          .fullWellElectrons = 14'700.0,
          .readNoiseBeforeGain = 0.9,
          .readNoiseAfterGain = 3.175,
          .darkElectronsPerSecond = 0.05,
          .hotPixelFraction = 1.0e-4,
          .hotRows = 3,
          .skyElectronsPerSecond = 2.0,
          .starCount = 2500,
          .faintestStar = 40.0};
}

// The same sensor with a mosaic.
constexpr SensorData K1C() {
  SensorData sensor = K1M();
  sensor.key = "k1c";
  sensor.bayerPattern = 0;
  sensor.response = {0.62, 1.0, 0.74};
  return sensor;
}

constexpr SensorData K2M() {
  return {.key = "k2m",
          .width = 2560,
          .height = 1920,
          .adcBits = 12,
          .pixelSizeUm = 3.2,
          .lineTimeNs = 11'200,
          .baseElectronsPerAdu = 2.75F,
          .fullWellElectrons = 11'200.0,
          .readNoiseBeforeGain = 1.1,
          .readNoiseAfterGain = 2.4,
          .darkElectronsPerSecond = 0.08,
          .hotPixelFraction = 1.0e-4,
          .hotRows = 3,
          .skyElectronsPerSecond = 2.4,
          .starCount = 3500,
          .faintestStar = 45.0};
}

constexpr SensorData X26M() {
  return {.key = "x26m",
          .width = 6248,
          .height = 4176,
          .adcBits = 16,
          .binsTwoApart = true,
          .pixelSizeUm = 3.76,
          .lineTimeNs = 36'800,
          .baseElectronsPerAdu = 0.78F,
          .countsPerOffsetStep = 10,
          .fullWellElectrons = 51'000.0,
          .readNoiseBeforeGain = 1.4,
          .readNoiseAfterGain = 2.988,
          .darkElectronsPerSecond = 0.06,
          .hotPixelFraction = 5.0e-5,
          .hotRows = 4,
          .skyElectronsPerSecond = 4.0,
          .starCount = 6000,
          .faintestStar = 60.0};
}

constexpr SensorData T46C() {
  return {.key = "t46c",
          .width = 4080,
          .height = 3000,
          .adcBits = 14,
          .bayerPattern = 2,
          .pixelSizeUm = 4.4,
          .lineTimeNs = 16'400,
          .baseElectronsPerAdu = 2.6F,
          .countsPerOffsetStep = 4,
          .fullWellElectrons = 42'000.0,
          .readNoiseBeforeGain = 1.5,
          .readNoiseAfterGain = 5.6,
          .darkElectronsPerSecond = 0.09,
          .hotPixelFraction = 8.0e-5,
          .hotRows = 3,
          .response = {0.58, 1.0, 0.69},
          .skyElectronsPerSecond = 5.0,
          .starCount = 5000,
          .faintestStar = 60.0};
}

constexpr SensorData H53M() {
  return {.key = "h53m",
          .width = 3200,
          .height = 2160,
          .adcBits = 12,
          .pixelSizeUm = 3.4,
          .lineTimeNs = 7'600,
          .baseElectronsPerAdu = 2.3F,
          .fullWellElectrons = 9'400.0,
          .readNoiseBeforeGain = 1.0,
          .readNoiseAfterGain = 2.2,
          .darkElectronsPerSecond = 0.3,
          .hotPixelFraction = 1.5e-4,
          .hotRows = 2,
          .skyElectronsPerSecond = 2.7,
          .starCount = 3500,
          .faintestStar = 45.0};
}

constexpr SensorData B29M() {
  return {.key = "b29m",
          .width = 4192,
          .height = 2816,
          .adcBits = 16,
          .binsTwoApart = true,
          .pixelSizeUm = 4.8,
          .lineTimeNs = 28'400,
          .baseElectronsPerAdu = 1.05F,
          .countsPerOffsetStep = 10,
          .fullWellElectrons = 66'000.0,
          .readNoiseBeforeGain = 1.3,
          .readNoiseAfterGain = 4.1,
          .darkElectronsPerSecond = 0.1,
          .hotPixelFraction = 5.0e-5,
          .hotRows = 4,
          .skyElectronsPerSecond = 6.0,
          .starCount = 5000,
          .faintestStar = 60.0};
}

// The next two have registers of their own, which decide what a pixel reads (chips/).
constexpr SensorData L3M() {
  return {.key = "l3m",
          .width = 800,
          .height = 600,
          .adcBits = 12,
          .pixelSizeUm = 4.0,
          .lineTimeNs = 12'500,
          .baseElectronsPerAdu = 2.4F,
          .fullWellElectrons = 9'800.0,
          .readNoiseBeforeGain = 1.1,
          .readNoiseAfterGain = 2.3,
          .darkElectronsPerSecond = 0.1,
          .hotPixelFraction = 1.0e-4,
          .hotRows = 2,
          .skyElectronsPerSecond = 2.0,
          .starCount = 1000,
          .faintestStar = 40.0};
}

// Numbers of its first readout mode, at low conversion gain.
constexpr SensorData D6M() {
  return {.key = "d6m",
          .width = 960,
          .height = 640,
          .adcBits = 14,
          .pixelSizeUm = 4.6,
          .lineTimeNs = 10'000,
          .baseElectronsPerAdu = 3.8F,
          .countsPerOffsetStep = 4,
          .fullWellElectrons = 60'000.0,
          .readNoiseBeforeGain = 2.2,
          .readNoiseAfterGain = 6.0,
          .darkElectronsPerSecond = 0.08,
          .hotPixelFraction = 1.0e-4,
          .hotRows = 2,
          .skyElectronsPerSecond = 3.0,
          .starCount = 1000,
          .faintestStar = 50.0};
}

constexpr std::array kSensors{K1C(), K1M(), K2M(), X26M(), T46C(), H53M(), B29M(), L3M(), D6M()};

}  // namespace

const SensorData* FindSensor(std::string_view key) {
  const auto found =
      std::find_if(kSensors.begin(), kSensors.end(), [&](const SensorData& s) { return s.key == key; });
  return found == kSensors.end() ? nullptr : &*found;
}

double GainFactor(SensorGainLaw law, int gain) {
  const int g = std::max(gain, 0);
  return law == SensorGainLaw::Stepped ? SteppedGain(g) : std::pow(10.0, std::min(g, 2000) / 200.0);
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

PixelReadout ReadoutOf(const SensorData& sensor, int gain, int offset) {
  return {.electronsPerAdu = ElectronsPerAdu(sensor, gain),
          .readNoiseElectrons = ReadNoiseElectrons(sensor, gain),
          .fullWellElectrons = sensor.fullWellElectrons,
          .blackCounts = BlackLevelCounts(sensor, offset)};
}

}  // namespace orq
