#include "gps/GpsRecordV1.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "gps/GpsFields.h"

namespace orq {
namespace {

constexpr std::size_t kDay = 1;
constexpr std::size_t kMonth = 2;
constexpr std::size_t kYear = 3;
constexpr std::size_t kSecond = 7;
constexpr std::size_t kMinute = 8;
constexpr std::size_t kHour = 9;
constexpr std::size_t kTicks = 16;
constexpr std::size_t kTicksPerSecond = 20;
// The fifth decimal of either angle is left out.
constexpr GpsAngleFields kLatitude{FieldAt(34, 33), FieldAt(32, 31), FieldAt(29, 28, 27, 26)};
constexpr GpsAngleFields kLongitude{FieldAt(46, 45, 44), FieldAt(43, 42), FieldAt(40, 39, 38, 37)};
constexpr GpsField kAltitude = FieldAt(52, 51, 50, 49, 48);
constexpr GpsField kSatellites = FieldAt(54, 53);

constexpr std::int32_t kFirstYear = 2023;

std::uint32_t Binary32(GpsV1Block block, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value |= std::uint32_t{block[at + i]} << (8U * i);
  return value;
}

void SetBelowSecond(_ORQ_DATE_TIME& time, double fraction) {
  if (std::isnan(fraction)) fraction = 0.0;
  time.MSecond = static_cast<std::int32_t>(fraction * 1000.0);
  time.USecond = static_cast<std::int32_t>(fraction * 10'000'000.0) - 10'000 * time.MSecond;
}

/// Appends to a zeroed text and always leaves a terminator.
class TextWriter {
 public:
  explicit TextWriter(std::span<char> text) : at_(text.data()), end_(text.data() + text.size() - 1) {
    std::ranges::fill(text, '\0');
  }
  void Put(char c) {
    if (at_ != end_) *at_++ = c;
  }
  /// Six decimals, with a point in every locale.
  void PutDegrees(double degrees) {
    std::array<char, kDegreesCharacters> text{};
    const auto [last, error] =
        std::to_chars(text.data(), text.data() + text.size(), degrees, std::chars_format::fixed, 6);
    if (error == std::errc()) std::for_each(text.data(), last, [this](char c) { Put(c); });
  }

 private:
  static constexpr std::size_t kDegreesCharacters = std::numeric_limits<float>::max_exponent10 + 10;

  char* at_;
  char* end_;
};

void WritePositionText(_ORQ_GPS_DATA& data, char longitudeSide, char latitudeSide) {
  TextWriter writer(data.PositionText);
  writer.PutDegrees(data.Longitude);
  writer.Put(longitudeSide);
  writer.Put(',');
  writer.PutDegrees(data.Latitude);
  writer.Put(latitudeSide);
}

}  // namespace

double GpsV1Fraction(GpsV1Block block) {
  return static_cast<double>(Binary32(block, kTicks)) / static_cast<double>(Binary32(block, kTicksPerSecond));
}

GpsV1Fault DecodeGpsV1Time(GpsV1Block block, _ORQ_DATE_TIME& time) {
  if (block[kGpsV1TimeFlagAt] != 'A') return GpsV1Fault::TimeFlag;
  time.Year = 2000 + block[kYear];
  if (time.Year < kFirstYear) return GpsV1Fault::Year;
  time.Month = block[kMonth];
  if (time.Month < 1 || time.Month > 12) return GpsV1Fault::Month;
  time.Day = block[kDay];
  time.Hour = block[kHour];
  time.Minute = block[kMinute];
  time.Second = block[kSecond];
  const double fraction = GpsV1Fraction(block);
  if (fraction > 1.0) return GpsV1Fault::Fraction;
  SetBelowSecond(time, fraction);
  return GpsV1Fault::None;
}

void WriteTimeText(_ORQ_DATE_TIME& time) {
  std::ranges::fill(time.TimeText, '\0');
  // More than fits is cut; no time that was read from a block is that long.
  [[maybe_unused]] const int length =
      std::snprintf(time.TimeText, sizeof time.TimeText, "%d-%02d-%02dUTC%02d:%02d:%02d.%03d%03d", time.Year,
                    time.Month, time.Day, time.Hour, time.Minute, time.Second, time.MSecond, time.USecond / 10);
}

GpsV1Fault DecodeGpsV1Position(GpsV1Block block, _ORQ_GPS_DATA& out) {
  const auto latitudeSide = static_cast<char>(block[kGpsV1LatitudeSideAt]);
  if (latitudeSide != 'N' && latitudeSide != 'S') return GpsV1Fault::LatitudeSide;
  const double latitude = AngleField(block, kLatitude);
  out.Latitude = latitudeSide == 'S' ? -latitude : latitude;
  const auto longitudeSide = static_cast<char>(block[kGpsV1LongitudeSideAt]);
  if (longitudeSide != 'E' && longitudeSide != 'W') return GpsV1Fault::LongitudeSide;
  const double longitude = AngleField(block, kLongitude);
  out.Longitude = longitudeSide == 'W' ? -longitude : longitude;
  out.Altitude = TenthsField(block, kAltitude);
  out.SatelliteNum = IntegerField(block, kSatellites);
  WritePositionText(out, longitudeSide, latitudeSide);
  return GpsV1Fault::None;
}

long long WholeMicroseconds(float us) {
  using Whole = std::numeric_limits<long long>;
  if (std::isnan(us)) return 0;
  constexpr float kLimit = 0x1p63F;
  if (us >= kLimit) return Whole::max();
  if (us < -kLimit) return Whole::min();
  return static_cast<long long>(us);
}

}  // namespace orq
