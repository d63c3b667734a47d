#include "models/sensors/D6Sensor.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "models/sensors/LineExposure.h"

namespace orq {
namespace {

constexpr std::uint16_t kControl = 0x4000;
constexpr std::uint8_t kControlReset = 1;
constexpr std::uint8_t kControlAwake = 2;
constexpr std::uint8_t kControlStream = 4;
constexpr std::uint16_t kPll = 0x4002;
constexpr std::uint8_t kPllPower = 1;
constexpr std::uint8_t kPllRun = 3;
constexpr std::uint16_t kPllDivider = 0x4003;
constexpr std::uint16_t kPllMultiplier = 0x4004;
constexpr std::uint16_t kGroup = 0x4010;
constexpr std::uint16_t kFrameLines = 0x4020;    // four bytes
constexpr std::uint16_t kShutterStart = 0x4024;  // four bytes
constexpr std::uint16_t kAnalogGain = 0x4030;    // two bytes
constexpr std::uint16_t kConversionGain = 0x4032;
constexpr std::uint16_t kDigitalGain = 0x4033;
constexpr std::uint16_t kBlackLevel = 0x4038;
constexpr std::uint16_t kMode = 0x4040;
constexpr std::uint16_t kTrim = 0x4100;

// As the data sheet gives them, row by row.
constexpr std::uint8_t kTrims[] = {
    0xBF, 0xD2, 0xAD, 0xAE, 0x81, 0xE8, 0x5A, 0xCD, 0x2F, 0x35, 0xE7, 0x08, 0x46, 0x54, 0x52, 0x18, 0xA6, 0xA4,
    0xD1, 0x2B, 0x44, 0xC6, 0x36, 0xAA, 0xDF, 0x18, 0xE1, 0xEC, 0x95, 0xF2, 0x11, 0x9F, 0x2B, 0x71, 0x02, 0xB0,
    0x5A, 0x60, 0xAE, 0x46, 0x87, 0x97, 0x2F, 0x82, 0x33, 0xFE, 0x30, 0x2F, 0x9F, 0xDE, 0xF3, 0x9E, 0x41, 0xF5,
    0x82, 0x26, 0xB5, 0xB2, 0x16, 0x86, 0xA2, 0x9C, 0x9C, 0xEA, 0xD3, 0x95, 0xD5, 0x64, 0x98, 0x84, 0x59, 0x63,
    0xEB, 0x3C, 0xB6, 0x07, 0x4D, 0xE1, 0xFE, 0x0F, 0xFF, 0x3B, 0xC8, 0xD0, 0xAF, 0x18, 0x61, 0xB6, 0xCD, 0xEF,
    0x0F, 0x6F, 0xFC, 0xCD, 0xF5, 0xC3, 0x41, 0xA1, 0x08, 0xC7, 0x45, 0x4D, 0xBA, 0xD0, 0x5B, 0x33, 0x3F, 0xF7,
    0x28, 0xA0, 0xD2, 0xB4, 0xBA, 0x95, 0xD9, 0xA6, 0x7E, 0x3A, 0x52, 0xAF, 0x96, 0x6A, 0x35, 0x1E, 0x93, 0x0E,
    0xAC, 0x49, 0x7C, 0xDB, 0x7E, 0x7E, 0xF8, 0x11, 0x7A, 0x44, 0x30, 0x7A, 0xF6, 0xE2, 0x4E, 0xD9, 0xCD, 0x5A,
    0xAC, 0x68, 0xC4, 0x22, 0x27, 0x76, 0x48, 0x27, 0xA5, 0x97, 0xF3, 0x5B, 0x7D, 0x05, 0x51, 0xAD, 0x42, 0x1F,
    0xD1, 0x7E, 0x7F, 0x19, 0x77, 0xA3, 0x4A, 0x15, 0x12, 0x98, 0xEF, 0xEB, 0x4D, 0x19, 0x58, 0xD9, 0xD3, 0x60,
    0xE7, 0x5D, 0x0D, 0x8E, 0x31, 0xF7, 0x5B, 0x2B, 0x0B, 0x6A, 0xBD, 0xEB,
};

// The 24 MHz of the board make 1248 MHz: divided by 2, times 104. The PLL must have power before it is told so.
constexpr SensorStep kStart[] = {
    {kControl, kControlReset, 1000}, {kPll, kPllPower, 300}, {kPllDivider, 2},
    {kPllMultiplier, 104},           {kPll, kPllRun, 2000},
};

constexpr auto kPowerUp = [] {
  std::array<SensorStep, std::size(kStart) + std::size(kTrims)> steps{};
  std::ranges::copy(kStart, steps.begin());
  for (std::size_t i = 0; i < std::size(kTrims); ++i) {
    steps[std::size(kStart) + i] = {static_cast<std::uint16_t>(kTrim + i), kTrims[i]};
  }
  return steps;
}();
constexpr SensorStep kWake[] = {{kControl, kControlAwake, 8000}, {kControl, kControlAwake | kControlStream}};
constexpr SensorStep kSleep[] = {{kControl, kControlAwake}, {kControl, 0}};
constexpr SensorStep kBegin[] = {{kGroup, 1}};
constexpr SensorStep kEnd[] = {{kGroup, 2}};

constexpr ReadoutMode kModes[] = {
    {.name = "High full well", .lineTimeNs = 10'000, .baseElectronsPerAdu = 3.8F, .fullWellElectrons = 60'000},
    {.name = "Low noise", .lineTimeNs = 20'000, .baseElectronsPerAdu = 0.95F, .fullWellElectrons = 15'000},
};

/// A frame has so many lines at least; the shutter may open in any of them.
constexpr std::uint64_t kLeastFrameLines = 660;

constexpr int kHighConversionFrom = 120;  // gain setting
constexpr double kHighConversion = 4.0;
constexpr int kAnalogSteps = 512;
constexpr int kMostAnalog = 448;
constexpr double kMostAnalogFactor = 8.0;
constexpr double kDigital = 2.0;

// Of the gain in a frame's header: the analog code, and above it the two switches.
constexpr unsigned kCodeAnalog = 0x01FF;
constexpr unsigned kCodeConversion = 0x1000;
constexpr unsigned kCodeDigital = 0x2000;

struct GainCodes {
  int analog = 0;
  bool highConversion = false;
  bool digital = false;

