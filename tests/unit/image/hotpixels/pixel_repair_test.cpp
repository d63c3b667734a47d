#include "image/hotpixels/PixelRepair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "unit/image/hotpixels/PlainRepair.h"

namespace orq {
namespace {

using Positions = std::vector<std::uint32_t>;
using Map = std::vector<std::uint8_t>;

/// A frame whose samples all differ: sample p is base + p * stride.
template <class Sample>
struct TestFrame {
  TestFrame(int columns, int rows, int colourStep, int base = 10, int stride = 1)
      : width(columns), height(rows), step(colourStep) {
    for (int p = 0; p < columns * rows; ++p) samples.push_back(static_cast<Sample>(base + p * stride));
  }

  FrameView<Sample> View() { return {samples, width, height, step}; }
  Sample& At(int x, int y) { return samples.at(static_cast<std::size_t>(y * width + x)); }
  std::uint32_t Pos(int x, int y) const { return static_cast<std::uint32_t>(y * width + x); }

  void Repair(const Positions& list, int adcBits = 16) {
    Map map(samples.size());
    for (const std::uint32_t pos : list)
      if (pos < map.size()) map[pos] = 1;
    RepairHotPixels(View(), list, map, adcBits);
  }

  std::vector<Sample> samples;
  int width, height, step;
};

using Frame8 = TestFrame<std::uint8_t>;
using Frame16 = TestFrame<std::uint16_t>;

TEST(HotPixelRepair, AveragesFourNeighboursOfAMonochromeFrame) {
  Frame8 frame(5, 5, 1, 0, 0);
  frame.At(2, 1) = 10;
  frame.At(1, 2) = 20;
  frame.At(3, 2) = 30;
  frame.At(2, 3) = 43;
  frame.At(2, 2) = 255;
  frame.Repair({frame.Pos(2, 2)});
  EXPECT_EQ(frame.At(2, 2), 25);  // 103 / 4
}

TEST(HotPixelRepair, AveragesNeighboursOfTheSameColourOnABayerSensor) {
  Frame16 frame(6, 6, 2, 9999, 0);
  frame.At(2, 0) = 1000;
  frame.At(0, 2) = 2000;
  frame.At(4, 2) = 3000;
  frame.At(2, 4) = 4003;
  frame.Repair({frame.Pos(2, 2)});
  EXPECT_EQ(frame.At(2, 2), 2500);  // 10003 / 4
}

TEST(HotPixelRepair, UsesGoodNeighboursOnly) {
  Frame16 frame(5, 5, 1, 0, 0);
  frame.At(2, 1) = 100;
  frame.At(1, 2) = 201;
  frame.At(3, 2) = 60000;
  frame.At(2, 3) = 60000;
  frame.Repair({frame.Pos(2, 2), frame.Pos(3, 2), frame.Pos(2, 3)});
  EXPECT_EQ(frame.At(2, 2), 150);  // 301 / 2: right and down are hot and come later
}

TEST(HotPixelRepair, AHotNeighbourEarlierInTheScanCountsAsRepaired) {
  Frame8 frame(5, 4, 1, 20, 0);
  frame.At(1, 0) = 100;
  frame.At(1, 1) = 200;
  frame.At(2, 1) = 250;
  frame.Repair({frame.Pos(1, 1), frame.Pos(2, 1)});
  EXPECT_EQ(frame.At(1, 1), 46);  // (100 + 20 + 20) / 3: the one to the right is still to come
  EXPECT_EQ(frame.At(2, 1), 26);  // (20 + 46 + 20 + 20) / 4
}

TEST(HotPixelRepair, WithoutAUsableNeighbourTheSampleJustBeforeIsTaken) {
  // Up and left of a pixel come earlier in the scan: only where they are outside can all others be hot and later.
  Frame16 frame(4, 4, 2, 500, 1);
  const Map map(16, 1);
  EXPECT_TRUE(AverageNeighbours(frame.View(), std::span<const std::uint8_t>(map), 1, 1, 5));
  EXPECT_EQ(frame.samples[5], 504);  // position 4, of another colour
}

TEST(HotPixelRepair, WithoutAUsableNeighbourTheFirstSampleStays) {
  Frame16 frame(4, 4, 2, 500, 1);
  const Map map(16, 1);
  EXPECT_TRUE(AverageNeighbours(frame.View(), std::span<const std::uint8_t>(map), 0, 0, 0));
  EXPECT_EQ(frame.samples[0], 500);
}

TEST(HotPixelRepair, WithoutAMapInteriorPixelsStayAndBorderPixelsAreRepaired) {
  Frame16 frame(5, 5, 1, 1001, 1);
  const Positions list{0, frame.Pos(2, 2)};
  RepairHotPixels(frame.View(), list, {}, 12);
  EXPECT_EQ(frame.samples[0], 1002);
  EXPECT_EQ(frame.At(2, 2), 1013);  // not masked either
  EXPECT_FALSE(AverageNeighbours(frame.View(), {}, 2, 2, 12));
  EXPECT_EQ(frame.At(2, 2), 1013);
}

TEST(HotPixelRepair, ClearsTheBitsThatTheSensorsDepthLeavesZero) {
  const auto repaired = [](int adcBits) {
    Frame16 frame(5, 5, 1, 0xABCF, 0);
    frame.At(2, 2) = 0xFFFF;
    frame.Repair({frame.Pos(2, 2)}, adcBits);
    return frame.At(2, 2);
  };
  EXPECT_EQ(repaired(12), 0xABC0);
  EXPECT_EQ(repaired(14), 0xABCC);
  EXPECT_EQ(repaired(16), 0xABCF);
  EXPECT_EQ(repaired(8), 0xABC0);      // anything else counts as 12
  EXPECT_EQ(repaired(0x110), 0xABCF);  // the low byte counts: 16
  EXPECT_EQ(repaired(0x10E), 0xABCC);  // 14
  EXPECT_EQ(repaired(-240), 0xABCF);   // 0xFFFFFF10
}

TEST(HotPixelRepair, NeitherBorderCopiesNor8BitFramesAreMasked) {
  Frame16 wide(5, 5, 1, 0xABCF, 0);
  wide.Repair({0, wide.Pos(4, 2)}, 12);
  EXPECT_EQ(wide.At(0, 0), 0xABCF);
  EXPECT_EQ(wide.At(4, 2), 0xABCF);
  Frame8 narrow(5, 5, 1, 0xCF, 0);
  narrow.At(2, 2) = 0;
  narrow.Repair({narrow.Pos(2, 2)}, 12);
  EXPECT_EQ(narrow.At(2, 2), 0xCF);
}

TEST(HotPixelRepair, The8BitBorderCopiesFromTheRightAtTheStartAndFromTheLeftAtTheEnd) {
  Frame8 frame(6, 6, 2, 10, 1);
  const auto before = frame;
  frame.Repair({frame.Pos(1, 3)});
  EXPECT_EQ(frame.At(1, 3), 10 + frame.Pos(3, 3));
  frame = before;
  frame.Repair({frame.Pos(3, 1)});
  EXPECT_EQ(frame.At(3, 1), 10 + frame.Pos(5, 1));
  frame = before;
  frame.Repair({frame.Pos(4, 3)});
  EXPECT_EQ(frame.At(4, 3), 10 + frame.Pos(2, 3));
  frame = before;
  frame.Repair({frame.Pos(3, 4)});
  EXPECT_EQ(frame.At(3, 4), 10 + frame.Pos(1, 4));
  frame = before;
  frame.Repair({frame.Pos(5, 1)});  // the right of the top border goes on in the next row
  EXPECT_EQ(frame.At(5, 1), 10 + frame.Pos(1, 2));
}

TEST(HotPixelRepair, The8BitBorderCopiesFromAHotPixelToo) {
  Frame8 frame(6, 6, 1, 10, 1);
  frame.At(1, 0) = 255;
  frame.Repair({0, 1});
  EXPECT_EQ(frame.At(0, 0), 255);
}

TEST(HotPixelRepair, The16BitBorderLooksForAGoodNeighbour) {
  // Top-left corner of a Bayer frame; each case lists more of the neighbours as hot.
  const auto corner = [](const Positions& list) {
    Frame16 frame(8, 8, 2, 1000, 1);
    frame.Repair(list);
    return frame.samples[0] - 1000;
  };
  EXPECT_EQ(corner({0}), 2);                 // right
  EXPECT_EQ(corner({0, 1}), 2);              // another colour does not matter
  EXPECT_EQ(corner({0, 2}), 16);             // down: there is no row above
  EXPECT_EQ(corner({0, 2, 15}), 16);         // nor does an entry before it
  EXPECT_EQ(corner({0, 2, 17}), 16);         // or after it
  EXPECT_EQ(corner({0, 2, 16}), 18);         // down and right
  EXPECT_EQ(corner({0, 2, 3, 16, 18}), 18);  // whether or not that is hot
}

TEST(HotPixelRepair, The16BitLeftBorderGoesUpWhenTheRightIsHot) {
  Frame16 frame(8, 8, 2, 1000, 1);
  frame.Repair({frame.Pos(1, 4), frame.Pos(3, 4)});
  EXPECT_EQ(frame.At(1, 4), 1000 + frame.Pos(1, 2));
  // Up is taken even if it is hot itself: it has been repaired already.
  Frame16 second(8, 8, 2, 1000, 1);
  second.Repair({second.Pos(1, 2), second.Pos(1, 4), second.Pos(3, 4)});
  EXPECT_EQ(second.At(1, 2), 1000 + second.Pos(3, 2));
  EXPECT_EQ(second.At(1, 4), 1000 + second.Pos(3, 2));
}

TEST(HotPixelRepair, The16BitEndCopiesFromTheLeftEvenIfThatIsHot) {
  Frame16 frame(8, 8, 2, 1000, 1);
  frame.At(4, 7) = 5;
  frame.Repair({frame.Pos(6, 4), frame.Pos(5, 7), frame.Pos(6, 7)});
  EXPECT_EQ(frame.At(6, 4), 1000 + frame.Pos(4, 4));
  EXPECT_EQ(frame.At(5, 7), 1000 + frame.Pos(3, 7));
  EXPECT_EQ(frame.At(6, 7), 5);
}

TEST(HotPixelRepair, TheStartRuleComesBeforeTheEndRule) {
  Frame16 frame(8, 8, 1, 1000, 1);
  frame.Repair({frame.Pos(0, 7)});  // first column of the last row
  EXPECT_EQ(frame.At(0, 7), 1000 + frame.Pos(1, 7));
}

TEST(HotPixelRepair, EntriesOutsideTheFrameAreSkipped) {
  Frame16 frame(4, 4, 1, 1000, 1);
  frame.samples.resize(32, 7);  // the buffer goes on
  const auto before = frame.samples;
  frame.Repair({16, 17, 31, 32, 0xFFFFFFFFU});
  EXPECT_EQ(frame.samples, before);
}

TEST(HotPixelRepair, EntriesOutsideTheBufferAreSkipped) {
  for (const int step : {1, 2}) {
    Frame16 wide(4, 2, step, 1000, 1);
    wide.height = 1000;
    wide.Repair({8, 9, 10, 40, 3995, 3999}, 12);
    EXPECT_EQ(wide.samples, Frame16(4, 2, step, 1000, 1).samples);
    Frame8 narrow(4, 2, step, 10, 1);
    narrow.height = 1000;
    narrow.Repair({8, 9, 10, 40, 3995, 3999});
    EXPECT_EQ(narrow.samples, Frame8(4, 2, step, 10, 1).samples);
  }
}

TEST(HotPixelRepair, ABorderCopyFromOutsideTheBufferLeavesTheSample) {
  Frame8 narrow(3, 1, 2, 10, 1);
  narrow.Repair({0, 1, 2});
  EXPECT_EQ(narrow.samples, (std::vector<std::uint8_t>{12, 11, 12}));  // 1 + 2 and 2 + 2 are outside
  Frame16 wide(5, 1, 1, 1000, 1);
  wide.Repair({0, 1});  // right is hot, there is no row above, and "down" is outside
  EXPECT_EQ(wide.samples[0], 1000);
  EXPECT_EQ(wide.samples[1], 1002);
}

TEST(HotPixelRepair, FramesWithoutSizeAreLeftAlone) {
  Frame16 frame(4, 4, 1, 1000, 1);
  const auto before = frame.samples;
  const Positions list{0, 1, 5};
  const Map map(16, 1);
  for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {0, 0}}) {
    RepairHotPixels(FrameView<std::uint16_t>{frame.samples, width, height, 1}, list, map, 12);
    EXPECT_EQ(frame.samples, before);
  }
}

