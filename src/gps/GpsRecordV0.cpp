#include "gps/GpsRecordV0.h"

#include "gps/GpsFields.h"

namespace orq {
namespace {

using Block = std::span<const std::uint8_t, kGpsV0Bytes>;

constexpr std::size_t kTimeFlag = 7;
constexpr GpsField kHour = FieldAt(6, 5);
constexpr GpsField kMinute = FieldAt(4, 11);
constexpr GpsField kSecond = FieldAt(10, 9);
constexpr std::size_t kMilliseconds = 14;
constexpr GpsField kDay = FieldAt(13, 12);
constexpr GpsField kMonth = FieldAt(19, 18);
constexpr GpsField kYear = FieldAt(17, 16);
constexpr std::size_t kLatitudeSide = 23;
constexpr GpsAngleFields kLatitude{FieldAt(22, 21), FieldAt(20, 27), FieldAt(25, 24, 31, 30, 29)};
constexpr std::size_t kLongitudeSide = 35;
constexpr GpsAngleFields kLongitude{FieldAt(34, 33, 32), FieldAt(39, 38), FieldAt(36, 43, 42, 41, 40)};
constexpr std::size_t kBelowMillisecond = 44;
constexpr GpsField kAltitude = FieldAt(51, 50, 49, 48, 55, 54);
constexpr GpsField kSatellites = FieldAt(53, 52);

std::int32_t Binary16(Block block, std::size_t at) {
  return block[at] + 256 * block[at + 1];
}

double Signed(double degrees, bool negative) {
  return negative ? -degrees : degrees;
}

}  // namespace

bool DecodeGpsV0(Block block, _ORQ_GPS_DATA& out) {
  if (block[kTimeFlag] != 'A') return false;
  _ORQ_DATE_TIME& time = out.Datetime;
  time.Hour = IntegerField(block, kHour);
  time.Minute = IntegerField(block, kMinute);
  time.Second = IntegerField(block, kSecond);
  time.MSecond = Binary16(block, kMilliseconds);
  time.USecond = Binary16(block, kBelowMillisecond);
  time.Day = IntegerField(block, kDay);
  time.Month = IntegerField(block, kMonth);
  time.Year = 2000 + IntegerField(block, kYear);
  out.Latitude = Signed(AngleField(block, kLatitude), block[kLatitudeSide] == 'S');
  out.Longitude = Signed(AngleField(block, kLongitude), block[kLongitudeSide] == 'W');
  out.Altitude = TenthsField(block, kAltitude);
  out.SatelliteNum = IntegerField(block, kSatellites);
  return true;
}

}  // namespace orq
