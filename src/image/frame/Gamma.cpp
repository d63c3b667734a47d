#include "image/frame/Gamma.h"

#include <atomic>
#include <cmath>
#include <cstddef>

#include "camera/CameraBase.h"

namespace orq {
namespace {

constexpr int kNeutral = 50;
constexpr float kMost16 = 65535.0F;
constexpr float kMost8 = 255.0F;

double Power(float base, float exponent) {
  return std::pow(static_cast<double>(base), static_cast<double>(exponent));
}

}  // namespace

float GammaExponent(int gamma) {
  const auto setting = static_cast<float>(gamma);
  return (gamma <= kNeutral ? 200.0F - 2.0F * setting : 150.0F - setting) / 100.0F;
}

// The two depths differ on purpose in where they leave double precision: only so is the neutral curve the identity
// for every 16-bit sample.

std::uint16_t GammaCurve16(int gamma, std::uint16_t sample) {
  const float x = static_cast<float>(sample) / kMost16;
  const float y = static_cast<float>(Power(x, GammaExponent(gamma))) * kMost16;
  return y < kMost16 ? static_cast<std::uint16_t>(y) : std::uint16_t{65535};
}

std::uint8_t GammaCurve8(int gamma, std::uint8_t sample) {
  const float x = static_cast<float>(sample) / kMost8;
  const double y = Power(x, GammaExponent(gamma)) * 255.0;
  return y < 255.0 ? static_cast<std::uint8_t>(y) : std::uint8_t{255};
}

}  // namespace orq

namespace {

constexpr int kHighestGamma = 100;

/// Frames may be read through the table at the same time.
template <class Entry>
void Store(Entry& entry, Entry value) {
  std::atomic_ref(entry).store(value, std::memory_order_relaxed);
}

}  // namespace

int CCameraBase::SetGamma(int value) {
  if (gammaTable16 == nullptr) return 0;
  // The setting before decides, not the new one: a model that left the range comes back into it first.
  gamma = gamma > kHighestGamma ? kHighestGamma : value;
  // Read again for every entry: a setting that comes meanwhile takes effect from there on.
  for (std::size_t i = 0; i < orq::kGammaTable16; ++i)
    Store(gammaTable16[i], orq::GammaCurve16(gamma, static_cast<std::uint16_t>(i)));
  for (std::size_t i = 0; i < gammaTable8.size(); ++i)
    Store(gammaTable8[i], orq::GammaCurve8(gamma, static_cast<std::uint8_t>(i)));
  return 1;
}

int CCameraBase::GetGamma() {
  return gamma;
}
