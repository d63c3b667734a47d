#include "gps/HexText.h"

#include <string_view>

namespace orq {

std::string HexText(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(3 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += ' ';
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

std::string HexText(std::span<const std::uint8_t> bytes, std::initializer_list<std::size_t> groups) {
  std::string text;
  for (const std::size_t size : groups) {
    if (!text.empty()) text += " |";
    text += HexText(bytes.first(size));
    bytes = bytes.subspan(size);
  }
  return text;
}

}  // namespace orq
