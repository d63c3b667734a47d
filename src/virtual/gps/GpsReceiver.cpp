#include "virtual/gps/GpsReceiver.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <numbers>
#include <utility>

namespace orq {
namespace {

using std::chrono::nanoseconds;

constexpr std::streamsize kMostLogBytes = 64 << 20;
constexpr double kMetresPerDegree = 111'195.0;  // of a great circle
constexpr int kSimulatedSatellites = 11;

nanoseconds Nanoseconds(double seconds) {
  constexpr double kLongestSeconds = 4e9;  // keeps dates within the clock's range
  return nanoseconds(std::llround(std::clamp(seconds, -kLongestSeconds, kLongestSeconds) * 1e9));
}

std::chrono::year_month_day DateOf(UtcTime time) {
  return std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(time));
}

UtcTime YearsLater(UtcTime time, int years) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day moved = std::chrono::year_month_day(day) + std::chrono::years(years);
  return std::chrono::sys_days(moved) + (time - day);
}

/// Multiples of four keep 29 February.
int YearsToAdd(const std::vector<NmeaEpoch>& epochs) {
  const auto first = std::ranges::find_if(epochs, [](const NmeaEpoch& epoch) { return epoch.fix.valid; });
  if (first == epochs.end()) return 0;
  const int missing = GpsReceiver::kFirstYear - static_cast<int>(DateOf(first->fix.time).year());
  return missing > 0 ? (missing + 3) / 4 * 4 : 0;
}

}  // namespace

std::optional<GpsReceiver> GpsReceiver::Make(const VirtualGps& options, std::string& error) {
  if (options.source == VirtualGps::kNoFix || options.source == VirtualGps::kSimulated)
    return GpsReceiver(options);
  std::ifstream file(options.source, std::ios::binary | std::ios::ate);
  const std::streamsize size = file ? static_cast<std::streamsize>(file.tellg()) : -1;
  if (size < 0 || size > kMostLogBytes) {
    error = "GPS log '" + options.source + "': " + (size < 0 ? "cannot be read" : "larger than 64 MiB");
    return std::nullopt;
  }
  std::string text(static_cast<std::size_t>(size), '\0');
  file.seekg(0);
  if (!file.read(text.data(), size)) {
    error = "GPS log '" + options.source + "': cannot be read";
    return std::nullopt;
  }
  std::vector<NmeaEpoch> epochs = ReadNmea(text);
  if (epochs.empty()) {
    error = "GPS log '" + options.source + "': holds no RMC or GGA sentence";
    return std::nullopt;
  }
  return GpsReceiver(std::move(epochs));
}

GpsReceiver::GpsReceiver(std::vector<NmeaEpoch> epochs) : epochs_(std::move(epochs)) {
  const int years = YearsToAdd(epochs_);
  for (NmeaEpoch& epoch : epochs_)
    if (epoch.fix.valid) epoch.fix.time = YearsLater(epoch.fix.time, years);
}

GpsFix GpsReceiver::At(double seconds) const {
  if (!epochs_.empty()) return Recorded(Nanoseconds(seconds));
  return options_.source == VirtualGps::kSimulated ? Simulated(seconds) : GpsFix();
}

GpsFix GpsReceiver::Recorded(nanoseconds at) const {
  auto next = std::ranges::upper_bound(epochs_, at, {}, &NmeaEpoch::at);
  if (next != epochs_.begin()) --next;
  GpsFix fix = next->fix;
  if (fix.valid) fix.time += at - next->at;
  return fix;
}

GpsFix GpsReceiver::Simulated(double seconds) const {
  const double radians = options_.courseDegrees * std::numbers::pi / 180.0;
  const double way = options_.metresPerSecond * seconds / kMetresPerDegree;
  const double north = std::clamp(options_.latitude + way * std::cos(radians), -90.0, 90.0);
  const double parallel = std::max(std::cos(options_.latitude * std::numbers::pi / 180.0), 1e-3);
  const double east = std::remainder(options_.longitude + way * std::sin(radians) / parallel, 360.0);
  return {.valid = true,
          .time = options_.start + Nanoseconds(seconds),
          .latitude = AngleText<10>(north),
          .longitude = AngleText<11>(east),
          .latitudeSide = north < 0 ? 'S' : 'N',
          .longitudeSide = east < 0 ? 'W' : 'E',
          .altitude = static_cast<int>(std::lround(options_.altitudeMetres * 10.0)),
          .satellites = kSimulatedSatellites};
}

template <std::size_t N>
std::array<char, N> AngleText(double degrees) {
  constexpr std::int64_t kUnitsPerMinute = 100'000;
  constexpr std::int64_t kUnitsPerDegree = 60 * kUnitsPerMinute;
  const std::int64_t units = std::llround(std::abs(degrees) * kUnitsPerDegree);
  // Degrees and minutes side by side, then the decimals.
  std::int64_t digits =
      (units / kUnitsPerDegree * 100 + units / kUnitsPerMinute % 60) * kUnitsPerMinute + units % kUnitsPerMinute;
  std::array<char, N> text{};
  for (std::size_t i = N; i-- > 0;) {
    if (i == N - 6) {
      text[i] = '.';
      continue;
    }
    text[i] = static_cast<char>('0' + digits % 10);
    digits /= 10;
  }
  return text;
}
template std::array<char, 10> AngleText<10>(double degrees);
template std::array<char, 11> AngleText<11>(double degrees);

}  // namespace orq
