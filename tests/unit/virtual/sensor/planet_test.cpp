#include "virtual/sky/Planet.h"

#include <gmock/gmock.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "virtual/bus/VirtualOptions.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

constexpr double kFlux = 1000.0;

SensorData Small(int bayerPattern = -1) {
  SensorData sensor;
  sensor.width = 201;
  sensor.height = 101;
  sensor.bayerPattern = bayerPattern;
  return sensor;
}

std::vector<float> Render(const Planet& planet, const SensorData& sensor, double seconds) {
  const auto width = static_cast<std::size_t>(sensor.width);
  std::vector<float> image(width * static_cast<std::size_t>(sensor.height), 0.0F);
  for (int y = 0; y < sensor.height; ++y)
    planet.AddRow(y, 0, 1.0F, seconds, std::span(image).subspan(static_cast<std::size_t>(y) * width, width));
  return image;
}

struct Measured {
  double sum = 0.0;
  double x = 0.0;
  double y = 0.0;
};

Measured Measure(const std::vector<float>& image, int width) {
  Measured found;
  for (std::size_t i = 0; i < image.size(); ++i) {
    const auto light = static_cast<double>(image[i]);
    found.sum += light;
    const std::size_t row = i / static_cast<std::size_t>(width);
    found.x += light * static_cast<double>(i % static_cast<std::size_t>(width));
    found.y += light * static_cast<double>(row);
  }
  found.x /= found.sum;
  found.y /= found.sum;
  return found;
}

TEST(Planet, IsADiscThatIsDarkerAtItsLimb) {
  const SensorData sensor = Small();
  const Planet planet(sensor, {.diameter = 60}, kFlux);
  const auto image = Render(planet, sensor, 0.0);
  const auto at = [&](std::size_t x, std::size_t y) { return static_cast<double>(image[y * 201 + x]); };
  EXPECT_NEAR(at(100, 50), kFlux, 1e-3 * kFlux);
  EXPECT_NEAR(at(100 + 24, 50), kFlux * (1.0 - 0.6 * 0.4), 1.0) << "at 0.8 of the radius the cosine is 0.6";
  EXPECT_EQ(at(100 + 32, 50), 0.0);
  // The mean over a disc is that in the middle times 1 - u / 3.
  const double expected = kFlux * (1.0 - 0.6 / 3.0) * std::numbers::pi * 30.0 * 30.0;
  EXPECT_NEAR(Measure(image, 201).sum, expected, 0.02 * expected);
}

TEST(Planet, DriftsAndTurnsBackAtTheSensorsEdges) {
  const SensorData sensor = Small();
  const Planet planet(sensor, {.diameter = 20, .driftX = 10.0, .driftY = -4.0}, kFlux);
  const struct {
    double seconds;
    double x;
    double y;
  } rows[] = {{0.0, 100.0, 50.0},  {3.0, 130.0, 38.0},  {9.0, 190.0, 14.0},  // at the right edge
              {10.0, 180.0, 10.0}, {12.0, 160.0, 18.0}, {28.0, 20.0, 82.0}, {100.0, 20.0, 50.0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.seconds);
    EXPECT_NEAR(planet.At(row.seconds).x, row.x, 1e-9);
    EXPECT_NEAR(planet.At(row.seconds).y, row.y, 1e-9);
    const Measured found = Measure(Render(planet, sensor, row.seconds), 201);
    EXPECT_NEAR(found.x, row.x, 0.05);
    EXPECT_NEAR(found.y, row.y, 0.05);
  }
}

TEST(Planet, StaysInTheMiddleOfASensorThatIsTooSmallForIt) {
  const Planet planet(Small(), {.diameter = 400, .driftX = 10.0, .driftY = 10.0}, kFlux);
  EXPECT_EQ(planet.At(5.0).x, 100.0);
  EXPECT_EQ(planet.At(5.0).y, 50.0);
}

TEST(Planet, RendersPartsOfARowAlike) {
  SensorData sensor = Small(0);
  sensor.response = {0.6, 1.0, 0.7};
  const Planet planet(sensor, {.diameter = 60}, kFlux);
  std::vector<float> whole(201, 0.0F);
  std::vector<float> part(37, 0.0F);
  planet.AddRow(41, 0, 2.0F, 0.0, whole);
  planet.AddRow(41, 91, 2.0F, 0.0, part);
  EXPECT_THAT(part, testing::ElementsAreArray(whole.begin() + 91, whole.begin() + 91 + 37));
  // Row 41 of RGGB begins with green; its neighbour is blue.
  const double ratio = static_cast<double>(whole[101]) / static_cast<double>(whole[100]);
  EXPECT_NEAR(ratio, 0.7, 0.01);
}

}  // namespace
}  // namespace orq
