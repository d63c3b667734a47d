#include "image/frame/FrameKernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace orq {
namespace {

// The factors of the 2x2 block, row by row.
std::array<std::uint32_t, 4> BlockFactors(BayerPattern pattern, int red, int blue) {
  const auto r = static_cast<std::uint32_t>(red);
  const auto b = static_cast<std::uint32_t>(blue);
  constexpr std::uint32_t g = kNeutralWhiteBalance;
  switch (pattern) {
    case BayerPattern::BG:
      return {b, g, g, r};
    case BayerPattern::GR:
      return {g, r, b, g};
    case BayerPattern::GB:
      return {g, b, r, g};
    case BayerPattern::RG:
      break;
  }
  return {r, g, g, b};
}

// How many samples are scaled at a time: factors repeat every two.
constexpr std::size_t kBlock = 64;

/// What the samples of a row are multiplied by, in the type that the multiplication is made in.
template <class Factor>
using RowFactors = std::array<Factor, kBlock>;

template <class Factor>
RowFactors<Factor> Alternating(std::uint32_t even, std::uint32_t odd) {
  RowFactors<Factor> factors;
  for (std::size_t i = 0; i < kBlock; ++i) factors[i] = static_cast<Factor>(i % 2 == 0 ? even : odd);
  return factors;
}

// (sample * factor + 25) / 50, saturating. Nothing but what vector units have: no division, and no wider type than
// needed.

// The product stays below 2^15, for which the multiplication by 2^21 / 50, rounded up, is exact.
void Scale(std::uint8_t* __restrict samples, std::size_t count, const RowFactors<std::uint16_t>& factors) {
  constexpr std::uint32_t kReciprocal = 41944;
  static_assert(kNeutralWhiteBalance == 50);
  for (std::size_t i = 0; i < count; ++i) {
    const auto product = static_cast<std::uint16_t>(samples[i] * factors[i] + kNeutralWhiteBalance / 2);
    const auto high = static_cast<std::uint16_t>((product * kReciprocal) >> 16U);
    samples[i] = static_cast<std::uint8_t>(std::min<std::uint16_t>(static_cast<std::uint16_t>(high >> 5U), 255));
  }
}

// The product stays below 2^23: with the half that keeps quotients away from whole numbers it fits a float, and up
// to 65535 the quotient's error is less than that distance.
void Scale(std::uint16_t* __restrict samples, std::size_t count, const RowFactors<float>& factors) {
  constexpr float kReciprocal = 1.0F / kNeutralWhiteBalance;
  constexpr float kHalf = kNeutralWhiteBalance / 2.0F + 0.5F;
  for (std::size_t i = 0; i < count; ++i) {
    const float product = static_cast<float>(std::int32_t{samples[i]}) * factors[i] + kHalf;
    const auto scaled = static_cast<std::int32_t>(product * kReciprocal);
    samples[i] = static_cast<std::uint16_t>(std::min(scaled, 65535));
  }
}

template <class Sample>
void ScaleBayer(std::span<Sample> samples, int width, BayerPattern pattern, int red, int blue) {
  if (width <= 0) return;
  using Factor = std::conditional_t<sizeof(Sample) == 1, std::uint16_t, float>;
  const auto columns = static_cast<std::size_t>(width);
  const auto block = BlockFactors(pattern, red, blue);
  const std::array rowFactors{Alternating<Factor>(block[0], block[1]), Alternating<Factor>(block[2], block[3])};
  const std::size_t rows = samples.size() / columns;
  for (std::size_t y = 0; y < rows; ++y) {
    Sample* const row = samples.data() + y * columns;
    for (std::size_t x = 0; x < columns; x += kBlock) {
      Scale(row + x, std::min(kBlock, columns - x), rowFactors[y % 2]);
    }
  }
}

}  // namespace

void HostToMsbFirst(std::span<std::uint16_t> samples) {
  if constexpr (std::endian::native == std::endian::little) {
    for (std::uint16_t& sample : samples) sample = static_cast<std::uint16_t>((sample << 8) | (sample >> 8));
  }
}

void WhiteBalance(std::span<std::uint8_t> samples, int width, BayerPattern pattern, int red, int blue) {
  ScaleBayer(samples, width, pattern, red, blue);
}

void WhiteBalance(std::span<std::uint16_t> samples, int width, BayerPattern pattern, int red, int blue) {
  ScaleBayer(samples, width, pattern, red, blue);
}

}  // namespace orq
