// Sums over the samples of one row.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "support/vectors/VectorTarget.h"

namespace orq {

struct RowMoments {
  std::uint64_t sum = 0;
  std::uint64_t squares = 0;
};

/// The sums of the bytes at even and at odd places of `count` bytes which lie `stride` (1 or 2) apart. Any-thread.
std::array<RowMoments, 2> MomentsOf(const unsigned char* bytes, std::size_t count, std::size_t stride,
                                    VectorTarget target = BestVectorTarget());

}  // namespace orq
