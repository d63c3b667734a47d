#include "image/flash/Bitmap.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orq {
namespace {

constexpr std::size_t kEight = 8;

/// The entries of every byte of a bitmap.
using Eight = std::array<std::uint8_t, kEight>;
constexpr auto kEntries = [] {
  std::array<Eight, 256> all{};
  for (unsigned byte = 0; byte < all.size(); ++byte)
    for (unsigned bit = 0; bit < kEight; ++bit) all[byte][bit] = static_cast<std::uint8_t>(byte >> bit & 1U);
  return all;
}();

/// The bits of eight entries, the first one lowest.
std::uint8_t BitsOf(const std::uint8_t* entries) {
#if defined(__SSE2__)
  const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(entries));
  return static_cast<std::uint8_t>(~_mm_movemask_epi8(_mm_cmpeq_epi8(eight, _mm_setzero_si128())));
#else
  std::uint64_t eight = 0;
  std::memcpy(&eight, entries, kEight);
  // The highest bit of each byte that is not 0, moved down to be 1; a multiplication then gathers the ones in the
  // highest byte.
  constexpr std::uint64_t kLowBits = 0x7F7F7F7F7F7F7F7F;
  const std::uint64_t ones = ((((eight & kLowBits) + kLowBits) | eight) & ~kLowBits) >> 7U;
  constexpr std::uint64_t kGather =
      std::endian::native == std::endian::little ? 0x0102040810204080 : 0x8040201008040201;
  return static_cast<std::uint8_t>((ones * kGather) >> 56U);
#endif
}

}  // namespace

void PackBits(std::span<const std::uint8_t> entries, std::span<std::uint8_t> bitmap) {
  const std::size_t whole = std::min(bitmap.size(), entries.size() / kEight);
  for (std::size_t j = 0; j < whole; ++j) bitmap[j] = BitsOf(&entries[kEight * j]);
  for (std::size_t j = whole; j < bitmap.size(); ++j) {
    const std::size_t count = std::min<std::size_t>(entries.size() - std::min(entries.size(), 8 * j), 8);
    unsigned byte = 0;
    for (std::size_t k = 0; k < count; ++k) byte |= (entries[8 * j + k] != 0 ? 1U : 0U) << k;
    bitmap[j] = static_cast<std::uint8_t>(byte);
  }
}

void UnpackBits(std::span<const std::uint8_t> bitmap, std::span<std::uint8_t> entries) {
  const std::size_t count = std::min(entries.size(), 8 * bitmap.size());
  const std::size_t whole = count / kEight;
  for (std::size_t j = 0; j < whole; ++j) std::memcpy(&entries[kEight * j], kEntries[bitmap[j]].data(), kEight);
  for (std::size_t i = kEight * whole; i < count; ++i)
    entries[i] = static_cast<std::uint8_t>(bitmap[i / 8] >> (i % 8) & 1U);
}

}  // namespace orq
