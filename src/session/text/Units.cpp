#include "session/text/Units.h"

#include <array>
#include <charconv>
#include <ctime>

#include "support/Text.h"

namespace orq::session {
namespace {

constexpr std::int64_t kPerSecond = 10'000'000;

}  // namespace

std::string ExposureText(std::uint64_t us) {
  if (us % 1'000'000 == 0 && us != 0) return std::to_string(us / 1'000'000) + "s";
  if (us % 1'000 == 0 && us != 0) return std::to_string(us / 1'000) + "ms";
  return std::to_string(us) + "us";
}

std::string IsoUtcTenths(std::int64_t unixTenths) {
  std::int64_t seconds = unixTenths / kPerSecond;
  std::int64_t rest = unixTenths % kPerSecond;
  if (rest < 0) {
    rest += kPerSecond;
    --seconds;
  }
  const auto time = static_cast<std::time_t>(seconds);
  std::tm utc{};
  gmtime_r(&time, &utc);
  return Format("%04d-%02d-%02dT%02d:%02d:%02d.%07d", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                utc.tm_min, utc.tm_sec, static_cast<int>(rest));
}

std::optional<std::int64_t> ParseIsoUtcTenths(std::string_view text) {
  struct Place {
    std::size_t begin;
    std::size_t digits;
  };
  constexpr std::array<Place, 7> kPlaces{{{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}, {20, 7}}};
  std::array<int, kPlaces.size()> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (text.size() < kPlaces[i].begin + kPlaces[i].digits) return std::nullopt;
    const char* const begin = text.data() + kPlaces[i].begin;
    std::from_chars(begin, begin + kPlaces[i].digits, numbers[i]);
  }
  const auto& [year, month, day, hour, minute, second, tenths] = numbers;
  std::tm utc{};
  utc.tm_year = year - 1900;
  utc.tm_mon = month - 1;
  utc.tm_mday = day;
  utc.tm_hour = hour;
  utc.tm_min = minute;
  utc.tm_sec = second;
  const std::int64_t time = std::int64_t{timegm(&utc)} * kPerSecond + tenths;
  // What is no number, no date, or has something else between them, reads otherwise when it is written again.
  return IsoUtcTenths(time) == text ? std::optional(time) : std::nullopt;
}

std::string IsoUtc(std::int64_t unixUs) {
  std::string text = IsoUtcTenths(unixUs * 10);
  text.pop_back();
  return text;
}

}  // namespace orq::session
