#include "options/Quantities.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "output/ExitCodes.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

struct Unit {
  std::string_view name;
  double us;
};
constexpr Unit kUnits[] = {{"s", 1e6}, {"ms", 1e3}, {"us", 1.0}, {"µs", 1.0}};

constexpr double kLongestUs = 1e15;  // three decades: beyond any camera, and far from overflow

bool OnlyDigits(std::string_view text, bool hex) {
  return !text.empty() &&
         std::all_of(
             text.begin(), text.end(),
             [hex](unsigned char c) { return hex ? std::isxdigit(c) != 0 : std::isdigit(c) != 0; });
}

}  // namespace

std::uint64_t ParseExposure(std::string_view text) {
  return ParseTime(text, "exposure");
}

std::uint64_t ParseTime(std::string_view text, std::string_view what) {
  const std::string plain(text);
  const std::string subject = std::string(what) + " " + plain;
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
  if (error != std::errc() || !std::isfinite(number) || number < 0.0)
    throw CliError(kExitUsage, std::string(what) + " '" + plain + "' is not a time: write 5s, 200ms or 1000us");
  if (unit.empty()) {
    throw CliError(kExitUsage,
                   subject + " needs a unit: write " + plain + "s, " + plain + "ms or " + plain + "us");
  }
  for (const Unit& known : kUnits) {
    if (unit != known.name) continue;
    const double us = number * known.us;
    if (us > kLongestUs) throw CliError(kExitUsage, subject + " is too long");
    return static_cast<std::uint64_t>(std::llround(us));
  }
  throw CliError(kExitUsage,
                 subject + " has the unknown unit '" + std::string(unit) + "': the units are s, ms and us");
}

double ParseSeconds(std::string_view text, std::string_view what) {
  double seconds = 0.0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, seconds);
  if (result.ec != std::errc() || result.ptr != end || !(seconds > 0.0 && seconds <= 1e9)) {
    throw CliError(kExitUsage,
                   std::string(what) + " '" + std::string(text) + "' is not a positive number of seconds");
  }
  return seconds;
}

std::int64_t ParseInteger(std::string_view text, std::string_view what) {
  std::string_view digits = text;
  const bool negative = digits.starts_with('-');
  if (negative || digits.starts_with('+')) digits.remove_prefix(1);
  const bool hex = digits.starts_with("0x") || digits.starts_with("0X");
  if (hex) digits.remove_prefix(2);
  if (!OnlyDigits(digits, hex))
    throw CliError(kExitUsage, std::string(what) + " '" + std::string(text) + "' is not a whole number");
  std::uint64_t magnitude = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, hex ? 16 : 10);
  constexpr auto kMax = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (result.ec == std::errc::result_out_of_range || magnitude > kMax) magnitude = kMax;
  const auto value = static_cast<std::int64_t>(magnitude);
  return negative ? -value : value;
}

std::vector<int> ParseIntegers(std::string_view text, std::size_t count, std::string_view what) {
  const std::vector<std::string> parts = Split(text, ',');
  if (parts.size() != count) {
    throw CliError(kExitUsage, Format("%s needs %zu whole numbers separated by commas, not '%s'",
                                      std::string(what).c_str(), count, std::string(text).c_str()));
  }
  std::vector<int> values;
  for (const std::string& part : parts) {
    constexpr std::int64_t kLimit = 1'000'000;  // no sensor is that large; keeps sums of two in range
    values.push_back(static_cast<int>(std::clamp(ParseInteger(part, what), -kLimit, kLimit)));
  }
  return values;
}

}  // namespace orq::cli
