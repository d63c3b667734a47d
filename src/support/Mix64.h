// Well-mixed numbers from a seed.
#pragma once

#include <cstdint>

namespace orq {

/// Mixes all bits of `z` into all bits of the result (finaliser of the SplitMix64 generator).
constexpr std::uint64_t Mix64(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

inline constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15ULL;

/// A stream of 64-bit numbers (SplitMix64).
class SplitMix64 {
 public:
  explicit constexpr SplitMix64(std::uint64_t seed) : state_(seed) {}
  constexpr std::uint64_t Next() { return Mix64(state_ += kGolden); }
  /// In (0, 1).
  double Uniform() { return (static_cast<double>(Next() >> 12) + 0.5) * 0x1p-52; }

 private:
  std::uint64_t state_;
};

}  // namespace orq
