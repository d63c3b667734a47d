#include "image/BmpFile.h"

namespace orq {
namespace {

constexpr std::uint16_t kBitsPerPixel = 8;
constexpr std::uint64_t kRowBits = 32;  // rows end on a multiple of this

void Put(std::span<std::uint8_t> header, std::size_t offset, std::size_t bytes, std::uint64_t value) {
  for (std::size_t i = 0; i < bytes; ++i) header[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint32_t Get(std::span<const std::uint8_t> header, std::size_t offset, std::size_t bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = bytes; i > 0; --i) value = value << 8U | header[offset + i - 1];
  return value;
}

}  // namespace

std::uint64_t BmpImageBytes(int width, int height) {
  const std::uint64_t bits = static_cast<std::uint64_t>(width) * kBitsPerPixel;
  return (bits + kRowBits - 1) / kRowBits * (kRowBits / 8) * static_cast<std::uint64_t>(height);
}

BmpFileHeader MakeBmpFileHeader(int width, int height) {
  BmpFileHeader header{};
  Put(header, 0, 2, kBmpType);
  Put(header, 2, 4, BmpImageBytes(width, height) + kBmpPixelOffset);
  Put(header, 10, 4, kBmpPixelOffset);
  return header;
}

BmpInfoHeader MakeBmpInfoHeader(int width, int height) {
  BmpInfoHeader header{};
  Put(header, 0, 4, kBmpInfoHeaderBytes);
  Put(header, 4, 4, static_cast<std::uint64_t>(width));
  Put(header, 8, 4, static_cast<std::uint64_t>(height));
  Put(header, 12, 2, 1);  // planes
  Put(header, 14, 2, kBitsPerPixel);
  Put(header, 20, 4, BmpImageBytes(width, height));
  Put(header, 32, 4, 256);  // colours used
  return header;
}

std::array<std::uint8_t, kBmpPaletteBytes> GreyBmpPalette() {
  std::array<std::uint8_t, kBmpPaletteBytes> palette{};
  for (std::size_t i = 0; i < 256; ++i) {
    palette[4 * i] = palette[4 * i + 1] = palette[4 * i + 2] = static_cast<std::uint8_t>(i);
  }
  return palette;
}

BmpFileFields ReadBmpFileHeader(const BmpFileHeader& header) {
  return {static_cast<std::uint16_t>(Get(header, 0, 2)), Get(header, 10, 4)};
}

BmpInfoFields ReadBmpInfoHeader(const BmpInfoHeader& header) {
  return {static_cast<std::int32_t>(Get(header, 4, 4)), static_cast<std::int32_t>(Get(header, 8, 4)),
          static_cast<std::uint16_t>(Get(header, 14, 2))};
}

}  // namespace orq
