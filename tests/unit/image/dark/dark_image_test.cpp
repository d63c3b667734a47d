#include "image/dark/DarkImage.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "unit/image/hotpixels/PlainTable.h"

namespace orq {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Positions = std::vector<std::uint32_t>;

TEST(DarkAccumulation, DividesEveryFrameBeforeItAdds) {
  Bytes dark(1);
  for (int i = 0; i < 5; ++i) AccumulateDark(Bytes{12}, 5, dark);
  EXPECT_EQ(dark[0], 10);
}

TEST(DarkAccumulation, DividesExactly) {
  Bytes frame(256);
  for (std::size_t i = 0; i < 256; ++i) frame[i] = static_cast<std::uint8_t>(i);
  for (int frames = 1; frames <= 300; ++frames) {
    Bytes dark(256);
    AccumulateDark(frame, frames, dark);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(dark[static_cast<std::size_t>(i)], i / frames) << frames;
  }
}

TEST(DarkAccumulation, SaturatesForEverySum) {
  for (int a = 0; a < 256; ++a) {
    Bytes dark(256, static_cast<std::uint8_t>(a));
    Bytes frame(256);
    for (std::size_t i = 0; i < 256; ++i) frame[i] = static_cast<std::uint8_t>(i);
    AccumulateDark(frame, 1, dark);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(dark[static_cast<std::size_t>(i)], std::min(a + i, 255));
  }
}

TEST(DarkAccumulation, FewerThanOneFrameCountsAsOne) {
  for (const int frames : {0, -1, std::numeric_limits<int>::min()}) {
    Bytes dark{100};
    AccumulateDark(Bytes{60}, frames, dark);
    EXPECT_EQ(dark[0], 160) << frames;
  }
}

TEST(DarkAccumulation, TheShorterImageDecides) {
  Bytes dark{1, 2, 3};
  AccumulateDark(Bytes{10, 10}, 1, dark);
  EXPECT_EQ(dark, (Bytes{11, 12, 3}));
  AccumulateDark(Bytes{1, 1, 1, 1}, 1, dark);
  EXPECT_EQ(dark, (Bytes{12, 13, 4}));
}

/// A sensor of 8 x 4 pixels with the values 0, 1, 2, ...
struct Sensor {
  Sensor() {
    for (std::uint8_t i = 0; i < 32; ++i) full.push_back(i);
  }
  Bytes Cut(const SensorCut& cut, std::size_t samples, bool sum = false) const {
    Bytes out(samples, 200);
    CutDarkImage(full, cut, offsets, sum, out);
    return out;
  }

