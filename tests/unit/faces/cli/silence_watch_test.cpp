#include <gtest/gtest.h>

#include <chrono>

#include "camera/SilenceWatch.h"

namespace orq::cli {
namespace {

using std::chrono::seconds;

class Silence : public ::testing::Test {
 protected:
  bool Overdue(int second, std::uint64_t started, int limit) {
    return watch_.Overdue(begin_ + seconds(second), started, seconds(limit));
  }
  SilenceWatch watch_;
  SilenceWatch::Clock::time_point begin_ = SilenceWatch::Clock::now();
};

TEST_F(Silence, IsOverdueWhenNoFrameHasBegunForLongerThanOneTakes) {
  EXPECT_FALSE(Overdue(0, 0, 10));
  EXPECT_FALSE(Overdue(10, 0, 10));
  EXPECT_TRUE(Overdue(11, 0, 10));
}

TEST_F(Silence, EndsWithEveryFrameThatBegins) {
  EXPECT_FALSE(Overdue(0, 0, 10));
  EXPECT_FALSE(Overdue(9, 1, 10));
  EXPECT_FALSE(Overdue(19, 1, 10));
  EXPECT_FALSE(Overdue(500, 2, 10)) << "looked at seldom";
  EXPECT_TRUE(Overdue(511, 2, 10));
}

TEST_F(Silence, ALongExposureMayStillBeUnderWayWhenAShorterOneIsSet) {
  EXPECT_FALSE(Overdue(0, 0, 100));
  EXPECT_FALSE(Overdue(50, 1, 10)) << "set at the same time as a frame came";
  EXPECT_FALSE(Overdue(149, 1, 10)) << "the next one began with the old setting";
  EXPECT_TRUE(Overdue(151, 1, 10));
}

TEST_F(Silence, AShorterExposureCountsFromTheFrameAfterTheNextOn) {
  EXPECT_FALSE(Overdue(0, 0, 100));
  EXPECT_FALSE(Overdue(50, 1, 10));
  EXPECT_FALSE(Overdue(140, 2, 10));
  EXPECT_TRUE(Overdue(151, 2, 10));
}

TEST_F(Silence, ALongerExposureCountsAtOnce) {
  EXPECT_FALSE(Overdue(0, 0, 10));
  EXPECT_FALSE(Overdue(5, 0, 100));
  EXPECT_FALSE(Overdue(100, 0, 100));
  EXPECT_TRUE(Overdue(101, 0, 100));
}

TEST_F(Silence, BeginsAnewWithAStream) {
  EXPECT_FALSE(Overdue(0, 5, 10));
  watch_.Restart();
  EXPECT_FALSE(Overdue(60, 5, 10));
  EXPECT_TRUE(Overdue(71, 5, 10));
}

}  // namespace
}  // namespace orq::cli
