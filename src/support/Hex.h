// Bytes as hexadecimal digits.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace orq {

/// Two small digits for each byte, in order.
inline std::string Hex(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

}  // namespace orq
