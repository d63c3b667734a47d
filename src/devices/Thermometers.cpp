#include "devices/Thermometers.h"

namespace orq {
namespace {

constexpr int kTmp100FullScale = 4096;
constexpr int kTmp100FirstNegative = 2048;
constexpr float kDegreesPerCount = 0.0625F;

constexpr double kAds1014Reference = 6.148;       // volts at the pin for half the count range
constexpr double kAds1014Share = 0.000244140625;  // one of 4096 counts

/// The upper 12 bits of a word sent least significant byte first.
int LeftAligned12(std::uint8_t first, std::uint8_t second) {
  return second << 4 | first >> 4;
}

}  // namespace

std::optional<float> Tmp100Celsius(std::uint8_t first, std::uint8_t second) {
  const int raw = LeftAligned12(first, second);
  if (raw == 0) return std::nullopt;
  if (raw >= kTmp100FirstNegative) return static_cast<float>(kTmp100FullScale - raw) * -kDegreesPerCount;
  return static_cast<float>(raw) * kDegreesPerCount;
}

float Tmp451Celsius(std::uint8_t first, std::uint8_t second) {
  return static_cast<float>(second) + static_cast<float>(first) * kDegreesPerCount;
}

std::uint8_t Adc081Count(std::uint8_t first, std::uint8_t second) {
  return static_cast<std::uint8_t>(LeftAligned12(first, second) & 0xFF);
}

int Ad7142Count(std::uint8_t first, std::uint8_t second) {
  return LeftAligned12(first, second);
}

int Ads1014Count(std::uint8_t first, std::uint8_t second) {
  return LeftAligned12(first, second);
}

float Ads1014Volts(int count) {
  return static_cast<float>(count * kAds1014Reference * 2 * kAds1014Share);
}

}  // namespace orq
