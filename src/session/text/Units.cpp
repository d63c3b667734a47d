#include "session/text/Units.h"

#include <ctime>

#include "support/Text.h"

namespace orq::session {

std::string ExposureText(std::uint64_t us) {
  if (us % 1'000'000 == 0 && us != 0) return std::to_string(us / 1'000'000) + "s";
  if (us % 1'000 == 0 && us != 0) return std::to_string(us / 1'000) + "ms";
  return std::to_string(us) + "us";
}

std::string IsoUtcTenths(std::int64_t unixTenths) {
  constexpr std::int64_t kPerSecond = 10'000'000;
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

std::string IsoUtc(std::int64_t unixUs) {
  std::string text = IsoUtcTenths(unixUs * 10);
  text.pop_back();
  return text;
}

}  // namespace orq::session
