#include "image/hotpixels/HotPixelTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "unit/image/hotpixels/PlainTable.h"

namespace orq {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Positions = std::vector<std::uint32_t>;

struct Sensor {
  Sensor(int columns, int rows) : width(columns), height(rows), full(static_cast<std::size_t>(columns * rows)) {}

  void MakeHot(int x, int y) { full.at(static_cast<std::size_t>(y * width + x)) = 1; }
  SensorCut Cut(int bin, int columns, int rows, int startX = 0, int startY = 0) const {
    return {.sensorWidth = width,
            .sensorHeight = height,
            .startX = startX,
            .startY = startY,
            .width = columns,
            .height = rows,
            .bin = bin};
  }
  HotPixelTable Table(const SensorCut& cut, BinPlacement placement = BinPlacement::SameColour) {
    map.assign(full.size(), 9);
    return CutHotPixelTable(full, cut, offsets, placement, map);
  }
  Positions List(const SensorCut& cut, BinPlacement placement = BinPlacement::SameColour) {
    const HotPixelTable table = Table(cut, placement);
    return {table.list.get(), table.list.get() + table.count};
  }

  int width, height;
  Bytes full;
  Bytes map;
  std::vector<BinOffset> offsets = std::vector<BinOffset>(kBinOffsets);
};

SensorCut InHardware(SensorCut cut, bool twoStage = false) {
  cut.hardwareBin = true;
  cut.twoStageBin4 = twoStage;
  return cut;
}

TEST(HotPixelTable, WithoutHardwareBinningIsTheRegionInSensorPixels) {
  Sensor sensor(300, 250);
  sensor.MakeHot(10, 20);   // the first pixel of the region
  sensor.MakeHot(209, 20);  // the last one of its first row
  sensor.MakeHot(9, 20);    // outside on all four sides
  sensor.MakeHot(210, 20);
  sensor.MakeHot(10, 19);
  sensor.MakeHot(10, 180);
  sensor.MakeHot(209, 179);  // the last one
  const auto cut = sensor.Cut(2, 100, 80, 10, 20);
  const HotPixelTable table = sensor.Table(cut);
  EXPECT_EQ(table.width, 200);
  EXPECT_EQ(table.height, 160);
  EXPECT_EQ(table.badRows, nullptr);
  EXPECT_EQ(Positions(table.list.get(), table.list.get() + table.count), (Positions{0, 199, 31999}));
  EXPECT_EQ(sensor.map[0], 1);
  EXPECT_EQ(sensor.map[1], 0);
  EXPECT_EQ(sensor.map[31999], 1);
  EXPECT_EQ(sensor.map[32000], 9);  // behind the frame: not touched
}

TEST(HotPixelTable, WhatLiesOutsideTheSensorIsGood) {
  Sensor sensor(8, 8);
  sensor.full.assign(64, 1);
  // Bad rows would empty the map: half of a row of 8 is outside, so use 5 of 12.
  EXPECT_TRUE(sensor.List(sensor.Cut(1, 12, 4, 3, 6)).size() == 10);
  EXPECT_EQ(sensor.List(sensor.Cut(1, 12, 4, 3, 6)), (Positions{0, 1, 2, 3, 4, 12, 13, 14, 15, 16}));
  EXPECT_EQ(sensor.List(sensor.Cut(1, 7, 3, -5, -2)), (Positions{19, 20}));
}

TEST(HotPixelTable, ABinnedPixelGoesToTheSampleOfItsColour) {
  Sensor sensor(16, 16);
  const auto cut = InHardware(sensor.Cut(2, 8, 8));
  // Blocks of 4 x 4 sensor pixels become 2 x 2 samples, by parity.
  for (const auto& [x, y, pos] : {std::tuple{0, 0, 0},
                                  {2, 2, 0},
                                  {3, 2, 1},
                                  {1, 0, 1},
                                  {0, 3, 8},
                                  {3, 3, 9},
                                  {4, 0, 2},
                                  {7, 7, 27},
                                  {15, 15, 63}}) {
    sensor.full.assign(256, 0);
    sensor.MakeHot(x, y);
    EXPECT_EQ(sensor.List(cut), Positions{static_cast<std::uint32_t>(pos)}) << x << ',' << y;
  }
}

TEST(HotPixelTable, ParityCountsFromTheRegionsStart) {
  Sensor sensor(16, 16);
  sensor.MakeHot(3, 5);
  EXPECT_EQ(sensor.List(InHardware(sensor.Cut(2, 4, 4, 3, 5))), Positions{0});
}

TEST(HotPixelTable, AtBin4WithHardwareBinningIsTheStageOfBin2) {
  Sensor sensor(32, 32);
  sensor.MakeHot(13, 6);
  for (const bool twoStage : {true, false}) {
    const HotPixelTable table = sensor.Table(InHardware(sensor.Cut(4, 8, 8), twoStage));
    EXPECT_EQ(table.width, 16);
    EXPECT_EQ(table.height, 16);
    ASSERT_EQ(table.count, 1U);
    // Two stages: 4 sensor pixels are 2 samples. One stage: 8 are.
    EXPECT_EQ(table.list[0], twoStage ? 2U * 16 + 7 : 0U * 16 + 3);
  }
}

TEST(HotPixelTable, TheTwoStageFlagMattersAtBin4Only) {
  Sensor sensor(36, 36);
  sensor.MakeHot(13, 6);
  EXPECT_EQ(sensor.List(InHardware(sensor.Cut(3, 12, 12), true)), Positions{2 * 12 + 5});  // 13 / 6 * 2 + 1
}

TEST(HotPixelTable, AnOffsetMovesThePixelAndFurtherOnesSpreadIt) {
  Sensor sensor(16, 16);
  sensor.MakeHot(4, 4);
  const auto cut = InHardware(sensor.Cut(2, 8, 8));
  sensor.offsets[2 * 8 + 0] = {4, -1};  // even: one block to the right; (4 - 1) / 4 = 0: one block up
  EXPECT_EQ(sensor.List(cut), (Positions{4}));
  sensor.offsets[2 * 8 + 2] = {-4, 4};
  EXPECT_EQ(sensor.List(cut), (Positions{0, 4, 32, 36}));
  sensor.offsets[2 * 8 + 6] = {0, 0};  // behind the empty entry 4: not used
  EXPECT_EQ(sensor.List(cut), (Positions{0, 4, 32, 36}));
  sensor.offsets[2 * 8 + 1] = {8, 8};  // odd pixels only
  EXPECT_EQ(sensor.List(cut), (Positions{0, 4, 32, 36}));
}

TEST(HotPixelTable, AnEmptyFirstOffsetIsZeroAndDoesNotEndTheList) {
  Sensor sensor(16, 16);
  sensor.MakeHot(4, 4);
  sensor.offsets[2 * 8 + 2] = {4, 127};
  EXPECT_EQ(sensor.List(InHardware(sensor.Cut(2, 8, 8))), (Positions{18, 20}));
}

TEST(HotPixelTable, OffsetsAreThoseOfTheBinEvenInTwoStages) {
  Sensor sensor(32, 32);
  sensor.MakeHot(0, 0);
  sensor.offsets[4 * 8] = {4, 0};
  EXPECT_EQ(sensor.List(InHardware(sensor.Cut(4, 8, 8), true)), Positions{2});
}

TEST(HotPixelTable, DivisionTruncatesTowardZero) {
  Sensor sensor(16, 16);
  sensor.MakeHot(0, 0);
  sensor.offsets[2 * 8] = {-3, 0};
  EXPECT_EQ(sensor.List(InHardware(sensor.Cut(2, 8, 8))), Positions{0});
  sensor.offsets[2 * 8] = {-4, 0};  // -1 block: outside
  EXPECT_EQ(sensor.List(InHardware(sensor.Cut(2, 8, 8))), Positions{});
}

TEST(HotPixelTable, ScaledPlacementRoundsRowsAndTruncatesColumns) {
  Sensor sensor(16, 16);
  const auto cut = InHardware(sensor.Cut(2, 8, 8));
  for (const auto& [x, y, column, row] :
       {std::tuple{0, 0, 0, 0}, {1, 1, 0, 1}, {3, 3, 1, 2}, {2, 2, 1, 1}, {5, 6, 2, 3}}) {
    sensor.full.assign(256, 0);
    sensor.MakeHot(x, y);
    EXPECT_EQ(sensor.List(cut, BinPlacement::Scaled), Positions{static_cast<std::uint32_t>(row * 8 + column)})
        << x << ',' << y;
  }
  // The offset counts in samples here.
  sensor.full.assign(256, 0);
  sensor.MakeHot(4, 4);
  sensor.offsets[2 * 8] = {3, -1};
  EXPECT_EQ(sensor.List(cut, BinPlacement::Scaled), Positions{1 * 8 + 5});
}

TEST(HotPixelTable, ARowThatIsHalfHotIsBadAndLeavesTheList) {
  Sensor sensor(8, 4);
  for (const int x : {0, 2, 5, 7}) sensor.MakeHot(x, 1);  // exactly half
  for (const int x : {0, 2, 5}) sensor.MakeHot(x, 2);     // one less
  const HotPixelTable table = sensor.Table(sensor.Cut(1, 8, 4));
  ASSERT_NE(table.badRows, nullptr);
  EXPECT_EQ(Positions(table.badRows.get(), table.badRows.get() + 4), (Positions{0, 1, 0, 0}));
  EXPECT_EQ(Positions(table.list.get(), table.list.get() + table.count), (Positions{16, 18, 21}));
  EXPECT_EQ(Bytes(sensor.map.begin() + 8, sensor.map.begin() + 16), Bytes(8, 0));
}

TEST(HotPixelTable, HalfOfAnOddWidthIsTruncated) {
  Sensor sensor(7, 2);
  for (const int x : {1, 3, 5}) sensor.MakeHot(x, 0);
  for (const int x : {1, 3}) sensor.MakeHot(x, 1);
  const HotPixelTable table = sensor.Table(sensor.Cut(1, 7, 2));
  ASSERT_NE(table.badRows, nullptr);
  EXPECT_EQ(table.badRows[0], 1U);
  EXPECT_EQ(table.badRows[1], 0U);
}

TEST(HotPixelTable, OfOneColumnAllRowsAreBad) {
  Sensor sensor(1, 3);
  const HotPixelTable table = sensor.Table(sensor.Cut(1, 1, 3));
  ASSERT_NE(table.badRows, nullptr);
  EXPECT_EQ(Positions(table.badRows.get(), table.badRows.get() + 3), (Positions{1, 1, 1}));  // 0 >= 1 / 2
  EXPECT_EQ(table.count, 0U);
}

TEST(HotPixelTable, KeepsTheFirstHundredThousandPixels) {
  Sensor sensor(1000, 400);
  for (int y = 0; y < 400; ++y)
    for (int x = 0; x < 375; ++x) sensor.MakeHot(2 * x, y);  // 150,000, 375 of 1000 in a row
  const HotPixelTable table = sensor.Table(sensor.Cut(1, 1000, 400));
  ASSERT_EQ(table.count, 100000U);
  EXPECT_EQ(table.badRows, nullptr);
  for (std::uint32_t i = 0; i < 100000; ++i) ASSERT_EQ(table.list[i], i / 375 * 1000 + i % 375 * 2);
}

TEST(HotPixelTable, OfNothingIsAnEmptyList) {
  Sensor sensor(4, 4);
  sensor.full.assign(16, 1);
  for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-1, 4}, {4, -1}, {0, 0}}) {
    const HotPixelTable table = sensor.Table(sensor.Cut(1, width, height));
    EXPECT_EQ(table.count, 0U);
    EXPECT_NE(table.list, nullptr);
    EXPECT_EQ(table.badRows, nullptr);
    EXPECT_EQ(sensor.map, Bytes(16, 9));
  }
}

