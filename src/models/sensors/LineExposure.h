// Exposures of sensors that count lines.
#pragma once

#include <algorithm>
#include <cstdint>

namespace orq {

/// The number of whole lines nearest to an exposure, one at least. `lineNs` is not 0.
constexpr std::uint64_t NearestLines(std::uint64_t us, std::uint32_t lineNs) {
  return std::max<std::uint64_t>((us * 1000 + lineNs / 2) / lineNs, 1);
}

/// How long so many lines expose, µs, to nearest.
constexpr std::uint64_t LinesUs(std::uint64_t lines, std::uint32_t lineNs) {
  return (lines * lineNs + 500) / 1000;
}

}  // namespace orq
