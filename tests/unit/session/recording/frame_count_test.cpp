#include "session/recording/FrameCount.h"

#include <gtest/gtest.h>

namespace orq::session {
namespace {

TEST(FrameCount, NumbersFramesThatFollowEachOther) {
  FrameCount count;
  EXPECT_EQ(count.Next(70, 1, false), 1U);
  EXPECT_EQ(count.Next(71, 2, false), 2U);
  EXPECT_TRUE(count.Missing().empty());
  EXPECT_EQ(count.Missed() + count.Lost(), 0U);
}

TEST(FrameCount, TellsFramesThatNeverCameFromThoseThatTheDiskWasTooSlowFor) {
  FrameCount count;
  count.Next(70, 10, false);
  EXPECT_EQ(count.Next(73, 11, false), 4U);  // 71 and 72 were never published
  EXPECT_EQ(count.Next(76, 14, false), 7U);  // 74 and 75 were
  EXPECT_EQ(count.Lost(), 2U);
  EXPECT_EQ(count.Missed(), 2U);
  ASSERT_EQ(count.Missing().size(), 2U);
  EXPECT_EQ(TextOf(count.Missing()[0]), "2-3: they did not come from the camera");
  EXPECT_EQ(TextOf(count.Missing()[1]), "5-6: the disk was too slow");
}

TEST(FrameCount, CountsBothKindsInOneGap) {
  FrameCount count;
  count.Next(70, 10, false);
  EXPECT_EQ(count.Next(75, 13, false), 6U);  // four missing, of which two had been published
  EXPECT_EQ(count.Missed(), 2U);
  EXPECT_EQ(count.Lost(), 2U);
  ASSERT_EQ(count.Missing().size(), 1U);
  EXPECT_EQ(count.Missing()[0].first, 2U);
  EXPECT_EQ(count.Missing()[0].last, 5U);
}

TEST(FrameCount, GoesOnWhereTheCamerasNumberWraps) {
  FrameCount count;
  count.Next(0xFFFFFFFF, 1, false);
  EXPECT_EQ(count.Next(0, 2, false), 2U);
  EXPECT_EQ(count.Next(2, 3, false), 4U);
  EXPECT_EQ(count.Lost(), 1U);
}

TEST(FrameCount, TakesACountThatGoesBackForANewOne) {
  FrameCount count;
  count.Next(500, 1, false);
  EXPECT_EQ(count.Next(7, 2, true), 2U);
  EXPECT_EQ(count.Next(8, 5, true), 5U);
  EXPECT_EQ(count.Missed(), 2U);
  EXPECT_EQ(count.Lost(), 0U);
}

TEST(FrameCount, NamesFramesThatAMovedRegionHasCost) {
  FrameCount count;
  count.Next(1, 1, false);
  count.Next(3, 2, true);
  EXPECT_EQ(TextOf(count.Missing().back()), "2: the region was moved");
}

TEST(FrameCount, NamesFramesBehindTheLastOne) {
  FrameCount count;
  count.Next(1, 1, false);
  count.MissedBehind(0);
  EXPECT_TRUE(count.Missing().empty());
  count.MissedBehind(3);
  EXPECT_EQ(TextOf(count.Missing().back()), "2-4: the disk was too slow");
  EXPECT_EQ(count.Missed(), 3U);
}

}  // namespace
}  // namespace orq::session