  Bytes full;
  std::vector<BinOffset> offsets = std::vector<BinOffset>(kBinOffsets);
};

SensorCut Cut(int bin, int width, int height, int startX = 0, int startY = 0) {
  return {.sensorWidth = 8,
          .sensorHeight = 4,
          .startX = startX,
          .startY = startY,
          .width = width,
          .height = height,
          .bin = bin};
}

SensorCut InHardware(SensorCut cut) {
  cut.hardwareBin = true;
  return cut;
}

TEST(DarkCut, WithoutHardwareBinningIsTheRegionInSensorPixels) {
  const Sensor sensor;
  EXPECT_EQ(sensor.Cut(Cut(1, 3, 2, 2, 1), 6), (Bytes{10, 11, 12, 18, 19, 20}));
  EXPECT_EQ(sensor.Cut(Cut(2, 2, 1, 1, 2), 8), (Bytes{17, 18, 19, 20, 25, 26, 27, 28}));
}

TEST(DarkCut, ARegionThatLeavesTheSensorGoesOnInTheNextRow) {
  const Sensor sensor;
  EXPECT_EQ(sensor.Cut(Cut(1, 3, 2, 7, 0), 6), (Bytes{7, 8, 9, 15, 16, 17}));
}

TEST(DarkCut, PixelsBehindTheSensorsEndLeaveTheImageAsItWas) {
  const Sensor sensor;
  EXPECT_EQ(sensor.Cut(Cut(1, 3, 2, 6, 3), 6), (Bytes{30, 31, 200, 200, 200, 200}));
  EXPECT_EQ(sensor.Cut(Cut(1, 2, 2, -1, 0), 4), (Bytes{200, 0, 7, 8}));  // nor is there any before its begin
}

TEST(DarkCut, HardwareBinningAddsScaledValues) {
  Sensor sensor;
  sensor.full.assign(32, 0);
  sensor.full[0] = 7;    // 7 / 2 / 2 = 1
  sensor.full[2] = 9;    // the same sample: 2
  sensor.full[16] = 3;   // the same sample: 0
  sensor.full[9] = 255;  // column 1, row 1: 63
  EXPECT_EQ(sensor.Cut(InHardware(Cut(2, 4, 2)), 8), (Bytes{3, 0, 0, 0, 0, 63, 0, 0}));
}

TEST(DarkCut, HardwareBinningAddsWholeValuesWhenTheSensorSums) {
  Sensor sensor;
  sensor.full.assign(32, 0);
  sensor.full[0] = 7;
  sensor.full[2] = 9;
  sensor.full[4] = 200;
  sensor.full[6] = 56;
  EXPECT_EQ(sensor.Cut(InHardware(Cut(2, 4, 2)), 8, true), (Bytes{16, 0, 255, 0, 0, 0, 0, 0}));
}

TEST(DarkCut, TruncatesTheShareOfEveryPixel) {
  Sensor sensor;
  sensor.full.assign(32, 17);
  // Columns 0, 2 and 4 of rows 0 and 2 make the sample: six times 17 / 9.
  EXPECT_EQ(sensor.Cut(InHardware(Cut(3, 2, 1)), 2)[0], 6);
}

TEST(DarkCut, UsesTheFirstOffsetOfEachParityOnly) {
  Sensor sensor;
  sensor.full.assign(32, 0);
  sensor.full[0] = 40;
  sensor.offsets[2 * 8 + 0] = {4, 127};
  sensor.offsets[2 * 8 + 2] = {0, 0};
  EXPECT_EQ(sensor.Cut(InHardware(Cut(2, 4, 2)), 8), (Bytes{0, 0, 10, 0, 0, 0, 0, 0}));
}

TEST(DarkCut, SurvivesAnyGeometry) {
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  const Sensor sensor;
  for (const std::int32_t start : {kMin, -2, 0, 3, kMax}) {
    for (const std::int32_t size : {kMin, -1, 0, 2, 100, 40'000}) {
      for (const std::int32_t bin : {kMin, -1, 0, 1, 2, 4, 5, 1000, kMax}) {
        for (const bool hardware : {false, true}) {
          auto cut = Cut(bin, size, 3, start, 1);
          cut.hardwareBin = hardware;
          EXPECT_EQ(sensor.Cut(cut, 32).size(), 32U);
          std::swap(cut.startX, cut.startY);
          EXPECT_EQ(sensor.Cut(cut, 5).size(), 5U);
        }
      }
    }
  }
}

TEST(DarkCut, AgreesWithAPlainRecomputationOnRandomGeometries) {
  std::mt19937 random(11);
  const auto number = [&](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  for (int i = 0; i < 6000; ++i) {
    test::PlainTable plain = test::RandomTable(number);
    plain.cut.width += 1;
    plain.cut.height += 1;
    const auto pixels = static_cast<std::size_t>(plain.cut.sensorWidth * plain.cut.sensorHeight);
    Bytes full(pixels);
    const int highest = number(1, 255);
    for (auto& value : full) value = static_cast<std::uint8_t>(number(0, highest));
    std::vector<int> expected(pixels);
    for (int& value : expected) value = number(0, 255);
    Bytes out(expected.begin(), expected.end());
    const bool sum = number(0, 1) == 1;
    const auto used = std::min(pixels, static_cast<std::size_t>(plain.Width() * plain.Height()));
    CutDarkImage(full, plain.cut, plain.offsets, sum, std::span(out).first(used));
    plain.CutDark({full.begin(), full.end()}, sum, expected);
    ASSERT_EQ(out, Bytes(expected.begin(), expected.end())) << plain.Text() << sum;
  }
}

TEST(DarkMean, IsTruncated) {
  EXPECT_EQ(MeanOf(Bytes{1, 2, 2}), 1U);
  EXPECT_EQ(MeanOf(Bytes{255, 255}), 255U);
  EXPECT_EQ(MeanOf(Bytes{}), 0U);
}

TEST(DarkMean, IsRightForSumsOfMoreThan32Bits) {
  const Bytes image(17'000'000, 254);  // the sum is 4,318,000,000
  EXPECT_EQ(MeanOf(image), 254U);
}

TEST(DarkPixelList, HoldsWhatIsMoreThan30AboveTheMean) {
  const DarkPixelList list = ListDarkPixels(Bytes{51, 50, 0, 255, 51}, 20);
  EXPECT_EQ(Positions(list.positions.get(), list.positions.get() + list.count), (Positions{0, 3, 4}));
}

TEST(DarkPixelList, NamesEveryPixelThatStandsOutWhateverTheSize) {
  std::mt19937 random(3);
  for (std::size_t size = 0; size < 700; size += size < 400 ? 1 : 61) {
    for (const unsigned oneIn : {1U, 40U, 300U}) {
      Bytes image(size);
      Positions expected;
      for (std::size_t i = 0; i < size; ++i) {
        const bool hot = random() % oneIn == 0;
        image[i] = static_cast<std::uint8_t>(hot ? 51 + random() % 205 : random() % 51);
        if (hot) expected.push_back(static_cast<std::uint32_t>(i));
      }
      const DarkPixelList list = ListDarkPixels(image, 20);
      ASSERT_EQ(Positions(list.positions.get(), list.positions.get() + list.count), expected) << size;
    }
  }
}

TEST(DarkPixelList, IsEmptyWhereNothingCanStandOut) {
  EXPECT_EQ(ListDarkPixels(Bytes{255}, 224).count, 1U);
  EXPECT_EQ(ListDarkPixels(Bytes{255}, 225).count, 0U);
  EXPECT_EQ(ListDarkPixels(Bytes{255}, 0xFFFFFFFFU).count, 0U);
  const DarkPixelList none = ListDarkPixels(Bytes{}, 0);
  EXPECT_EQ(none.count, 0U);
  EXPECT_NE(none.positions, nullptr);
}

}  // namespace
}  // namespace orq
