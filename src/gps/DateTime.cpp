#include "gps/DateTime.h"

#include <cstdint>

namespace orq {
namespace {

constexpr std::int64_t kUnitsPerMillisecond = 10'000;  // of 0.1 µs
constexpr std::int64_t kUnitsPerSecond = 10'000'000;

constexpr int kFebruary = 2;

constexpr bool HasThirtyDays(int month) {
  return month == 4 || month == 6 || month == 9 || month == 11;
}
constexpr bool HasThirtyOneDays(int month) {
  return month >= 1 && month <= 12 && month != kFebruary && !HasThirtyDays(month);
}

/// Signed sums that wrap: the fields may hold anything.
void Increase(std::int32_t& field) {
  field = static_cast<std::int32_t>(static_cast<std::uint32_t>(field) + 1U);
}
std::int64_t TenthsOfMicroseconds(const _ORQ_DATE_TIME& time, long long us) {
  const auto within = static_cast<std::uint64_t>(time.USecond + kUnitsPerMillisecond * time.MSecond);
  return static_cast<std::int64_t>(within + 10U * static_cast<std::uint64_t>(us));
}

void SetBelowSecond(_ORQ_DATE_TIME& time, std::int64_t units) {
  time.MSecond = static_cast<std::int32_t>(units / kUnitsPerMillisecond);
  time.USecond = static_cast<std::int32_t>(units % kUnitsPerMillisecond);
}

void Note(DateTimeSum& sum, const char* line) {
  sum.lines[sum.lineCount++] = line;
}

/// Carries `field` into `next` when it has reached `limit` exactly; true when it has.
bool Carry(DateTimeSum& sum, std::int32_t& field, std::int32_t limit, std::int32_t& next, const char* line) {
  if (field != limit) return false;
  Note(sum, line);
  field = 0;
  Increase(next);
  return true;
}

void BeginNextMonth(DateTimeSum& sum, const char* line) {
  Note(sum, line);
  Increase(sum.time.Month);
  sum.time.Day = 1;
}

/// The day has just been increased.
void CarryDay(DateTimeSum& sum) {
  _ORQ_DATE_TIME& time = sum.time;
  const bool leap = isLeapYear(time.Year) != 0;
  if (time.Month == kFebruary) {
    if (leap && time.Day == 30) BeginNextMonth(sum, "Leap year Fre month Increase\n");
    if (!leap && time.Day == 29) BeginNextMonth(sum, "Noleap year Fre month Increase\n");
    return;
  }
  if (HasThirtyDays(time.Month) && time.Day == 31)
    BeginNextMonth(sum, "small month Increase\n");
  else if (HasThirtyOneDays(time.Month) && time.Day == 32)
    BeginNextMonth(sum, "big month Increase\n");
  if (time.Month == 13) {
    Note(sum, "year Increase\n");
    Increase(time.Year);
    time.Month = 1;
  }
}

}  // namespace

DateTimeSum AddMicroseconds(const _ORQ_DATE_TIME& time, long long us) {
  DateTimeSum sum{time};
  _ORQ_DATE_TIME& r = sum.time;
  if (us < 0) {
    Note(
        sum,
        "Calculations for negative numbers are not currently supported. This feature will be added in the future. "
        "\n");
    return sum;
  }
  const std::int64_t units = TenthsOfMicroseconds(time, us);
  if (units < kUnitsPerSecond) {
    SetBelowSecond(r, units);
    return sum;
  }
  SetBelowSecond(r, units - kUnitsPerSecond);
  Increase(r.Second);
  if (Carry(sum, r.Second, 60, r.Minute, "Minute Increase\n") &&
      Carry(sum, r.Minute, 60, r.Hour, "Hour Increase\n") && Carry(sum, r.Hour, 24, r.Day, "Day Increase\n"))
    CarryDay(sum);
  return sum;
}

}  // namespace orq

int isLeapYear(int year) {
  return (year % 100 == 0 ? year % 400 : year % 4) == 0 ? 1 : 0;
}
