// Frames as a camera would send them, built byte by byte and not by the code under test.
#pragma once

#include <cstdint>
#include <vector>

#include "link/stream/StreamFormat.h"

namespace orq::test {

using Bytes = std::vector<std::uint8_t>;

inline void Put16(Bytes& bytes, std::size_t at, std::uint32_t value) {
  bytes[at] = static_cast<std::uint8_t>(value);
  bytes[at + 1] = static_cast<std::uint8_t>(value >> 8);
}

inline void Put32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  Put16(bytes, at, value);
  Put16(bytes, at + 2, value >> 16);
}

/// The byte that frame `sequence` has at place `at` of its payload.
inline std::uint8_t PayloadByte(std::uint32_t sequence, std::size_t at) {
  return static_cast<std::uint8_t>(at * 131 + at / 251 + sequence * 17);
}

/// A whole frame of 8-bit samples: 64 bytes of header, the payload, 16 bytes of trailer.
inline Bytes MakeFrame(const StreamFormat& format, std::uint32_t sequence, std::uint32_t settingsTag = 0) {
  const std::uint32_t payload = std::uint32_t{format.width} * format.height;
  Bytes bytes(64 + payload + 16);
  Put32(bytes, 0, 0x4651524F);
  bytes[4] = 2;
  bytes[6] = 64;
  Put32(bytes, 8, sequence);
  Put32(bytes, 12, payload);
  Put16(bytes, 16, format.width);
  Put16(bytes, 18, format.height);
  bytes[24] = format.bin;
  bytes[25] = format.format;
  Put32(bytes, 44, settingsTag);
  for (std::size_t at = 0; at < payload; ++at) bytes[64 + at] = PayloadByte(sequence, at);
  Put32(bytes, 64 + payload, 0x4551524F);
  Put32(bytes, 64 + payload + 4, sequence);
  Put32(bytes, 64 + payload + 8, payload);
  return bytes;
}

}  // namespace orq::test