  double Factor() const {
    const double analogFactor = static_cast<double>(kAnalogSteps) / (kAnalogSteps - analog);
    return analogFactor * (highConversion ? kHighConversion : 1.0) * (digital ? kDigital : 1.0);
  }
  int Setting() const { return static_cast<int>(std::lround(200.0 * std::log10(Factor()))); }
};

// The conversion gain first: it is the one that lowers the read noise. The digital gain only where nothing else is
// left.
GainCodes CodesOf(int setting) {
  GainCodes codes;
  double rest = std::pow(10.0, setting / 200.0);
  codes.highConversion = setting >= kHighConversionFrom;
  if (codes.highConversion) rest /= kHighConversion;
  codes.digital = rest > kMostAnalogFactor;
  if (codes.digital) rest /= kDigital;
  const long nearest = std::lround(kAnalogSteps - kAnalogSteps / rest);
  codes.analog = static_cast<int>(std::clamp<long>(nearest, 0, kMostAnalog));
  return codes;
}

}  // namespace

std::span<const SensorStep> D6Sensor::PowerUp() const {
  return kPowerUp;
}
std::span<const SensorStep> D6Sensor::Wake() const {
  return kWake;
}
std::span<const SensorStep> D6Sensor::Standby() const {
  return kSleep;
}
std::span<const SensorStep> D6Sensor::BeginTogether() const {
  return kBegin;
}
std::span<const SensorStep> D6Sensor::EndTogether() const {
  return kEnd;
}

std::span<const ReadoutMode> D6Sensor::Modes() const {
  return kModes;
}
void D6Sensor::AddMode(RegisterBatch& batch, int mode) const {
  batch.Sensor(kMode, static_cast<std::uint64_t>(mode));
}

std::uint64_t D6Sensor::NearestExposure(std::uint64_t us, std::uint32_t lineNs) const {
  return LinesUs(NearestLines(us, lineNs), lineNs);
}
void D6Sensor::AddExposure(RegisterBatch& batch, std::uint64_t us, std::uint32_t lineNs) const {
  const std::uint64_t lines = NearestLines(us, lineNs);
  const std::uint64_t frame = std::max(lines + 1, kLeastFrameLines);
  batch.Sensor(kFrameLines, frame, 4);
  batch.Sensor(kShutterStart, frame - lines, 4);
}
int D6Sensor::ExposureLines(std::uint64_t us, std::uint32_t lineNs) const {
  return static_cast<int>(NearestLines(us, lineNs));
}

int D6Sensor::NearestGain(int setting) const {
  return CodesOf(setting).Setting();
}
void D6Sensor::AddGain(RegisterBatch& batch, int setting) const {
  const GainCodes codes = CodesOf(setting);
  batch.Sensor(kAnalogGain, static_cast<std::uint64_t>(codes.analog), 2);
  batch.Sensor(kConversionGain, codes.highConversion ? 1 : 0);
  batch.Sensor(kDigitalGain, codes.digital ? 1 : 0);
}
int D6Sensor::GainOf(std::uint16_t code) const {
  const GainCodes codes{.analog = std::min<int>(code & kCodeAnalog, kMostAnalog),
                        .highConversion = (code & kCodeConversion) != 0,
                        .digital = (code & kCodeDigital) != 0};
  return codes.Setting();
}
float D6Sensor::ElectronsPerAdu(float base, int setting) const {
  return static_cast<float>(static_cast<double>(base) / CodesOf(setting).Factor());
}

void D6Sensor::AddBlackLevel(RegisterBatch& batch, int setting) const {
  batch.Sensor(kBlackLevel, static_cast<std::uint64_t>(setting));
}

}  // namespace orq
