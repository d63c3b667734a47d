#include "models/sensors/L3Sensor.h"

#include <algorithm>

#include "models/sensors/LineExposure.h"

namespace orq {
namespace {

constexpr std::uint16_t kStandby = 0x3000;
constexpr std::uint16_t kHold = 0x3001;
constexpr std::uint16_t kStop = 0x3002;
constexpr std::uint16_t kReset = 0x3003;
constexpr std::uint16_t kPllEnable = 0x3010;
constexpr std::uint16_t kPllDivider = 0x3011;
constexpr std::uint16_t kPllMultiplier = 0x3012;  // two bytes, high byte first
constexpr std::uint16_t kShutter = 0x3020;        // four bytes, high byte first
constexpr std::uint16_t kGain = 0x3030;
constexpr std::uint16_t kBlackLevel = 0x3038;  // two bytes, high byte first
constexpr std::uint16_t kTrim = 0x3A00;

// The 24 MHz of the board make 1152 MHz: divided by 3, times 144.
constexpr SensorStep kPowerUp[] = {
    {kReset, 1, 500},      {kPllDivider, 3},   {kPllMultiplier, 0x00}, {kPllMultiplier + 1, 0x90},
    {kTrim + 0, 0x11},     {kTrim + 1, 0x40},  {kTrim + 2, 0x07},      {kTrim + 3, 0x93},
    {kTrim + 4, 0x2C},     {kTrim + 5, 0x58},  {kTrim + 6, 0xA0},      {kTrim + 7, 0x1E},
    {kTrim + 8, 0x65},     {kTrim + 9, 0x0B},  {kTrim + 10, 0xC4},     {kTrim + 11, 0x39},
    {kTrim + 12, 0x72},    {kTrim + 13, 0x80}, {kTrim + 14, 0x5F},     {kTrim + 15, 0x26},
    {kPllEnable, 1, 1000},
};
constexpr SensorStep kWake[] = {{kStandby, 0, 5000}, {kStop, 0}};
constexpr SensorStep kSleep[] = {{kStop, 1}, {kStandby, 1}};
constexpr SensorStep kBegin[] = {{kHold, 1}};
constexpr SensorStep kEnd[] = {{kHold, 0}};

void AddHighByteFirst(RegisterBatch& batch, std::uint16_t reg, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i)
    batch.Sensor(static_cast<std::uint16_t>(reg + i), value >> (8 * (bytes - 1 - i)) & 0xFF);
}

}  // namespace

std::span<const SensorStep> L3Sensor::PowerUp() const {
  return kPowerUp;
}
std::span<const SensorStep> L3Sensor::Wake() const {
  return kWake;
}
std::span<const SensorStep> L3Sensor::Standby() const {
  return kSleep;
}
std::span<const SensorStep> L3Sensor::BeginTogether() const {
  return kBegin;
}
std::span<const SensorStep> L3Sensor::EndTogether() const {
  return kEnd;
}

std::uint64_t L3Sensor::NearestExposure(std::uint64_t us, std::uint32_t lineNs) const {
  return LinesUs(NearestLines(us, lineNs), lineNs);
}
void L3Sensor::AddExposure(RegisterBatch& batch, std::uint64_t us, std::uint32_t lineNs) const {
  AddHighByteFirst(batch, kShutter, NearestLines(us, lineNs), 4);
}
int L3Sensor::ExposureLines(std::uint64_t us, std::uint32_t lineNs) const {
  return static_cast<int>(NearestLines(us, lineNs));
}

int L3Sensor::NearestGain(int setting) const {
  const int code = (setting + kTenthsPerCode / 2) / kTenthsPerCode;
  return std::clamp(code, 0, kHighestCode) * kTenthsPerCode;
}
void L3Sensor::AddGain(RegisterBatch& batch, int setting) const {
  batch.Sensor(kGain, static_cast<std::uint64_t>(NearestGain(setting) / kTenthsPerCode));
}

void L3Sensor::AddBlackLevel(RegisterBatch& batch, int setting) const {
  AddHighByteFirst(batch, kBlackLevel, static_cast<std::uint64_t>(setting), 2);
}

}  // namespace orq
