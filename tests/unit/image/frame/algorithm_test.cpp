#include "image/frame/Algorithm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using Samples = std::vector<std::uint8_t>;

constexpr std::array kPatterns = {BayerPattern::RG, BayerPattern::BG, BayerPattern::GR, BayerPattern::GB};
constexpr std::array<const char*, 4> kFitsNames = {"RGGB", "BGGR", "GRBG", "GBRG"};

/// The colour letter at a place, from the FITS name: its four letters are the block read row by row.
char ColourAt(BayerPattern pattern, int x, int y) {
  return kFitsNames.at(static_cast<std::size_t>(pattern))[(y & 1) * 2 + (x & 1)];
}

CAlgorithm AlgorithmFor(int pattern) {
  CAlgorithm algorithm;
  algorithm.RGBYUV_Init();
  algorithm.SetBayer(pattern);
  return algorithm;
}

Samples ToBgr(int pattern, const Samples& bayer, int width, int height) {
  Samples bgr(bayer.size() * 3);
  AlgorithmFor(pattern).BayerToRGB24(bayer.data(), width, height, bgr.data());
  return bgr;
}

Samples ToY8(int pattern, const Samples& bayer, int width, int height) {
  Samples luminance(bayer.size());
  AlgorithmFor(pattern).BayerToY8(bayer.data(), width, height, luminance.data());
  return luminance;
}

/// One colour's plane of an interleaved blue-green-red image.
Samples PlaneOf(const Samples& bgr, char colour) {
  Samples plane;
  for (std::size_t i = std::string("BGR").find(colour); i < bgr.size(); i += 3) plane.push_back(bgr[i]);
  return plane;
}

Samples RandomSamples(int width, int height) {
  std::mt19937 random(static_cast<unsigned>(width * 10007 + height));
  Samples samples(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (auto& sample : samples) sample = static_cast<std::uint8_t>(random());
  return samples;
}

int Mirrored(int position, int size) {
  if (position < 0) return -position;
  return position < size ? position : 2 * (size - 1) - position;
}

/// Bilinear interpolation said differently: a colour missing at a site is the mean of all samples of that colour
/// in the 3 x 3 window around it.
std::uint8_t WindowMean(BayerPattern pattern, const Samples& bayer, int width, int height, int x, int y,
                        char colour) {
  const auto sampleAt = [&](int column, int row) {
    return bayer[static_cast<std::size_t>(Mirrored(row, height)) * static_cast<std::size_t>(width) +
                 static_cast<std::size_t>(Mirrored(column, width))];
  };
  if (ColourAt(pattern, x, y) == colour) return sampleAt(x, y);
  double sum = 0;
  double count = 0;
  for (int row = y - 1; row <= y + 1; ++row) {
    for (int column = x - 1; column <= x + 1; ++column) {
      if (ColourAt(pattern, Mirrored(column, width), Mirrored(row, height)) != colour) continue;
      sum += sampleAt(column, row);
      count += 1;
    }
  }
  return static_cast<std::uint8_t>(sum / count + 0.5);
}

TEST(BayerPatterns, HaveTheirFitsNames) {
  EXPECT_STREQ(BayerName(BayerPattern::RG), "RGGB");
  EXPECT_STREQ(BayerName(BayerPattern::BG), "BGGR");
  EXPECT_STREQ(BayerName(BayerPattern::GR), "GRBG");
  EXPECT_STREQ(BayerName(BayerPattern::GB), "GBRG");
}

TEST(BayerPatterns, ANumberOutsideTheListIsNamedLikeTheFirst) {
  EXPECT_STREQ(BayerName(static_cast<BayerPattern>(4)), "RGGB");
  EXPECT_STREQ(BayerName(static_cast<BayerPattern>(-1)), "RGGB");
}

TEST(BayerPatterns, ShiftingTheOriginKeepsEverySampleItsColour) {
  for (const BayerPattern pattern : kPatterns) {
    for (int dx = -3; dx <= 3; ++dx) {
      for (int dy = -3; dy <= 3; ++dy) {
        const BayerPattern shifted = ShiftBayer(pattern, dx, dy);
        for (const auto& [x, y] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
          EXPECT_EQ(ColourAt(shifted, x, y), ColourAt(pattern, x + dx, y + dy))
              << BayerName(pattern) << " shifted by " << dx << ", " << dy;
        }
      }
    }
  }
}

TEST(BayerPatterns, FlippingKeepsEverySampleItsColour) {
  for (const auto& [pattern, flips, width, height] : {std::tuple{BayerPattern::RG, 1, 4, 4},
                                                      {BayerPattern::RG, 1, 5, 4},
                                                      {BayerPattern::RG, 2, 4, 4},
                                                      {BayerPattern::RG, 2, 4, 5},
                                                      {BayerPattern::BG, 3, 4, 4},
                                                      {BayerPattern::BG, 3, 5, 4},
                                                      {BayerPattern::GR, 3, 4, 5},
                                                      {BayerPattern::GR, 1, 2, 2},
                                                      {BayerPattern::GB, 3, 5, 5},
                                                      {BayerPattern::GB, 2, 3, 2},
                                                      {BayerPattern::GR, 0, 4, 4},
                                                      {BayerPattern::GB, 0, 5, 5}}) {
    const bool horizontal = (flips & 1) != 0;
    const bool vertical = (flips & 2) != 0;
    const BayerPattern flipped = FlipBayer(pattern, horizontal, vertical, width, height);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        EXPECT_EQ(ColourAt(flipped, x, y),
                  ColourAt(pattern, horizontal ? width - 1 - x : x, vertical ? height - 1 - y : y))
            << BayerName(pattern) << ' ' << width << 'x' << height << " flips " << flips;
      }
    }
  }
}

