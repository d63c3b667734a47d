// Random numbers by place: every draw is a function of seed, frame and sensor position, so that a frame can be
// repeated, and a region holds the same noise as the full frame.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/Mix64.h"

namespace orq {

/// Random bits of one row of one frame, two words per pixel in any order.
class RowNoise {
 public:
  RowNoise(std::uint64_t seed, std::uint64_t frame, int row)
      : key_(Mix64(Mix64(Mix64(seed + kGolden) ^ frame) + kGolden * static_cast<std::uint64_t>(row + 1))) {}
  /// Bits for the photon noise of column x.
  std::uint64_t Shot(int x) const { return Mix64(key_ + kGolden * (2 * static_cast<std::uint64_t>(x))); }
  /// Bits for the read noise of column x.
  std::uint64_t Read(int x) const { return Mix64(key_ + kGolden * (2 * static_cast<std::uint64_t>(x) + 1)); }

 private:
  std::uint64_t key_;
};

/// The standard normal distribution by the ziggurat method (256 layers, exact tails). Any-thread once made.
class GaussianTable {
 public:
  static const GaussianTable& Get();
  GaussianTable();

  /// One draw made from `bits`.
  float Sample(std::uint64_t bits) const {
    const std::size_t layer = bits & 0xFF;
    const double u = static_cast<double>(static_cast<std::int64_t>(bits) >> 11) * 0x1p-52;
    const double z = u * x_[layer];
    if (std::fabs(z) < x_[layer + 1]) [[likely]]
      return static_cast<float>(z);
    return Outside(bits, layer, z);
  }

 private:
  float Outside(std::uint64_t bits, std::size_t layer, double z) const;

  std::array<double, 257> x_{};  ///< right edge of each layer; [0] is the base layer's virtual width
  std::array<double, 257> f_{};  ///< exp(-x^2 / 2) at the edges
};

/// The Poisson distribution: exact (to the resolution of 32 random bits) below a mean of 50, above it the normal
/// distribution with the skewness term of Cornish and Fisher. Any-thread once made.
class PoissonTable {
 public:
  static constexpr float kExactBelow = 50.0F;

  static const PoissonTable& Get();
  PoissonTable();

  /// One draw with this mean (0 or more) made from `bits`: a whole number below `kExactBelow`.
  float Sample(std::uint64_t bits, float mean) const {
    if (mean >= kExactBelow) {
      const float z = gaussian_.Sample(bits);
      return mean + std::sqrt(mean) * z + (z * z - 1.0F) * (1.0F / 6.0F);
    }
    // A sum of Poisson numbers is one with the sum of the means: a tabulated mean plus the small rest.
    const auto table = static_cast<std::uint32_t>(mean * kTablesPerUnit);
    const float rest = mean - static_cast<float>(table) * (1.0F / kTablesPerUnit);
    const auto high = static_cast<std::uint32_t>(bits >> 32);
    const std::uint32_t slot = high >> kThresholdBits;
    const std::uint32_t entry = entries_[table * kSlots + slot];
    const std::uint32_t value = (high & kThresholdMask) < (entry >> kSlotBits) ? slot : entry & (kSlots - 1);
    const float low = static_cast<float>(static_cast<std::uint32_t>(bits) >> 8) * 0x1p-24F;
    // exp(-rest) > 1 - rest: below it, certainly none.
    if (low < 1.0F - rest) [[likely]]
      return static_cast<float>(value);
    return static_cast<float>(value + Rest(static_cast<std::uint32_t>(bits), rest));
  }

 private:
  static constexpr int kTablesPerUnit = 8;
  static constexpr std::uint32_t kSlotBits = 7;
  static constexpr std::uint32_t kSlots = 1U << kSlotBits;
  static constexpr std::uint32_t kThresholdBits = 32 - kSlotBits;
  static constexpr std::uint32_t kThresholdMask = (1U << kThresholdBits) - 1;

  static std::uint32_t Rest(std::uint32_t bits, float mean);

  const GaussianTable& gaussian_;
  std::vector<std::uint32_t> entries_;  ///< alias tables: threshold in the high bits, alias in the low
};

}  // namespace orq
