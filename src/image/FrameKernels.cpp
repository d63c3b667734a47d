#include "image/FrameKernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <limits>

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

template <class Sample>
Sample Scaled(Sample sample, std::uint32_t factor) {
  constexpr std::uint32_t unit = kNeutralWhiteBalance;
  const std::uint32_t scaled = (sample * factor + unit / 2) / unit;
  return static_cast<Sample>(std::min<std::uint32_t>(scaled, std::numeric_limits<Sample>::max()));
}

template <class Sample>
void ScaleRow(Sample* row, std::size_t width, std::uint32_t even, std::uint32_t odd) {
  const std::size_t pairs = width / 2;
  for (std::size_t i = 0; i < pairs; ++i) {
    row[2 * i] = Scaled(row[2 * i], even);
    row[2 * i + 1] = Scaled(row[2 * i + 1], odd);
  }
  if (width % 2 != 0) row[width - 1] = Scaled(row[width - 1], even);
}

template <class Sample>
void ScaleBayer(std::span<Sample> samples, int width, BayerPattern pattern, int red, int blue) {
  if (width <= 0) return;
  const auto columns = static_cast<std::size_t>(width);
  const auto factors = BlockFactors(pattern, red, blue);
  const std::size_t rows = samples.size() / columns;
  for (std::size_t y = 0; y < rows; ++y) {
    const std::size_t parity = (y % 2) * 2;
    ScaleRow(samples.data() + y * columns, columns, factors[parity], factors[parity + 1]);
  }
}

}  // namespace

void MsbFirstToHost(std::span<std::uint16_t> samples) {
  if constexpr (std::endian::native == std::endian::little) {
    for (std::uint16_t& sample : samples) sample = static_cast<std::uint16_t>((sample << 8) | (sample >> 8));
  }
}

void HostToMsbFirst(std::span<const std::uint16_t> in, std::span<std::uint16_t> out) {
  for (std::size_t i = 0; i < in.size(); ++i) {
    out[i] = std::endian::native == std::endian::little ? static_cast<std::uint16_t>((in[i] << 8) | (in[i] >> 8))
                                                        : in[i];
  }
}

void WhiteBalance(std::span<std::uint8_t> samples, int width, BayerPattern pattern, int red, int blue) {
  ScaleBayer(samples, width, pattern, red, blue);
}

void WhiteBalance(std::span<std::uint16_t> samples, int width, BayerPattern pattern, int red, int blue) {
  ScaleBayer(samples, width, pattern, red, blue);
}

}  // namespace orq
