#include "image/frame/RowMoments.h"

#include <algorithm>

namespace orq {
namespace {

/// Sums of as many pairs as 32 bits hold for certain.
struct Sums {
  std::uint32_t evenSum = 0, oddSum = 0, evenSquares = 0, oddSquares = 0;
};
constexpr std::size_t kPairsAtOnce = 65536;
static_assert(kPairsAtOnce * 255 * 255 <= UINT32_MAX);

template <std::size_t Stride>
struct SumPairs {
  ORQ_KERNEL Sums Run(const unsigned char* __restrict bytes, std::size_t pairs) {
    Sums sums;
    for (std::size_t i = 0; i < pairs; ++i) {
      const std::uint16_t even = bytes[2 * Stride * i];
      const std::uint16_t odd = bytes[2 * Stride * i + Stride];
      sums.evenSum += even;
      sums.oddSum += odd;
      sums.evenSquares += static_cast<std::uint16_t>(even * even);
      sums.oddSquares += static_cast<std::uint16_t>(odd * odd);
    }
    return sums;
  }
};

}  // namespace

std::array<RowMoments, 2> MomentsOf(const unsigned char* bytes, std::size_t count, std::size_t stride,
                                    VectorTarget target) {
  std::array<RowMoments, 2> moments;
  const std::size_t pairs = count / 2;
  for (std::size_t done = 0; done < pairs; done += kPairsAtOnce) {
    const unsigned char* const from = bytes + 2 * stride * done;
    const std::size_t some = std::min(kPairsAtOnce, pairs - done);
    const Sums sums =
        stride == 1 ? RunOn<SumPairs<1>>(target, from, some) : RunOn<SumPairs<2>>(target, from, some);
    moments[0].sum += sums.evenSum;
    moments[0].squares += sums.evenSquares;
    moments[1].sum += sums.oddSum;
    moments[1].squares += sums.oddSquares;
  }
  if (count % 2 != 0) {
    const std::uint64_t last = bytes[stride * (count - 1)];
    moments[0].sum += last;
    moments[0].squares += last * last;
  }
  return moments;
}

}  // namespace orq
