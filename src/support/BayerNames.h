// Names of Bayer patterns, by their number: 0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace orq {

/// As FITS files write them: the colours of the top-left 2x2 block, row by row.
inline constexpr std::array<std::string_view, 4> kBayerNames{"RGGB", "BGGR", "GRBG", "GBRG"};

/// Name of a pattern; empty for every other number.
constexpr std::string_view BayerNameOf(int pattern) {
  return pattern >= 0 && pattern < 4 ? kBayerNames[static_cast<std::size_t>(pattern)] : std::string_view{};
}

/// Number of a pattern's four-letter name; nothing for another word.
constexpr std::optional<int> BayerByName(std::string_view name) {
  for (int i = 0; i < 4; ++i)
    if (BayerNameOf(i) == name) return i;
  return std::nullopt;
}

}  // namespace orq