TEST(HotPixelTable, SurvivesAnyGeometry) {
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  Sensor sensor(4, 4);
  sensor.full.assign(16, 1);
  for (const std::int32_t start : {kMin, -2, 0, 3, kMax}) {
    for (const std::int32_t size : {kMin, -1, 0, 2, 100, 40'000}) {
      for (const std::int32_t bin : {kMin, -1, 0, 1, 2, 4, 5, 1000, kMax}) {
        for (const bool hardware : {false, true}) {
          auto cut = sensor.Cut(bin, size, 3, start, start == kMin ? kMax : -start);
          cut.hardwareBin = hardware;
          const HotPixelTable table = sensor.Table(cut);
          EXPECT_LE(table.count, 16U);
          std::swap(cut.startX, cut.startY);
          EXPECT_LE(sensor.Table(cut, BinPlacement::Scaled).count, 16U);
        }
      }
    }
  }
}

TEST(HotPixelTable, AgreesWithAPlainRecomputationOnRandomGeometries) {
  std::mt19937 random(7);
  const auto number = [&](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  int binned = 0;
  for (int i = 0; i < 6000; ++i) {
    const test::PlainTable plain = test::RandomTable(number);
    Sensor sensor(plain.cut.sensorWidth, plain.cut.sensorHeight);
    const int percent = number(0, 60);
    for (auto& pixel : sensor.full) pixel = number(0, 99) < percent ? 1 : 0;
    sensor.offsets = plain.offsets;
    const HotPixelTable table =
        sensor.Table(plain.cut, plain.scaled ? BinPlacement::Scaled : BinPlacement::SameColour);

    std::vector<int> map = plain.HotMap({sensor.full.begin(), sensor.full.end()});
    const std::vector<int> bad = plain.TakeBadRows(map);
    Positions list;
    for (std::size_t pos = 0; pos < map.size(); ++pos)
      if (map[pos] != 0) list.push_back(static_cast<std::uint32_t>(pos));
    ASSERT_EQ(table.width, plain.Width()) << plain.Text();
    ASSERT_EQ(table.height, plain.Height()) << plain.Text();
    ASSERT_EQ(Positions(table.list.get(), table.list.get() + table.count), list) << plain.Text();
    ASSERT_EQ(table.badRows != nullptr, !bad.empty()) << plain.Text();
    std::vector<int> flagged;
    for (int y = 0; table.badRows && y < table.height; ++y)
      if (table.badRows[static_cast<std::size_t>(y)] != 0) flagged.push_back(y);
    ASSERT_EQ(flagged, bad) << plain.Text();
    for (std::size_t pos = 0; pos < map.size(); ++pos) {
      const bool used = static_cast<int>(pos) < plain.Width() * plain.Height();
      ASSERT_EQ(sensor.map[pos], used ? map[pos] : 9) << plain.Text();
    }
    if (plain.cut.hardwareBin && !list.empty()) ++binned;
  }
  EXPECT_GT(binned, 1000);
}

TEST(HotPixelMarks, ArePixelsThatExceedTheAverageBy31) {
  const Bytes dark{0, 49, 50, 51, 255};
  Bytes full(6, 7);
  MarkHotPixels(dark, 20, full);
  EXPECT_EQ(full, (Bytes{0, 0, 0, 1, 1, 7}));  // 50 is 30 above, 51 is 31
}

TEST(HotPixelMarks, StopWhereNoSampleCanExceedTheAverage) {
  Bytes full(1);
  MarkHotPixels(Bytes{255}, 224, full);
  EXPECT_EQ(full[0], 1);
  for (const std::uint32_t average : {225U, 255U, 1000U, 0xFFFFFFFFU}) {
    MarkHotPixels(Bytes{255}, average, full);
    EXPECT_EQ(full[0], 0) << average;
  }
}

}  // namespace
}  // namespace orq
