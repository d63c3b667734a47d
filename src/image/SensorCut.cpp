#include "image/SensorCut.h"

namespace orq {
namespace {

constexpr std::int8_t kEmptyOffset = 127;
constexpr std::size_t kOffsetsPerBin = 8;

// The low 32 bits of the product: absurd settings must not be undefined.
constexpr std::int32_t Times(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::int64_t>(a) * b);
}

}  // namespace

std::int32_t SensorCut::RegionWidth() const {
  return Times(width, bin);
}

std::int32_t SensorCut::RegionHeight() const {
  return Times(height, bin);
}

std::int32_t SensorCut::FrameWidth() const {
  if (!hardwareBin) return RegionWidth();
  return bin == 4 ? Times(width, 2) : width;
}

std::int32_t SensorCut::FrameHeight() const {
  if (!hardwareBin) return RegionHeight();
  return bin == 4 ? Times(height, 2) : height;
}

AxisOffsets OffsetsFor(BinOffsets table, std::int32_t bin, int parity, std::int8_t BinOffset::*axis) {
  const auto entry = [&](std::size_t index) {
    if (bin < 0) return kEmptyOffset;
    const std::size_t at = static_cast<std::size_t>(bin) * kOffsetsPerBin + index;
    return at < table.size() ? table[at].*axis : kEmptyOffset;
  };
  const auto first = static_cast<std::size_t>(parity);
  AxisOffsets offsets;
  offsets.values[offsets.count++] = entry(first) == kEmptyOffset ? 0 : entry(first);
  for (std::size_t i = first + 2; i < kOffsetsPerBin && entry(i) != kEmptyOffset; i += 2)
    offsets.values[offsets.count++] = entry(i);
  return offsets;
}

}  // namespace orq
