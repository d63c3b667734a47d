#include "gps/GpsFields.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace orq {
namespace {

constexpr bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Without blanks and a plus sign, which the conversions of the standard library do not take.
std::string_view WithoutPrefix(std::string_view text) {
  const auto* first = std::ranges::find_if_not(text, IsBlank);
  text.remove_prefix(static_cast<std::size_t>(first - text.begin()));
  if (!text.starts_with('+')) return text;
  text.remove_prefix(1);
  return text.starts_with('-') ? std::string_view() : text;
}

struct FieldText {
  std::array<char, GpsField::kMost> characters{};
  std::size_t count = 0;

  std::string_view View() const { return {characters.data(), count}; }
};

FieldText TextOf(std::span<const std::uint8_t> block, const GpsField& field) {
  FieldText text;
  for (; text.count < field.count; ++text.count)
    text.characters[text.count] = static_cast<char>(block[field.at[text.count]]);
  return text;
}

double DecimalField(std::span<const std::uint8_t> block, const GpsField& field) {
  return LeadingDecimal(TextOf(block, field).View());
}

}  // namespace

std::int32_t LeadingInteger(std::string_view text) {
  text = WithoutPrefix(text);
  std::int32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

double LeadingDecimal(std::string_view text) {
  text = WithoutPrefix(text);
  const std::string_view unsignedText = text.substr(text.starts_with('-') ? 1 : 0);
  if (unsignedText.empty() || !(IsDigit(unsignedText[0]) || unsignedText[0] == '.')) return 0.0;
  double value = 0.0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

std::int32_t IntegerField(std::span<const std::uint8_t> block, const GpsField& field) {
  return LeadingInteger(TextOf(block, field).View());
}

double AngleField(std::span<const std::uint8_t> block, const GpsAngleFields& fields) {
  const double degrees = DecimalField(block, fields.degrees) + DecimalField(block, fields.minutes) / 60.0 +
                         DecimalField(block, fields.decimals) / 600000.0;
  // Exponents can make garbage larger than any single-precision number.
  constexpr double kLargest = std::numeric_limits<float>::max();
  return static_cast<double>(static_cast<float>(std::clamp(degrees, -kLargest, kLargest)));
}

std::int32_t TenthsField(std::span<const std::uint8_t> block, const GpsField& field) {
  const FieldText text = TextOf(block, field);
  FieldText digits;
  bool afterPoint = false;
  for (const char c : text.View()) {
    if (c == '.' && !afterPoint) {
      afterPoint = true;
      continue;
    }
    digits.characters[digits.count++] = c;
    if (afterPoint) break;
  }
  return LeadingInteger(digits.View());
}

}  // namespace orq
