// When a cooler is known to have reached its limit.
#include "models/cooling/CoolerReach.h"

#include <gtest/gtest.h>

#include <optional>

namespace orq {
namespace {

/// `seconds` readings, one per second, falling by `perSecond` from `from` on; the last answer.
std::optional<double> Watch(CoolerReach& reach, int seconds, double from, double perSecond, double percent = 100.0,
                            double target = -40.0) {
  std::optional<double> answer;
  for (int i = 0; i < seconds; ++i) answer = reach.Look(from - perSecond * i, target, percent, 1.0);
  return answer;
}

TEST(CoolerReach, IsKnownWhenAMinuteAtFullPowerBringsNothing) {
  CoolerReach reach;
  EXPECT_EQ(Watch(reach, 60, -21.0, 0.0), std::nullopt) << "59 s have passed";
  EXPECT_EQ(Watch(reach, 1, -21.0, 0.0), -21.0);
}

TEST(CoolerReach, IsNotKnownWhileTheSensorStillGetsColder) {
  CoolerReach reach;
  EXPECT_EQ(Watch(reach, 200, 10.0, 0.005), std::nullopt) << "0.3 degrees in a minute";
}

TEST(CoolerReach, IsNoMatterBelowFullPowerOrNearTheTarget) {
  CoolerReach power;
  EXPECT_EQ(Watch(power, 200, -21.0, 0.0, 99.0), std::nullopt);
  CoolerReach near;
  EXPECT_EQ(Watch(near, 200, -21.0, 0.0, 100.0, -21.4), std::nullopt);
}

TEST(CoolerReach, IsForgottenWhenTheTargetComesIntoReach) {
  CoolerReach reach;
  ASSERT_EQ(Watch(reach, 61, -21.0, 0.0), -21.0);
  EXPECT_EQ(Watch(reach, 1, -21.0, 0.0, 100.0, -20.0), std::nullopt);
}

TEST(CoolerReach, DoesNotFollowEveryFlickerOfTheReading) {
  CoolerReach reach;
  ASSERT_EQ(Watch(reach, 61, -21.0, 0.0), -21.0);
  EXPECT_EQ(Watch(reach, 61, -20.5, 0.0), -21.0);
  EXPECT_EQ(Watch(reach, 61, -18.0, 0.0), -18.0) << "a warmer night";
}

}  // namespace
}  // namespace orq
