#include "virtual/sensor/SensorModel.h"

#include <gmock/gmock.h>

#include <cmath>
#include <numeric>

#include "SensorStatistics.h"
#include "support/Cameras.h"

namespace orq {
namespace {

using test::Frame;
using test::Mean;
using test::Shoot;
using test::ShootPair;

const SensorData& K1C() {
  return *FindSensor("k1c");
}
const SensorData& X26M() {
  return *FindSensor("x26m");
}

/// A sensor that bins its neighbours, as one made in monochrome only does.
const SensorData& PlainMono() {
  static const SensorData sensor = [] {
    SensorData plain = X26M();
    plain.binsTwoApart = false;
    return plain;
  }();
  return sensor;
}

ExposureSettings Region(int x, int y, int width, int height, double seconds) {
  ExposureSettings settings;
  settings.startX = x;
  settings.startY = y;
  settings.width = width;
  settings.height = height;
  settings.exposureUs = static_cast<std::uint64_t>(std::llround(seconds * 1e6));
  settings.blackLevel = 100;
  return settings;
}

/// A corner from which a square holds no hot pixel and no hot row.
std::pair<int, int> QuietCorner(const SensorModel& sensor, int side) {
  for (int y = 0; y + side <= sensor.Height(); y += 10) {
    for (int x = 0; x + side <= sensor.Width(); x += 10) {
      const auto inside = [&](int px, int py) { return px >= x && px < x + side && py >= y && py < y + side; };
      const auto pixels = sensor.Pattern().HotPixels();
      const auto rows = sensor.Pattern().HotRows();
      const bool hot =
          std::any_of(pixels.begin(), pixels.end(), [&](const HotPixel& p) { return inside(p.x, p.y); }) ||
          std::any_of(rows.begin(), rows.end(), [&](const HotRow& r) { return inside(x, r.y); });
      if (!hot) return {x, y};
    }
  }
  ADD_FAILURE() << "no quiet square";
  return {0, 0};
}

TEST(DarkCurrent, GrowsWithExposure) {
  SensorModel sensor(X26M(), Scene::Dark, 0.0, 5);
  const auto [x, y] = QuietCorner(sensor, 100);
  for (const double seconds : {50.0, 200.0, 800.0}) {
    ExposureSettings settings = Region(x, y, 100, 100, seconds);
    settings.gain = 200;  // 0.078 electrons per count
    const double electrons = (Mean(Shoot(sensor, settings)) - 1000.0) * 0.078;
    const double expected = 0.06 * seconds;
    EXPECT_NEAR(electrons, expected, 4.0 * std::sqrt((expected + 2.1) / 10'000.0)) << seconds << " s";
  }
}

TEST(DarkCurrent, DoublesEverySixPointThreeDegrees) {
  SensorModel sensor(K1C(), Scene::Dark, 0.0, 5);
  const auto [x, y] = QuietCorner(sensor, 100);
  ExposureSettings settings = Region(x, y, 100, 100, 400.0);
  settings.gain = 64;  // 0.225 electrons per count
  const struct {
    double temperature;
    double electrons;
  } rows[] = {{20.0, 20.0}, {26.3, 40.0}, {32.6, 80.0}, {13.7, 10.0}, {-11.5, 0.625}};
  for (const auto& row : rows) {
    settings.temperatureC = row.temperature;
    const double electrons = (Mean(Shoot(sensor, settings)) - 100.0) * 0.225;
    EXPECT_NEAR(electrons, row.electrons, 4.0 * std::sqrt((row.electrons + 0.9) / 10'000.0)) << row.temperature;
  }
}

TEST(HotPixels, StandOutAtTheSamePlacesInEveryDark) {
  SensorModel sensor(K1C(), Scene::Dark, 0.0, 5);
  int found = 0;
  for (const HotPixel& hot : sensor.Pattern().HotPixels()) {
    if (hot.electronsPerSecond < 200.0 || hot.x < 2 || hot.x + 3 > sensor.Width()) continue;
    for (std::uint64_t frame = 0; frame < 3; ++frame) {
      ExposureSettings settings = Region(hot.x - 2, hot.y, 5, 1, 1.0);
      settings.frameNumber = frame;
      const Frame row = Shoot(sensor, settings);
      const double expected = std::min(hot.electronsPerSecond / 3.6 + 100.0, 4095.0);
      EXPECT_NEAR(row[2], expected, 5.0 * std::sqrt(hot.electronsPerSecond + 11.0) / 3.6 + 1.0);
      EXPECT_LT(row[0], 120);
    }
    ++found;
  }
  EXPECT_GT(found, 10);
}

TEST(HotRows, AreBrighterAlongTheirWholeLength) {
  SensorModel sensor(K1C(), Scene::Dark, 0.0, 5);
  for (const HotRow& row : sensor.Pattern().HotRows()) {
    for (const int x : {0, 1500}) {
      const double signal = Mean(Shoot(sensor, Region(x, row.y, 400, 1, 10.0))) - 100.0;
      EXPECT_NEAR(signal * 3.6, (row.electronsPerSecond + 0.05) * 10.0, 0.3 * row.electronsPerSecond * 10.0);
    }
  }
}

TEST(Repeatability, SameSeedAndFrameGiveTheSamePixels) {
  SensorModel a(K1C(), Scene::Stars, 0.0, 77), b(K1C(), Scene::Stars, 0.0, 77);
  ExposureSettings settings = Region(300, 200, 120, 60, 2.0);
  settings.frameNumber = 12;
  EXPECT_EQ(Shoot(a, settings), Shoot(b, settings));
  EXPECT_EQ(Shoot(a, settings), Shoot(a, settings));
}

TEST(Repeatability, OtherFramesAndSeedsDiffer) {
  SensorModel a(X26M(), Scene::Flat, 1000.0, 77), b(X26M(), Scene::Flat, 1000.0, 78);
  ExposureSettings settings = Region(300, 200, 120, 60, 2.0);
  const Frame first = Shoot(a, settings);
  EXPECT_NE(first, Shoot(b, settings));
  settings.frameNumber = 1;
  EXPECT_NE(first, Shoot(a, settings));
}

TEST(Repeatability, ARegionIsACutOfTheFullFrame) {
  SensorModel sensor(K1C(), Scene::Stars, 0.0, 3);
  const Frame full = Shoot(sensor, Region(0, 0, 1936, 1096, 1.0));
  for (const auto& [x, y] : {std::pair{0, 0}, std::pair{701, 333}, std::pair{1836, 1036}}) {
    const Frame region = Shoot(sensor, Region(x, y, 100, 60, 1.0));
    for (int r = 0; r < 60; ++r) {
      for (int c = 0; c < 100; ++c) {
        ASSERT_EQ(region[static_cast<std::size_t>(r * 100 + c)],
                  full[static_cast<std::size_t>((y + r) * 1936 + x + c)])
            << c << ", " << r << " from " << x << ", " << y;
      }
    }
  }
}

TEST(Flat, ShowsTheBayerPatternsResponses) {
  SensorModel sensor(K1C(), Scene::Flat, 5000.0, 3);
  ExposureSettings settings = Region(40, 60, 100, 100, 1.0);
  settings.temperatureC = -20.0;
  const auto signal = [&](int px, int py) {
    return (ShootPair(sensor, settings, [=](int x, int y) { return (x & 1) == px && (y & 1) == py; }).mean -
            100.0) *
           3.6;
  };
  EXPECT_NEAR(signal(0, 0), 0.62 * 5000.0, 15.0);  // red
  EXPECT_NEAR(signal(1, 0), 5000.0, 20.0);         // green
  EXPECT_NEAR(signal(0, 1), 5000.0, 20.0);
  EXPECT_NEAR(signal(1, 1), 0.74 * 5000.0, 15.0);  // blue
  settings.startX = 41;                            // an odd corner shifts the mosaic
  EXPECT_NEAR(signal(1, 0), 0.62 * 5000.0, 15.0);
}

TEST(Scenes, DarkHasNoLightAndStarsHaveSkyGlow) {
  SensorModel dark(X26M(), Scene::Dark, 5000.0, 3);
  ExposureSettings settings = Region(1000, 1000, 60, 60, 1.0);
  EXPECT_NEAR(Mean(Shoot(dark, settings)), 1000.0, 1.0);
  EXPECT_EQ(dark.Stars(), nullptr);
  SensorModel stars(K1C(), Scene::Stars, 5000.0, 3);
  ASSERT_NE(stars.Stars(), nullptr);
  Frame sky = Shoot(stars, Region(0, 0, 400, 400, 30.0));
  std::nth_element(sky.begin(), sky.begin() + 80'000, sky.end());
  // Median over the mosaic: the green half at (2 + 0.05) e- x 30 s, the others below.
  EXPECT_GT((sky[80'000] - 100.0) * 3.6, 1.3 * 30.0);
  EXPECT_LT((sky[80'000] - 100.0) * 3.6, 2.3 * 30.0);
}

TEST(StarPhotometry, SumsToTheStarsLightAndGrowsWithExposure) {
  SensorModel sensor(X26M(), Scene::Stars, 0.0, 8);
  const auto stars = sensor.Stars()->Stars();
  const auto inside = [&](const Star& s) {
    return s.x > 30 && s.y > 30 && s.x < sensor.Width() - 30 && s.y < sensor.Height() - 30;
  };
  const auto alone = [&](const Star& s) {
    return std::none_of(stars.begin(), stars.end(),
                        [&](const Star& o) { return &o != &s && std::hypot(o.x - s.x, o.y - s.y) < 40.0; });
  };
  int measured = 0;
  for (const Star& star : stars) {
    if (star.electronsPerSecond < 5000.0 || star.electronsPerSecond > 60'000.0 || !inside(star) || !alone(star))
      continue;
    for (const double seconds : {0.5, 1.0, 2.0, 4.0}) {
      ExposureSettings settings =
          Region(static_cast<int>(star.x) - 12, static_cast<int>(star.y) - 12, 25, 25, seconds);
      settings.temperatureC = -20.0;
      const double sum = (Mean(Shoot(sensor, settings)) - 1000.0) * 625.0 * 0.78;
      const double signal = sum - 4.0 * seconds * 625.0;  // less the sky
      const double light = star.electronsPerSecond * seconds;
      EXPECT_NEAR(signal / light, 1.0, 0.04 + 4.0 * std::sqrt(light + 12.0 * 625.0) / light)
          << light << " e- in " << seconds << " s";
    }
    if (++measured == 8) break;
  }
  EXPECT_GE(measured, 4);
}

TEST(HardwareBin, AddsTheChargeOfNeighboursOnAMonochromeSensor) {
  SensorModel sensor(PlainMono(), Scene::Flat, 1000.0, 3);
  for (const int bin : {1, 2, 3, 4}) {
    ExposureSettings settings = Region(1000, 1000, 64, 64, 1.0);
    settings.bin = bin;
    settings.temperatureC = -20.0;
    const test::PairStatistics flat = ShootPair(sensor, settings);
    EXPECT_NEAR((flat.mean - 1000.0) * 0.78, 1000.0 * bin * bin, 6.0 * bin) << bin;
    // Photon noise of the sum and the read noise once.
    EXPECT_NEAR(flat.variance * 0.78 * 0.78 / (1000.0 * bin * bin + 10.9), 1.0, 0.1) << bin;
  }
}

TEST(HardwareBin, KeepsTheMosaicOfAColourSensor) {
  SensorModel sensor(K1C(), Scene::Flat, 500.0, 3);
  for (const int bin : {2, 3, 4}) {
    ExposureSettings settings = Region(40, 60, 64, 64, 1.0);
    settings.bin = bin;
    settings.temperatureC = -20.0;
    const auto signal = [&](int px, int py) {
      return (ShootPair(sensor, settings, [=](int x, int y) { return (x & 1) == px && (y & 1) == py; }).mean -
              100.0) *
             3.6 / (bin * bin);
    };
    EXPECT_NEAR(signal(0, 0), 310.0, 5.0) << bin;
    EXPECT_NEAR(signal(1, 0), 500.0, 5.0) << bin;
    EXPECT_NEAR(signal(0, 1), 500.0, 5.0) << bin;
    EXPECT_NEAR(signal(1, 1), 370.0, 5.0) << bin;
  }
}

TEST(HardwareBin, AddsPixelsTwoApartOnASensorThatComesInColourToo) {
  for (const char* key : test::CameraKeys()) {
    if (!FindSensor(key)->binsTwoApart) continue;
    SensorModel dark(*FindSensor(key), Scene::Dark, 0.0, 5);
    const auto pixels = dark.Pattern().HotPixels();
    int placed = 0;
    for (const HotPixel& hot : pixels) {
      if (hot.electronsPerSecond < 500.0) continue;
      // Four by four pixels from a corner of a block of four make two by two samples.
      ExposureSettings settings = Region(hot.x / 4 * 4, hot.y / 4 * 4, 2, 2, 10.0);
      settings.bin = 2;
      const Frame block = Shoot(dark, settings);
      for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
          const bool here = x == hot.x % 2 && y == hot.y % 2;
          EXPECT_EQ(block[static_cast<std::size_t>(2 * y + x)] > 1000 + 3000, here)
              << key << hot.x << "," << hot.y;
        }
      }
      if (++placed == 8) break;
    }
    EXPECT_EQ(placed, 8) << key;
  }
}

TEST(HardwareBin, SumsTheVeryChargeOfTheSinglePixels) {
  // Saturated light: each well holds 14,700 e-, and nine of them end at the ADC's limit.
  SensorModel sensor(K1C(), Scene::Flat, 1e6, 3);
  ExposureSettings settings = Region(0, 0, 16, 16, 1.0);
  settings.bin = 3;
  EXPECT_THAT(Shoot(sensor, settings), testing::Each(4095));
  // Placement: a hot pixel lands in the sample that its colour and block belong to.
  SensorModel dark(K1C(), Scene::Dark, 0.0, 5);
  for (const HotPixel& hot : dark.Pattern().HotPixels()) {
    if (hot.electronsPerSecond < 300.0) continue;
    ExposureSettings binned = Region(0, 0, 1936 / 2, 1096 / 2, 1.0);
    binned.bin = 2;
    const int x = hot.x / 4 * 2 + (hot.x & 1);
    const int y = hot.y / 4 * 2 + (hot.y & 1);
    const Frame frame = Shoot(dark, binned);
    EXPECT_GT(frame[static_cast<std::size_t>(y * (1936 / 2) + x)], 100.0 + 0.7 * hot.electronsPerSecond / 3.6);
    break;
  }
}

TEST(OddSettings, ReadAsBlackLevelOutsideTheSensor) {
  SensorModel sensor(K1C(), Scene::Flat, 1000.0, 3);
  const Frame edge = Shoot(sensor, Region(1932, 1094, 8, 4, 1.0));
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 8; ++x) {
      const int value = edge[static_cast<std::size_t>(y * 8 + x)];
      if (x < 4 && y < 2)
        EXPECT_GT(value, 200);
      else
        EXPECT_EQ(value, 100);
    }
  }
  EXPECT_THAT(Shoot(sensor, Region(5000, 0, 8, 4, 1.0)), testing::Each(100));
  EXPECT_THAT(Shoot(sensor, Region(0, 65'535, 8, 4, 1.0)), testing::Each(100));
  EXPECT_THAT(Shoot(sensor, Region(2'147'483'647, 2'147'483'647, 8, 4, 1.0)), testing::Each(100));
  const Frame before = Shoot(sensor, Region(-2, -1, 4, 2, 1.0));
  EXPECT_EQ(before[0], 100);
  EXPECT_EQ(before[5], 100);
  EXPECT_GT(before[6], 200);
}

TEST(OddSettings, KeepBinnedSamplesThatLieOnTheSensorInPart) {
  SensorModel sensor(PlainMono(), Scene::Flat, 1000.0, 3);
  ExposureSettings settings = Region(6244, 0, 4, 2, 1.0);
  settings.bin = 3;  // columns 6244-6246, 6247-6249 (one on the sensor), then none
  const Frame frame = Shoot(sensor, settings);
  EXPECT_NEAR((frame[0] - 1000.0) * 0.78, 9000.0, 500.0);
  EXPECT_NEAR((frame[1] - 1000.0) * 0.78, 3000.0, 300.0);
  EXPECT_EQ(frame[2], 1000);
  EXPECT_EQ(frame[3], 1000);
}

TEST(OddSettings, NeverWritePastTheBuffer) {
  SensorModel sensor(K1C(), Scene::Flat, 1000.0, 3);
  Frame small(30, 7);
  sensor.Expose(Region(0, 0, 8, 100, 1.0), std::span(small).first(20));  // room for two rows and a half
  EXPECT_GT(small[15], 200);
  EXPECT_EQ(small[16], 100);
  EXPECT_EQ(small[20], 7);
  sensor.Expose(Region(0, 0, 0, 0, 1.0), small);
  EXPECT_THAT(small, testing::Each(100));
  sensor.Expose(Region(0, 0, -8, -4, 1.0), small);
  sensor.Expose(Region(0, 0, 2'000'000'000, 1, 1.0), small);
  EXPECT_THAT(small, testing::Each(100));
}

TEST(OddSettings, HoldTheBinFactorBetweenOneAndFour) {
  SensorModel sensor(X26M(), Scene::Flat, 1000.0, 3);
  ExposureSettings settings = Region(0, 0, 8, 8, 1.0);
  settings.bin = 0;
  const Frame zero = Shoot(sensor, settings);
  settings.bin = 1;
  EXPECT_EQ(zero, Shoot(sensor, settings));
  settings.bin = 9;
  const Frame nine = Shoot(sensor, settings);
  settings.bin = 4;
  EXPECT_EQ(nine, Shoot(sensor, settings));
}

}  // namespace
}  // namespace orq