TEST(HotPixelRepair, SurvivesAnySizeAndAnyList) {
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  const Positions list{0, 1, 2, 3, 4, 5, 15, 16, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};
  const std::vector<std::uint32_t> flags(40, 1);
  const Map map(3, 1);  // shorter than any of the frames
  for (const std::int32_t width : {kMin, -4, -1, 0, 1, 2, 4, kMax}) {
    for (const std::int32_t height : {kMin, -4, -1, 0, 1, 2, 4, kMax}) {
      for (const std::int32_t step : {1, 2}) {
        std::vector<std::uint16_t> wide(16, 77);
        const FrameView<std::uint16_t> wideView{wide, width, height, step};
        RepairHotPixels(wideView, list, map, 16);
        RepairRows(wideView, flags);
        RepairColumns(wideView, flags);
        RepairDarkPixels(wideView, list);
        EXPECT_EQ(wide, std::vector<std::uint16_t>(16, 77));
        std::vector<std::uint8_t> narrow(16, 77);
        const FrameView<std::uint8_t> narrowView{narrow, width, height, step};
        RepairHotPixels(narrowView, list, map, 16);
        RepairRows(narrowView, flags);
        RepairColumns(narrowView, flags);
        RepairDarkPixels(narrowView, list);
        EXPECT_EQ(narrow, std::vector<std::uint8_t>(16, 77));
      }
    }
  }
}

