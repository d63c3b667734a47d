#include "link/SettingsTag.h"

#include <gtest/gtest.h>

#include <set>

namespace orq {
namespace {

TEST(SettingsTag, BeginsFarFromWhatTheCameraHolds) {
  std::set<std::uint32_t> distances;
  for (const std::uint32_t held : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    for (int i = 0; i < 200; ++i) {
      SettingsTag tag;
      tag.StartAwayFrom(held);
      const std::uint32_t distance = tag.Newest() - held;
      EXPECT_GE(distance, 0x40000000U);
      EXPECT_LT(distance, 0xC0000000U);
      distances.insert(distance);
    }
  }
  EXPECT_GT(distances.size(), 990U) << "two programs do not begin at the same place";
}

TEST(SettingsTag, CountsUpAcrossTheWrap) {
  SettingsTag tag(0xFFFFFFFD);
  const std::uint32_t first = tag.CountUp();
  EXPECT_EQ(first, 0xFFFFFFFEU);
  tag.CountUp();
  EXPECT_EQ(tag.CountUp(), 0U);
  EXPECT_EQ(tag.Newest(), 0U);
  EXPECT_TRUE(tag.IsSince(first, 0xFFFFFFFE));
  EXPECT_TRUE(tag.IsSince(first, 0xFFFFFFFF));
  EXPECT_TRUE(tag.IsSince(first, 0));
  EXPECT_FALSE(tag.IsSince(first, 1));
  EXPECT_FALSE(tag.IsSince(first, 0xFFFFFFFD));
  EXPECT_FALSE(tag.IsSince(first, 0x7FFFFFFE));
}

TEST(FreshTags, WithoutACountEveryTagIsFresh) {
  EXPECT_TRUE(FreshTags{}.Holds(0));
  EXPECT_TRUE(FreshTags{}.Holds(0xFFFFFFFF));
}

}  // namespace
}  // namespace orq
