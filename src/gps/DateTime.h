// Calendar arithmetic on GPS times.
#pragma once

#include <array>
#include <cstddef>

#include "gps/GpsTypes.h"

/// 1 for a leap year of the Gregorian calendar, else 0.
int isLeapYear(int year);

namespace orq {

/// A time that was moved forward, and what is to be logged about it, in order.
struct DateTimeSum {
  _ORQ_DATE_TIME time;
  std::array<const char*, 5> lines{};
  std::size_t lineCount = 0;
};

/// `time` moved forward by `us` µs; a negative span leaves it as it is. Carries one second out of the fields below
/// it at most, so longer spans leave `MSecond` above 999; carries only out of fields that reach their limit
/// exactly. `TimeText` stays. Sums beyond a field's width wrap.
DateTimeSum AddMicroseconds(const _ORQ_DATE_TIME& time, long long us);

}  // namespace orq