TEST(AverageNeighbours, SurvivesAnyPlace) {
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  Frame8 frame(4, 4, 1, 33, 0);
  const Map map(16, 1);
  for (const std::int32_t x : {kMin, -1, 0, 3, kMax}) {
    for (const std::int32_t y : {kMin, -1, 0, 3, kMax})
      for (const std::int32_t pos : {kMin, -1, 0, 15, 16, kMax})
        EXPECT_TRUE(AverageNeighbours(frame.View(), std::span<const std::uint8_t>(map), x, y, pos));
  }
  EXPECT_EQ(frame.samples, std::vector<std::uint8_t>(16, 33));
}

TEST(AverageNeighbours, NeighboursThatTheMapDoesNotReachAreGood) {
  Frame8 frame(3, 3, 1, 0, 0);
  frame.At(2, 1) = 40;
  frame.At(1, 2) = 80;
  const Map map(5, 0);  // ends at the pixel itself
  EXPECT_TRUE(AverageNeighbours(frame.View(), std::span<const std::uint8_t>(map), 1, 1, 4));
  EXPECT_EQ(frame.At(1, 1), 30);
}

TEST(AverageNeighbours, NeighboursOutsideTheBufferAreNotUsed) {
  Frame8 frame(3, 2, 1, 50, 0);
  frame.height = 3;
  frame.At(1, 1) = 0;
  const Map map(9, 0);
  EXPECT_TRUE(AverageNeighbours(frame.View(), std::span<const std::uint8_t>(map), 1, 1, 4));
  EXPECT_EQ(frame.At(1, 1), 50);
}

