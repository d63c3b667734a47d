// Bitmaps of one bit per entry. Any-thread.
#pragma once

#include <cstdint>
#include <span>

namespace orq {

/// Bit k (0 is the least significant) of byte j becomes 1 where entry 8 * j + k is not 0; entries that are missing
/// count as 0, those behind the bitmap are left out.
void PackBits(std::span<const std::uint8_t> entries, std::span<std::uint8_t> bitmap);

/// Entry 8 * j + k becomes bit k of byte j, 0 or 1. Entries behind the bitmap stay as they are.
void UnpackBits(std::span<const std::uint8_t> bitmap, std::span<std::uint8_t> entries);

}  // namespace orq
