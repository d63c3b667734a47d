#include "virtual/sensor/chips/D6Chip.h"

#include <algorithm>
#include <cmath>

namespace orq {
namespace {

using std::chrono::microseconds;

constexpr std::uint16_t kRegControl = 0x4000;
constexpr unsigned kBitReset = 0x01;
constexpr unsigned kBitAwake = 0x02;
constexpr unsigned kBitStream = 0x04;
constexpr std::uint16_t kRegPll = 0x4002;
constexpr unsigned kBitPllPower = 0x01;
constexpr unsigned kBitPllRun = 0x02;
constexpr std::uint16_t kRegPllDivider = 0x4003;
constexpr std::uint16_t kRegPllMultiplier = 0x4004;
constexpr std::uint16_t kRegGroup = 0x4010;
constexpr std::uint16_t kRegFrameLines = 0x4020;
constexpr std::uint16_t kRegShutterStart = 0x4024;
constexpr std::uint16_t kRegAnalog = 0x4030;
constexpr std::uint16_t kRegConversion = 0x4032;
constexpr std::uint16_t kRegDigital = 0x4033;
constexpr std::uint16_t kRegBlack = 0x4038;
constexpr std::uint16_t kRegMode = 0x4040;
constexpr std::uint16_t kRegTrim = 0x4100;

constexpr microseconds kResetTime{1000};
constexpr microseconds kPllPowerTime{300};
constexpr microseconds kPllLockTime{2000};
constexpr microseconds kBlackTime{8000};

constexpr std::uint8_t kTrimTable[] = {
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

/// One readout mode.
struct Mode {
  std::uint64_t lineNs;
  double electronsPerCount;  ///< at low conversion gain
  double fullWell;
  double pixelNoiseLow, pixelNoiseHigh;  ///< e- rms, at low and high conversion gain
  double converterNoise;                 ///< e- rms at factor 1
};
constexpr Mode kModes[] = {
    {10'000, 3.8, 60'000.0, 2.2, 1.3, 6.0},
    {20'000, 0.95, 15'000.0, 1.6, 0.9, 2.4},
};

constexpr double kConversionRatio = 4.0;
constexpr int kLastAnalog = 448;
constexpr int kCountsPerBlackStep = 4;
constexpr int kCountsPerWrongTrim = 2;
constexpr int kCountsUnsettled = 500;

std::uint64_t Number(std::span<const std::uint8_t> registers, std::size_t reg, int bytes) {
  std::uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | registers[reg + static_cast<std::size_t>(i)];
  return value;
}

bool PllSound(std::span<const std::uint8_t> registers) {
  return registers[kRegPllDivider] == 2 && registers[kRegPllMultiplier] == 104;
}

int WrongTrims(std::span<const std::uint8_t> registers) {
  int wrong = 0;
  for (std::size_t i = 0; i < std::size(kTrimTable); ++i)
    wrong += registers[kRegTrim + i] != kTrimTable[i] ? 1 : 0;
  return wrong;
}

}  // namespace

void D6Chip::PowerUp(Registers registers) {
  std::ranges::fill(registers, std::uint8_t{0});
  waiting_.Forget();
  grouping_ = false;
  pllReadyAt_.reset();
  pllLocksAt_.reset();
  blackSettlesAt_.reset();
  blackSettled_ = false;
  mode_ = 0;
}

void D6Chip::TakeUp(Registers registers) {
  waiting_.Forget();
  grouping_ = false;
  readyAt_ = Time{};
  pllReadyAt_.reset();
  pllLocksAt_.reset();
  blackSettlesAt_.reset();
  const unsigned pll = registers[kRegPll];
  if ((pll & kBitPllPower) != 0) pllReadyAt_ = Time{};
  if (pllReadyAt_ && (pll & kBitPllRun) != 0 && PllSound(registers)) pllLocksAt_ = Time{};
  if (pllLocksAt_ && (registers[kRegControl] & kBitAwake) != 0) blackSettlesAt_ = Time{};
  blackSettled_ = true;
  mode_ = registers[kRegMode] & 1;
}

void D6Chip::SetClock(bool on, Time) {
  if (on) return;
  pllLocksAt_.reset();
  blackSettlesAt_.reset();
}

void D6Chip::Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool, Time now) {
  if (now < readyAt_) return;
  if (grouping_ && reg >= kRegFrameLines && reg <= kRegBlack) {
    waiting_.Add(reg, value);
    return;
  }
  if (reg == kRegControl) {
    WriteControl(registers, value, now);
    return;
  }
  const bool pllSetting = reg == kRegPllDivider || reg == kRegPllMultiplier;
  if (pllSetting && (!pllReadyAt_ || now < *pllReadyAt_)) return;  // it has no power yet
  if (reg == kRegPll) WritePll(registers, value, now);
  registers[reg] = value;
  if (reg == kRegGroup) {
    grouping_ = value == 1;
    if (value == 2) waiting_.TakeEffect(registers);
  }
}

void D6Chip::WriteControl(Registers registers, std::uint8_t value, Time now) {
  if ((value & kBitReset) != 0) {
    PowerUp(registers);
    readyAt_ = now + kResetTime;
    return;
  }
  const bool awake = (value & kBitAwake) != 0;
  const bool wasAwake = (registers[kRegControl] & kBitAwake) != 0;
  if (!awake) {
    blackSettlesAt_.reset();
  } else if (!wasAwake) {
    if (pllLocksAt_ && now >= *pllLocksAt_) blackSettlesAt_ = now + kBlackTime;
    mode_ = registers[kRegMode] & 1;
  }
  if (awake && (value & kBitStream) != 0) blackSettled_ = blackSettlesAt_ && now >= *blackSettlesAt_;
  registers[kRegControl] = value;
}

void D6Chip::WritePll(Registers registers, std::uint8_t value, Time now) {
  const bool power = (value & kBitPllPower) != 0;
  if (!power)
    pllReadyAt_.reset();
  else if (!pllReadyAt_)
    pllReadyAt_ = now + kPllPowerTime;
  const bool sound = power && pllReadyAt_ && now >= *pllReadyAt_ && PllSound(registers);
  pllLocksAt_.reset();
  if (sound && (value & kBitPllRun) != 0) pllLocksAt_ = now + kPllLockTime;
}

ChipSetting D6Chip::Setting(std::span<const std::uint8_t> registers) const {
  const Mode& mode = kModes[mode_];
  const std::uint64_t frame = Number(registers, kRegFrameLines, 4);
  const std::uint64_t start = Number(registers, kRegShutterStart, 4);
  const std::uint64_t lines = frame > start ? frame - start : 1;

  const int analog = static_cast<int>(std::min<std::uint64_t>(Number(registers, kRegAnalog, 2), kLastAnalog));
  const bool high = (registers[kRegConversion] & 1U) != 0;
  const int digital = registers[kRegDigital] & 1;
  const double charge = (high ? kConversionRatio : 1.0) * 512.0 / (512.0 - analog);
  const int black = registers[kRegBlack];

  ChipSetting setting;
  const unsigned running = kBitAwake | kBitStream;
  setting.running = blackSettlesAt_ && (registers[kRegControl] & running) == running;
  setting.exposureUs = (lines * mode.lineNs + 500) / 1000;
  setting.lineTimeNs = mode.lineNs;
  setting.gain = analog | (high ? 1 << 12 : 0) | digital << 13;
  setting.blackLevel = black;
  setting.mode = mode_;
  setting.readout = {.electronsPerAdu = mode.electronsPerCount / (charge * (1 << digital)),
                     .readNoiseElectrons =
                         std::hypot(high ? mode.pixelNoiseHigh : mode.pixelNoiseLow, mode.converterNoise / charge),
                     .fullWellElectrons = mode.fullWell,
                     .blackCounts = black * kCountsPerBlackStep + kCountsPerWrongTrim * WrongTrims(registers) +
                                    (blackSettled_ ? 0 : kCountsUnsettled)};
  return setting;
}

}  // namespace orq
