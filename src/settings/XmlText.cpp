#include "settings/XmlText.h"

#include <cstddef>
#include <cstdint>

namespace orq {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

/// Length in bytes of the character that `bytes` begins with, when XML can hold it as it stands; else 0.
std::size_t PlainCharacter(std::span<const unsigned char> bytes) {
  const unsigned char lead = bytes[0];
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F && lead != '%' ? 1 : 0;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) return 0;
  std::uint32_t code = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((bytes[i] & 0xC0U) != 0x80) return 0;
    code = code << 6U | (bytes[i] & 0x3FU);
  }
  constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  const bool control = code < 0xA0;
  const bool noCharacter = code == 0xFEFF || code == 0xFFFE || code == 0xFFFF || code > 0x10FFFF;
  return code < kLeast[length] || surrogate || control || noCharacter ? 0 : length;
}

}  // namespace

std::string EscapeBytes(std::span<const unsigned char> bytes) {
  std::string text;
  while (!bytes.empty()) {
    std::size_t taken = PlainCharacter(bytes);
    if (taken != 0) {
      text.append(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
    } else {
      taken = 1;
      text += {'%', kDigits[bytes[0] >> 4U], kDigits[bytes[0] & 0xFU]};
    }
    bytes = bytes.subspan(taken);
  }
  return text;
}

std::vector<unsigned char> UnescapeBytes(std::string_view text) {
  std::vector<unsigned char> bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = DigitValue(text[i + 1]);
      const int low = DigitValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        bytes.push_back(static_cast<unsigned char>(high * 16 + low));
        i += 2;
        continue;
      }
    }
    bytes.push_back(static_cast<unsigned char>(text[i]));
  }
  return bytes;
}

}  // namespace orq
