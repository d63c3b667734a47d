#include "models/camera/Overdue.h"

#include <gtest/gtest.h>

namespace orq {
namespace {

using namespace std::chrono_literals;

constexpr Overdue::Time kStart{};
constexpr std::size_t kBytes = 10'000'000;  // two seconds on the slowest link
constexpr auto kGrace = 5s;

TEST(LongestFrameTime, IsExposureAndReadoutOnTheSlowestLink) {
  EXPECT_EQ(LongestFrameTime(3'000'000, 0), 3s);
  EXPECT_EQ(LongestFrameTime(3'000'000, kBytes), 5s);
  EXPECT_EQ(LongestFrameTime(2'000'000'000, 52'000'000), 2010s + 400ms);
}

TEST(Overdue, AllowsExposureReadoutAndGrace) {
  const Overdue overdue(3'000'000, kBytes, kStart);
  EXPECT_FALSE(overdue.Reached(kGrace, kStart + 10s));
  EXPECT_TRUE(overdue.Reached(kGrace, kStart + 10s + 1us));
}

TEST(Overdue, CountsTheLongestExposureSetWhileAFrameIsAwaited) {
  Overdue overdue(1'000'000, kBytes, kStart);
  overdue.See(600'000'000);
  overdue.See(1'000);
  EXPECT_FALSE(overdue.Reached(kGrace, kStart + 607s));
  EXPECT_TRUE(overdue.Reached(kGrace, kStart + 608s));
}

TEST(Overdue, RemembersALongExposureThatTheNextFrameMayHaveBegunWith) {
  Overdue overdue(600'000'000, kBytes, kStart);
  overdue.NextFrame(1'000'000, kStart);
  EXPECT_FALSE(overdue.Reached(kGrace, kStart + 607s));
  overdue.NextFrame(1'000'000, kStart);
  EXPECT_TRUE(overdue.Reached(kGrace, kStart + 9s));
}

TEST(Overdue, BeginsAnewWithEverySignOfLife) {
  Overdue overdue(1'000'000, kBytes, kStart);
  overdue.Progress(kStart + 7s);
  EXPECT_FALSE(overdue.Reached(kGrace, kStart + 15s));
  EXPECT_TRUE(overdue.Reached(kGrace, kStart + 16s));
}

}  // namespace
}  // namespace orq
