#include "image/frame/HostBin.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace orq {
namespace {

// Input columns that are worked on at a time: a multiple of 2 * 2, 2 * 3 and 2 * 4, small enough for the first
// cache.
constexpr std::size_t kChunk = 1536;

std::uint8_t Combined8(std::uint32_t sum) {
  return static_cast<std::uint8_t>(std::min<std::uint32_t>(sum, 255));
}

template <std::uint32_t N>
std::uint16_t Combined16(std::uint32_t sum) {
  return static_cast<std::uint16_t>((sum + N * N / 2) / (N * N));
}

template <class Sample, std::uint32_t N>
Sample Combined(std::uint32_t sum) {
  if constexpr (sizeof(Sample) == 1)
    return Combined8(sum);
  else
    return Combined16<N>(sum);
}

// Adds up N rows, `rowStep` samples apart, column by column.
template <class Sample, std::uint32_t N>
ORQ_KERNEL void AddRows(const Sample* __restrict in, std::size_t rowStep, std::size_t columns,
                        std::uint32_t* __restrict sums) {
  for (std::size_t x = 0; x < columns; ++x) {
    std::uint32_t sum = 0;
    for (std::size_t j = 0; j < N; ++j) sum += in[j * rowStep + x];
    sums[x] = sum;
  }
}

template <class Sample, std::uint32_t N>
ORQ_KERNEL void CombineMono(const std::uint32_t* __restrict sums, std::size_t outputs, Sample* __restrict out) {
  for (std::size_t x = 0; x < outputs; ++x) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < N; ++i) sum += sums[x * N + i];
    out[x] = Combined<Sample, N>(sum);
  }
}

// Two output samples, one per colour of the row, come from 2 * N columns in which the colours alternate.
template <class Sample, std::uint32_t N>
ORQ_KERNEL void CombineBayer(const std::uint32_t* __restrict sums, std::size_t outputs, Sample* __restrict out) {
  for (std::size_t x = 0; x < outputs; x += 2) {
    const std::uint32_t* block = sums + x * N;
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    for (std::size_t i = 0; i < N; ++i) {
      first += block[2 * i];
      second += block[2 * i + 1];
    }
    out[x] = Combined<Sample, N>(first);
    out[x + 1] = Combined<Sample, N>(second);
  }
}

/// Bins the rows that make one output row.
template <class Sample, std::uint32_t N, bool Bayer>
struct BinRow {
  ORQ_KERNEL void Run(const Sample* rows, std::size_t inWidth, Sample* out) {
    std::array<std::uint32_t, kChunk> sums;
    constexpr std::size_t colours = Bayer ? 2 : 1;
    for (std::size_t x = 0; x < inWidth; x += kChunk) {
      const std::size_t columns = std::min(kChunk, inWidth - x);
      AddRows<Sample, N>(rows + x, colours * inWidth, columns, sums.data());
      if constexpr (Bayer)
        CombineBayer<Sample, N>(sums.data(), columns / N, out + x / N);
      else
        CombineMono<Sample, N>(sums.data(), columns / N, out + x / N);
    }
  }
};

template <class Sample, std::uint32_t N, bool Bayer>
void BinFrame(const Sample* in, std::size_t width, std::size_t height, Sample* out, VectorTarget target) {
  const std::size_t inWidth = width * N;
  constexpr std::size_t colours = Bayer ? 2 : 1;
  for (std::size_t y = 0; y < height; ++y) {
    const std::size_t firstRow = (y / colours) * colours * N + y % colours;
    RunOn<BinRow<Sample, N, Bayer>>(target, in + firstRow * inWidth, inWidth, out + y * width);
  }
}

template <class Sample, std::uint32_t N>
void BinBy(const Sample* in, const BinShape& shape, Sample* out, VectorTarget target) {
  const auto width = static_cast<std::size_t>(shape.width);
  const auto height = static_cast<std::size_t>(shape.height);
  if (shape.bayer)
    BinFrame<Sample, N, true>(in, width, height, out, target);
  else
    BinFrame<Sample, N, false>(in, width, height, out, target);
}

template <class Sample>
bool Bin(std::span<const Sample> in, const BinShape& shape, std::span<Sample> out, VectorTarget target) {
  if (shape.width <= 0 || shape.height <= 0 || shape.factor < 1 || shape.factor > 4) return false;
  if (shape.bayer && shape.factor > 1 && (shape.width % 2 != 0 || shape.height % 2 != 0)) return false;
  const std::size_t outputs = static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(shape.height);
  const auto factor = static_cast<std::size_t>(shape.factor);
  if (out.size() < outputs || in.size() / (factor * factor) < outputs) return false;
  switch (shape.factor) {
    case 2:
      BinBy<Sample, 2>(in.data(), shape, out.data(), target);
      break;
    case 3:
      BinBy<Sample, 3>(in.data(), shape, out.data(), target);
      break;
    case 4:
      BinBy<Sample, 4>(in.data(), shape, out.data(), target);
      break;
    default:
      std::memcpy(out.data(), in.data(), outputs * sizeof(Sample));
      break;
  }
  return true;
}

}  // namespace

bool HostBin(std::span<const std::uint8_t> in, const BinShape& shape, std::span<std::uint8_t> out,
             VectorTarget target) {
  return Bin(in, shape, out, target);
}

bool HostBin(std::span<const std::uint16_t> in, const BinShape& shape, std::span<std::uint16_t> out,
             VectorTarget target) {
  return Bin(in, shape, out, target);
}

}  // namespace orq
