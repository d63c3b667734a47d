// UTC times and the decimal texts they are read from.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace orq {

/// UTC without leap seconds.
using UtcTime = std::chrono::sys_time<std::chrono::nanoseconds>;

constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The number that `text` is: one digit or more and nothing else.
std::optional<int> DecimalDigits(std::string_view text);
/// The two digits at `at`, when they lie from `lowest` to `highest`.
std::optional<int> DigitPair(std::string_view text, std::size_t at, int lowest, int highest);

/// A day that the calendar has.
std::optional<std::chrono::sys_days> CalendarDay(int year, int month, int day);
/// hhmmss, with or without a point and decimals of a second.
std::optional<std::chrono::nanoseconds> TimeOfDay(std::string_view text);

/// 2030-01-01T00:00:00, with or without decimals of a second and a final Z. Years 2023 to 2254: GPS records take
/// no others, and the clock's type ends soon after.
std::optional<UtcTime> ParseUtc(std::string_view text);

}  // namespace orq
