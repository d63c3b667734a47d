#include "image/flash/Bitmap.h"

#include <algorithm>
#include <cstddef>

namespace orq {

void PackBits(std::span<const std::uint8_t> entries, std::span<std::uint8_t> bitmap) {
  for (std::size_t j = 0; j < bitmap.size(); ++j) {
    const std::size_t count = std::min<std::size_t>(entries.size() - std::min(entries.size(), 8 * j), 8);
    unsigned byte = 0;
    for (std::size_t k = 0; k < count; ++k) byte |= (entries[8 * j + k] != 0 ? 1U : 0U) << k;
    bitmap[j] = static_cast<std::uint8_t>(byte);
  }
}

void UnpackBits(std::span<const std::uint8_t> bitmap, std::span<std::uint8_t> entries) {
  const std::size_t count = std::min(entries.size(), 8 * bitmap.size());
  for (std::size_t i = 0; i < count; ++i) entries[i] = static_cast<std::uint8_t>(bitmap[i / 8] >> (i % 8) & 1U);
}

}  // namespace orq
