// GPS records as callers see them.
#pragma once

#include <cstdint>

/// A UTC date and time.
struct _ORQ_DATE_TIME {
  std::int32_t Year;     ///< full year
  std::int32_t Month;    ///< 1 to 12
  std::int32_t Day;      ///< 1 to 31
  std::int32_t Hour;     ///< 0 to 23
  std::int32_t Minute;   ///< 0 to 59
  std::int32_t Second;   ///< 0 to 59
  std::int32_t MSecond;  ///< milliseconds, 0 to 999
  std::int32_t USecond;  ///< below a millisecond in units of 0.1 µs, 0 to 9999; -1 when those rounded up
  char TimeText[64];     ///< the same instant, zero-terminated
};
static_assert(sizeof(_ORQ_DATE_TIME) == 96);

/// One GPS reading: when and where a sensor line was read out.
struct _ORQ_GPS_DATA {
  _ORQ_DATE_TIME Datetime;
  double Latitude;            ///< degrees, north positive
  double Longitude;           ///< degrees, east positive
  std::int32_t Altitude;      ///< units of 0.1 m
  std::int32_t SatelliteNum;  ///< satellites in use
  char PositionText[64];      ///< the position, zero-terminated
};
static_assert(sizeof(_ORQ_GPS_DATA) == 184);
