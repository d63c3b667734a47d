#include "session/measure/Disc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <utility>
#include <vector>

namespace orq::session {
namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

// Noise around 20, and a disc of 180.
std::vector<std::uint8_t> Sky(double x, double y, double radius) {
  std::mt19937 random(1);
  std::vector<std::uint8_t> pixels;
  for (int row = 0; row < kHeight; ++row) {
    for (int column = 0; column < kWidth; ++column) {
      const double dx = column + 0.5 - x;
      const double dy = row + 0.5 - y;
      const bool inside = dx * dx + dy * dy < radius * radius;
      pixels.push_back(static_cast<std::uint8_t>((inside ? 180 : 20) + random() % 8));
    }
  }
  return pixels;
}

FrameRegion Region(IMG_TYPE format) {
  return {.startX = 0, .startY = 0, .width = kWidth, .height = kHeight, .bin = 1, .format = format};
}

TEST(Disc, IsFoundWhereItIs) {
  const auto disc = FindDisc(Sky(200.0, 310.0, 40.0), Region(ORQ_IMG_RAW8));
  ASSERT_TRUE(disc);
  EXPECT_NEAR(disc->x, 200.0, 1.0);
  EXPECT_NEAR(disc->y, 310.0, 1.0);
  EXPECT_NEAR(disc->diameter, 80.0, 5.0);
}

TEST(Disc, IsFoundInEveryFormat) {
  const std::vector<std::uint8_t> grey = Sky(400.0, 100.0, 30.0);
  std::vector<std::uint8_t> wide;
  std::vector<std::uint8_t> colour;
  for (const std::uint8_t value : grey) {
    const auto sample = static_cast<std::uint16_t>(value << 8);
    std::uint8_t bytes[2];
    std::memcpy(bytes, &sample, 2);
    wide.insert(wide.end(), bytes, bytes + 2);
    colour.insert(colour.end(), {value, value, value});
  }
  const std::pair<std::vector<std::uint8_t>, IMG_TYPE> rows[] = {
      {grey, ORQ_IMG_Y8}, {wide, ORQ_IMG_RAW16}, {colour, ORQ_IMG_RGB24}};
  for (const auto& [pixels, format] : rows) {
    const auto disc = FindDisc(pixels, Region(format));
    ASSERT_TRUE(disc) << format;
    EXPECT_NEAR(disc->x, 400.0, 1.0) << format;
    EXPECT_NEAR(disc->y, 100.0, 1.0) << format;
  }
}

TEST(Disc, IsNotAHotPixel) {
  std::vector<std::uint8_t> pixels = Sky(300.0, 200.0, 30.0);
  pixels[5] = 255;
  pixels[100'000] = 255;
  const auto disc = FindDisc(pixels, Region(ORQ_IMG_RAW8));
  ASSERT_TRUE(disc);
  EXPECT_NEAR(disc->x, 300.0, 1.0);
}

TEST(Disc, IsNotThereInNoise) {
  EXPECT_FALSE(FindDisc(Sky(0.0, 0.0, 0.0), Region(ORQ_IMG_RAW8)));
  EXPECT_FALSE(FindDisc({}, Region(ORQ_IMG_RAW8)));
}

}  // namespace
}  // namespace orq::session