TEST(BorderReplacement, AtTheEndGoesLeftAndNotBelowZero) {
  const Positions list{1, 7};
  EXPECT_EQ(BorderReplacement(list, 1, 2, 8, 8, true), 5);
  EXPECT_EQ(BorderReplacement(list, 0, 1, 8, 8, true), 0);
  EXPECT_EQ(BorderReplacement(list, 0, 2, 8, 8, true), 0);  // -1
}

TEST(BorderReplacement, TheRightNeighbourStaysInTheFrame) {
  const Positions list{15};
  EXPECT_EQ(BorderReplacement(list, 0, 1, 4, 4, false), 15);
  EXPECT_EQ(BorderReplacement(Positions{14}, 0, 2, 4, 4, false), 15);
}

TEST(BorderReplacement, TheDiagonalStaysInTheFrame) {
  // 4 x 2: down of position 3 is 7, the last one; one further is outside.
  EXPECT_EQ(BorderReplacement(Positions{3, 4, 7}, 0, 1, 4, 2, false), 7);
  EXPECT_EQ(BorderReplacement(Positions{2, 3, 6}, 0, 1, 4, 2, false), 7);
}

TEST(BorderReplacement, ANarrowFrameHasItsRightNeighbourBelow) {
  // One column: right and down are the same sample.
  EXPECT_EQ(BorderReplacement(Positions{0, 1}, 0, 1, 1, 4, false), 2);
}

