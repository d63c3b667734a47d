#include "gps/DateTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "GpsCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::BareCamera;
using orq::test::Line;
using orq::test::LogText;
using orq::test::Numbers;
using orq::test::Time;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

const std::string kMinute = "Minute Increase\n";
const std::string kHour = "Hour Increase\n";
const std::string kDay = "Day Increase\n";
const std::string kLeap = "Leap year Fre month Increase\n";
const std::string kNoLeap = "Noleap year Fre month Increase\n";
const std::string kSmall = "small month Increase\n";
const std::string kBig = "big month Increase\n";
const std::string kYear = "year Increase\n";

class DateTimeSum : public testing::Test {
 protected:
  std::vector<int> Add(const _ORQ_DATE_TIME& time, long long us) {
    const orq::DateTimeSum sum = orq::AddMicroseconds(time, us);
    lines.assign(sum.lines.begin(), sum.lines.begin() + static_cast<std::ptrdiff_t>(sum.lineCount));
    return Numbers(sum.time);
  }

  Lines lines;
};

TEST_F(DateTimeSum, TheEndOfAYearCarriesAllTheWay) {
  EXPECT_THAT(Add(Time(2023, 12, 31, 23, 59, 59, 999, 5000), 1000), ElementsAre(2024, 1, 1, 0, 0, 0, 0, 5000));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay, kBig, kYear}));
}

TEST_F(DateTimeSum, FebruaryEndsByTheLeapYear) {
  EXPECT_THAT(Add(Time(2023, 2, 28, 23, 59, 59, 999), 1000), ElementsAre(2023, 3, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay, kNoLeap}));
  EXPECT_THAT(Add(Time(2024, 2, 28, 23, 59, 59, 999), 1000), ElementsAre(2024, 2, 29, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay}));
  EXPECT_THAT(Add(Time(2024, 2, 29, 23, 59, 59, 999), 1000), ElementsAre(2024, 3, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay, kLeap}));
}

TEST_F(DateTimeSum, MonthsEndByTheirLength) {
  EXPECT_THAT(Add(Time(2024, 4, 30, 23, 59, 59, 999), 1000), ElementsAre(2024, 5, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay, kSmall}));
  EXPECT_THAT(Add(Time(2024, 1, 31, 23, 59, 59, 999), 1000), ElementsAre(2024, 2, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay, kBig}));
  EXPECT_THAT(Add(Time(2024, 1, 30, 23, 59, 59, 999), 1000), ElementsAre(2024, 1, 31, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay}));
}

TEST_F(DateTimeSum, ASecondIsCarriedFromTenMillionUnitsOn) {
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 0, 9), 999'999), ElementsAre(2024, 5, 7, 8, 9, 10, 999, 9999));
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 0, 10), 999'999), ElementsAre(2024, 5, 7, 8, 9, 11, 0, 0));
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(DateTimeSum, OnlyOneSecondIsCarried) {
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 500), 2'000'000), ElementsAre(2024, 5, 7, 8, 9, 11, 1500, 0));
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10), 3'600'000'000), ElementsAre(2024, 5, 7, 8, 9, 11, 3'599'000, 0));
}

TEST_F(DateTimeSum, EachCarryStopsBelowItsLimit) {
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 58), 1'000'000), ElementsAre(2024, 5, 7, 8, 9, 59, 0, 0));
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 58, 59), 1'000'000), ElementsAre(2024, 5, 7, 8, 59, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute}));
  EXPECT_THAT(Add(Time(2024, 5, 7, 22, 59, 59), 1'000'000), ElementsAre(2024, 5, 7, 23, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour}));
}

TEST_F(DateTimeSum, NothingAddedOnlyNormalises) {
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 3, 12345), 0), ElementsAre(2024, 5, 7, 8, 9, 10, 4, 2345));
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 1000, 0), 0), ElementsAre(2024, 5, 7, 8, 9, 11, 0, 0));
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 5, -1), 0), ElementsAre(2024, 5, 7, 8, 9, 10, 4, 9999));
}

TEST_F(DateTimeSum, ANegativeSpanIsRefused) {
  const Lines refusal{
      "Calculations for negative numbers are not currently supported. This feature will be added in the future. "
      "\n"};
  for (const long long us : {-1LL, LLONG_MIN}) {
    EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 3, 12345), us), ElementsAre(2024, 5, 7, 8, 9, 10, 3, 12345));
    EXPECT_EQ(lines, refusal);
  }
}

