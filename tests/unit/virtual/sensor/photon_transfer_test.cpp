// The sensor measured the way a real one is: pairs of flats, bias frames and darks.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "SensorStatistics.h"
#include "virtual/sensor/SensorModel.h"

namespace orq {
namespace {

using test::Every;
using test::Green;
using test::PairStatistics;
using test::Shoot;
using test::ShootPair;

constexpr int kSide = 240;
constexpr double kFlux = 10'000.0;

/// What a sensor states, and the settings that it is measured with.
struct Stated {
  const char* model;
  test::Choice pixels;
  int offset;        ///< setting
  double bias;       ///< counts at that setting
  double adcCounts;  ///< above the bias
  double fullWell;   ///< electrons
};

/// The green pixels of a mosaic that begins with green.
bool GreenFirst(int x, int y) {
  return !Green(x, y);
}

const std::vector<Stated>& AllStated() {
  static const std::vector<Stated> kStated{
      {"k1c", Green, 200, 200.0, 3895.0, 14'700.0},        {"k1m", Every, 200, 200.0, 3895.0, 14'700.0},
      {"k2m", Every, 200, 200.0, 3895.0, 11'200.0},        {"x26m", Every, 100, 1000.0, 64'535.0, 51'000.0},
      {"t46c", GreenFirst, 50, 200.0, 16'183.0, 42'000.0}, {"h53m", Every, 200, 200.0, 3895.0, 9'400.0},
      {"b29m", Every, 100, 1000.0, 64'535.0, 66'000.0}};
  return kStated;
}

struct Case {
  const char* model;
  int gain;
  double electronsPerAdu;  ///< stated
  double readNoise;        ///< stated, electrons

  const Stated& Sensor() const {
    return *std::ranges::find(
        AllStated(), std::string_view(model), [](const Stated& s) { return s.model; });
  }
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.model << " at gain " << c.gain;
}

ExposureSettings Settings(const Case& c, double electrons) {
  ExposureSettings settings;
  settings.startX = 200;
  settings.startY = 100;
  settings.width = kSide;
  settings.height = kSide;
  settings.gain = c.gain;
  settings.blackLevel = c.Sensor().offset;
  settings.exposureUs = static_cast<std::uint64_t>(electrons / kFlux * 1e6);
  settings.temperatureC = -20.0;
  return settings;
}

/// Light that fills the ADC or the well, whichever is less.
double FillingElectrons(const Case& c) {
  return std::min(c.Sensor().adcCounts * c.electronsPerAdu, c.Sensor().fullWell);
}

class PhotonTransfer : public testing::TestWithParam<Case> {
 protected:
  SensorModel sensor_{*FindSensor(GetParam().model), Scene::Flat, kFlux,
                      static_cast<std::uint64_t>(GetParam().gain + 1)};
};

TEST_P(PhotonTransfer, RecoversElectronsPerCountWithinThreePercent) {
  const Case& c = GetParam();
  const PairStatistics bias = ShootPair(sensor_, Settings(c, 0.0), c.Sensor().pixels);
  double sum = 0.0;
  int levels = 0;
  for (const double fill : {0.15, 0.3, 0.5, 0.7, 0.85}) {
    ExposureSettings settings = Settings(c, fill * FillingElectrons(c));
    settings.frameNumber = static_cast<std::uint64_t>(10 * (levels + 1));  // noise of its own at each level
    const PairStatistics flat = ShootPair(sensor_, settings, c.Sensor().pixels);
    sum += (flat.mean - bias.mean) / (flat.variance - bias.variance);
    ++levels;
  }
  const double measured = sum / levels;
  RecordProperty("electrons_per_adu", std::to_string(measured));
  std::printf("%s gain %3d: stated %.5f e-/ADU, measured %.5f (%+.2f %%)\n", c.model, c.gain, c.electronsPerAdu,
              measured, 100.0 * (measured / c.electronsPerAdu - 1.0));
  EXPECT_NEAR(measured / c.electronsPerAdu, 1.0, 0.03);
}

TEST_P(PhotonTransfer, ReadsTheStatedNoiseInPairsOfBiasFrames) {
  const Case& c = GetParam();
  const PairStatistics bias = ShootPair(sensor_, Settings(c, 0.0), c.Sensor().pixels);
  // Rounding to whole counts adds 1/12 of a count squared.
  const double expected = std::sqrt(std::pow(c.readNoise / c.electronsPerAdu, 2) + 1.0 / 12.0);
  EXPECT_NEAR(std::sqrt(bias.variance) / expected, 1.0, 0.02);
  EXPECT_NEAR(bias.mean, c.Sensor().bias, 0.05 * expected);
}

TEST_P(PhotonTransfer, IsLinearWithinOnePercentBelowSaturation) {
  const Case& c = GetParam();
  const double bias = ShootPair(sensor_, Settings(c, 0.0), c.Sensor().pixels).mean;
  for (const double fill : {0.05, 0.1, 0.2, 0.4, 0.6, 0.8, 0.93}) {
    const ExposureSettings settings = Settings(c, fill * FillingElectrons(c));
    const double signal = ShootPair(sensor_, settings, c.Sensor().pixels).mean - bias;
    const double light = kFlux * static_cast<double>(settings.exposureUs) * 1e-6;
    EXPECT_NEAR(signal * c.electronsPerAdu / light, 1.0, 0.01) << "fill " << fill;
  }
}

// Stated values by hand: base e- per count over the gain factor, and hypot(before, after / factor). K1C and
// K1M: 3.6 over 1, 2.5, 6, 16, 64, noise 0.9 and 3.175. The others over 10^(g/200): K2M 2.75, 1.1 and 2.4; X26M
// 0.78, 1.4 and 2.988; T46C 2.6, 1.5 and 5.6; H53M 2.3, 1.0 and 2.2; B29M 1.05, 1.3 and 4.1.
INSTANTIATE_TEST_SUITE_P(Gains, PhotonTransfer,
                         testing::Values(Case{"k1c", 0, 3.6, 3.300}, Case{"k1c", 20, 1.44, 1.5576},
                                         Case{"k1c", 40, 0.6, 1.0437}, Case{"k1c", 64, 0.225, 0.9217},
                                         Case{"k1c", 100, 0.05625, 0.9014}, Case{"x26m", 0, 0.78, 3.2998},
                                         Case{"x26m", 60, 0.390926, 2.0512}, Case{"x26m", 120, 0.195927, 1.5885},
                                         Case{"x26m", 200, 0.078, 1.4315}, Case{"x26m", 300, 0.0246658, 1.4032},
                                         Case{"k1m", 0, 3.6, 3.300}, Case{"k1m", 40, 0.6, 1.0437},
                                         Case{"k2m", 0, 2.75, 2.6401}, Case{"k2m", 200, 0.275, 1.1259},
                                         Case{"t46c", 0, 2.6, 5.7974}, Case{"t46c", 200, 0.26, 1.6011},
                                         Case{"h53m", 0, 2.3, 2.4166}, Case{"h53m", 100, 0.727324, 1.2182},
                                         Case{"b29m", 0, 1.05, 4.3012}, Case{"b29m", 200, 0.105, 1.3631}));

TEST(Saturation, LiesAtTheFullWellWhereTheAdcReachesFurther) {
  SensorModel k1c(*FindSensor("k1c"), Scene::Flat, 1e6, 1);
  SensorModel x26m(*FindSensor("x26m"), Scene::Flat, 1e6, 1);
  ExposureSettings settings;
  settings.width = settings.height = 64;
  settings.exposureUs = 1'000'000;
  EXPECT_NEAR(test::Mean(Shoot(k1c, settings)), 14'700.0 / 3.6, 0.1);
  EXPECT_NEAR(test::Mean(Shoot(x26m, settings)), 51'000.0 / 0.78, 0.5);
}

TEST(Saturation, LiesAtTheLargestCountWhereTheAdcEndsFirst) {
  SensorModel k1c(*FindSensor("k1c"), Scene::Flat, 1e6, 1);
  SensorModel x26m(*FindSensor("x26m"), Scene::Flat, 1e6, 1);
  ExposureSettings settings;
  settings.width = settings.height = 32;
  settings.exposureUs = 1'000'000;
  settings.gain = 32;
  EXPECT_THAT(Shoot(k1c, settings), testing::Each(4095));
  settings.gain = 0;
  settings.blackLevel = 100;
  EXPECT_THAT(Shoot(k1c, settings), testing::Each(4095));
  EXPECT_THAT(Shoot(x26m, settings), testing::Each(65535));
}

TEST(Saturation, HoldsForLightAndTimeBeyondMeasure) {
  SensorModel sensor(*FindSensor("x26m"), Scene::Flat, 1e300, 1);
  ExposureSettings settings;
  settings.width = settings.height = 8;
  settings.blackLevel = 100;
  settings.exposureUs = ~std::uint64_t{0};
  settings.temperatureC = 1e30;
  EXPECT_THAT(Shoot(sensor, settings), testing::Each(65535));
}

TEST(Bias, ClipsAtZeroWithoutBlackLevel) {
  SensorModel sensor(*FindSensor("x26m"), Scene::Dark, 0.0, 1);
  ExposureSettings settings;
  settings.width = settings.height = 64;
  const test::Frame frame = Shoot(sensor, settings);
  const auto zeros = std::count(frame.begin(), frame.end(), 0);
  // Half of the noise lies below zero; of 3.3 / 0.78 = 4.23 counts, 4.7 % more rounds to zero.
  EXPECT_NEAR(static_cast<double>(zeros) / 4096.0, 0.547, 0.03);
}

}  // namespace
}  // namespace orq