TEST(Demosaic, TwoByTwoByHand) {
  const Samples bgr = ToBgr(0, {10, 20, 30, 40}, 2, 2);
  EXPECT_THAT(PlaneOf(bgr, 'R'), Each(10));
  EXPECT_THAT(PlaneOf(bgr, 'G'), ElementsAre(25, 20, 30, 25));
  EXPECT_THAT(PlaneOf(bgr, 'B'), Each(40));
}

// The frame is  8 101  17
//              33  60 202
//              90   7 255
const Samples kThreeByThree = {8, 101, 17, 33, 60, 202, 90, 7, 255};

TEST(Demosaic, ThreeByThreeByHandWithRedOrBlueInTheCorner) {
  const Samples corners = {8, 13, 17, 49, 93, 136, 90, 173, 255};
  const Samples green = {67, 101, 152, 33, 86, 202, 20, 7, 105};
  const Samples rggb = ToBgr(0, kThreeByThree, 3, 3);
  EXPECT_EQ(PlaneOf(rggb, 'R'), corners);
  EXPECT_EQ(PlaneOf(rggb, 'G'), green);
  EXPECT_THAT(PlaneOf(rggb, 'B'), Each(60));
  const Samples bggr = ToBgr(1, kThreeByThree, 3, 3);
  EXPECT_EQ(PlaneOf(bggr, 'B'), corners);
  EXPECT_EQ(PlaneOf(bggr, 'G'), green);
  EXPECT_THAT(PlaneOf(bggr, 'R'), Each(60));
}

TEST(Demosaic, ThreeByThreeByHandWithGreenInTheCorner) {
  const Samples beside = {101, 101, 101, 54, 54, 54, 7, 7, 7};
  const Samples green = {8, 36, 17, 55, 60, 98, 90, 116, 255};
  const Samples below = {33, 118, 202, 33, 118, 202, 33, 118, 202};
  const Samples grbg = ToBgr(2, kThreeByThree, 3, 3);
  EXPECT_EQ(PlaneOf(grbg, 'R'), beside);
  EXPECT_EQ(PlaneOf(grbg, 'G'), green);
  EXPECT_EQ(PlaneOf(grbg, 'B'), below);
  const Samples gbrg = ToBgr(3, kThreeByThree, 3, 3);
  EXPECT_EQ(PlaneOf(gbrg, 'B'), beside);
  EXPECT_EQ(PlaneOf(gbrg, 'G'), green);
  EXPECT_EQ(PlaneOf(gbrg, 'R'), below);
}

TEST(Demosaic, AnUnknownPatternCountsAsTheFirst) {
  const Samples first = ToBgr(0, kThreeByThree, 3, 3);
  EXPECT_EQ(ToBgr(4, kThreeByThree, 3, 3), first);
  EXPECT_EQ(ToBgr(-1, kThreeByThree, 3, 3), first);
  EXPECT_NE(ToBgr(1, kThreeByThree, 3, 3), first);
}

using FrameSize = std::pair<int, int>;

class DemosaicOfSize : public testing::TestWithParam<FrameSize> {
 protected:
  const int width = GetParam().first;
  const int height = GetParam().second;
  const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
};

TEST_P(DemosaicOfSize, EqualsTheMeanOfEachColourInTheWindow) {
  const Samples bayer = RandomSamples(width, height);
  for (const BayerPattern pattern : kPatterns) {
    const Samples bgr = ToBgr(static_cast<int>(pattern), bayer, width, height);
    for (std::size_t i = 0; i < bgr.size(); ++i) {
      const int x = static_cast<int>(i / 3) % width;
      const int y = static_cast<int>(i / 3) / width;
      ASSERT_EQ(bgr[i], WindowMean(pattern, bayer, width, height, x, y, "BGR"[i % 3]))
          << BayerName(pattern) << " at " << x << ", " << y << ", colour "
          << "BGR"[i % 3];
    }
  }
}

TEST_P(DemosaicOfSize, FlatColourIsReproducedExactly) {
  for (const BayerPattern pattern : kPatterns) {
    Samples bayer(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
      const char colour = ColourAt(pattern, static_cast<int>(i) % width, static_cast<int>(i) / width);
      bayer[i] = colour == 'R' ? 255 : colour == 'G' ? 101 : 3;
    }
    const Samples bgr = ToBgr(static_cast<int>(pattern), bayer, width, height);
    EXPECT_THAT(PlaneOf(bgr, 'R'), Each(255)) << BayerName(pattern);
    EXPECT_THAT(PlaneOf(bgr, 'G'), Each(101)) << BayerName(pattern);
    EXPECT_THAT(PlaneOf(bgr, 'B'), Each(3)) << BayerName(pattern);
  }
}

