#include "session/frame/FrameTime.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orq::session {
namespace {

constexpr UtcTenths kDay = 864'000'000'000;
/// 1 January 2030, MJD 62502: 10957 days from 1970 to 2000 (MJD 51544), and 30 years with 8 leap days.
constexpr UtcTenths kNewYear = (10'957 + 30 * 365 + 8) * kDay;

TEST(ModifiedJulianDate, CountsDaysFromNovember1858) {
  EXPECT_EQ(ModifiedJulianDate(0), 40'587.0);
  EXPECT_EQ(ModifiedJulianDate(10'957 * kDay), 51'544.0);
  EXPECT_EQ(ModifiedJulianDate(kNewYear), 62'502.0);
  EXPECT_EQ(ModifiedJulianDate(kNewYear + kDay / 4), 62'502.25);
  EXPECT_EQ(ModifiedJulianDate(-kDay / 2), 40'586.5);
}

TEST(ModifiedJulianDate, IsExactToTheMicrosecond) {
  for (UtcTenths tenths = 7; tenths < kDay; tenths = tenths * 3 + 1) {
    const long double exact = 62'502.0L + static_cast<long double>(tenths) / kDay;
    const long double off = (static_cast<long double>(ModifiedJulianDate(kNewYear + tenths)) - exact) * kDay;
    EXPECT_LT(std::abs(off), 5.0L) << tenths;
  }
}

TEST(MiddleOf, LiesHalfwayBetweenStartAndEnd) {
  FrameInfo info;
  info.times.begin = kNewYear;
  info.times.end = kNewYear + 100'001;
  EXPECT_EQ(MiddleOf(info), kNewYear + 50'000);
}

TEST(TimeSource, CallsAPredictedTimeSo) {
  FrameInfo info;
  for (const auto& [state, source, name] : {std::tuple(GpsState::Fix, "GPS", "FIX"),
                                            {GpsState::Predicted, "PREDICTED", "PREDICTED"},
                                            {GpsState::Missed, "COMPUTER", "MISSED"},
                                            {GpsState::Uncertain, "COMPUTER", "UNCERTAIN"},
                                            {GpsState::None, "COMPUTER", ""}}) {
    info.gps.state = state;
    EXPECT_STREQ(TimeSource(info), source);
    EXPECT_STREQ(GpsStateName(state), name);
  }
}

timex Clock(int status, long maxErrorUs) {
  timex time{};
  time.status = status;
  time.maxerror = maxErrorUs;
  return time;
}

TEST(ClockState, IsWhatTheKernelSays) {
  EXPECT_EQ(ClockStateOf(TIME_OK, Clock(STA_PLL, 1'500)), (ClockState{true, 1'500}));
  EXPECT_EQ(ClockStateOf(TIME_INS, Clock(STA_PLL, 20)), (ClockState{true, 20})) << "a leap second is to come";
  EXPECT_EQ(ClockStateOf(TIME_ERROR, Clock(STA_PLL, 1'500)), (ClockState{false, 0}));
  EXPECT_EQ(ClockStateOf(TIME_OK, Clock(STA_UNSYNC, 16'000'000)), (ClockState{false, 0}));
  EXPECT_EQ(ClockStateOf(-1, Clock(0, 0)), std::nullopt);
}

}  // namespace
}  // namespace orq::session
