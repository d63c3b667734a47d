#include "image/dark/BmpFile.h"

#include "support/LittleEndian.h"

namespace orq {
namespace {

constexpr std::uint16_t kBitsPerPixel = 8;
constexpr std::uint64_t kRowBits = 32;  // rows end on a multiple of this

}  // namespace

std::uint64_t BmpImageBytes(int width, int height) {
  const std::uint64_t bits = static_cast<std::uint64_t>(width) * kBitsPerPixel;
  return (bits + kRowBits - 1) / kRowBits * (kRowBits / 8) * static_cast<std::uint64_t>(height);
}

BmpFileHeader MakeBmpFileHeader(int width, int height) {
  BmpFileHeader header{};
  PutLittle(header, 0, 2, kBmpType);
  PutLittle(header, 2, 4, BmpImageBytes(width, height) + kBmpPixelOffset);
  PutLittle(header, 10, 4, kBmpPixelOffset);
  return header;
}

BmpInfoHeader MakeBmpInfoHeader(int width, int height) {
  BmpInfoHeader header{};
  PutLittle(header, 0, 4, kBmpInfoHeaderBytes);
  PutLittle(header, 4, 4, static_cast<std::uint64_t>(width));
  PutLittle(header, 8, 4, static_cast<std::uint64_t>(height));
  PutLittle(header, 12, 2, 1);  // planes
  PutLittle(header, 14, 2, kBitsPerPixel);
  PutLittle(header, 20, 4, BmpImageBytes(width, height));
  PutLittle(header, 32, 4, 256);  // colours used
  return header;
}

std::array<std::uint8_t, kBmpPaletteBytes> GreyBmpPalette() {
  std::array<std::uint8_t, kBmpPaletteBytes> palette{};
  for (std::size_t i = 0; i < 256; ++i)
    palette[4 * i] = palette[4 * i + 1] = palette[4 * i + 2] = static_cast<std::uint8_t>(i);
  return palette;
}

BmpFileFields ReadBmpFileHeader(const BmpFileHeader& header) {
  return {static_cast<std::uint16_t>(GetLittle(header, 0, 2)),
          static_cast<std::uint32_t>(GetLittle(header, 10, 4))};
}

BmpInfoFields ReadBmpInfoHeader(const BmpInfoHeader& header) {
  return {static_cast<std::int32_t>(GetLittle(header, 4, 4)), static_cast<std::int32_t>(GetLittle(header, 8, 4)),
          static_cast<std::uint16_t>(GetLittle(header, 14, 2))};
}

}  // namespace orq
