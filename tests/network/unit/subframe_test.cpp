// Subframes, held against what they mean: which places on the sensor a pixel of the picture shows.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <orqcam/orqcam.hpp>
#include <random>
#include <string>
#include <vector>

#include "alpaca/image/Image.h"
#include "alpaca/image/Subframe.h"
#include "alpaca/image/Transpose.h"

namespace orq::network::alpaca {
namespace {

orq_camera_info sensorOf(int width, int height, int sizeStep) {
  auto info = sized<orq_camera_info>();
  info.sensor_width = width;
  info.sensor_height = height;
  info.width_step = sizeStep;
  info.height_step = 2;
  info.start_x_step = 2;
  info.start_y_step = 2;
  info.least_width = 16;
  info.least_height = 4;
  return info;
}

// A camera that offers what its steps say.
orq_region fitOn(const orq_camera_info& info, orq_region region) {
  region.width = std::min(region.width, info.sensor_width / region.bin) / info.width_step * info.width_step;
  region.height = std::min(region.height, info.sensor_height / region.bin) / info.height_step * info.height_step;
  region.start_x = region.start_x / info.start_x_step * info.start_x_step;
  region.start_y = region.start_y / info.start_y_step * info.start_y_step;
  region.start_x = std::min(region.start_x, info.sensor_width - region.width * region.bin);
  region.start_y = std::min(region.start_y, info.sensor_height - region.height * region.bin);
  return region;
}

// The first pixel of the subframe, along x, in pixels of the sensor as it lies before any flip.
int firstOf(const Reading& reading, int bin, bool flipped) {
  if (reading.computerBin > 1) return reading.inside.startX * bin;  // these count on the sensor
  const int fromLeft =
      flipped ? reading.region.width - reading.inside.startX - reading.inside.width : reading.inside.startX;
  return reading.region.start_x + fromLeft * bin;
}

TEST(Subframe, ShowsTheWantedPlacesWhateverTheStepsAre) {
  std::mt19937 dice(7);
  const auto upTo = [&dice](int most) { return std::uniform_int_distribution<int>(0, most)(dice); };
  int byCamera = 0;
  int byComputer = 0;
  for (int round = 0; round < 20000; ++round) {
    const orq_camera_info info = sensorOf(200 + 8 * upTo(12), 100 + 2 * upTo(20), upTo(1) == 0 ? 8 : 4);
    Optics optics;
    optics.bin = 1 + upTo(3);
    optics.flips = upTo(3);
    const int width = pictureWidth(info, optics.bin);
    const int height = pictureHeight(info, optics.bin);
    Subframe wanted;
    wanted.width = 1 + upTo(width - 1);
    wanted.height = 1 + upTo(height - 1);
    wanted.startX = upTo(width - wanted.width);
    wanted.startY = upTo(height - wanted.height);
    const Reading reading =
        planReading(info, optics, wanted, [&](const orq_region& region) { return fitOn(info, region); });
    const bool flipped = (optics.flips & ORQ_FLIP_HORIZONTAL) != 0;
    const int first = flipped ? width - wanted.startX - wanted.width : wanted.startX;
    ASSERT_EQ(firstOf(reading, optics.bin, flipped), first * optics.bin);
    ASSERT_EQ(reading.inside.width, wanted.width);
    ASSERT_EQ(reading.inside.height, wanted.height);
    ASSERT_GE(reading.inside.startX, 0);
    if (reading.computerBin == 1) {
      ASSERT_LE(reading.inside.startX + reading.inside.width, reading.region.width);
      ASSERT_LE(reading.inside.startY + reading.inside.height, reading.region.height);
      // Blocks of both colours begin where those of the whole sensor do.
      ASSERT_EQ(reading.region.start_x % (2 * optics.bin), 0);
      ASSERT_EQ(reading.region.start_y % (2 * optics.bin), 0);
    }
    ++(reading.computerBin == 1 ? byCamera : byComputer);
  }
  EXPECT_GT(byCamera, 10000);
  EXPECT_GT(byComputer, 300);
}

TEST(Subframe, OutsideThePictureIsRefused) {
  const orq_camera_info info = sensorOf(200, 100, 8);
  const auto fit = [&](const orq_region& region) { return fitOn(info, region); };
  for (const Subframe& wrong :
       {Subframe{-1, 0, 10, 10}, Subframe{0, 0, 0, 10}, Subframe{0, 0, 201, 10}, Subframe{191, 0, 10, 10},
        Subframe{0, 91, 10, 10}, Subframe{2000000000, 0, 2000000000, 1}})
    EXPECT_THROW(planReading(info, Optics{}, wrong, fit), RangeError);
  // What the camera bins before it reads cannot be made of single pixels.
  Optics optics;
  optics.bin = 3;
  EXPECT_EQ(planReading(info, optics, {0, 0, 66, 33}, fit).computerBin, 3);
  optics.bright = true;
  EXPECT_THROW(planReading(info, optics, {0, 0, 66, 33}, fit), RangeError);
}

TEST(Transpose, TurnsEverySizeOfBothKindsOfSamples) {
  for (const int sample : {1, 2}) {
    for (const auto& [width, height] : {std::pair(1, 1), std::pair(8, 8), std::pair(17, 23), std::pair(64, 9)}) {
      Image image;
      image.width = width;
      image.height = height;
      image.sampleBytes = sample;
      const std::size_t stride = static_cast<std::size_t>(width) * static_cast<std::size_t>(sample);
      image.rows.resize(stride * static_cast<std::size_t>(height));
      std::iota(image.rows.begin(), image.rows.end(), static_cast<std::uint8_t>(1));
      for (int first = 0; first < width; first += 5) {
        const int count = width - first;
        std::vector<std::uint8_t> turned(static_cast<std::size_t>(count) * static_cast<std::size_t>(height) *
                                         static_cast<std::size_t>(sample));
        writeColumns(image, static_cast<std::size_t>(first), static_cast<std::size_t>(count), turned.data());
        for (std::size_t at = 0; at < turned.size(); ++at) {
          const std::size_t index = at / static_cast<std::size_t>(sample);
          const std::size_t x = static_cast<std::size_t>(first) + index / static_cast<std::size_t>(height);
          const std::size_t y = index % static_cast<std::size_t>(height);
          const std::size_t byte = at % static_cast<std::size_t>(sample);
          ASSERT_EQ(turned[at], image.rows[y * stride + x * static_cast<std::size_t>(sample) + byte]);
        }
      }
    }
  }
}

// The same exposure of two cameras with one seed: noise belongs to the place on the sensor.
class Flipped : public testing::TestWithParam<int> {};

Frame exposed(Camera& camera) {
  return camera.expose(std::chrono::milliseconds(50));
}

std::unique_ptr<Camera> opened(int flips) {
  auto camera = std::make_unique<Camera>("virtual:k1c,seed=3,timescale=0.001");
  camera->control(ORQ_CONTROL_FLIP, flips);
  return camera;
}

TEST_P(Flipped, SubframesAreThoseOfTheFlippedPicture) {
  const int flips = GetParam();
  const auto whole = opened(flips);
  const auto part = opened(flips);
  Optics optics;
  optics.flips = flips;
  optics.colour = true;
  auto full = whole->region();
  full.format = ORQ_FORMAT_RAW16;
  whole->region(full);
  for (const Subframe& wanted :
       {Subframe{0, 0, 1936, 1096}, Subframe{3, 5, 31, 21}, Subframe{1901, 1001, 35, 95}}) {
    const Frame frame = exposed(*whole);
    const Reading reading =
        planReading(part->info(), optics, wanted, [&](const orq_region& region) { return part->fit(region); });
    part->region(reading.region);
    const Image image = imageOf(exposed(*part), reading, optics);
    const auto* const samples = reinterpret_cast<const std::uint16_t*>(frame.data());
    for (int y = 0; y < wanted.height; ++y) {
      const auto* const row = reinterpret_cast<const std::uint16_t*>(
          image.rows.data() + static_cast<std::size_t>(y) * image.rowBytes());
      const std::uint16_t* const expected =
          samples + static_cast<std::ptrdiff_t>(wanted.startY + y) * 1936 + wanted.startX;
      ASSERT_TRUE(std::equal(row, row + wanted.width, expected)) << "row " << y;
    }
  }
}

TEST_P(Flipped, WhatTheComputerBinsIsWhatTheCameraBins) {
  const int flips = GetParam();
  const auto whole = opened(flips);
  const auto part = opened(flips);
  Optics optics;
  optics.flips = flips;
  optics.colour = true;
  optics.bin = 4;
  auto binned = whole->region();
  binned.bin = 4;
  binned.width = 480;
  binned.height = 274;
  binned.format = ORQ_FORMAT_RAW16;
  whole->region(binned);
  const Frame frame = exposed(*whole);
  const Reading reading = planReading(part->info(), optics, {0, 0, 484, 274},
                                      [&](const orq_region& region) { return part->fit(region); });
  ASSERT_EQ(reading.computerBin, 4);
  part->region(reading.region);
  const Image image = imageOf(exposed(*part), reading, optics);
  // The camera's 480 columns begin at the sensor's left end, which a flip puts to the right.
  const int skipped = (flips & ORQ_FLIP_HORIZONTAL) != 0 ? 4 : 0;
  for (int y = 0; y < 274; ++y) {
    const auto* const row =
        reinterpret_cast<const std::uint16_t*>(image.rows.data() + static_cast<std::size_t>(y) * image.rowBytes());
    const auto* const expected =
        reinterpret_cast<const std::uint16_t*>(frame.data()) + static_cast<std::ptrdiff_t>(y) * 480;
    ASSERT_TRUE(std::equal(expected, expected + 480, row + skipped)) << "row " << y;
  }
}

INSTANTIATE_TEST_SUITE_P(AllWays, Flipped, testing::Values(0, 1, 2, 3));

}  // namespace
}  // namespace orq::network::alpaca
