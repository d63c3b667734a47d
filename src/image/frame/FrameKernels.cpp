#include "image/frame/FrameKernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
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
template <class Sample>
using Factor = std::conditional_t<sizeof(Sample) == 1, std::uint16_t, float>;
template <class Sample>
using RowFactors = std::array<Factor<Sample>, kBlock>;

template <class Sample>
RowFactors<Sample> Alternating(std::uint32_t even, std::uint32_t odd) {
  RowFactors<Sample> factors;
  for (std::size_t i = 0; i < kBlock; ++i) factors[i] = static_cast<Factor<Sample>>(i % 2 == 0 ? even : odd);
  return factors;
}

// (sample * factor + 25) / 50, saturating. Nothing but what vector units have: no division, and no wider type than
// needed.
static_assert(kNeutralWhiteBalance == 50);

// The product stays below 2^15, for which the multiplication by 2^21 / 50, rounded up, is exact.
ORQ_KERNEL std::uint8_t Scaled(std::uint8_t sample, std::uint16_t factor) {
  constexpr std::uint32_t kReciprocal = 41944;
  const auto product = static_cast<std::uint16_t>(sample * factor + kNeutralWhiteBalance / 2);
  const auto high = static_cast<std::uint16_t>((product * kReciprocal) >> 16U);
  return static_cast<std::uint8_t>(std::min<std::uint16_t>(static_cast<std::uint16_t>(high >> 5U), 255));
}

// The product stays below 2^23: with the half that keeps quotients away from whole numbers it fits a float, and up
// to 65535 the quotient's error is less than that distance.
ORQ_KERNEL std::uint16_t Scaled(std::uint16_t sample, float factor) {
  constexpr float kReciprocal = 1.0F / kNeutralWhiteBalance;
  constexpr float kHalf = kNeutralWhiteBalance / 2.0F + 0.5F;
  const float product = static_cast<float>(std::int32_t{sample}) * factor + kHalf;
  const auto scaled = static_cast<std::int32_t>(product * kReciprocal);
  return static_cast<std::uint16_t>(std::min(scaled, 65535));
}

template <class Sample>
struct ScaleRow {
  ORQ_KERNEL void Run(Sample* __restrict row, std::size_t columns, const Factor<Sample>* __restrict factors) {
    std::size_t x = 0;
    for (; x + kBlock <= columns; x += kBlock)
      for (std::size_t i = 0; i < kBlock; ++i) row[x + i] = Scaled(row[x + i], factors[i]);
    for (std::size_t i = 0; x + i < columns; ++i) row[x + i] = Scaled(row[x + i], factors[i]);
  }
};

template <class Sample>
void ScaleBayer(std::span<Sample> samples, int width, BayerPattern pattern, int red, int blue,
                VectorTarget target) {
  if (width <= 0) return;
  const auto columns = static_cast<std::size_t>(width);
  const auto block = BlockFactors(pattern, red, blue);
  const std::array rowFactors{Alternating<Sample>(block[0], block[1]), Alternating<Sample>(block[2], block[3])};
  const std::size_t rows = samples.size() / columns;
  for (std::size_t y = 0; y < rows; ++y)
    RunOn<ScaleRow<Sample>>(target, samples.data() + y * columns, columns, rowFactors[y % 2].data());
}

struct SwapBytes {
  ORQ_KERNEL void Run(std::uint16_t* samples, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      samples[i] = static_cast<std::uint16_t>((samples[i] << 8) | (samples[i] >> 8));
  }
};

}  // namespace

void HostToMsbFirst(std::span<std::uint16_t> samples, VectorTarget target) {
  if constexpr (std::endian::native == std::endian::little)
    RunOn<SwapBytes>(target, samples.data(), samples.size());
}

void WhiteBalance(std::span<std::uint8_t> samples, int width, BayerPattern pattern, int red, int blue,
                  VectorTarget target) {
  ScaleBayer(samples, width, pattern, red, blue, target);
}

void WhiteBalance(std::span<std::uint16_t> samples, int width, BayerPattern pattern, int red, int blue,
                  VectorTarget target) {
  ScaleBayer(samples, width, pattern, red, blue, target);
}

}  // namespace orq
