// Integers in a file, least significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orq {

/// Stores the low `bytes` bytes (1 to 8) of `value` at `offset`.
inline void PutLittle(std::span<std::uint8_t> out, std::size_t offset, std::size_t bytes, std::uint64_t value) {
  for (std::size_t i = 0; i < bytes; ++i) out[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// The `bytes` bytes (1 to 8) at `offset` as a number.
inline std::uint64_t GetLittle(std::span<const std::uint8_t> in, std::size_t offset, std::size_t bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes; i > 0; --i) value = value << 8U | in[offset + i - 1];
  return value;
}

}  // namespace orq
