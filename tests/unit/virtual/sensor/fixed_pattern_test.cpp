#include "virtual/sensor/FixedPattern.h"

#include <gmock/gmock.h>

#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

TEST(FixedPattern, IsDecidedByTheSeed) {
  const SensorData& sensor = *FindSensor("k1c");
  const FixedPattern a(sensor, 1), b(sensor, 1), c(sensor, 2);
  ASSERT_EQ(a.HotPixels().size(), b.HotPixels().size());
  int same = 0;
  for (std::size_t i = 0; i < a.HotPixels().size(); ++i) {
    ASSERT_EQ(a.HotPixels()[i].x, b.HotPixels()[i].x);
    ASSERT_EQ(a.HotPixels()[i].electronsPerSecond, b.HotPixels()[i].electronsPerSecond);
    same += a.HotPixels()[i].electronsPerSecond == c.HotPixels()[i].electronsPerSecond;
  }
  EXPECT_EQ(same, 0);
}

TEST(FixedPattern, HasTheStatedShareOfHotPixelsAndRowsWithRatesInRange) {
  const SensorData& sensor = *FindSensor("k1c");
  const FixedPattern pattern(sensor, 1);
  EXPECT_EQ(pattern.HotPixels().size(), 212U);  // 1e-4 of 2,121,856
  EXPECT_EQ(pattern.HotRows().size(), 3U);
  for (const HotPixel& hot : pattern.HotPixels()) {
    EXPECT_GE(hot.electronsPerSecond, sensor.hotPixelMinRate);
    EXPECT_LE(hot.electronsPerSecond, sensor.hotPixelMaxRate);
    EXPECT_TRUE(hot.x >= 0 && hot.x < sensor.width && hot.y >= 0 && hot.y < sensor.height);
  }
  for (const HotRow& row : pattern.HotRows()) EXPECT_TRUE(row.y >= 0 && row.y < sensor.height);
}

TEST(FixedPattern, AddsBaseRowAndPixelRates) {
  SensorData sensor;
  sensor.width = 10;
  sensor.height = 1;
  sensor.darkElectronsPerSecond = 2.0;
  sensor.hotPixelFraction = 0.1;  // one pixel
  sensor.hotPixelMinRate = sensor.hotPixelMaxRate = 50.0;
  sensor.hotRows = 1;
  sensor.hotRowMinRate = sensor.hotRowMaxRate = 7.0;
  const FixedPattern pattern(sensor, 9);
  std::vector<float> row(10, 1.0F);
  pattern.AddRow(0, 0, 3.0F, row);
  ASSERT_EQ(pattern.HotPixels().size(), 1U);
  for (int x = 0; x < 10; ++x) {
    const float hot = x == pattern.HotPixels()[0].x ? 150.0F : 0.0F;
    EXPECT_NEAR(row[static_cast<std::size_t>(x)], 1.0F + 27.0F + hot, 1e-3F);
  }
}

}  // namespace
}  // namespace orq
