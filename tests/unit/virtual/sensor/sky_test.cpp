#include "virtual/sky/Sky.h"

#include <gmock/gmock.h>

#include <cmath>

#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

SensorData Small(int bayerPattern = -1) {
  SensorData sensor;
  sensor.width = 100;
  sensor.height = 80;
  sensor.bayerPattern = bayerPattern;
  return sensor;
}

std::vector<float> Render(const StarField& field, const SensorData& sensor, float seconds = 1.0F) {
  const auto width = static_cast<std::size_t>(sensor.width);
  std::vector<float> image(width * static_cast<std::size_t>(sensor.height), 0.0F);
  for (int y = 0; y < sensor.height; ++y)
    field.AddRow(y, 0, seconds, 0.0F, std::span(image).subspan(static_cast<std::size_t>(y) * width, width));
  return image;
}

double Sum(const std::vector<float>& image) {
  double sum = 0.0;
  for (const float one : image) sum += static_cast<double>(one);
  return sum;
}

TEST(StarField, PutsAllOfAStarsLightOnTheSensor) {
  const SensorData sensor = Small();
  for (const double flux : {15.0, 4000.0, 200'000.0}) {
    const StarField field(sensor, {Star{.x = 50.3, .y = 40.8, .electronsPerSecond = flux}});
    EXPECT_NEAR(Sum(Render(field, sensor, 2.0F)), 2.0 * flux, 2e-4 * flux);
  }
}

TEST(StarField, CentresTheLightOnTheStar) {
  const SensorData sensor = Small();
  const StarField field(sensor, {Star{.x = 50.3, .y = 40.8, .electronsPerSecond = 50'000.0}});
  const std::vector<float> image = Render(field, sensor);
  double x = 0.0, y = 0.0;
  for (std::size_t i = 0; i < image.size(); ++i) {
    x += static_cast<double>(image[i]) * static_cast<double>(i % 100);
    y += static_cast<double>(image[i]) * static_cast<double>(i / 100);
  }
  EXPECT_NEAR(x / Sum(image), 50.3, 0.05);
  EXPECT_NEAR(y / Sum(image), 40.8, 0.05);
}

TEST(StarField, ShowsStarsTwoAndAHalfPixelsWide) {
  // The profile falls to one half at 1.25 pixels from the centre. Seen through whole pixels it widens a little:
  // the box of one pixel adds 1/12 to the variance along each axis.
  const SensorData sensor = Small();
  const StarField field(sensor, {Star{.x = 50.0, .y = 40.0, .electronsPerSecond = 100'000.0}});
  const std::vector<float> image = Render(field, sensor);
  const float peak = image[40 * 100 + 50];
  EXPECT_GT(image[40 * 100 + 51], 0.5F * peak);
  EXPECT_LT(image[40 * 100 + 52], 0.5F * peak);
  // Moffat of exponent 3 over the peak pixel: alpha^2 = 1.25^2 / (2^(1/3) - 1) = 6.0116, peak density 2 / (pi
  // alpha^2) = 0.1059; the mean over the pixel is lower by about 3 <r^2> / alpha^2 = 3 (1/6) / 6.0116 = 8 %.
  EXPECT_NEAR(static_cast<double>(peak), 100'000.0 * 0.1059 * 0.925, 150.0);
}

TEST(StarField, ShowsStarsWiderOutOfFocus) {
  // Two hundred steps of 0.02 pixels beside 2.5 pixels: sqrt(4^2 + 2.5^2) = 4.717.
  EXPECT_NEAR(StarFwhmAt(200.0), 4.717, 1e-3);
  EXPECT_NEAR(StarFwhmAt(-200.0), 4.717, 1e-3);
  EXPECT_EQ(StarFwhmAt(0.0), kStarFwhmPixels);
  const SensorData sensor = Small();
  const std::vector<Star> star{Star{.x = 50.0, .y = 40.0, .electronsPerSecond = 100'000.0}};
  const std::vector<float> image = Render(StarField(sensor, star, 10.0), sensor);
  const float peak = image[40 * 100 + 50];
  EXPECT_NEAR(image[40 * 100 + 55], 0.5F * peak, 0.02F * peak);
  EXPECT_NEAR(Sum(image), 100'000.0, 20.0) << "it is the same light";
}

TEST(StarField, HidesTheFirstStarAlone) {
  const SensorData sensor = Small();
  const Star first{.x = 30.0, .y = 40.0, .electronsPerSecond = 1000.0};
  const Star second{.x = 34.0, .y = 40.0, .electronsPerSecond = 3000.0};
  std::vector<float> row(100, 0.0F);
  StarField(sensor, {first, second}).AddRow(40, 0, 2.0F, 0.5F, row);
  std::vector<float> expected(100, 0.0F);
  StarField(sensor, {first}).AddRow(40, 0, 1.5F, 0.0F, expected);
  StarField(sensor, {second}).AddRow(40, 0, 2.0F, 0.0F, expected);
  EXPECT_THAT(row, testing::Pointwise(testing::FloatNear(1e-3F), expected));
}

TEST(StarField, CutsStarsAtTheEdges) {
  const SensorData sensor = Small();
  const StarField corner(sensor, {Star{.x = -0.5, .y = -0.5, .electronsPerSecond = 10'000.0}});
  EXPECT_NEAR(Sum(Render(corner, sensor)), 2500.0, 50.0);  // a quarter of the image
  const StarField outside(sensor, {Star{.x = -500.0, .y = 40.0, .electronsPerSecond = 10'000.0},
                                   Star{.x = 50.0, .y = 500.0, .electronsPerSecond = 10'000.0}});
  EXPECT_EQ(Sum(Render(outside, sensor)), 0.0);
}

TEST(StarField, AddsOverlappingStars) {
  const SensorData sensor = Small();
  const Star a{.x = 50.0, .y = 40.0, .electronsPerSecond = 1000.0};
  const Star b{.x = 52.0, .y = 41.0, .electronsPerSecond = 3000.0};
  const auto both = Render(StarField(sensor, {a, b}), sensor);
  const auto one = Render(StarField(sensor, {a}), sensor);
  const auto other = Render(StarField(sensor, {b}), sensor);
  for (std::size_t i = 0; i < both.size(); ++i) ASSERT_NEAR(both[i], one[i] + other[i], 1e-3);
}

TEST(StarField, WeighsLightByTheFilterOverThePixel) {
  const SensorData sensor = Small(0);
  const StarField coloured(sensor,
                           {Star{.x = 50.0, .y = 40.0, .electronsPerSecond = 1000.0, .colour = {2.0, 1.0, 0.5}}});
  const auto image = Render(coloured, sensor);
  const auto white = Render(StarField(sensor, {Star{.x = 50.0, .y = 40.0, .electronsPerSecond = 1000.0}}), sensor);
  EXPECT_NEAR(image[40 * 100 + 50] / white[40 * 100 + 50], 2.0, 1e-4);  // red: even, even
  EXPECT_NEAR(image[40 * 100 + 51] / white[40 * 100 + 51], 1.0, 1e-4);
  EXPECT_NEAR(image[41 * 100 + 50] / white[41 * 100 + 50], 1.0, 1e-4);
  EXPECT_NEAR(image[41 * 100 + 51] / white[41 * 100 + 51], 0.5, 1e-4);  // blue: odd, odd
}

TEST(StarField, RendersPartsOfARowAlike) {
  const SensorData sensor = Small();
  const StarField field(sensor, {Star{.x = 50.3, .y = 40.8, .electronsPerSecond = 1000.0}});
  std::vector<float> whole(100, 0.0F), part(3, 0.0F);
  field.AddRow(41, 0, 1.0F, 0.0F, whole);
  field.AddRow(41, 49, 1.0F, 0.0F, part);
  EXPECT_GT(part[1], 0.0F);
  for (std::size_t i = 0; i < part.size(); ++i) EXPECT_EQ(part[i], whole[49 + i]);
}

TEST(MakeStars, IsDecidedByTheSeed) {
  const SensorData& sensor = *FindSensor("k1c");
  const auto a = MakeStars(sensor, 1);
  const auto b = MakeStars(sensor, 1);
  const auto c = MakeStars(sensor, 2);
  ASSERT_EQ(a.size(), static_cast<std::size_t>(sensor.starCount));
  int same = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    ASSERT_EQ(a[i].x, b[i].x);
    ASSERT_EQ(a[i].electronsPerSecond, b[i].electronsPerSecond);
    same += a[i].x == c[i].x;
  }
  EXPECT_EQ(same, 0);
}

TEST(MakeStars, HasManyFaintAndFewBrightStars) {
  SensorData sensor = *FindSensor("k1c");
  sensor.starCount = 20'000;
  const auto stars = MakeStars(sensor, 3);
  // Counts grow by 10^0.36 per magnitude: a star is brighter than 2.512 times the faintest in 43.65 % of cases,
  // and than 100 times (five magnitudes) in 1.585 %.
  int oneMagnitude = 0, fiveMagnitudes = 0, bright = 0;
  for (const Star& star : stars) {
    EXPECT_GE(star.electronsPerSecond, sensor.faintestStar);
    oneMagnitude += star.electronsPerSecond > sensor.faintestStar * std::pow(10.0, 0.4);
    fiveMagnitudes += star.electronsPerSecond > sensor.faintestStar * 100.0;
    bright += star.electronsPerSecond >= 25'000.0;
  }
  EXPECT_NEAR(oneMagnitude / 20'000.0, 0.4365, 0.014);
  EXPECT_NEAR(fiveMagnitudes / 20'000.0, 0.01585, 0.0036);
  EXPECT_GE(bright, 4);
}

TEST(MakeStars, ColoursStarsOnlyForAMosaic) {
  int reddish = 0, bluish = 0;
  const SensorData& colour = *FindSensor("k1c");
  for (const Star& star : MakeStars(colour, 1)) {
    EXPECT_DOUBLE_EQ(star.colour[1], 1.0);
    reddish += star.colour[0] > colour.response[0];
    bluish += star.colour[2] > colour.response[2];
  }
  EXPECT_GT(reddish, 500);
  EXPECT_GT(bluish, 500);
  for (const Star& star : MakeStars(*FindSensor("x26m"), 1))
    ASSERT_THAT(star.colour, testing::ElementsAre(1.0, 1.0, 1.0));
}

}  // namespace
}  // namespace orq
