#include "virtual/sensor/chips/L3Chip.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orq {
namespace {

using std::chrono::microseconds;

// Control registers, 0x30xx.
constexpr std::uint16_t kRegStandby = 0x3000;
constexpr std::uint16_t kRegHold = 0x3001;
constexpr std::uint16_t kRegStop = 0x3002;
constexpr std::uint16_t kRegReset = 0x3003;
constexpr std::uint16_t kRegPllEnable = 0x3010;
constexpr std::uint16_t kRegPllDivider = 0x3011;
constexpr std::uint16_t kRegPllMultiplierHigh = 0x3012;
constexpr std::uint16_t kRegPllMultiplierLow = 0x3013;
constexpr std::uint16_t kRegShutterHighest = 0x3020;
constexpr std::uint16_t kRegGain = 0x3030;
constexpr std::uint16_t kRegBlackHigh = 0x3038;
constexpr std::uint16_t kRegBlackLow = 0x3039;
constexpr std::uint16_t kRegTrim = 0x3A00;

constexpr microseconds kResetTime{500};
constexpr microseconds kPllLockTime{1000};
constexpr microseconds kBlackTime{5000};

constexpr std::uint64_t kLineNs = 12'500;
constexpr double kElectronsPerCount = 2.4;
constexpr double kFullWell = 9'800;
constexpr double kNoiseOfPixel = 1.1;
constexpr double kNoiseOfConverter = 2.3;
constexpr double kDecibelPerCode = 0.3;
constexpr int kLastGainCode = 100;
constexpr int kCountsPerWrongTrim = 6;
constexpr int kCountsUnsettled = 200;

constexpr std::array<std::uint8_t, 16> kTrimTable{0x11, 0x40, 0x07, 0x93, 0x2C, 0x58, 0xA0, 0x1E,
                                                  0x65, 0x0B, 0xC4, 0x39, 0x72, 0x80, 0x5F, 0x26};

bool IsTrim(std::uint16_t reg) {
  return reg >= kRegTrim && reg < kRegTrim + kTrimTable.size();
}

/// The PLL locks for 24 MHz only with a divider of 3 and a multiplier of 144.
bool PllSound(std::span<const std::uint8_t> registers) {
  return registers[kRegPllDivider] == 3 && registers[kRegPllMultiplierHigh] == 0 &&
         registers[kRegPllMultiplierLow] == 144;
}

}  // namespace

void L3Chip::PowerUp(Registers registers) {
  std::ranges::fill(registers, std::uint8_t{0});
  registers[kRegStandby] = 1;
  registers[kRegStop] = 1;
  waiting_.Forget();
  pllLocksAt_.reset();
  blackSettlesAt_.reset();
  blackSettled_ = false;
}

void L3Chip::TakeUp(Registers registers) {
  waiting_.Forget();
  readyAt_ = Time{};
  pllLocksAt_.reset();
  blackSettlesAt_.reset();
  if (registers[kRegPllEnable] != 0 && PllSound(registers)) pllLocksAt_ = Time{};
  if (pllLocksAt_ && registers[kRegStandby] == 0) blackSettlesAt_ = Time{};
  blackSettled_ = true;
}

void L3Chip::SetClock(bool on, Time) {
  if (on) return;
  pllLocksAt_.reset();
  blackSettlesAt_.reset();
}

void L3Chip::Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool, Time now) {
  if (now < readyAt_) return;
  if (reg == kRegReset) {
    if (value == 1) {
      PowerUp(registers);
      readyAt_ = now + kResetTime;
    }
    return;
  }
  const bool setting = reg >= kRegShutterHighest && reg <= kRegBlackLow;
  if (setting && registers[kRegHold] == 1) {
    waiting_.Add(reg, value);
    return;
  }
  if (IsTrim(reg) && registers[kRegStandby] == 0) return;
  if (reg == kRegPllEnable) WritePllEnable(registers, value, now);
  if (reg == kRegStandby) WriteStandby(registers, value, now);
  if (reg == kRegStop && value == 0) blackSettled_ = blackSettlesAt_ && now >= *blackSettlesAt_;
  const bool pllSetting = reg == kRegPllDivider || reg == kRegPllMultiplierHigh || reg == kRegPllMultiplierLow;
  if (pllSetting && registers[kRegPllEnable] != 0) pllLocksAt_.reset();
  registers[reg] = value;
  if (reg == kRegHold && value == 0) waiting_.TakeEffect(registers);
}

void L3Chip::WritePllEnable(Registers registers, std::uint8_t value, Time now) {
  if (value == 0)
    pllLocksAt_.reset();
  else if (registers[kRegPllEnable] == 0 && PllSound(registers))
    pllLocksAt_ = now + kPllLockTime;
}

void L3Chip::WriteStandby(Registers registers, std::uint8_t value, Time now) {
  if (value != 0)
    blackSettlesAt_.reset();
  else if (registers[kRegStandby] != 0 && pllLocksAt_ && now >= *pllLocksAt_)
    blackSettlesAt_ = now + kBlackTime;
}

int L3Chip::WrongTrims(std::span<const std::uint8_t> registers) const {
  int wrong = 0;
  for (std::size_t i = 0; i < kTrimTable.size(); ++i) wrong += registers[kRegTrim + i] != kTrimTable[i] ? 1 : 0;
  return wrong;
}

ChipSetting L3Chip::Setting(std::span<const std::uint8_t> registers) const {
  std::uint64_t lines = 0;
  for (std::size_t i = 0; i < 4; ++i) lines = lines << 8 | registers[kRegShutterHighest + i];
  lines = std::max<std::uint64_t>(lines, 1);
  const int code = std::min<int>(registers[kRegGain], kLastGainCode);
  const double factor = std::pow(10.0, code * kDecibelPerCode / 20.0);
  const int black = registers[kRegBlackHigh] << 8 | registers[kRegBlackLow];

  ChipSetting setting;
  setting.running = blackSettlesAt_ && registers[kRegStandby] == 0 && registers[kRegStop] == 0;
  setting.exposureUs = (lines * kLineNs + 500) / 1000;
  setting.lineTimeNs = kLineNs;
  setting.gain = code;
  setting.blackLevel = black;
  setting.readout = {
      .electronsPerAdu = kElectronsPerCount / factor,
      .readNoiseElectrons = std::hypot(kNoiseOfPixel, kNoiseOfConverter / factor),
      .fullWellElectrons = kFullWell,
      .blackCounts = black + kCountsPerWrongTrim * WrongTrims(registers) + (blackSettled_ ? 0 : kCountsUnsettled)};
  return setting;
}

}  // namespace orq
