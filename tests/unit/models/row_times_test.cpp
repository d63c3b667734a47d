#include "models/frametime/RowTimes.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

namespace orq {
namespace {

constexpr std::uint64_t kExposureUs = 10'000;
constexpr UtcTenths kExposure = 100'000;
/// 1 January 2030: 60 years with 15 leap days after 1970.
constexpr UtcTenths kStart = std::int64_t{60 * 365 + 15} * 86'400 * 10'000'000;
constexpr RowPace kPace{164, 0.5};

RowOrder Rows(int startLine, int rows) {
  return {.startLine = startLine, .rows = rows};
}
LatchedLines Latch(int startLine, int endLine, UtcTenths span) {
  return {startLine, endLine, kStart, kStart + span};
}
_ORQ_DATE_TIME Time(int year, int month, int day, int hour, int minute, int second, int ms = 0, int us = 0) {
  return {year, month, day, hour, minute, second, ms, us, {}};
}
void ExpectTimes(const std::optional<RowTimes>& times, UtcTenths begin, UtcTenths end, double rowInterval,
                 UtcTenths uncertainty) {
  ASSERT_TRUE(times.has_value());
  EXPECT_EQ(times->begin - kStart, begin);
  EXPECT_EQ(times->end - kStart, end);
  EXPECT_NEAR(times->rowInterval, rowInterval, 1e-9);
  EXPECT_EQ(times->uncertainty, uncertainty);
}

TEST(ToUtc, CountsTenthsOfMicrosecondsSince1970) {
  EXPECT_EQ(ToUtc(Time(1970, 1, 1, 0, 0, 0, 0, 1)), 1);
  EXPECT_EQ(ToUtc(Time(2030, 1, 1, 0, 0, 0)), kStart);
  EXPECT_EQ(ToUtc(Time(2029, 12, 31, 23, 59, 59, 999, 9999)), kStart - 1);
  EXPECT_EQ(ToUtc(Time(2030, 1, 1, 1, 2, 3, 4, 5678)), kStart + 37'230'000'000 + 45'678);
  EXPECT_EQ(ToUtc(Time(2030, 1, 1, 0, 0, 0, 172, -1)), kStart + 1'719'999) << "as rounding leaves it";
  EXPECT_EQ(ToUtc(Time(2030, 1, 1, 0, 0, 0, 172, -2)), std::nullopt);
  // 2028 has a 29 February; 31 days of January and 28 of February before it.
  EXPECT_EQ(ToUtc(Time(2028, 2, 29, 0, 0, 0)), std::int64_t{58 * 365 + 14 + 31 + 28} * 864'000'000'000);
}

TEST(ToUtc, MillisecondsBeyondASecondCountOn) {
  EXPECT_EQ(ToUtc(Time(2029, 12, 31, 23, 59, 59, 1500, 7)), kStart + 5'000'007);
}

TEST(ToUtc, WhatTheCalendarDoesNotHaveIsNoTime) {
  for (const auto& time :
       {Time(2030, 0, 1, 0, 0, 0), Time(2030, 13, 1, 0, 0, 0), Time(2030, 1, 0, 0, 0, 0),
        Time(2030, 4, 31, 0, 0, 0), Time(2030, 2, 29, 0, 0, 0), Time(2030, 1, 32, 0, 0, 0),
        Time(2030, 1, 1, 24, 0, 0), Time(2030, 1, 1, -1, 0, 0), Time(2030, 1, 1, 0, 60, 0),
        Time(2030, 1, 1, 0, 0, 60), Time(2030, 1, 1, 0, 0, 0, -1), Time(2030, 1, 1, 0, 0, 0, 0, 10'000),
        Time(2030, 1, 1, 0, 0, 0, 2'000'000'000), Time(0, 1, 1, 0, 0, 0), Time(2030, 1, 255, 0, 0, 0)})
    EXPECT_FALSE(ToUtc(time).has_value()) << time.Month << " " << time.Day << " " << time.Hour;
}

TEST(ToUtc, AgreesWithTheCalendarAtEveryDayEnd) {
  using namespace std::chrono;
  for (sys_days day = 2000y / 1 / 1; day < sys_days(2101y / 1 / 1); day += days(1)) {
    const year_month_day date(day);
    const auto last =
        ToUtc(Time(static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
                   static_cast<int>(static_cast<unsigned>(date.day())), 23, 59, 59, 999, 9999));
    ASSERT_EQ(last, (day + days(1)).time_since_epoch().count() * 864'000'000'000 - 1);
  }
}

TEST(WireRows, ARowIsWhatTheHostBinned) {
  RowOrder order = Rows(0, 10);
  order.hostBin = 2;
  EXPECT_EQ(WireRowsOf(order, 0).first, 0);
  EXPECT_EQ(WireRowsOf(order, 0).last, 1);
  EXPECT_EQ(WireRowsOf(order, 9).first, 18);
  EXPECT_EQ(WireRowsOf(order, 9).last, 19);
}

TEST(WireRows, RowsOfOneColourAreTwoApart) {
  RowOrder order = Rows(0, 10);
  order.hostBin = 2;
  order.sameColour = true;
  const int first[] = {0, 1, 4, 5, 8, 9, 12, 13, 16, 17};
  for (int row = 0; row < 10; ++row) {
    EXPECT_EQ(WireRowsOf(order, row).first, first[row]) << row;
    EXPECT_EQ(WireRowsOf(order, row).last, first[row] + 2) << row;
  }
  order.hostBin = 1;
  for (int row = 0; row < 10; ++row) {
    EXPECT_EQ(WireRowsOf(order, row).first, row);
    EXPECT_EQ(WireRowsOf(order, row).last, row);
  }
}

TEST(WireRows, LinesBinnedByTheCameraShareARow) {
  RowOrder order = Rows(100, 10);
  order.hardwareBin = 2;
  order.hostBin = 2;  // 40 lines
  EXPECT_EQ(WireRowAt(order, 99), std::nullopt);
  EXPECT_EQ(WireRowAt(order, 100), 0);
  EXPECT_EQ(WireRowAt(order, 101), 0);
  EXPECT_EQ(WireRowAt(order, 102), 1);
  EXPECT_EQ(WireRowAt(order, 139), 19);
  EXPECT_EQ(WireRowAt(order, 140), std::nullopt);
}

TEST(TimesOfRows, LatchesAtBothEndsGiveBothEnds) {
  ExpectTimes(TimesOfRows(Rows(0, 3000), Latch(0, 2999, 491'836), kPace, kExposureUs), 0, 491'836 + kExposure, 164,
              kLatchError);
}

TEST(TimesOfRows, OneLatchIsCarriedOnAtTheNominalPace) {
  // 2999 rows of 16.4 us, each of which may be off by half a tenth.
  ExpectTimes(TimesOfRows(Rows(0, 3000), Latch(0, 0, 0), kPace, kExposureUs), 0, 2999 * 164 + kExposure, 164,
              kLatchError + 1500);
  ExpectTimes(TimesOfRows(Rows(0, 3000), Latch(2999, 2999, 0), kPace, kExposureUs), -2999 * 164, kExposure, 164,
              kLatchError + 1500);
}

TEST(TimesOfRows, LinesCountFromTheSensorsFirstWhateverTheRegion) {
  // Rows 50 and 150 of 200, 100 rows apart; 49 and 50 rows lie beyond them, of 0.12 each.
  ExpectTimes(TimesOfRows(Rows(100, 200), Latch(150, 250, 16'400), kPace, kExposureUs), -50 * 164,
              16'400 + 49 * 164 + kExposure, 164, kLatchError + 6);
}

TEST(TimesOfRows, AFlipChangesNeitherTheEarliestNorTheLatestInstant) {
  RowOrder order = Rows(0, 3000);
  order.flipped = true;
  ExpectTimes(TimesOfRows(order, Latch(0, 2999, 491'836), kPace, kExposureUs), 0, 491'836 + kExposure, -164,
              kLatchError);
}

TEST(TimesOfRows, TheLinesMayStandTheOtherWayRound) {
  ExpectTimes(TimesOfRows(Rows(0, 3000), Latch(2999, 0, -491'836), kPace, kExposureUs), -491'836, kExposure, 164,
              kLatchError);
}

TEST(TimesOfRows, BinnedRowsLastFromTheirFirstToTheirLastLine) {
  RowOrder order = Rows(0, 100);
  order.hostBin = 2;
  const LatchedLines latch = Latch(0, 199, 199 * 164);
  ExpectTimes(TimesOfRows(order, latch, kPace, kExposureUs), 0, 199 * 164 + kExposure, 328, kLatchError);
  order.flipped = true;
  ExpectTimes(TimesOfRows(order, latch, kPace, kExposureUs), 0, 199 * 164 + kExposure, -328, kLatchError);
  order.sameColour = true;  // the file begins with lines 197 and 199, and ends with 0 and 2
  ExpectTimes(TimesOfRows(order, latch, kPace, kExposureUs), 0, 199 * 164 + kExposure, -328, kLatchError);
}

TEST(TimesOfRows, RowsBinnedByTheCameraTakeOneRowsTime) {
  RowOrder order = Rows(0, 50);
  order.hardwareBin = 2;
  order.hostBin = 2;  // 100 rows of the wire
  ExpectTimes(TimesOfRows(order, Latch(0, 199, 99 * 164), kPace, kExposureUs), 0, 99 * 164 + kExposure, 328,
              kLatchError);
}

TEST(TimesOfRows, LinesOutsideTheRegionSayNothing) {
  EXPECT_FALSE(TimesOfRows(Rows(100, 200), Latch(99, 150, 0), kPace, kExposureUs).has_value());
  EXPECT_FALSE(TimesOfRows(Rows(100, 200), Latch(100, 300, 0), kPace, kExposureUs).has_value());
  EXPECT_TRUE(TimesOfRows(Rows(100, 200), Latch(100, 299, 199 * 164), kPace, kExposureUs).has_value());
}

TEST(TimesOfRows, OneLineHasOneTime) {
  EXPECT_TRUE(TimesOfRows(Rows(0, 100), Latch(5, 5, kLatchError), kPace, kExposureUs).has_value());
  EXPECT_FALSE(TimesOfRows(Rows(0, 100), Latch(5, 5, kLatchError + 1), kPace, kExposureUs).has_value());
  EXPECT_FALSE(TimesOfRows(Rows(0, 100), Latch(5, 5, -kLatchError - 1), kPace, kExposureUs).has_value());
}

TEST(TimesOfRows, TimesThatDoNotFitOneReadoutAreRefused) {
  const auto possible = [](int rows, UtcTenths span) {
    return TimesOfRows(Rows(0, 3000), Latch(0, rows, span), kPace, kExposureUs).has_value();
  };
  EXPECT_FALSE(possible(2999, 491'836 + 10'000'000)) << "a second slipped";
  EXPECT_FALSE(possible(2999, 491'836 - 10'000'000));
  EXPECT_FALSE(possible(2999, 0));
  EXPECT_FALSE(possible(1000, -164'000));
  EXPECT_TRUE(possible(1000, 656'000)) << "a quarter of the pace";
  EXPECT_FALSE(possible(1000, 658'000));
  EXPECT_TRUE(possible(1000, 41'000)) << "four times the pace";
  EXPECT_FALSE(possible(1000, 40'000));
}

TEST(TimesOfRows, ThePaceOfTheLatchesCountsWhereItIsTheBetterOne) {
  // Ten rows apart it is known to 1.2 only: the nominal pace stays, which agrees.
  ExpectTimes(TimesOfRows(Rows(0, 101), Latch(0, 10, 1'645), kPace, kExposureUs), 0, 1'645 + 90 * 164 + kExposure,
              164, kLatchError + 45);
  // It does not agree: the readout had another speed then.
  ExpectTimes(TimesOfRows(Rows(0, 101), Latch(0, 10, 3'280), kPace, kExposureUs), 0, 3'280 + 90 * 328 + kExposure,
              328, kLatchError + 108);
}

TEST(TimesOfRows, ASlowPortShowsInTheLatches) {
  const RowPace port{164, 2'284};
  ExpectTimes(TimesOfRows(Rows(0, 101), Latch(0, 100, 204'000), port, kExposureUs), 0, 204'000 + kExposure, 2'040,
              kLatchError);
  // With one latch only the end of the frame is as uncertain as the port.
  ExpectTimes(TimesOfRows(Rows(0, 101), Latch(0, 0, 0), port, kExposureUs), 0, 100 * 164 + kExposure, 164,
              kLatchError + 228'400);
}

}  // namespace
}  // namespace orq
