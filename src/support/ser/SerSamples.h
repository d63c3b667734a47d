// The samples of SER frames, whose byte order is told unreliably.
#pragma once

#include <cstdint>
#include <span>

namespace orq {

/// Whether the 16-bit samples of a recording stand least significant byte first. The header's field is used both
/// ways round in the wild: where one order makes the first frame far smoother than the other, that order is taken;
/// otherwise the field means what readers take it for (SerHeader::byteOrder).
bool SerIsLittleEndian(std::span<const std::uint8_t> firstFrame, std::int32_t byteOrder);

inline std::uint16_t SerSample(const std::uint8_t* at, bool littleEndian) {
  return static_cast<std::uint16_t>(littleEndian ? at[0] | (at[1] << 8) : (at[0] << 8) | at[1]);
}

}  // namespace orq
