#include "image/hotpixels/HotRows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace orq {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kWidth = 400;
constexpr std::size_t kHeight = 300;

/// A dark of noise around `ground` whose rows add `more(y)`, cut to whole numbers.
template <class More>
std::vector<std::uint8_t> Dark(double ground, double noise, More more) {
  std::mt19937 random(3);
  std::normal_distribution<double> normal(0.0, 1.0);
  std::vector<std::uint8_t> dark;
  for (std::size_t y = 0; y < kHeight; ++y) {
    for (std::size_t x = 0; x < kWidth; ++x) {
      const double value = ground + noise * normal(random) + more(y);
      dark.push_back(static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0)));
    }
  }
  return dark;
}

double None(std::size_t) {
  return 0.0;
}

TEST(HotRows, AreFoundFromAFewUnitsOn) {
  for (const double rise : {1.0, 3.0, 30.0, 200.0}) {
    const auto dark = Dark(10, 1.0, [&](std::size_t y) { return y == 0 || y == 100 || y == 299 ? rise : 0.0; });
    EXPECT_THAT(FindHotRows(dark, kWidth), ElementsAre(0, 100, 299)) << rise;
  }
}

TEST(HotRows, AreNotSeenInNoise) {
  for (const double noise : {0.0, 0.1, 1.0, 5.0, 20.0})
    EXPECT_THAT(FindHotRows(Dark(60, noise, None), kWidth), IsEmpty()) << noise;
  // A quarter of what single pixels scatter by, and twenty times what the middle of a row does.
  const auto dark = Dark(60, 20.0, [](std::size_t y) { return y == 7 ? 5.0 : 0.0; });
  EXPECT_THAT(FindHotRows(dark, kWidth), IsEmpty()) << "within eight deviations of such rows";
}

TEST(HotRows, AreNotThoseWithHotPixels) {
  auto dark = Dark(10, 1.0, None);
  for (std::size_t x = 0; x < kWidth / 8; ++x) dark[50 * kWidth + x] = 255;
  EXPECT_THAT(FindHotRows(dark, kWidth), IsEmpty());
}

TEST(HotRows, AreComparedWithTheRowsNearThem) {
  const auto glow = [](std::size_t y) { return 0.1 * static_cast<double>(y) + (y == 150 ? 2.0 : 0.0); };
  EXPECT_THAT(FindHotRows(Dark(10, 1.0, glow), kWidth), ElementsAre(150));
}

TEST(HotRows, MoreThanOneInFiftyIsAPattern) {
  const auto every = [](std::size_t n) {
    return Dark(10, 1.0, [n](std::size_t y) { return y % n == 0 ? 20.0 : 0.0; });
  };
  EXPECT_THAT(FindHotRows(every(25), kWidth), IsEmpty());
  EXPECT_EQ(FindHotRows(every(100), kWidth).size(), 3U);
}

TEST(HotRows, NeedRows) {
  EXPECT_THAT(FindHotRows({}, kWidth), IsEmpty());
  EXPECT_THAT(FindHotRows(std::vector<std::uint8_t>(10), 0), IsEmpty());
  EXPECT_THAT(FindHotRows(std::vector<std::uint8_t>(10), 11), IsEmpty());
}

}  // namespace
}  // namespace orq
