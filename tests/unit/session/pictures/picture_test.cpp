#include "session/pictures/Picture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "session/Failure.h"

namespace orq::session {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kMono = -1;

FrameInfo Info(int width, int height, IMG_TYPE format, int pattern = kMono) {
  FrameInfo info;
  info.region = {0, 0, width, height, 1, format};
  info.bayerPattern = pattern;
  return info;
}

Picture Plain(const Bytes& bytes, const FrameInfo& info, int maxWidth = 0, int maxHeight = 0) {
  return MakePicture(bytes, info, {maxWidth, maxHeight, false});
}

TEST(Picture, KeepsTheProportionsWithinBothLimitsAndNeverGrows) {
  const auto size = [](int width, int height, int maxWidth, int maxHeight) {
    const Picture picture = PictureOf(Info(width, height, ORQ_IMG_RAW8), {maxWidth, maxHeight, true});
    return std::to_string(picture.width) + "x" + std::to_string(picture.height);
  };
  EXPECT_EQ(size(1936, 1096, 0, 0), "1936x1096");
  EXPECT_EQ(size(1936, 1096, 968, 0), "968x548");
  EXPECT_EQ(size(1936, 1096, 968, 137), "242x137");
  EXPECT_EQ(size(1936, 1096, 4000, 3000), "1936x1096");
  EXPECT_EQ(size(1936, 1096, 0, 1), "2x1");
  EXPECT_EQ(size(4000, 8, 100, 0), "100x1") << "a fifth of a pixel is one";
}

TEST(Picture, PixelsOfASmallerOneAreAverages) {
  const Bytes frame = {10, 20, 1, 2,  //
                       30, 41, 3, 4};
  const Picture picture = Plain(frame, Info(4, 2, ORQ_IMG_RAW8), 2);
  EXPECT_EQ(picture.channels, 1);
  EXPECT_EQ(picture.samples, (Bytes{25, 3})) << "101 / 4 and 10 / 4, rounded";
}

TEST(Picture, SizesThatDoNotDivideShareThePixelsOut) {
  const Picture picture = Plain({10, 20, 30, 100, 200}, Info(5, 1, ORQ_IMG_RAW8), 2);
  EXPECT_EQ(picture.samples, (Bytes{20, 150}));
}

TEST(Picture, SixteenBitsGiveTheirHighestEight) {
  const std::uint16_t values[] = {0x0000, 0x12FF, 0x8000, 0xFFFF};
  Bytes frame(sizeof values);
  std::memcpy(frame.data(), values, sizeof values);
  EXPECT_EQ(Plain(frame, Info(4, 1, ORQ_IMG_RAW16)).samples, (Bytes{0x00, 0x12, 0x80, 0xFF}));
}

TEST(Picture, ColoursStandRedGreenBlue) {
  const Bytes bgr = {1, 2, 3, 4, 5, 6};
  const Picture picture = Plain(bgr, Info(2, 1, ORQ_IMG_RGB24));
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.samples, (Bytes{3, 2, 1, 6, 5, 4}));
  EXPECT_EQ(Plain(bgr, Info(2, 1, ORQ_IMG_RGB24), 1).samples, (Bytes{5, 4, 3})) << "9/2, 7/2 and 5/2, rounded";
}

TEST(Picture, WholeCellsOfAMosaicAreAveragedByColour) {
  constexpr int kPatterns[] = {0, 1, 2, 3};  // RGGB, BGGR, GRBG, GBRG
  const Bytes expected[] = {{10, 25, 40}, {40, 25, 10}, {20, 25, 30}, {30, 25, 20}};
  const Bytes cell = {10, 20, 10, 20,  //
                      30, 40, 30, 40};
  for (const int pattern : kPatterns) {
    Bytes two = expected[pattern];
    two.insert(two.end(), expected[pattern].begin(), expected[pattern].end());
    const Picture picture = Plain(cell, Info(4, 2, ORQ_IMG_RAW8, pattern), 2);
    EXPECT_EQ(picture.channels, 3);
    EXPECT_EQ(picture.samples, two) << pattern;
  }
}

TEST(Picture, AMosaicInItsOwnSizeIsDemosaiced) {
  const int side = 16;
  Bytes frame(side * side);
  for (int row = 0; row < side; ++row) {
    for (int column = 0; column < side; ++column) {
      frame[static_cast<std::size_t>(row * side + column)] = (row + column) % 2 == 1 ? 100
                                                             : row % 2 == 0          ? 200
                                                                            : 50;  // RGGB of one colour everywhere
    }
  }
  const Picture picture = Plain(frame, Info(side, side, ORQ_IMG_RAW8, 0), 12);
  ASSERT_EQ(picture.samples.size(), 12U * 12U * 3U);
  const std::size_t middle = (6 * 12 + 6) * 3;
  EXPECT_EQ(Bytes(picture.samples.begin() + middle, picture.samples.begin() + middle + 3), (Bytes{200, 100, 50}));
}

// The median lands on a quarter of full scale, of each colour by itself.
TEST(Picture, TheStretchIsThatOfTheWholeFrameAndMakesTheSkyNeutral) {
  const int side = 64;
  Bytes frame(side * side);
  for (std::size_t i = 0; i < frame.size(); ++i) {
    const std::size_t row = i / side;
    const std::size_t column = i % side;
    const std::size_t sky = row % 2 == 0 && column % 2 == 0 ? 60 : 20;  // more red than green and blue
    frame[i] = static_cast<std::uint8_t>(sky + (row / 2 * 7 + column / 2 * 3) % 5);
  }
  const Picture picture = MakePicture(frame, Info(side, side, ORQ_IMG_RAW8, 0), {8, 8, true});
  ASSERT_EQ(picture.samples.size(), 8U * 8U * 3U);
  for (const std::uint8_t sample : picture.samples) EXPECT_NEAR(sample, 64, 12);
}

TEST(Picture, PixelsThatAreNotTheRegionsAreRefused) {
  EXPECT_THROW(Plain(Bytes(7), Info(4, 2, ORQ_IMG_RAW8)), Failure);
}

}  // namespace
}  // namespace orq::session
