// A version-1 GPS block and a sensor offset: the stages in the camera's order give a whole record or name a fault.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "gps/DateTime.h"
#include "gps/GpsRecordV1.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

template <std::size_t N>
bool IsText(const char (&text)[N]) {
  return std::find(text, text + N, '\0') != text + N;
}

void CheckTime(_ORQ_DATE_TIME time, float offset) {
  Require(time.Year >= 2023 && time.Month >= 1 && time.Month <= 12);
  // The milliseconds round up where the tenths of microseconds do not: then those are one less than none.
  Require(time.MSecond >= 0 && time.MSecond <= 1000 && time.USecond >= -1 && time.USecond <= 9999);
  const orq::DateTimeSum sum = orq::AddMicroseconds(time, orq::WholeMicroseconds(offset));
  Require(sum.lineCount <= sum.lines.size());
  time = sum.time;
  orq::WriteTimeText(time);
  Require(IsText(time.TimeText));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::array<std::uint8_t, orq::kGpsV1Bytes> block{};
  float offset = 0;
  const std::size_t used = std::min(size, block.size());
  std::copy_n(data, used, block.begin());
  if (size - used >= sizeof offset) std::memcpy(&offset, data + used, sizeof offset);
  _ORQ_GPS_DATA out{};
  if (orq::DecodeGpsV1Time(block, out.Datetime) == orq::GpsV1Fault::None) CheckTime(out.Datetime, offset);
  // Also behind a bad time, so that positions are reached.
  const orq::GpsV1Fault fault = orq::DecodeGpsV1Position(block, out);
  Require(IsText(out.PositionText));
  Require((fault == orq::GpsV1Fault::None) == (out.PositionText[0] != '\0'));
  Require(std::isfinite(out.Latitude) && std::isfinite(out.Longitude));
  return 0;
}
