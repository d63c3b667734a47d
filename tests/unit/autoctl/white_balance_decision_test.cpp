#include "autoctl/WhiteBalanceDecision.h"

#include <gtest/gtest.h>

#include <limits>

namespace orq {
namespace {

TEST(Blocks, LieInAGridOfSixteenBySixteenWithTruncatedEdges) {
  const FrameSize frame{100, 50};  // blocks of 6 x 3; column 5 begins at 31.25, row 7 at 21.875
  EXPECT_EQ(PlaceOfBlock(0, frame), (BlockPlace{0, 0, 6, 3}));
  EXPECT_EQ(PlaceOfBlock(15, frame), (BlockPlace{93, 0, 6, 3}));
  EXPECT_EQ(PlaceOfBlock(7 * 16 + 5, frame), (BlockPlace{31, 21, 6, 3}));
  EXPECT_EQ(PlaceOfBlock(255, frame), (BlockPlace{93, 46, 6, 3}));
}

TEST(Blocks, OfASmallFrameHaveNoSamples) {
  EXPECT_EQ(PlaceOfBlock(255, {15, 10}), (BlockPlace{14, 9, 0, 0}));
  EXPECT_EQ(PlaceOfBlock(255, {0, 0}), (BlockPlace{0, 0, 0, 0}));
}

TEST(ChannelMean, CountsEachBlockByItsVariance) {
  ChannelBlocks blocks;
  blocks.Take(3, 30, 100);
  blocks.Take(200, 69, 50);
  // (3000 + 3450) / (99 + 1)
  EXPECT_FLOAT_EQ(blocks.Mean(), 64.5F);
}

TEST(ChannelMean, IsLowWhereVariancesAreSmall) {
  ChannelBlocks blocks;
  blocks.Take(3, 1, 100);
  EXPECT_FLOAT_EQ(blocks.Mean(), 50.0F);
}

TEST(ChannelMean, WithoutAnyVarianceIsTheTopLeftAverage) {
  ChannelBlocks blocks;
  blocks.Take(0, 0, 77);
  blocks.Take(1, 0, 200);
  EXPECT_FLOAT_EQ(blocks.Mean(), 77.0F);
}

TEST(ChannelMean, ANegativeVarianceIsReportedAndCounts) {
  ChannelBlocks blocks;
  EXPECT_TRUE(blocks.Take(0, 0, 10));
  EXPECT_FALSE(blocks.Take(1, -3, 10));
  EXPECT_TRUE(blocks.Take(2, 12, 20));
  EXPECT_EQ(blocks.varianceSum, 9);
  EXPECT_FLOAT_EQ(blocks.Mean(), 21.0F);  // (-30 + 240) / 10
}

TEST(ChannelMean, AWeightBelowZeroIsAnUnsignedOne) {
  ChannelBlocks blocks;
  blocks.Take(1, -3, 10);
  // -2 as unsigned is 4,294,967,294.
  EXPECT_FLOAT_EQ(blocks.Mean(), -30.0F / 4294967294.0F);
}

TEST(ChannelMean, IsFormedInSinglePrecision) {
  ChannelBlocks blocks;
  // 16,256 * 255 = 4,145,280 each; 256 of them over 16,256 * 256 + 1 add up to a little less than 255.
  for (std::size_t i = 0; i < kBlocks; ++i) blocks.Take(i, 16'256, 255);
  float sum = 0.0F;
  for (int i = 0; i < 256; ++i) sum += 4'145'280.0F / 4'161'537.0F;
  EXPECT_EQ(blocks.Mean(), sum);
}

TEST(TooDarkForColour, MeansThatNoneExceedsNine) {
  EXPECT_TRUE(TooDarkForColour({9, 9, 9}));
  EXPECT_TRUE(TooDarkForColour({0, 0, 0}));
  EXPECT_FALSE(TooDarkForColour({10, 9, 9}));
  EXPECT_FALSE(TooDarkForColour({9, 10, 9}));
  EXPECT_FALSE(TooDarkForColour({9, 9, 10}));
}

TEST(ColoursBalanced, WithinFourPercentOfGreen) {
  EXPECT_TRUE(ColoursBalanced({96, 100, 104}, false));
  EXPECT_FALSE(ColoursBalanced({95, 100, 100}, false));
  EXPECT_FALSE(ColoursBalanced({100, 100, 105}, false));
  EXPECT_FALSE(ColoursBalanced({100, 108, 100}, false));
}

TEST(ColoursBalanced, WithinTenPercentWhileExposureOrGainIsAutomatic) {
  EXPECT_TRUE(ColoursBalanced({100, 108, 100}, true));  // 800 <= 1080
  EXPECT_TRUE(ColoursBalanced({90, 100, 110}, true));
  EXPECT_FALSE(ColoursBalanced({89, 100, 100}, true));
  EXPECT_FALSE(ColoursBalanced({100, 100, 111}, true));
}

TEST(ColoursBalanced, NothingButEqualityIsNearBlack) {
  EXPECT_TRUE(ColoursBalanced({0, 0, 0}, true));
  EXPECT_FALSE(ColoursBalanced({20, 0, 0}, true));
}

TEST(NextWhiteBalance, ScalesByGreenOverOneMoreThanTheColour) {
  EXPECT_EQ(NextWhiteBalance({99, 120, 119}, {50, 60}), (WhiteBalanceValues{60, 60}));
  EXPECT_EQ(NextWhiteBalance({200, 100, 40}, {50, 50}), (WhiteBalanceValues{24, 121})) << "5000/201, 5000/41";
}

TEST(NextWhiteBalance, SmallValuesMoveByOneAtLeast) {
  EXPECT_EQ(NextWhiteBalance({10, 11, 10}, {4, 4}), (WhiteBalanceValues{5, 5}));
  EXPECT_EQ(NextWhiteBalance({100, 101, 100}, {1, 1}), (WhiteBalanceValues{2, 2}));
  EXPECT_EQ(NextWhiteBalance({10, 11, 10}, {5, 5}), (WhiteBalanceValues{5, 5})) << "5 is held back";
  EXPECT_EQ(NextWhiteBalance({11, 11, 11}, {4, 4}), (WhiteBalanceValues{3, 3})) << "green is no brighter";
  EXPECT_EQ(NextWhiteBalance({12, 11, 12}, {4, 4}), (WhiteBalanceValues{3, 3}));
  EXPECT_EQ(NextWhiteBalance({10, 15, 10}, {4, 4}), (WhiteBalanceValues{5, 5})) << "60 / 11: has moved by itself";
  EXPECT_EQ(NextWhiteBalance({0, 0, 0}, {0, 4}), (WhiteBalanceValues{0, 0}));
}

TEST(NextWhiteBalance, WrapsInsteadOfOverflowing) {
  constexpr int kMost = std::numeric_limits<int>::max();
  // (2^31 - 1) * 2 is -2 in 32 bits.
  EXPECT_EQ(NextWhiteBalance({0, 2, 0}, {kMost, kMost}), (WhiteBalanceValues{-2, -2}));
}

}  // namespace
}  // namespace orq
