#include "session/pictures/Stretch.h"

#include <gtest/gtest.h>

namespace orq::session {
namespace {

Histogram Of(std::initializer_list<int> values) {
  Histogram histogram;
  for (const int value : values) histogram.Add(static_cast<std::uint16_t>(value));
  return histogram;
}

TEST(Histogram, MedianIsTheMiddleValue) {
  EXPECT_EQ(Of({}).Median(), 0);
  EXPECT_EQ(Of({65535}).Median(), 65535);
  EXPECT_EQ(Of({1, 100, 3}).Median(), 3);
  EXPECT_EQ(Of({4, 1, 3, 2}).Median(), 2);
}

TEST(Histogram, MedianDeviationIsTheMiddleDistance) {
  EXPECT_EQ(Of({}).MedianDeviation(), 0);
  EXPECT_EQ(Of({5, 5, 5}).MedianDeviation(), 0);
  EXPECT_EQ(Of({10, 12, 15}).MedianDeviation(), 2);  // distances 2, 0, 3
  EXPECT_EQ(Of({0, 0, 65535}).MedianDeviation(), 0);
  EXPECT_EQ(Of({0, 100, 65535}).MedianDeviation(), 100);  // distances 100, 0, 65435
}

TEST(Histogram, MeanDeviationIsTheMeanDistanceFromTheMedian) {
  EXPECT_DOUBLE_EQ(Of({}).MeanDeviation(), 0.0);
  EXPECT_DOUBLE_EQ(Of({10, 12, 15}).MeanDeviation(), 5.0 / 3.0);
  EXPECT_DOUBLE_EQ(Of({0, 0, 9}).MeanDeviation(), 3.0);
}

TEST(Midtones, MapsItsParameterToAHalfAndKeepsTheEnds) {
  for (const double m : {0.01, 0.25, 0.5, 0.9}) {
    EXPECT_DOUBLE_EQ(Midtones(m, 0.0), 0.0);
    EXPECT_NEAR(Midtones(m, m), 0.5, 1e-12);
    EXPECT_DOUBLE_EQ(Midtones(m, 1.0), 1.0);
  }
  EXPECT_DOUBLE_EQ(Midtones(0.5, 0.3), 0.3);
}

TEST(StretchTable, PutsTheMedianOnAQuarterAndTheEndsOnTheEnds) {
  Histogram sky;
  for (int value = 2900; value <= 3100; ++value) sky.Add(static_cast<std::uint16_t>(value));
  const StretchTable table(sky);
  EXPECT_NEAR(table[3000], 64, 1);
  EXPECT_EQ(table[65535], 255);
  EXPECT_EQ(table[0], 0);
  // Median deviation 50: the shadows end at 3000 - 2.8 * 1.4826 * 50 = 2792.4.
  EXPECT_EQ(table[2792], 0);
  EXPECT_GT(table[2850], 0);
}

TEST(StretchTable, NeverFalls) {
  Histogram sky;
  for (int value = 900; value <= 1300; ++value) sky.Add(static_cast<std::uint16_t>(value));
  const StretchTable table(sky);
  for (int value = 1; value < 65536; ++value)
    ASSERT_GE(table[static_cast<std::uint16_t>(value)], table[static_cast<std::uint16_t>(value - 1)]) << value;
}

TEST(StretchTable, MostlyEqualValuesStillStretch) {
  Histogram sky;
  for (int i = 0; i < 900; ++i) sky.Add(2570);
  for (int i = 0; i < 100; ++i) sky.Add(5140);
  const StretchTable table(sky);
  EXPECT_NEAR(table[2570], 64, 1);
  EXPECT_GT(table[5140], 100);
}

TEST(StretchTable, NoContrastAndBlackBackgroundsStayLinear) {
  const StretchTable black(Of({0, 0, 0, 30000}));
  EXPECT_EQ(black[0], 0);
  EXPECT_EQ(black[32768], 128);
  const StretchTable white(Of({65535, 65535}));
  EXPECT_EQ(white[65535], 255);
}

}  // namespace
}  // namespace orq::session
