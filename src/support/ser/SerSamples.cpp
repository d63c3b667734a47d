#include "support/ser/SerSamples.h"

#include <cstddef>
#include <cstdlib>

namespace orq {
namespace {

/// Sum of the steps between samples two apart (neighbours of one colour).
std::uint64_t Roughness(std::span<const std::uint8_t> frame, bool littleEndian) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i + 6 <= frame.size(); i += 2) {
    const int step = SerSample(&frame[i], littleEndian) - SerSample(&frame[i + 4], littleEndian);
    sum += static_cast<std::uint64_t>(std::abs(step));
  }
  return sum;
}

}  // namespace

bool SerIsLittleEndian(std::span<const std::uint8_t> firstFrame, std::int32_t byteOrder) {
  const std::uint64_t little = Roughness(firstFrame, true);
  const std::uint64_t big = Roughness(firstFrame, false);
  if (little < big / 2) return true;
  if (big < little / 2) return false;
  return byteOrder == 0;
}

}  // namespace orq
