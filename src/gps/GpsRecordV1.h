// The latched GPS block of version 1, decoded in stages: the sensor's own offset is added between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "gps/GpsTypes.h"

namespace orq {

inline constexpr std::size_t kGpsV1Bytes = 55;
using GpsV1Block = std::span<const std::uint8_t, kGpsV1Bytes>;

inline constexpr std::size_t kGpsV1TimeFlagAt = 0;
inline constexpr std::size_t kGpsV1LatitudeSideAt = 24;  ///< the position begins here
inline constexpr std::size_t kGpsV1LongitudeSideAt = 35;

/// The first thing wrong with a block.
enum class GpsV1Fault : std::uint8_t { None, TimeFlag, Year, Month, Fraction, LatitudeSide, LongitudeSide };

/// How far the latch lies within the second of the block's time: ticks since it began by ticks in a second. Not a
/// number for 0 by 0.
double GpsV1Fraction(GpsV1Block block);

/// The time at which the line was read out. Fields before a faulty one are stored. Day, hour, minute and second
/// are taken as they stand; years before 2023 and fractions above 1 are faults; a fraction that is no number
/// counts as 0.
GpsV1Fault DecodeGpsV1Time(GpsV1Block block, _ORQ_DATE_TIME& time);

/// Writes `TimeText` from the other fields, to the microsecond.
void WriteTimeText(_ORQ_DATE_TIME& time);

/// Position, altitude, satellites and `PositionText`. The latitude is stored before the longitude's side is
/// judged. Groups that are no digits count as 0.
GpsV1Fault DecodeGpsV1Position(GpsV1Block block, _ORQ_GPS_DATA& out);

/// An offset in µs cut to whole ones; 0 when it is no number, bounded when it does not fit.
long long WholeMicroseconds(float us);

}  // namespace orq
