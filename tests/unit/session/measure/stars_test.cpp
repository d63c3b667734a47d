#include "session/measure/Stars.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "session/Failure.h"

namespace orq::session {
namespace {

constexpr int kWidth = 400;
constexpr int kHeight = 300;
// Of a bell curve: half of its light is within sigma * sqrt(2 ln 2), half of its height at twice that.
constexpr double kHalfFlux = 1.17741;
constexpr double kHalfHeight = 2.35482;

struct Bell {
  double x = 0.0;
  double y = 0.0;
  double peak = 0.0;
  double sigma = 0.0;
};

// Light of bells on a background with noise, 16 bits.
std::vector<double> Light(const std::vector<Bell>& bells, double noise) {
  std::mt19937 random(7);
  std::normal_distribution<double> draw(1000.0, noise);
  std::vector<double> light;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      double value = draw(random);
      for (const Bell& bell : bells) {
        const double r2 = (x - bell.x) * (x - bell.x) + (y - bell.y) * (y - bell.y);
        value += bell.peak * std::exp(-r2 / (2.0 * bell.sigma * bell.sigma));
      }
      light.push_back(value);
    }
  }
  return light;
}

std::vector<std::uint8_t> Wide(const std::vector<double>& light) {
  std::vector<std::uint8_t> bytes(2 * light.size());
  for (std::size_t i = 0; i < light.size(); ++i) {
    const auto value = static_cast<std::uint16_t>(std::clamp(std::lround(light[i]), 0L, 65535L));
    std::memcpy(bytes.data() + 2 * i, &value, sizeof value);
  }
  return bytes;
}

FrameInfo Info(IMG_TYPE format = ORQ_IMG_RAW16) {
  FrameInfo info;
  info.region = {.startX = 0, .startY = 0, .width = kWidth, .height = kHeight, .bin = 1, .format = format};
  return info;
}

