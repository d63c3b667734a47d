// Wide numbers held to the range of narrow ones.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace orq {

/// The nearest number of 32 bits.
constexpr std::int32_t Saturated(long value) {
  using Narrow = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<long>(value, Narrow::min(), Narrow::max()));
}

}  // namespace orq
