// Text fields of a latched GPS block: digit groups whose characters are scattered over the block.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace orq {

/// Where the characters of one field stand in the block, in reading order.
struct GpsField {
  static constexpr std::size_t kMost = 6;
  std::array<std::uint8_t, kMost> at{};
  std::size_t count = 0;
};

template <class... Positions>
constexpr GpsField FieldAt(Positions... positions) {
  static_assert(sizeof...(positions) <= GpsField::kMost);
  return {{static_cast<std::uint8_t>(positions)...}, sizeof...(positions)};
}

/// An angle as degrees, minutes and decimals of a minute.
struct GpsAngleFields {
  GpsField degrees;
  GpsField minutes;
  GpsField decimals;
};

/// The number that `text` begins with: blanks, a sign, decimal digits; 0 when it begins with none. `text` holds at
/// most `GpsField::kMost` characters.
std::int32_t LeadingInteger(std::string_view text);
/// The same for a decimal fraction with or without an exponent. The decimal point is '.', whatever the locale;
/// names such as "nan" are no numbers.
double LeadingDecimal(std::string_view text);

/// The fields below lie in `block`; positions beyond it are the caller's error.
std::int32_t IntegerField(std::span<const std::uint8_t> block, const GpsField& field);
/// Degrees: summed in double precision and rounded to single once. The decimals are divided by 600000 as they
/// stand.
double AngleField(std::span<const std::uint8_t> block, const GpsAngleFields& fields);
/// The characters before the first '.' and the one after it, read as an integer: "123.4" gives 1234. Without a '.'
/// the whole field counts.
std::int32_t TenthsField(std::span<const std::uint8_t> block, const GpsField& field);

}  // namespace orq
