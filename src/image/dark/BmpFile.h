// Headers of 8-bit greyscale BMP files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orq {

inline constexpr std::size_t kBmpFileHeaderBytes = 14;
inline constexpr std::size_t kBmpInfoHeaderBytes = 40;
inline constexpr std::size_t kBmpPaletteBytes = std::size_t{256} * 4;
inline constexpr std::size_t kBmpPixelOffset = kBmpFileHeaderBytes + kBmpInfoHeaderBytes + kBmpPaletteBytes;
inline constexpr std::uint16_t kBmpType = 0x4D42;  ///< "BM"

using BmpFileHeader = std::array<std::uint8_t, kBmpFileHeaderBytes>;
using BmpInfoHeader = std::array<std::uint8_t, kBmpInfoHeaderBytes>;

/// Bytes of the pixel data by the format's own rule: rows rounded up to whole 32-bit words. Both at least 0.
std::uint64_t BmpImageBytes(int width, int height);

/// The headers of a file of `width` x `height` 8-bit pixels, both at least 0; sizes beyond 32 bits wrap.
BmpFileHeader MakeBmpFileHeader(int width, int height);
BmpInfoHeader MakeBmpInfoHeader(int width, int height);
/// 256 entries of blue, green, red, 0: the greys from black to white.
std::array<std::uint8_t, kBmpPaletteBytes> GreyBmpPalette();

/// What a reader needs of a file header.
struct BmpFileFields {
  std::uint16_t type = 0;
  std::uint32_t pixelOffset = 0;  ///< as the file claims
};
BmpFileFields ReadBmpFileHeader(const BmpFileHeader& header);

/// What a reader needs of an info header; a negative height says that the rows run from the top.
struct BmpInfoFields {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::uint16_t bitsPerPixel = 0;
};
BmpInfoFields ReadBmpInfoHeader(const BmpInfoHeader& header);

}  // namespace orq