TEST_P(DemosaicOfSize, LuminanceIsThatOfTheDemosaicedColours) {
  const Samples bayer = RandomSamples(width, height);
  for (int pattern = 0; pattern < 4; ++pattern) {
    const Samples bgr = ToBgr(pattern, bayer, width, height);
    const Samples luminance = ToY8(pattern, bayer, width, height);
    for (std::size_t i = 0; i < pixels; ++i) {
      const int weighted = 77 * bgr[3 * i + 2] + 150 * bgr[3 * i + 1] + 29 * bgr[3 * i];
      ASSERT_EQ(luminance[i], (weighted + 128) / 256) << "pixel " << i << ", pattern " << pattern;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, DemosaicOfSize,
                         testing::Values(FrameSize{2, 2}, FrameSize{2, 7}, FrameSize{7, 2}, FrameSize{3, 3},
                                         FrameSize{4, 5}, FrameSize{33, 4}, FrameSize{513, 3}, FrameSize{514, 3},
                                         FrameSize{515, 4}, FrameSize{516, 2}, FrameSize{1027, 3}),
                         [](const auto& size) {
                           return std::to_string(size.param.first) + 'x' + std::to_string(size.param.second);
                         });

TEST(Luminance, WeighsTheColoursAsBt601) {
  // A frame of one colour: 255 times 0.299, 0.587 and 0.114 is 76.2, 149.7 and 29.1 (weights are 1/256 fine).
  const auto luminanceOf = [](char colour) {
    Samples bayer(16);
    for (int i = 0; i < 16; ++i)
      bayer[static_cast<std::size_t>(i)] = ColourAt(BayerPattern::RG, i % 4, i / 4) == colour ? 255 : 0;
    return ToY8(0, bayer, 4, 4);
  };
  EXPECT_THAT(luminanceOf('R'), Each(77));
  EXPECT_THAT(luminanceOf('G'), Each(149));
  EXPECT_THAT(luminanceOf('B'), Each(29));
}

TEST(Luminance, GreyKeepsItsValue) {
  for (int value = 0; value < 256; ++value) {
    const Samples grey(16, static_cast<std::uint8_t>(value));
    ASSERT_EQ(ToY8(2, grey, 4, 4), grey);
  }
}

TEST(FramesWithoutColour, AreCopiedAsGrey) {
  const Samples samples = {1, 50, 255, 7, 90};
  for (const auto& [width, height] : {FrameSize{1, 5}, {5, 1}}) {
    const Samples bgr = ToBgr(1, samples, width, height);
    for (const char colour : {'R', 'G', 'B'}) EXPECT_EQ(PlaneOf(bgr, colour), samples);
    EXPECT_EQ(ToY8(1, samples, width, height), samples);
  }
}

TEST(FramesWithoutColour, NothingIsTouchedWhenThereAreNoSamples) {
  for (const auto& [width, height] : {FrameSize{0, 4}, {4, 0}, {-1, -1}, {-2, 4}}) {
    const CAlgorithm algorithm = AlgorithmFor(0);
    EXPECT_NO_FATAL_FAILURE(algorithm.BayerToRGB24(nullptr, width, height, nullptr));
    EXPECT_NO_FATAL_FAILURE(algorithm.BayerToY8(nullptr, width, height, nullptr));
  }
}

TEST(Demosaic, ThePatternMayChangeWhileAnotherThreadConverts) {
  CAlgorithm algorithm = AlgorithmFor(0);
  const Samples grey(64, 90);
  std::thread changing([&algorithm] {
    for (int i = 0; i < 1000; ++i) algorithm.SetBayer(i);
  });
  Samples luminance(64);
  for (int i = 0; i < 100; ++i) algorithm.BayerToY8(grey.data(), 8, 8, luminance.data());
  changing.join();
  EXPECT_EQ(luminance, grey);
}

TEST(Demosaicing, WritesAllPixelsAndNothingBehindThem) {
  constexpr std::uint8_t kGuard = 0xA5;
  constexpr std::size_t kGuards = 16;
  for (const int width : {2, 3, 4, 5, 6, 7, 8, 9, 513, 514, 515, 516, 517}) {
    const Samples bayer(static_cast<std::size_t>(2 * width), 90);
    Samples bgr(3 * bayer.size(), 0);
    bgr.insert(bgr.end(), kGuards, kGuard);
    AlgorithmFor(0).BayerToRGB24(bayer.data(), width, 2, bgr.data());
    Samples expected(3 * bayer.size(), 90);
    expected.insert(expected.end(), kGuards, kGuard);
    ASSERT_EQ(bgr, expected) << width;
  }
}

}  // namespace
