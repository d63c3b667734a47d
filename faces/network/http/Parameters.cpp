// Escapes are resolved once and by nobody else: what has been checked is what is used.
#include "http/Parameters.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace orq::network {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool sameButForCase(std::string_view a, std::string_view b) {
  return std::equal(
      a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

std::optional<std::string> unescape(std::string_view text, bool plusIsSpace) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      const std::string_view digits = text.substr(i + 1, 2);
      unsigned char value = 0;
      const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
      if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2) return std::nullopt;
      c = static_cast<char>(value);
      i += 2;
    } else if (c == '+' && plusIsSpace) {
      c = ' ';
    }
    if (c == '\0') return std::nullopt;
    plain += c;
  }
  return plain;
}

std::optional<Parameters> Parameters::parse(std::string_view text) {
  Parameters read;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(text.size(), pair.size() + 1));
    if (pair.empty()) continue;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    std::optional<std::string> name = unescape(pair.substr(0, equals), true);
    std::optional<std::string> value = unescape(pair.substr(std::min(equals + 1, pair.size())), true);
    if (!name || !value) return std::nullopt;
    read.all_.emplace_back(std::move(*name), std::move(*value));
  }
  return read;
}

std::optional<std::string> Parameters::find(std::string_view name, Case names) const {
  for (const auto& [known, value] : all_)
    if (names == Case::exact ? known == name : sameButForCase(known, name)) return value;
  return std::nullopt;
}

}  // namespace orq::network
