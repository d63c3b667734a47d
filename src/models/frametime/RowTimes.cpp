#include "models/frametime/RowTimes.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

namespace orq {
namespace {

using Tenths = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

/// Rows are read faster or slower than at the present settings when those have just been changed, but not by more.
constexpr double kMostPaceRatio = 4.0;

constexpr bool Within(int value, int lowest, int highest) {
  return value >= lowest && value <= highest;
}

/// The pace that fits both latches, `rows` rows of the wire apart.
std::optional<RowPace> PaceOf(int rows, UtcTenths span, const RowPace& nominal) {
  if (rows == 0) {
    if (std::abs(span) > kLatchError) return std::nullopt;
    return nominal;
  }
  const double error = static_cast<double>(kLatchError) / std::abs(rows);
  const RowPace measured{static_cast<double>(span) / rows, error};
  const double slack = nominal.error + measured.error;
  const bool possible = measured.interval >= nominal.interval / kMostPaceRatio - slack &&
                        measured.interval <= nominal.interval * kMostPaceRatio + slack;
  if (!possible) return std::nullopt;
  const bool agree = std::abs(measured.interval - nominal.interval) <= slack;
  return agree && nominal.error <= measured.error ? nominal : measured;
}

}  // namespace

std::optional<UtcTenths> ToUtc(const _ORQ_DATE_TIME& time) {
  using std::chrono::day;
  using std::chrono::month;
  using std::chrono::year;
  constexpr int kMostMilliseconds = 100'000;  // an offset may have made them exceed a second, but not by much
  constexpr int kLeastTenths = -1;            // where a fraction's milliseconds were rounded up
  const bool possible = Within(time.Year, 1970, 9999) && Within(time.Month, 1, 12) && Within(time.Day, 1, 31) &&
                        Within(time.Hour, 0, 23) && Within(time.Minute, 0, 59) && Within(time.Second, 0, 59) &&
                        Within(time.MSecond, 0, kMostMilliseconds) && Within(time.USecond, kLeastTenths, 9999);
  if (!possible) return std::nullopt;
  const std::chrono::year_month_day date(year(time.Year), month(static_cast<unsigned>(time.Month)),
                                         day(static_cast<unsigned>(time.Day)));
  if (!date.ok()) return std::nullopt;
  const Tenths utc = std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(time.Hour) +
                     std::chrono::minutes(time.Minute) + std::chrono::seconds(time.Second) +
                     std::chrono::milliseconds(time.MSecond) + Tenths(time.USecond);
  return utc.count();
}

WireRows WireRowsOf(const RowOrder& order, int row) {
  const int index = order.flipped ? order.rows - 1 - row : row;
  if (!order.sameColour) return {index * order.hostBin, (index + 1) * order.hostBin - 1};
  const int first = index / 2 * 2 * order.hostBin + index % 2;
  return {first, first + 2 * (order.hostBin - 1)};
}

std::optional<int> WireRowAt(const RowOrder& order, int line) {
  const int row = (line - order.startLine) / order.hardwareBin;
  if (line < order.startLine || row >= order.rows * order.hostBin) return std::nullopt;
  return row;
}

std::optional<RowTimes> TimesOfRows(const RowOrder& order, const LatchedLines& latched, const RowPace& nominal,
                                    std::uint64_t exposureUs) {
  const std::optional<int> startRow = WireRowAt(order, latched.startLine);
  const std::optional<int> endRow = WireRowAt(order, latched.endLine);
  if (!startRow || !endRow) return std::nullopt;
  const std::optional<RowPace> pace = PaceOf(*endRow - *startRow, latched.end - latched.start, nominal);
  if (!pace) return std::nullopt;

  double worst = 0.0;
  const auto startOf = [&](int row) {
    const bool byStart = std::abs(row - *startRow) <= std::abs(row - *endRow);
    const int away = row - (byStart ? *startRow : *endRow);
    worst = std::max(worst, std::abs(away) * pace->error);
    return (byStart ? latched.start : latched.end) + std::llround(away * pace->interval);
  };
  RowTimes times;
  const int top = 0;
  const int bottom = order.rows - 1;
  times.begin = startOf(WireRowsOf(order, order.flipped ? bottom : top).first);
  times.end = startOf(WireRowsOf(order, order.flipped ? top : bottom).last) +
              static_cast<UtcTenths>(exposureUs) * kTenthsPerMicrosecond;
  times.rowInterval = pace->interval * order.hostBin * (order.flipped ? -1 : 1);
  times.uncertainty = kLatchError + static_cast<UtcTenths>(std::ceil(worst));
  return times;
}

}  // namespace orq
