#include "support/HexText.h"

#include "support/Hex.h"

namespace orq {

std::string HexText(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve(3 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += ' ';
    text += Hex({&byte, 1});
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
