#include "image/timemark/TimeMark.h"

#include <algorithm>
#include <cassert>
#include <cstdio>

namespace orq {
namespace {

constexpr int kGlyphWidth = 8;
constexpr int kGlyphHeight = 16;
constexpr int kFirstRow = 7;
constexpr int kDateFromRight = 200;
constexpr int kTimeFromRight = 128;
constexpr int kBackgroundColumns = 128;

// Digits and ':', 16 rows each. Bit 0 is the leftmost column. The first row is the lowest of the glyph: frames
// whose first row in memory is the bottom of the picture show them upright.
constexpr std::uint8_t kFont[][kGlyphHeight] = {
    {0x00, 0x00, 0x38, 0x6c, 0xc6, 0xc6, 0xc6, 0xc6, 0xc6, 0xc6, 0xc6, 0x6c, 0x38, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x7e, 0x18, 0x18, 0x18, 0x18, 0x18, 0x18, 0x18, 0x18, 0x1e, 0x18, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0xfe, 0xc6, 0x0c, 0x18, 0x30, 0x60, 0x60, 0xc6, 0xc6, 0xc6, 0x7c, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x3c, 0x66, 0xc6, 0xc0, 0xc0, 0x60, 0x38, 0x60, 0xc6, 0xc6, 0x7c, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0xf8, 0x60, 0x60, 0xfe, 0x66, 0x66, 0x6c, 0x6c, 0x78, 0x70, 0x60, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x3c, 0x66, 0xc6, 0xc0, 0xc0, 0x6e, 0x3e, 0x06, 0x06, 0x06, 0xfe, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x38, 0x6c, 0xc6, 0xc6, 0xc6, 0x6e, 0x3e, 0x06, 0x06, 0x6c, 0x78, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x18, 0x18, 0x18, 0x18, 0x18, 0x30, 0x30, 0x66, 0x66, 0xfe, 0x00, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x7c, 0xc6, 0xc6, 0xc6, 0x6c, 0x38, 0x6c, 0xc6, 0xc6, 0xc6, 0x7c, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x3c, 0x6c, 0xc0, 0xc0, 0xf8, 0xec, 0xc6, 0xc6, 0xc6, 0x6c, 0x38, 0x00, 0x00, 0x00},
    {0x00, 0x00, 0x38, 0x38, 0x00, 0x00, 0x00, 0x00, 0x38, 0x38, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
};

bool Fits(const MarkedFrame& frame) {
  return frame.width >= kMarkLeastWidth && frame.height >= kMarkLeastHeight;
}

std::span<std::uint8_t> Pixel(const MarkedFrame& frame, int row, int column) {
  const auto channels = static_cast<std::size_t>(frame.channels);
  const std::size_t at =
      static_cast<std::size_t>(row) * static_cast<std::size_t>(frame.width) + static_cast<std::size_t>(column);
  return frame.bytes.subspan(at * channels, channels);
}

unsigned Brightness(std::span<const std::uint8_t> pixel) {
  return pixel.size() == 3 ? (pixel[0] + pixel[1] + pixel[2]) / 3U : pixel[0];
}

void DrawGlyph(const MarkedFrame& frame, std::span<const std::uint8_t, kGlyphHeight> glyph, int column,
               std::uint8_t ink) {
  for (int row = 0; row < kGlyphHeight; ++row) {
    for (int bit = 0; bit < kGlyphWidth; ++bit) {
      const bool set = (glyph[static_cast<std::size_t>(row)] >> bit & 1) != 0;
      if (set) std::ranges::fill(Pixel(frame, kFirstRow + row, column + bit), ink);
    }
  }
}

void DrawCharacters(const MarkedFrame& frame, std::span<const char> characters, int column, std::uint8_t ink) {
  for (const char character : characters) {
    if (character >= '0' && character <= ':') DrawGlyph(frame, kFont[character - '0'], column, ink);
    column += kGlyphWidth;
  }
}

/// The first characters of a formatted text.
template <class... Args>
std::array<char, kMarkCharacters> Formatted(const char* format, Args... args) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, args...);
  std::array<char, kMarkCharacters> characters{};
  std::copy_n(text.begin(), characters.size(), characters.begin());
  return characters;
}

}  // namespace

MarkText MarkTextOf(const std::tm& when) {
  // The month is printed as it is counted, from 0: readers of these marks rely on it.
  return {Formatted("%4d%02d%02d", when.tm_year + 1900, when.tm_mon, when.tm_mday),
          Formatted("%02d:%02d:%02d", when.tm_hour, when.tm_min, when.tm_sec)};
}

int MarkBackground(const MarkedFrame& frame) {
  assert(Fits(frame));
  unsigned sum = 0;
  for (int row = kFirstRow; row < kFirstRow + kGlyphHeight; ++row)
    for (int column = 0; column < kBackgroundColumns; ++column)
      sum += Brightness(Pixel(frame, row, frame.width - kDateFromRight + column));
  return static_cast<int>(sum / (kBackgroundColumns * kGlyphHeight));
}

std::uint8_t MarkInk(int background) {
  constexpr std::uint8_t kOnDark = 180, kOnGrey = 220, kOnBright = 120;
  if (background >= 180) return kOnBright;
  return background >= 130 ? kOnGrey : kOnDark;
}

void DrawMark(const MarkedFrame& frame, const MarkText& text) {
  if (!Fits(frame)) return;
  const std::uint8_t ink = MarkInk(MarkBackground(frame));
  DrawCharacters(frame, text.date, frame.width - kDateFromRight, ink);
  DrawCharacters(frame, text.time, frame.width - kTimeFromRight, ink);
}

}  // namespace orq
