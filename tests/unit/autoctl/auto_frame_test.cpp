#include "autoctl/AutoFrame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <limits>
#include <random>
#include <vector>

namespace orq {
namespace {

using Bytes = std::vector<std::uint8_t>;

int Zero() {
  return 0;
}
int One() {
  return 1;
}

/// Answers in turn, and counts how often it was asked.
struct Answers {
  std::deque<bool> answers;
  int asked = 0;
  bool operator()() {
    ++asked;
    const bool answer = answers.front();
    answers.pop_front();
    return answer;
  }
};

TEST(AutoFrameSize, IsTheImageWhenFramesArriveBinned) {
  Answers binned{{true, true}};
  EXPECT_EQ(AutoFrameSize({100, 50, 2, true, false}, std::ref(binned)), (FrameSize{100, 50}));
  EXPECT_EQ(binned.asked, 2);
}

TEST(AutoFrameSize, IsTheImageTimesTheBinWhenTheHostBins) {
  Answers unbinned{{false, false}};
  EXPECT_EQ(AutoFrameSize({100, 50, 3, true, false}, std::ref(unbinned)), (FrameSize{300, 150}));
}

TEST(AutoFrameSize, AsksAboutWidthAndHeightApart) {
  Answers first{{true, false}};
  EXPECT_EQ(AutoFrameSize({100, 50, 2, false, false}, std::ref(first)), (FrameSize{100, 100}));
  Answers second{{false, true}};
  EXPECT_EQ(AutoFrameSize({100, 50, 2, false, false}, std::ref(second)), (FrameSize{200, 50}));
}

TEST(AutoFrameSize, DoublesAtHardwareBinFourOnly) {
  EXPECT_EQ(AutoFrameSize(
                {100, 50, 4, true, false}, [] { return true; }),
            (FrameSize{200, 100}));
  EXPECT_EQ(AutoFrameSize(
                {100, 50, 4, true, false}, [] { return false; }),
            (FrameSize{800, 400}));
  EXPECT_EQ(AutoFrameSize(
                {100, 50, 4, false, false}, [] { return false; }),
            (FrameSize{400, 200}));
  EXPECT_EQ(AutoFrameSize({100, 50, 2, true, false}, [] { return true; }), (FrameSize{100, 50}));
}

TEST(AutoFrameSize, IsTheImageWhereTheFpgaBinsAndNobodyIsAsked) {
  Answers none;
  EXPECT_EQ(AutoFrameSize({100, 50, 4, true, true}, std::ref(none)), (FrameSize{100, 50}));
  EXPECT_EQ(none.asked, 0);
}

TEST(AutoFrameSize, WrapsAbsurdSettings) {
  constexpr int kMost = std::numeric_limits<int>::max();
  // 2 * (2^31 - 1) is -2 in 32 bits.
  EXPECT_EQ(AutoFrameSize({kMost, kMost, 2, false, false}, [] { return false; }), (FrameSize{-2, -2}));
}

TEST(SampleForm, SevenNamesKeepTheHighByteFirstIn16Bit) {
  for (const char* name : {"Tavix ORQ-K1C", "Tavix ORQ-K1M", "Tavix ORQ-K1C-R", "Tavix ORQ-K1M-R", "Tavix ORQ-K2M",
                           "Tavix ORQ-K1C-RC", "Tavix ORQ-K1M-RC"}) {
    EXPECT_EQ(SampleFormOf(true, name), SampleForm::HighByteFirst) << name;
    EXPECT_EQ(SampleFormOf(false, name), SampleForm::EightBit) << name;
  }
}

TEST(SampleForm, AnyOtherNameIsInHostOrder) {
  for (const char* name : {"", "Tavix ORQ-K1", "Tavix ORQ-K1CX", "tavix orq-k1c", " Tavix ORQ-K1C",
                           "Tavix ORQ-K2C", "Tavix ORQ-K2M-R", "Tavix ORQ-T46C"}) {
    EXPECT_EQ(SampleFormOf(true, name), SampleForm::HostOrder) << name;
    EXPECT_EQ(SampleFormOf(false, name), SampleForm::EightBit) << name;
  }
}

TEST(SampleCentre, TakesTheGridPointsInsideTheCentreWithBothEnds) {
  // 64 x 48: both steps are 1. Columns 12 (64/5) to 51 (256/5), rows 9 (48/5) to 38 (192/5): 40 x 30 points.
  Bytes frame(64 * 48, 200);
  for (std::size_t y = 9; y <= 38; ++y)
    for (std::size_t x = 12; x <= 51; ++x) frame[y * 64 + x] = 1;
  const SampleSum samples = SampleCentre({frame, {64, 48}}, Zero);
  EXPECT_EQ(samples.count, 1200U);
  EXPECT_EQ(samples.sum, 1200U) << "one outside would count 200";
}

TEST(SampleCentre, JitterMovesEachPointByOne) {
  // 640 x 480: steps of 10, centre 128 to 512 and 96 to 384. At 10 i + 1: i 13 to 51, j 10 to 38.
  Bytes frame(640 * 480, 0);
  for (std::size_t j = 10; j <= 38; ++j)
    for (std::size_t i = 13; i <= 51; ++i) frame[(10 * j + 1) * 640 + 10 * i + 1] = 3;
  const SampleSum samples = SampleCentre({frame, {640, 480}}, One);
  EXPECT_EQ(samples.count, 39U * 29U);
  EXPECT_EQ(samples.sum, 3U * 39U * 29U);
  EXPECT_EQ(SampleCentre({frame, {640, 480}}, Zero).sum, 0U);
}

TEST(SampleCentre, DrawsOncePerColumnAndFortyEightTimesMoreInsideTheCentre) {
  // With no jitter 39 of the 64 columns of a 640-sample row lie inside: 13 to 51.
  int drawn = 0;
  const Bytes frame(640 * 480, 0);
  SampleCentre({frame, {640, 480}}, [&] { return ++drawn, 0; });
  EXPECT_EQ(drawn, 64 + 39 * 48);
}

TEST(SampleCentre, DrawsInTheOrderOfTheGrid) {
  constexpr int kWidth = 737;
  constexpr int kHeight = 511;
  std::mt19937 random(5);
  Bytes frame(kWidth * kHeight);
  for (auto& byte : frame) byte = static_cast<std::uint8_t>(random());
  std::srand(77);
  const SampleSum samples = SampleCentre({frame, {kWidth, kHeight}}, std::rand);

  // Again, by itself. 511 / 48 has no row where single precision matters.
  std::srand(77);
  std::uint32_t sum = 0;
  std::uint32_t count = 0;
  for (int i = 0; i < 64; ++i) {
    const int x = kWidth * i / 64 + std::rand() % 2;
    if (x < 147 || x > 589) continue;
    for (int j = 0; j < 48; ++j) {
      const int y = kHeight * j / 48 + std::rand() % 2;
      if (y < 102 || y > 408) continue;
      sum += frame[static_cast<std::size_t>(y * kWidth + x)];
      ++count;
    }
  }
  EXPECT_EQ(samples.sum, sum);
  EXPECT_EQ(samples.count, count);
}

TEST(SampleCentre, RowsAreFoundInSinglePrecision) {
  // 400 / 48 in single precision is a little less than 8 1/3: rows 15 and 30 of the grid lie at 124 and 249.
  const auto sampled = [](std::size_t row) {
    Bytes frame(64 * 400, 0);
    std::fill_n(frame.begin() + static_cast<std::ptrdiff_t>(row * 64), 64, std::uint8_t{1});
    return SampleCentre({frame, {64, 400}}, Zero).sum > 0;
  };
  EXPECT_TRUE(sampled(124));
  EXPECT_FALSE(sampled(125));
  EXPECT_TRUE(sampled(249));
  EXPECT_FALSE(sampled(250));
  EXPECT_TRUE(sampled(100));  // 12 * 8 1/3
}

TEST(SampleCentre, TakesTheFirstByteOfHighByteFirstSamples) {
  Bytes frame(64 * 48 * 2);
  for (std::size_t i = 0; i < frame.size(); i += 2) frame[i] = 0x12, frame[i + 1] = 0x34;
  const SampleSum samples = SampleCentre({frame, {64, 48}, SampleForm::HighByteFirst}, Zero);
  EXPECT_EQ(samples.sum, 1200U * 0x12);
}

TEST(SampleCentre, TakesTheUpperHalfOfHostOrderSamples) {
  std::vector<std::uint16_t> values(64 * 48, 0x1234);
  const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(values.data()),
                                            values.size() * 2);
  const SampleSum samples = SampleCentre({bytes, {64, 48}, SampleForm::HostOrder}, Zero);
  EXPECT_EQ(samples.count, 1200U);
  EXPECT_EQ(samples.sum, 1200U * 0x12);
}

TEST(SampleCentre, SaturatedSamplesDoNotOverflow) {
  const Bytes frame(64 * 48, 255);
  EXPECT_EQ(SampleCentre({frame, {64, 48}}, Zero).sum, 1200U * 255);
}

TEST(SampleCentre, NeitherReadsNorCountsWhatLiesOutsideTheBuffer) {
  // The buffer ends in the middle of row 20 of rows 9 to 38: eleven rows whole, of row 20 columns 12 to 31.
  const Bytes frame(20 * 64 + 32, 5);
  const SampleSum samples = SampleCentre({frame, {64, 48}}, Zero);
  EXPECT_EQ(samples.count, 11U * 40 + 20);
  EXPECT_EQ(samples.sum, 5 * samples.count);
  // Two bytes each: half as many samples. An odd byte is no sample.
  const Bytes wide(2 * (20 * 64 + 32) + 1, 5);
  EXPECT_EQ(SampleCentre({wide, {64, 48}, SampleForm::HighByteFirst}, Zero).count, 11U * 40 + 20);
  EXPECT_EQ(SampleCentre({wide, {64, 48}, SampleForm::HostOrder}, Zero).count, 11U * 40 + 20);
}

TEST(SampleCentre, TakesNothingWhereThereIsNothing) {
  const Bytes frame(100, 5);
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_EQ(SampleCentre({{}, {64, 48}}, Zero).count, 0U);
  for (const int side : {0, -1, -1000, kLeast}) {
    EXPECT_EQ(SampleCentre({frame, {side, 10}}, Zero).count, 0U);
    EXPECT_EQ(SampleCentre({frame, {10, side}}, Zero).count, 0U);
    EXPECT_EQ(SampleCentre({frame, {side, side}}, Zero).count, 0U);
  }
  EXPECT_EQ(SampleCentre({frame, {kMost, kMost}}, Zero).count, 0U);
}

TEST(MeanBrightness, IsTheTruncatedMeanPlusOne) {
  EXPECT_EQ(MeanBrightness({70, 7}, {}), 11);
  EXPECT_EQ(MeanBrightness({19, 10}, {}), 2);
  EXPECT_EQ(MeanBrightness({0, 5}, {}), 1);
}

TEST(MeanBrightness, CountsEverySampleOfAPixelThatTheHostSums) {
  EXPECT_EQ(MeanBrightness({70, 7}, {.bin = 2, .summedOnHost = true}), 44);
  EXPECT_EQ(MeanBrightness({70, 7}, {.bin = 3, .summedOnHost = true}), 99);
  EXPECT_EQ(MeanBrightness({70, 7}, {.bin = 2, .summedOnHost = false}), 11);
  EXPECT_EQ(MeanBrightness({70, 7}, {.bin = 4, .summedOnHost = false, .twoStage = true}), 44);
  EXPECT_EQ(MeanBrightness({0, 7}, {.bin = 4, .summedOnHost = true, .twoStage = true}), 64);
}

TEST(MeanBrightness, EndsAt255) {
  EXPECT_EQ(MeanBrightness({255 * 9, 9}, {}), 255);
  EXPECT_EQ(MeanBrightness({254 * 9, 9}, {}), 255);
  EXPECT_EQ(MeanBrightness({253 * 9, 9}, {}), 254);
  EXPECT_EQ(MeanBrightness({200, 1}, {.bin = 4, .summedOnHost = true, .twoStage = true}), 255);
}

TEST(MeanBrightness, IsNothingWithoutSamples) {
  EXPECT_EQ(MeanBrightness({0, 0}, {.bin = 2, .summedOnHost = true, .twoStage = true}), 0);
}

}  // namespace
}  // namespace orq
