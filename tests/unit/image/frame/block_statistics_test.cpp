#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "image/frame/Algorithm.h"

namespace {

using testing::ElementsAre;
using Samples = std::vector<std::uint8_t>;
using Three = std::array<int, 3>;

struct Statistics {
  Three variances{-7, -7, -7};
  Three averages{-7, -7, -7};
};

struct Block {
  int x = 0, y = 0, width = 0, height = 0;
};

Statistics Measure(const CAlgorithm& algorithm, const Samples& frame, const Block& block, int width, int height,
                   bool sixteenBit = false) {
  Statistics result;
  algorithm.Get_variance_ave_RAW(frame.data(), block.x, block.y, block.width, block.height, width, height,
                                 result.variances.data(), result.averages.data(), sixteenBit);
  return result;
}

// 4 x 4, by colour of RGGB: red 1 2 5 8, green 10 10 10 10 10 10 10 14, blue 20 24 28 39.
const Samples kFrame = {1,  10, 2,  10,  //
                        10, 20, 10, 24,  //
                        5,  10, 8,  10,  //
                        10, 28, 14, 39};

TEST(BlockStatistics, AreTruncatedPopulationValuesInTheOrderRedGreenBlue) {
  const CAlgorithm algorithm;
  const Statistics all = Measure(algorithm, kFrame, {0, 0, 4, 4}, 4, 4);
  EXPECT_THAT(all.averages, ElementsAre(4, 10, 27));  // 16/4, 84/8 = 10.5, 111/4 = 27.75
  EXPECT_THAT(all.variances, ElementsAre(7, 1, 50));  // 30/4 = 7.5, 14/8 = 1.75, 50.19
}

TEST(BlockStatistics, TakeTheSamplesOfTheBlockOnly) {
  const CAlgorithm algorithm;
  const Statistics part = Measure(algorithm, kFrame, {2, 0, 2, 4}, 4, 4);
  EXPECT_THAT(part.averages, ElementsAre(5, 11, 31));  // 2 8; 10 10 10 14; 24 39
  EXPECT_THAT(part.variances, ElementsAre(9, 3, 56));
  const Statistics odd = Measure(algorithm, kFrame, {1, 1, 1, 3}, 4, 4);
  EXPECT_THAT(odd.averages, ElementsAre(0, 10, 24)) << "a column without red; 10; 20 28";
  EXPECT_THAT(odd.variances, ElementsAre(0, 0, 16));
}

TEST(BlockStatistics, ColoursStandWhereThePatternSaysFromTheFramesCorner) {
  CAlgorithm algorithm;
  algorithm.SetBayer(1);  // BGGR
  EXPECT_THAT(Measure(algorithm, kFrame, {0, 0, 4, 4}, 4, 4).averages, ElementsAre(27, 10, 4));
  algorithm.SetBayer(2);  // GRBG: green 1 2 20 24 5 8 28 39, red 10 10 10 10, blue 10 10 10 14
  EXPECT_THAT(Measure(algorithm, kFrame, {0, 0, 4, 4}, 4, 4).averages, ElementsAre(10, 15, 11));
  algorithm.SetBayer(3);  // GBRG
  EXPECT_THAT(Measure(algorithm, kFrame, {0, 0, 4, 4}, 4, 4).averages, ElementsAre(11, 15, 10));
  algorithm.SetBayer(0);
  EXPECT_THAT(Measure(algorithm, kFrame, {1, 1, 2, 2}, 4, 4).averages, ElementsAre(8, 10, 20));
}

/// The frame with 16 bits a sample, as this processor stores them.
Samples WideFrame() {
  std::vector<std::uint16_t> values(kFrame.size());
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<std::uint16_t>((kFrame[i] << 8) | 0xAB);
  Samples bytes(values.size() * 2);
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

TEST(BlockStatistics, SixteenBitSamplesCountByTheirUpperHalf) {
  const Samples bytes = WideFrame();
  const CAlgorithm algorithm;
  const Statistics host = Measure(algorithm, bytes, {0, 0, 4, 4}, 4, 4, true);
  EXPECT_THAT(host.averages, ElementsAre(4, 10, 27));
  EXPECT_THAT(host.variances, ElementsAre(7, 1, 50));
  EXPECT_THAT(Measure(algorithm, bytes, {2, 0, 2, 4}, 4, 4, true).averages, ElementsAre(5, 11, 31));
}

TEST(BlockStatistics, HighByteFirstIsToldToTheObjectAndCountsFor16BitOnly) {
  Samples bytes;
  for (const std::uint8_t value : kFrame) {
    bytes.push_back(value);
    bytes.push_back(0xAB);
  }
  CAlgorithm algorithm;
  algorithm.SetHighByteFirst(true);
  EXPECT_THAT(Measure(algorithm, bytes, {0, 0, 4, 4}, 4, 4, true).averages, ElementsAre(4, 10, 27));
  EXPECT_THAT(Measure(algorithm, kFrame, {0, 0, 4, 4}, 4, 4).averages, ElementsAre(4, 10, 27));
  algorithm.SetHighByteFirst(false);
  EXPECT_THAT(Measure(algorithm, WideFrame(), {0, 0, 4, 4}, 4, 4, true).averages, ElementsAre(4, 10, 27));
}

TEST(BlockStatistics, ABlockIsCutAtTheFrame) {
  const CAlgorithm algorithm;
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const Block& block : {Block{2, 0, 100, 100}, Block{2, 0, kMost, kMost}})
    EXPECT_THAT(Measure(algorithm, kFrame, block, 4, 4).averages, ElementsAre(5, 11, 31));
  EXPECT_THAT(Measure(algorithm, kFrame, {-2, -2, 4, 4}, 4, 4).averages, ElementsAre(1, 10, 20));
}

TEST(BlockStatistics, WithoutSamplesAllIsZero) {
  const CAlgorithm algorithm;
  const auto empty = [&](const Block& block, int width, int height) {
    const Statistics result = Measure(algorithm, kFrame, block, width, height);
    return result.averages == Three{} && result.variances == Three{};
  };
  EXPECT_TRUE(empty({0, 0, 0, 0}, 4, 4));
  EXPECT_TRUE(empty({0, 0, -3, 4}, 4, 4));
  EXPECT_TRUE(empty({4, 0, 2, 2}, 4, 4));
  EXPECT_TRUE(empty({0, 9, 2, 2}, 4, 4));
  EXPECT_TRUE(empty({0, 0, 2, 2}, 0, 0));
  EXPECT_TRUE(empty({0, 0, 2, 2}, -4, 4));
  EXPECT_TRUE(empty({0, 0, 2, 2}, 4, -4));
  Statistics none;
  algorithm.Get_variance_ave_RAW(nullptr, 0, 0, 4, 4, 4, 4, none.variances.data(), none.averages.data(), false);
  EXPECT_EQ(none.averages, Three{});
  EXPECT_EQ(none.variances, Three{});
}

TEST(BlockStatistics, AreRightForManySamples) {
  constexpr int kWidth = 1000;
  constexpr int kHeight = 600;
  Samples frame(kWidth * kHeight);
  std::mt19937 random(3);
  std::array<std::vector<double>, 3> colours;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      // Extremes: the largest variance, and nothing lost to rounding.
      const auto value = static_cast<std::uint8_t>(random() % 2 == 0 ? 0 : 255);
      frame[static_cast<std::size_t>(y * kWidth + x)] = value;
      colours[static_cast<std::size_t>(x % 2 + y % 2)].push_back(value);
    }
  }
  const Statistics result = Measure(CAlgorithm(), frame, {0, 0, kWidth, kHeight}, kWidth, kHeight);
  for (std::size_t i = 0; i < 3; ++i) {
    double sum = 0;
    for (const double value : colours[i]) sum += value;
    const double mean = sum / static_cast<double>(colours[i].size());
    double squares = 0;
    for (const double value : colours[i]) squares += (value - mean) * (value - mean);
    EXPECT_EQ(result.averages[i], static_cast<int>(mean));
    EXPECT_EQ(result.variances[i], static_cast<int>(squares / static_cast<double>(colours[i].size())));
  }
}

}  // namespace