TEST(BorderReplacement, BelowTheLastHotPixelEverythingIsGood) {
  EXPECT_EQ(BorderReplacement(Positions{0, 1}, 0, 1, 8, 8, false), 8);
  EXPECT_EQ(BorderReplacement(Positions{0, 1, 2, 7}, 0, 1, 8, 8, false), 8);
}

TEST(BadRows, BecomeTheTruncatedMeanOfTheRowsOfTheirColour) {
  Frame8 mono(2, 3, 1, 0, 0);
  mono.samples = {10, 255, 0, 0, 13, 255};
  RepairRows(mono.View(), Positions{0, 1, 0});
  EXPECT_EQ(mono.samples, (std::vector<std::uint8_t>{10, 255, 11, 255, 13, 255}));

  Frame16 bayer(1, 5, 2, 0, 0);
  bayer.samples = {60000, 1, 0, 1, 65535};
  RepairRows(bayer.View(), Positions{0, 0, 7, 0, 0});  // any flag but 0
  EXPECT_EQ(bayer.samples, (std::vector<std::uint16_t>{60000, 1, 62767, 1, 65535}));
}

TEST(BadRows, AreACopyWhereOnlyOneSideHasAGoodRow) {
  Frame16 frame(1, 6, 2, 100, 1);
  RepairRows(frame.View(), Positions{1, 0, 0, 0, 0, 1});
  EXPECT_EQ(frame.samples, (std::vector<std::uint16_t>{102, 101, 102, 103, 104, 103}));
}

TEST(BadRows, LookPastOtherBadRows) {
  Frame8 frame(1, 7, 1, 0, 0);
  frame.samples = {10, 0, 0, 0, 0, 0, 40};
  RepairRows(frame.View(), Positions{0, 1, 1, 1, 1, 1, 0});
  EXPECT_EQ(frame.samples, (std::vector<std::uint8_t>{10, 25, 25, 25, 25, 25, 40}));
}

TEST(BadRows, StayWithoutAGoodRowOfTheirColour) {
  Frame8 frame(1, 4, 2, 10, 1);
  RepairRows(frame.View(), Positions{1, 0, 1, 0});
  EXPECT_EQ(frame.samples, Frame8(1, 4, 2, 10, 1).samples);
}

TEST(BadRows, MissingFlagsAreGoodRows) {
  Frame8 frame(1, 4, 1, 10, 1);
  RepairRows(frame.View(), Positions{0, 1});
  EXPECT_EQ(frame.samples, (std::vector<std::uint8_t>{10, 11, 12, 13}));  // (10 + 12) / 2
  RepairRows(frame.View(), Positions{1});
  EXPECT_EQ(frame.samples[0], 11);
}

TEST(BadRows, RowsThatTheBufferDoesNotHoldAreLeftOut) {
  Frame8 frame(2, 4, 1, 10, 1);
  frame.samples.resize(7);  // three rows and a half
  const auto last = frame.samples[6];
  RepairRows(frame.View(), Positions{0, 0, 1, 1});
  EXPECT_EQ(frame.samples[4], 12);  // a copy of the row above: the one below is not there
  EXPECT_EQ(frame.samples[6], last);
}

TEST(BadColumns, AreRepairedLikeRows) {
  Frame16 frame(5, 2, 1, 0, 0);
  frame.samples = {0, 10, 0, 21, 0,  //
                   0, 30, 0, 40, 0};
  RepairColumns(frame.View(), Positions{1, 0, 1, 0, 1});
  EXPECT_EQ(frame.samples, (std::vector<std::uint16_t>{10, 10, 15, 21, 21,  //
                                                       30, 30, 35, 40, 40}));
}