TEST_F(DateTimeSum, FieldsBeyondTheirLimitAreNotNormalised) {
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 60), 1'000'000), ElementsAre(2024, 5, 7, 8, 9, 61, 0, 0));
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 60, 59), 1'000'000), ElementsAre(2024, 5, 7, 8, 61, 0, 0, 0));
  EXPECT_THAT(Add(Time(2024, 5, 7, 24, 59, 59), 1'000'000), ElementsAre(2024, 5, 7, 25, 0, 0, 0, 0));
  EXPECT_THAT(Add(Time(2024, 5, 31, 24, 59, 59), 1'000'000), ElementsAre(2024, 5, 31, 25, 0, 0, 0, 0));
  EXPECT_THAT(Add(Time(2024, 1, 32, 23, 59, 59), 1'000'000), ElementsAre(2024, 1, 33, 0, 0, 0, 0, 0));
  EXPECT_THAT(Add(Time(2023, 2, 29, 23, 59, 59), 1'000'000), ElementsAre(2023, 2, 30, 0, 0, 0, 0, 0));
  EXPECT_THAT(Add(Time(2024, 2, 30, 23, 59, 59), 1'000'000), ElementsAre(2024, 2, 31, 0, 0, 0, 0, 0));
  EXPECT_THAT(Add(Time(2024, 4, 31, 23, 59, 59), 1'000'000), ElementsAre(2024, 4, 32, 0, 0, 0, 0, 0));
}

TEST_F(DateTimeSum, AMonthThatIsNoneHasNoEnd) {
  for (const int month : {0, -1, 14, INT_MAX, INT_MIN}) {
    for (const int day : {28, 29, 30, 31, 40}) {
      EXPECT_THAT(Add(Time(2024, month, day, 23, 59, 59), 1'000'000),
                  ElementsAre(2024, month, day + 1, 0, 0, 0, 0, 0));
      EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay}));
    }
  }
}

TEST_F(DateTimeSum, AThirteenthMonthEndsWithAnyDay) {
  EXPECT_THAT(Add(Time(2024, 13, 7, 23, 59, 59), 1'000'000), ElementsAre(2025, 1, 8, 0, 0, 0, 0, 0));
  EXPECT_EQ(lines, (Lines{kMinute, kHour, kDay, kYear}));
}

