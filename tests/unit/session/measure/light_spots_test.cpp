#include "session/measure/LightSpots.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orq::session {
namespace {

constexpr int kWidth = 40;
constexpr int kHeight = 30;

/// A dark picture in which some pixels have a value.
class Dark {
 public:
  Dark& Fill(int x, int y, int width, int height, float value) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        const int place = row * kWidth + column;
        values_[static_cast<std::size_t>(place)] = value;
      }
    }
    return *this;
  }
  std::vector<LightSpot> Spots(float threshold, int leastPixels = 1) const {
    return FindLightSpots(values_, kWidth, threshold, leastPixels);
  }

 private:
  std::vector<float> values_ = std::vector<float>(static_cast<std::size_t>(kWidth) * kHeight, 0.0F);
};

// A lone pixel of 160 reads, smoothed, 40 where it is, 20 beside, above and below it, and 10 at its corners.
TEST(LightSpots, AreWhatIsBrightWhenSmoothed) {
  const Dark dark = Dark().Fill(20, 10, 1, 1, 160.0F);
  EXPECT_TRUE(dark.Spots(40.0F).empty()) << "as bright as the threshold is not brighter";
  const std::vector<LightSpot> spots = dark.Spots(15.0F);
  ASSERT_EQ(spots.size(), 1U);
  EXPECT_EQ(spots[0].pixels, 5);
  EXPECT_EQ(spots[0].brightPixels, 1);
  EXPECT_EQ(dark.Spots(5.0F).at(0).pixels, 9);
  EXPECT_TRUE(dark.Spots(15.0F, 6).empty());
}

TEST(LightSpots, HaveTheirLightAndPlace) {
  // Three by two pixels of 100: brighter than half of that, when smoothed, is the block alone (its corners read
  // 100 * 3/4 * 3/4).
  const std::vector<LightSpot> spots = Dark().Fill(20, 10, 3, 2, 100.0F).Fill(21, 10, 1, 1, 130.0F).Spots(50.0F);
  ASSERT_EQ(spots.size(), 1U);
  EXPECT_EQ(spots[0].pixels, 6);
  EXPECT_EQ(spots[0].flux, 630.0);
  EXPECT_EQ(spots[0].peak, 130.0F);
  EXPECT_NEAR(spots[0].x, 21.0, 1e-9);
  EXPECT_NEAR(spots[0].y, 10.5, 0.05);
  EXPECT_EQ(spots[0].left, 20);
  EXPECT_EQ(spots[0].right, 22);
  EXPECT_EQ(spots[0].top, 10);
  EXPECT_EQ(spots[0].bottom, 11);
  EXPECT_FALSE(spots[0].cutOff);
}

// A bar of 21 pixels: the squares of -10 to 10 make 770. Smoothed, both of its ends have three quarters of the
// light. On a diagonal all pixels read 37.5 but for the ends, 31.25: 19 of them, whose variance is (19^2 - 1) / 12
// both ways.
TEST(LightSpots, AreAsLongAsTheirLongerAxis) {
  const double bar = std::sqrt((770.0 - 50.0) / (21.0 - 0.5));
  EXPECT_NEAR(Dark().Fill(10, 15, 21, 3, 100.0F).Spots(50.0F).at(0).spread, bar, 1e-4);
  EXPECT_NEAR(Dark().Fill(15, 5, 3, 21, 100.0F).Spots(50.0F).at(0).spread, bar, 1e-4);
  Dark diagonal;
  for (int i = 0; i < 21; ++i) diagonal.Fill(10 + i, 5 + i, 1, 1, 100.0F);
  EXPECT_NEAR(diagonal.Spots(36.0F).at(0).spread, std::sqrt(2.0 * (361.0 - 1.0) / 12.0), 1e-4);
}

TEST(LightSpots, ThatTouchAtACornerAreOneAndOthersAreNot) {
  EXPECT_EQ(Dark().Fill(5, 5, 4, 4, 100.0F).Fill(9, 9, 4, 4, 100.0F).Spots(50.0F).size(), 1U);
  EXPECT_EQ(Dark().Fill(5, 5, 4, 4, 100.0F).Fill(11, 5, 4, 4, 100.0F).Spots(50.0F).size(), 2U);
}

TEST(LightSpots, AtAnEdgeAreCutOff) {
  EXPECT_TRUE(Dark().Fill(0, 10, 4, 4, 100.0F).Spots(50.0F).at(0).cutOff);
  EXPECT_TRUE(Dark().Fill(kWidth - 4, 10, 4, 4, 100.0F).Spots(50.0F).at(0).cutOff);
  EXPECT_TRUE(Dark().Fill(10, 0, 4, 4, 100.0F).Spots(50.0F).at(0).cutOff);
  EXPECT_TRUE(Dark().Fill(10, kHeight - 4, 4, 4, 100.0F).Spots(50.0F).at(0).cutOff);
  EXPECT_EQ(Dark().Fill(0, 0, kWidth, kHeight, 100.0F).Spots(50.0F).at(0).pixels, kWidth * kHeight);
}

}  // namespace
}  // namespace orq::session