TEST(BadColumns, KeepToTheirColour) {
  Frame8 frame(5, 1, 2, 0, 0);
  frame.samples = {10, 99, 0, 99, 20};
  RepairColumns(frame.View(), Positions{0, 0, 1, 0, 0});
  EXPECT_EQ(frame.samples, (std::vector<std::uint8_t>{10, 99, 15, 99, 20}));
  RepairColumns(frame.View(), Positions{1, 0, 1, 0, 1});  // none of their colour is good
  EXPECT_EQ(frame.samples, (std::vector<std::uint8_t>{10, 99, 15, 99, 20}));
}

TEST(BadColumns, AreAllRepairedHoweverMany) {
  Frame8 frame(400, 3, 1, 0, 0);
  Positions flags(400);
  for (int x = 0; x < 400; ++x) {
    flags[static_cast<std::size_t>(x)] = x % 2 == 1 ? 1 : 0;
    for (int y = 0; y < 3; ++y)
      frame.At(x, y) = static_cast<std::uint8_t>(x % 2 == 1 ? 255 : 10 * y + x / 2 % 100);
  }
  RepairColumns(frame.View(), flags);
  for (int y = 0; y < 3; ++y) {
    for (int x = 1; x < 399; x += 2)
      ASSERT_EQ(frame.At(x, y), (10 * y + x / 2 % 100 + 10 * y + (x / 2 + 1) % 100) / 2) << x << ',' << y;
    EXPECT_EQ(frame.At(399, y), frame.At(398, y));
  }
}

TEST(DarkPixels, BecomeTheMeanOfLeftAndRight) {
  Frame16 frame(5, 3, 1, 9, 0);
  frame.At(1, 1) = 60000;
  frame.At(3, 1) = 65535;
  RepairDarkPixels(frame.View(), Positions{frame.Pos(2, 1)});
  EXPECT_EQ(frame.At(2, 1), 62767);  // 125535 / 2, no bits cleared
}

TEST(DarkPixels, AtTheBorderAreCopiedFromTheRightOrTheLeft) {
  Frame8 frame(6, 6, 2, 10, 1);
  RepairDarkPixels(frame.View(), Positions{frame.Pos(3, 1)});
  EXPECT_EQ(frame.At(3, 1), 10 + frame.Pos(5, 1));
  RepairDarkPixels(frame.View(), Positions{frame.Pos(1, 3)});
  EXPECT_EQ(frame.At(1, 3), 10 + frame.Pos(3, 3));
  RepairDarkPixels(frame.View(), Positions{frame.Pos(4, 3)});
  EXPECT_EQ(frame.At(4, 3), 10 + frame.Pos(2, 3));
  RepairDarkPixels(frame.View(), Positions{frame.Pos(2, 4)});
  EXPECT_EQ(frame.At(2, 4), 10 + frame.Pos(0, 4));
}

TEST(DarkPixels, OutsideTheBufferAreSkipped) {
  Frame8 frame(4, 4, 1, 10, 1);
  frame.height = 100;
  RepairDarkPixels(frame.View(), Positions{15, 16, 17, 300, 0xFFFFFFFFU});
  EXPECT_EQ(frame.samples[15], 24);  // the last column: from the left
  auto expected = Frame8(4, 4, 1, 10, 1).samples;
  expected[15] = 24;
  EXPECT_EQ(frame.samples, expected);
}

TEST(DarkPixels, NearTheBuffersEndNeedBothNeighbours) {
  std::vector<std::uint8_t> samples{1, 2, 3, 4, 5, 6, 7};
  const FrameView<std::uint8_t> frame{samples, 5, 3, 1};
  RepairDarkPixels(frame, Positions{6});
  EXPECT_EQ(samples[6], 7);
}

/// Random frames, lists, maps and flags against the plain repair.
template <class Sample>
class RandomRepair : public testing::Test {
 protected:
  static constexpr bool kWide = sizeof(Sample) == 2;