TEST_F(DateTimeSum, ExtremesWrapInsteadOfTrapping) {
  EXPECT_THAT(Add(Time(INT_MAX, 12, 31, 23, 59, 59), 1'000'000), ElementsAre(INT_MIN, 1, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(Add(Time(2024, 5, 7, 8, 9, INT_MAX), 1'000'000)[5], INT_MIN);
  EXPECT_EQ(Add(Time(2024, 5, 7, 8, INT_MAX, 59), 1'000'000)[4], INT_MIN);
  EXPECT_EQ(Add(Time(2024, 5, 7, INT_MAX, 59, 59), 1'000'000)[3], INT_MIN);
  EXPECT_EQ(Add(Time(2024, 5, INT_MAX, 23, 59, 59), 1'000'000)[2], INT_MIN);
  // 10 times the longest span is -10 in 64 bits.
  EXPECT_THAT(Add(Time(2024, 5, 7, 8, 9, 10, 0, 11), LLONG_MAX), ElementsAre(2024, 5, 7, 8, 9, 10, 0, 1));
  // Milliseconds are cut to 32 bits: 2^32 + 7 of them.
  EXPECT_EQ(Add(Time(2024, 5, 7, 8, 9, 10), 1000LL * ((1LL << 32) + 1007))[6], 7);
}

TEST_F(DateTimeSum, TheTextIsCopiedUnchanged) {
  _ORQ_DATE_TIME time = Time(2024, 5, 7, 8, 9, 10);
  std::memset(time.TimeText, 'q', sizeof time.TimeText);
  const orq::DateTimeSum sum = orq::AddMicroseconds(time, 1'000'000);
  EXPECT_EQ(std::memcmp(sum.time.TimeText, time.TimeText, sizeof time.TimeText), 0);
}

TEST(LeapYears, FollowTheGregorianRule) {
  const struct {
    int year, leap;
  } cases[] = {{1900, 0}, {2000, 1}, {2023, 0}, {2024, 1}, {2100, 0}, {2400, 1},
               {0, 1},    {-100, 0}, {-4, 1},   {-1, 0},   {-400, 1}, {INT_MIN, 1}};
  for (const auto& c : cases) EXPECT_EQ(isLeapYear(c.year), c.leap) << c.year;
}

/// Days since 1 January 1970 of the proleptic Gregorian calendar, from the number of days before each year and
/// month.
std::int64_t DayNumber(int year, int month, int day) {
  // A year that begins in March has its leap day last; months then come in fives of 153 days.
  const int y = month <= 2 ? year - 1 : year;
  const int era = y / 400;
  const int yearOfEra = y - era * 400;
  const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return std::int64_t{era} * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

TEST_F(DateTimeSum, EveryMidnightFrom2000To2100IsOneDayLater) {
  _ORQ_DATE_TIME day = Time(2000, 1, 1, 23, 59, 59, 999, 9999);
  std::int64_t number = DayNumber(2000, 1, 1);
  ASSERT_EQ(number, 10957);
  int days = 0;
  for (; day.Year <= 2100; ++days) {
    const std::vector<int> next = Add(day, 1);
    const std::chrono::year_month_day calendar(std::chrono::sys_days(std::chrono::days(number + 1)));
    ASSERT_EQ(
        std::chrono::year_month_day(std::chrono::year(next[0]), std::chrono::month(static_cast<unsigned>(next[1])),
                                    std::chrono::day(static_cast<unsigned>(next[2]))),
        calendar);
    ASSERT_EQ(DayNumber(next[0], next[1], next[2]), number + 1) << day.Year << "-" << day.Month << "-" << day.Day;
    ASSERT_THAT(std::vector<int>(next.begin() + 3, next.end()), ElementsAre(0, 0, 0, 0, 9));
    ASSERT_GE(next[2], 1);
    ASSERT_LE(next[2], 31);
    day.Year = next[0];
    day.Month = next[1];
    day.Day = next[2];
    ++number;
  }
  EXPECT_EQ(days, 36890);  // 101 years, 25 of them leap years
}

TEST_F(DateTimeSum, SpansBelowTwoSecondsAddUpExactly) {
  std::uint64_t state = 42;
  const auto below = [&state](std::int64_t limit) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    return static_cast<int>((state >> 33U) % static_cast<std::uint64_t>(limit));
  };
  const auto units = [](const std::vector<int>& t) {
    const std::int64_t seconds = DayNumber(t[0], t[1], t[2]) * 86400 + t[3] * 3600 + t[4] * 60 + t[5];
    return seconds * 10'000'000 + t[6] * 10'000 + t[7];
  };
  for (int round = 0; round < 20'000; ++round) {
    const _ORQ_DATE_TIME time = Time(2000 + below(100), 1 + below(12), 1 + below(28), 23 - below(2), 59 - below(2),
                                     59 - below(2), below(1000), below(10'000));
    const long long us = below(1'000'001);
    const std::vector<int> sum = Add(time, us);
    ASSERT_EQ(units(sum), units(Numbers(time)) + 10 * us);
    ASSERT_LE(sum[6], 999);
  }
}

TEST(DateTimeAdd, LogsTheCarriesInOrder) {
  BareCamera camera;
  LogText log;
  const _ORQ_DATE_TIME sum = camera.DateTimeAdd(Time(2023, 12, 31, 23, 59, 59, 999), 1000);
  EXPECT_EQ(log.Text(), Line("DateTimeAdd", kMinute) + Line("DateTimeAdd", kHour) + Line("DateTimeAdd", kDay) +
                            Line("DateTimeAdd", kBig) + Line("DateTimeAdd", kYear));
  EXPECT_THAT(Numbers(sum), ElementsAre(2024, 1, 1, 0, 0, 0, 0, 0));
}

TEST(DateTimeAdd, LogsTheRefusal) {
  BareCamera camera;
  LogText log;
  const _ORQ_DATE_TIME sum = camera.DateTimeAdd(Time(2023, 12, 31, 23, 59, 59, 999), -5);
  EXPECT_EQ(log.Text(), Line("DateTimeAdd",
                             "Calculations for negative numbers are not currently supported. This feature will be "
                             "added in the future. \n"));
  EXPECT_THAT(Numbers(sum), ElementsAre(2023, 12, 31, 23, 59, 59, 999, 0));
}

}  // namespace
