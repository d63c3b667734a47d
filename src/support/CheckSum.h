// A check sum that notices damage of a file.
#pragma once

#include <cstdint>
#include <span>

namespace orq {

/// FNV-1a over `bytes`.
inline std::uint64_t CheckSum(std::span<const std::uint8_t> bytes) {
  std::uint64_t sum = 0xCBF29CE484222325U;
  for (const std::uint8_t byte : bytes) sum = (sum ^ byte) * 0x100000001B3U;
  return sum;
}

}  // namespace orq
