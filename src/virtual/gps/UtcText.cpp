#include "virtual/gps/UtcText.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace orq {
namespace {

constexpr int kFirstYear = 2023;
constexpr int kLastYear = 2254;

}  // namespace

std::optional<int> DecimalDigits(std::string_view text) {
  int value = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || !IsDigit(text[0]) || error != std::errc() || last != end) return std::nullopt;
  return value;
}

std::optional<int> DigitPair(std::string_view text, std::size_t at, int lowest, int highest) {
  if (text.size() < 2 || at > text.size() - 2) return std::nullopt;
  const std::optional<int> value = DecimalDigits(text.substr(at, 2));
  return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

std::optional<std::chrono::sys_days> CalendarDay(int year, int month, int day) {
  const std::chrono::year_month_day date(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day)));
  return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

std::optional<std::chrono::nanoseconds> TimeOfDay(std::string_view text) {
  const auto hour = DigitPair(text, 0, 0, 23);
  const auto minute = DigitPair(text, 2, 0, 59);
  const auto second = DigitPair(text, 4, 0, 59);
  if (!hour || !minute || !second) return std::nullopt;
  std::chrono::nanoseconds time =
      std::chrono::hours(*hour) + std::chrono::minutes(*minute) + std::chrono::seconds(*second);
  if (text.size() == 6) return time;
  const std::string_view decimals = text.substr(7);
  if (text[6] != '.' || !std::ranges::all_of(decimals, IsDigit)) return std::nullopt;
  std::chrono::nanoseconds unit = std::chrono::seconds(1);
  for (const char digit : decimals) {
    unit /= 10;
    time += unit * (digit - '0');
  }
  return time;
}

std::optional<UtcTime> ParseUtc(std::string_view text) {
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd";
  if (text.ends_with('Z')) text.remove_suffix(1);
  const auto fits = [&](std::size_t i) { return kForm[i] == 'd' ? IsDigit(text[i]) : text[i] == kForm[i]; };
  if (text.size() < kForm.size()) return std::nullopt;
  for (std::size_t i = 0; i < kForm.size(); ++i)
    if (!fits(i)) return std::nullopt;
  const auto year = DecimalDigits(text.substr(0, 4));
  const auto month = DigitPair(text, 5, 1, 12);
  const auto day = DigitPair(text, 8, 1, 31);
  if (!year || *year < kFirstYear || *year > kLastYear || !month || !day) return std::nullopt;
  std::string clock;
  clock.append(text.substr(11, 2)).append(text.substr(14, 2)).append(text.substr(17));
  const auto date = CalendarDay(*year, *month, *day);
  const auto time = TimeOfDay(clock);
  return date && time ? std::optional<UtcTime>(*date + *time) : std::nullopt;
}

}  // namespace orq
