#include "support/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace orq {

std::string Format(const char* format, ...) {
  std::va_list list;
  va_start(list, format);
  std::va_list again;
  va_copy(again, list);
  const int length = std::vsnprintf(nullptr, 0, format, list);
  va_end(list);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (!text.empty()) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

std::string Join(const std::vector<std::string>& words, std::string_view separator) {
  std::string joined;
  for (const std::string& word : words) {
    if (!joined.empty()) joined += separator;
    joined += word;
  }
  return joined;
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (;;) {
    const std::size_t end = text.find(separator, begin);
    parts.emplace_back(text.substr(begin, end == std::string_view::npos ? end : end - begin));
    if (end == std::string_view::npos) return parts;
    begin = end + 1;
  }
}

std::string Number(double value) {
  std::array<char, 64> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), result.ptr};
}

}  // namespace orq
