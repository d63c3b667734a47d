// A frame lies row by row in memory and is sent column by column: a small square is turned in registers, so that
// neither side is walked over sample by sample.
#include "alpaca/image/Transpose.h"

#include <algorithm>
#include <cstring>

namespace orq::network::alpaca {
namespace {

constexpr std::size_t kSide = 8;  // samples of a square, of 16 bits

using Row = std::uint16_t __attribute__((vector_size(16)));

Row low16(Row a, Row b) {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}

Row high16(Row a, Row b) {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

// 8 x 8 samples: three rounds of interleaving, after each of which samples of a column are twice as close.
void turnSquare(const std::uint8_t* from, std::size_t rowBytes, std::uint8_t* to, std::size_t columnBytes) {
  Row a[kSide];
  Row b[kSide];
  for (std::size_t i = 0; i < kSide; ++i) std::memcpy(&a[i], from + i * rowBytes, sizeof(Row));
  for (std::size_t i = 0; i < 4; ++i) {
    b[2 * i] = low16(a[i], a[i + 4]);
    b[2 * i + 1] = high16(a[i], a[i + 4]);
  }
  for (std::size_t i = 0; i < 4; ++i) {
    a[2 * i] = low16(b[i], b[i + 4]);
    a[2 * i + 1] = high16(b[i], b[i + 4]);
  }
  for (std::size_t i = 0; i < 4; ++i) {
    b[2 * i] = low16(a[i], a[i + 4]);
    b[2 * i + 1] = high16(a[i], a[i + 4]);
  }
  for (std::size_t i = 0; i < kSide; ++i) std::memcpy(to + i * columnBytes, &b[i], sizeof(Row));
}

template <std::size_t kSample>
void turnOneByOne(const std::uint8_t* from, std::size_t rowBytes, std::uint8_t* to, std::size_t columnBytes,
                  std::size_t columns, std::size_t rows) {
  for (std::size_t x = 0; x < columns; ++x)
    for (std::size_t y = 0; y < rows; ++y)
      std::memcpy(to + x * columnBytes + y * kSample, from + y * rowBytes + x * kSample, kSample);
}

}  // namespace

void writeColumns(const Image& image, std::size_t first, std::size_t count, std::uint8_t* to) {
  const auto rows = static_cast<std::size_t>(image.height);
  const auto sample = static_cast<std::size_t>(image.sampleBytes);
  const std::size_t columnBytes = rows * sample;
  const std::size_t rowBytes = image.rowBytes();
  const std::uint8_t* const from = image.rows.data() + first * sample;
  if (sample == 1) {
    // Eight rows at a time stay in the nearest cache while their columns are written.
    for (std::size_t y = 0; y < rows; y += kSide)
      turnOneByOne<1>(from + y * rowBytes, rowBytes, to + y, columnBytes, count, std::min(kSide, rows - y));
    return;
  }
  const std::size_t squareColumns = count / kSide * kSide;
  const std::size_t squareRows = rows / kSide * kSide;
  for (std::size_t y = 0; y < squareRows; y += kSide) {
    const std::uint8_t* const row = from + y * rowBytes;
    for (std::size_t x = 0; x < squareColumns; x += kSide)
      turnSquare(row + 2 * x, rowBytes, to + x * columnBytes + 2 * y, columnBytes);
  }
  turnOneByOne<2>(from + 2 * squareColumns, rowBytes, to + squareColumns * columnBytes, columnBytes,
                  count - squareColumns, rows);
  turnOneByOne<2>(from + squareRows * rowBytes, rowBytes, to + 2 * squareRows, columnBytes, squareColumns,
                  rows - squareRows);
}

}  // namespace orq::network::alpaca