  void NextCase() {
    plain = {};
    plain.width = Number(1, 12);
    plain.height = Number(1, 12);
    plain.step = Number(1, 2);
    plain.wide = kWide;
    const int depths[] = {12, 14, 16, 10};
    plain.adcBits = depths[Number(0, 3)];
    // The buffer may hold less or more than the frame.
    const long size = plain.width * plain.height;
    const long held = Number(0, 3) == 0 ? Number(0, static_cast<int>(2 * size)) : size;
    samples.clear();
    for (long i = 0; i < held; ++i) samples.push_back(static_cast<Sample>(random()));
    plain.samples.assign(samples.begin(), samples.end());
    list.clear();
    map.assign(static_cast<std::size_t>(size), 0);
    const int percent = Number(0, 100);
    for (long pos = 0; pos < size + 5; ++pos) {
      if (Number(0, 99) >= percent) continue;
      list.push_back(static_cast<std::uint32_t>(pos));
      if (pos < size) map[static_cast<std::size_t>(pos)] = 1;
    }
    if (Number(0, 3) == 0) map.resize(static_cast<std::size_t>(Number(1, static_cast<int>(size))));
    plain.list.assign(list.begin(), list.end());
    plain.map.assign(map.begin(), map.end());
  }
  std::vector<std::uint32_t> Flags(long count) {
    std::vector<std::uint32_t> flags;
    const int percent = Number(0, 100);
    for (long i = 0; i < count; ++i)
      flags.push_back(Number(0, 99) < percent ? 1 + static_cast<std::uint32_t>(i) : 0);
    if (Number(0, 3) == 0) flags.resize(static_cast<std::size_t>(Number(0, static_cast<int>(count))));
    return flags;
  }
  static std::vector<long> Plain(const std::vector<std::uint32_t>& flags) { return {flags.begin(), flags.end()}; }
  FrameView<Sample> View() {
    return {samples, static_cast<std::int32_t>(plain.width), static_cast<std::int32_t>(plain.height),
            static_cast<std::int32_t>(plain.step)};
  }
  std::vector<Sample> Expected() const {
    std::vector<Sample> expected;
    for (const long sample : plain.samples) expected.push_back(static_cast<Sample>(sample));
    return expected;
  }
  std::string Case() const {
    return std::to_string(plain.width) + "x" + std::to_string(plain.height) + " step " +
           std::to_string(plain.step) + " held " + std::to_string(samples.size());
  }
  int Number(int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  }

  std::mt19937 random{20240229};
  test::PlainRepair plain;
  std::vector<Sample> samples;
  Positions list;
  Map map;
};

using SampleTypes = testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(RandomRepair, SampleTypes);

TYPED_TEST(RandomRepair, OfHotPixelsAgrees) {
  for (int i = 0; i < 4000; ++i) {
    this->NextCase();
    RepairHotPixels(this->View(), this->list, this->map, this->plain.adcBits);
    this->plain.RepairHotPixels(true);
    ASSERT_EQ(this->samples, this->Expected()) << this->Case();
  }
}

TYPED_TEST(RandomRepair, OfRowsAgrees) {
  for (int i = 0; i < 2000; ++i) {
    this->NextCase();
    const auto flags = this->Flags(this->plain.height);
    RepairRows(this->View(), flags);
    this->plain.RepairRows(this->Plain(flags));
    ASSERT_EQ(this->samples, this->Expected()) << this->Case();
  }
}

TYPED_TEST(RandomRepair, OfColumnsAgrees) {
  for (int i = 0; i < 2000; ++i) {
    this->NextCase();
    const auto flags = this->Flags(this->plain.width);
    RepairColumns(this->View(), flags);
    this->plain.RepairColumns(this->Plain(flags));
    ASSERT_EQ(this->samples, this->Expected()) << this->Case();
  }
}

TYPED_TEST(RandomRepair, OfDarkPixelsAgrees) {
  for (int i = 0; i < 4000; ++i) {
    this->NextCase();
    RepairDarkPixels(this->View(), this->list);
    this->plain.RepairDarkPixels();
    ASSERT_EQ(this->samples, this->Expected()) << this->Case();
  }
}

}  // namespace
}  // namespace orq