std::vector<Bell> Grid(double sigma) {
  std::vector<Bell> bells;
  for (int i = 0; i < 12; ++i) {
    bells.push_back(
        {50.0 + 95.0 * (i % 4) + 0.13 * i, 50.0 + 95.0 * (i / 4) - 0.21 * i, 20'000.0 + 500.0 * i, sigma});
  }
  return bells;
}

TEST(Stars, HaveTheRadiusAndTheWidthOfTheirBell) {
  for (const double sigma : {1.2, 2.0, 3.5, 6.0}) {
    const StarMeasures measures = MeasureStars(Wide(Light(Grid(sigma), 20.0)), Info(), {});
    EXPECT_EQ(measures.count, 12) << sigma;
    EXPECT_EQ(measures.measured, 12) << sigma;
    EXPECT_EQ(measures.saturated, 0) << sigma;
    EXPECT_NEAR(measures.hfr, kHalfFlux * sigma, 0.03 * sigma + 0.03) << sigma;
    EXPECT_NEAR(measures.fwhm, kHalfHeight * sigma, 0.03 * sigma + 0.03) << sigma;
    EXPECT_NEAR(measures.background, 1000.0, 5.0) << sigma;
    EXPECT_NEAR(measures.noise, 20.0, 4.0) << sigma;
  }
}

TEST(Stars, AreListedWithPlaceAndLightTheBrightestFirst) {
  const std::vector<Bell> bells{{120.3, 80.6, 5000.0, 2.0}, {300.0, 200.0, 30'000.0, 2.0}};
  const StarMeasures measures = MeasureStars(Wide(Light(bells, 20.0)), Info(), {});
  ASSERT_EQ(measures.stars.size(), 2U);
  EXPECT_NEAR(measures.stars[0].x, 300.0, 0.05);
  EXPECT_NEAR(measures.stars[0].y, 200.0, 0.05);
  EXPECT_NEAR(measures.stars[0].peak, 30'000.0, 300.0);
  // The volume of a bell: 2 pi sigma^2 times its height.
  EXPECT_NEAR(measures.stars[0].flux, 2.0 * M_PI * 4.0 * 30'000.0, 0.02 * 754'000.0);
  EXPECT_NEAR(measures.stars[1].x, 120.3, 0.1);
  EXPECT_NEAR(measures.stars[1].y, 80.6, 0.1);
}

TEST(Stars, OutsideTheAreaDoNotCount) {
  const std::vector<Bell> bells{{100.0, 80.0, 9000.0, 2.0}, {300.0, 200.0, 30'000.0, 2.0}};
  const StarMeasures measures =
      MeasureStars(Wide(Light(bells, 20.0)), Info(), FrameArea{.x = 51, .y = 33, .width = 101, .height = 99});
  ASSERT_EQ(measures.stars.size(), 1U);
  EXPECT_NEAR(measures.stars[0].x, 100.0, 0.1) << "places are those of the frame";
  EXPECT_NEAR(measures.stars[0].y, 80.0, 0.1);
}

TEST(Stars, ThatAreSaturatedAreCountedAndLeftOut) {
  std::vector<Bell> bells = Grid(2.0);
  bells[3].peak = 400'000.0;
  bells[5].peak = 400'000.0;
  const StarMeasures measures = MeasureStars(Wide(Light(bells, 20.0)), Info(), {});
  EXPECT_EQ(measures.count, 12);
  EXPECT_EQ(measures.saturated, 2);
  EXPECT_EQ(measures.measured, 10);
  EXPECT_NEAR(measures.hfr, kHalfFlux * 2.0, 0.08);
  EXPECT_TRUE(measures.stars[0].saturated);
  EXPECT_FALSE(measures.stars[2].saturated);
}

TEST(Stars, OfAFrameWhoseFullPixelsReadLessAreSaturatedThere) {
  FrameInfo info = Info();
  info.levels.saturated = 20'000.0;
  const StarMeasures measures =
      MeasureStars(Wide(Light({{100.0, 80.0, 5000.0, 2.0}, {300.0, 200.0, 30'000.0, 2.0}}, 20.0)), info, {});
  EXPECT_EQ(measures.saturated, 1);
}

TEST(Stars, ThatAreAllSaturatedAreMeasuredAllTheSame) {
  const StarMeasures measures = MeasureStars(Wide(Light({{100.0, 80.0, 400'000.0, 2.0}}, 20.0)), Info(), {});
  EXPECT_EQ(measures.saturated, 1);
  EXPECT_EQ(measures.measured, 1);
  EXPECT_GT(measures.hfr, kHalfFlux * 2.0);
}

TEST(Stars, OfEightBitsAreFoundWhereTheBackgroundHasNoNoise) {
  std::vector<std::uint8_t> pixels;
  for (const double value : Light(Grid(2.0), 0.0))
    pixels.push_back(static_cast<std::uint8_t>(std::min(std::lround(value / 256.0), 255L)));
  for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_Y8}) {
    const StarMeasures measures = MeasureStars(pixels, Info(format), {});
    EXPECT_EQ(measures.count, 12);
    EXPECT_NEAR(measures.fwhm, kHalfHeight * 2.0, 0.1);
  }
}

TEST(Stars, OfColourFramesAreTheGreenOnes) {
  std::vector<std::uint8_t> pixels;
  for (const double value : Light(Grid(2.0), 0.0)) {
    const auto green = static_cast<std::uint8_t>(std::min(std::lround(value / 256.0), 255L));
    pixels.insert(pixels.end(), {255, green, 0});
  }
  const StarMeasures measures = MeasureStars(pixels, Info(ORQ_IMG_RGB24), {});
  EXPECT_EQ(measures.count, 12);
  EXPECT_NEAR(measures.hfr, kHalfFlux * 2.0, 0.05);
}

// A mosaic: red is half as bright as green and blue a fifth; whatever its pattern, stars are as wide as they are
// but for the gaps, whose neighbours add half a square pixel to the variance of every second one.
TEST(Stars, OfAMosaicAreAsWideAsTheGreenOnes) {
  const std::vector<double> light = Light(Grid(2.0), 20.0);
  constexpr int kGreenFirst[] = {0, 0, 1, 1};  // by pattern: RGGB, BGGR, GRBG, GBRG
  for (int pattern = 0; pattern < 4; ++pattern) {
    std::vector<double> mosaic = light;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const bool isGreen = (x + y) % 2 == (kGreenFirst[pattern] == 1 ? 0 : 1);
        if (!isGreen) mosaic[static_cast<std::size_t>(y * kWidth + x)] *= y % 2 == 0 ? 0.5 : 0.2;
      }
    }
    FrameInfo info = Info();
    info.bayerPattern = pattern;
    const StarMeasures measures = MeasureStars(Wide(mosaic), info, {});
    EXPECT_EQ(measures.count, 12) << pattern;
    const double sigma = std::sqrt(2.0 * 2.0 + 0.25);
    EXPECT_NEAR(measures.hfr, kHalfFlux * sigma, 0.08) << pattern;
    EXPECT_NEAR(measures.fwhm, kHalfHeight * sigma, 0.15) << pattern;
    EXPECT_NEAR(measures.background, 1000.0, 10.0) << pattern;
  }
}

TEST(Stars, FarOutOfFocusAreAsWideAsTheirDisc) {
  std::vector<double> light = Light({}, 20.0);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double r = std::hypot(x - 200.0, y - 150.0);
      if (r < 15.0 && r > 6.0) light[static_cast<std::size_t>(y * kWidth + x)] += 3000.0;
    }
  }
  const StarMeasures measures = MeasureStars(Wide(light), Info(), {});
  ASSERT_EQ(measures.count, 1);
  // Half of a ring's light is within sqrt((15^2 + 6^2) / 2).
  EXPECT_NEAR(measures.hfr, 11.42, 0.4);
  // A disc of the ring's area.
  EXPECT_NEAR(measures.fwhm, 2.0 * std::sqrt(15.0 * 15.0 - 6.0 * 6.0), 1.0);
}

TEST(Stars, AreNotHotPixels) {
  std::vector<double> light = Light({{100.0, 80.0, 9000.0, 2.0}}, 20.0);
  for (std::size_t i = 777; i < light.size(); i += 10'007) light[i] = 65'535.0;
  EXPECT_EQ(MeasureStars(Wide(light), Info(), {}).count, 1);
}

TEST(Stars, AreNotThereInNoise) {
  const StarMeasures measures = MeasureStars(Wide(Light({}, 50.0)), Info(), {});
  EXPECT_EQ(measures.count, 0);
  EXPECT_TRUE(std::isnan(measures.hfr));
  EXPECT_TRUE(std::isnan(measures.fwhm));
  EXPECT_TRUE(measures.stars.empty());
}

TEST(Stars, OnAnEdgeAreCutOff) {
  const StarMeasures measures =
      MeasureStars(Wide(Light({{0.0, 80.0, 20'000.0, 3.0}, {200.0, 150.0, 9000.0, 2.0}}, 20.0)), Info(), {});
  ASSERT_EQ(measures.count, 2);
  EXPECT_EQ(measures.measured, 1);
  EXPECT_TRUE(measures.stars[0].cutOff);
  EXPECT_NEAR(measures.hfr, kHalfFlux * 2.0, 0.1) << "of the other one";
}

TEST(Stars, BeyondThoseThatAreListedAreCounted) {
  std::vector<Bell> bells;
  for (int i = 0; i < 600; ++i) bells.push_back({8.0 + 12.8 * (i % 30), 8.0 + 14.3 * (i / 30), 9000.0, 1.0});
  const StarMeasures measures = MeasureStars(Wide(Light(bells, 10.0)), Info(), {});
  EXPECT_NEAR(measures.count, 600, 6);
  EXPECT_EQ(measures.stars.size(), kMostStars);
}

TEST(Stars, AreLookedForInFramesThatAreFullOfLight) {
  std::mt19937 random(3);
  std::vector<double> light;
  for (int i = 0; i < kWidth * kHeight; ++i) light.push_back(static_cast<double>(random() % 65'536));
  EXPECT_NO_THROW(MeasureStars(Wide(light), Info(), {}));
}

TEST(Stars, AreLookedForInTheSmallestFrame) {
  FrameInfo info = Info();
  info.region.width = 1;
  info.region.height = 1;
  EXPECT_EQ(MeasureStars(std::vector<std::uint8_t>(2), info, {}).count, 0);
}

TEST(Stars, AreNotLookedForWhereThereIsNoFrame) {
  const std::vector<std::uint8_t> pixels = Wide(Light({}, 1.0));
  EXPECT_THROW(MeasureStars({}, Info(), {}), Failure);
  EXPECT_THROW(MeasureStars(std::span(pixels).first(pixels.size() - 2), Info(), {}), Failure);
  for (const FrameArea area :
       {FrameArea{-1, 0, 10, 10}, FrameArea{0, 0, 0, 10}, FrameArea{0, 0, 10, -1}, FrameArea{kWidth - 5, 0, 6, 10},
        FrameArea{0, kHeight, 10, 1}, FrameArea{2, 2, 2147483647, 2147483647}})
    EXPECT_THROW(MeasureStars(pixels, Info(), area), Failure) << area.x << ' ' << area.width;
}

}  // namespace
}  // namespace orq::session
