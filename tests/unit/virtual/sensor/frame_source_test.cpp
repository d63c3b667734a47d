#include "virtual/sensor/FrameSource.h"

#include <gmock/gmock.h>

#include <limits>

#include "SensorStatistics.h"

namespace orq {
namespace {

TEST(MakeFrameSource, MakesEachModel) {
  std::string error;
  VirtualOptions options;
  options.scene = "dark";
  options.model = "k1c";
  const auto k1c = MakeFrameSource(options, error);
  ASSERT_NE(k1c, nullptr);
  EXPECT_EQ(k1c->Width(), 1936);
  EXPECT_EQ(k1c->BayerPattern(), 0);
  EXPECT_GT(k1c->LineTimeNs(), 0U);
  options.model = "x26m";
  const auto x26m = MakeFrameSource(options, error);
  ASSERT_NE(x26m, nullptr);
  EXPECT_EQ(x26m->AdcBits(), 16);
  EXPECT_EQ(x26m->BayerPattern(), -1);
}

TEST(MakeFrameSource, SaysWhichModelsAndScenesThereAre) {
  std::string error;
  VirtualOptions options;
  options.model = "k9";
  EXPECT_EQ(MakeFrameSource(options, error), nullptr);
  EXPECT_THAT(error, testing::StartsWith("unknown model 'k9'; known are k1c, "));
  for (const VirtualModelName& model : VirtualModels()) EXPECT_THAT(error, testing::HasSubstr(model.name));
  options.model = "k1c";
  options.scene = "moon";
  EXPECT_EQ(MakeFrameSource(options, error), nullptr);
  EXPECT_EQ(error, "unknown scene 'moon'; known are stars, planet, flat and dark");
}

TEST(MakeFrameSource, RefusesLightThatIsNoAmount) {
  std::string error;
  VirtualOptions options;
  options.scene = "flat";
  for (const double flux :
       {-1.0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    options.fluxElectronsPerSecond = flux;
    error.clear();
    EXPECT_EQ(MakeFrameSource(options, error), nullptr);
    EXPECT_THAT(error, testing::HasSubstr("flux"));
  }
}

TEST(MakeFrameSource, LightsAFlatWithTheFluxOrAThousandElectrons) {
  std::string error;
  VirtualOptions options;
  options.model = "x26m";
  options.scene = "flat";
  ExposureSettings settings;
  settings.width = settings.height = 50;
  settings.exposureUs = 1'000'000;
  const auto byDefault = MakeFrameSource(options, error);
  EXPECT_NEAR(test::Mean(test::Shoot(*byDefault, settings)) * 0.78, 1000.0, 5.0);
  options.fluxElectronsPerSecond = 300.0;
  const auto asked = MakeFrameSource(options, error);
  EXPECT_NEAR(test::Mean(test::Shoot(*asked, settings)) * 0.78, 300.0, 3.0);
}

TEST(MakeFrameSource, RefusesColourTemperaturesBeyondTheRange) {
  std::string error;
  VirtualOptions options;
  options.scene = "flat";
  for (const double kelvin : {999.0, 40'001.0, std::numeric_limits<double>::quiet_NaN()}) {
    options.illuminantKelvin = kelvin;
    error.clear();
    EXPECT_EQ(MakeFrameSource(options, error), nullptr);
    EXPECT_THAT(error, testing::HasSubstr("illuminant"));
  }
}

/// Photons of a black body at a wavelength, up to a constant factor (Planck's law).
double Photons(double nm, double kelvin) {
  return 1.0 / (std::pow(nm, 4) * (std::exp(1.438777e7 / (nm * kelvin)) - 1.0));
}

/// Mean of every second sample of every second row, without black level.
double MeanAt(std::span<const std::uint16_t> frame, std::size_t side, std::size_t x, std::size_t y) {
  double sum = 0.0;
  for (std::size_t row = y; row < side; row += 2)
    for (std::size_t column = x; column < side; column += 2) sum += frame[row * side + column];
  const std::size_t count = side * side / 4;
  return sum / static_cast<double>(count);
}

TEST(MakeFrameSource, TheIlluminantColoursAFlatAndLeavesGreen) {
  std::string error;
  VirtualOptions options;
  options.model = "k1c";  // RGGB, responses 0.62, 1 and 0.74
  options.scene = "flat";
  options.fluxElectronsPerSecond = 4000.0;
  ExposureSettings settings;
  settings.width = settings.height = 100;
  settings.exposureUs = 1'000'000;
  for (const double kelvin : {3000.0, 6000.0, 9000.0}) {
    options.illuminantKelvin = kelvin;
    const auto frame = test::Shoot(*MakeFrameSource(options, error), settings);
    const auto relative = [&](double nm) {
      return Photons(nm, kelvin) / Photons(530, kelvin) / (Photons(nm, 6000) / Photons(530, 6000));
    };
    EXPECT_NEAR(MeanAt(frame, 100, 0, 0) * 3.6, 4000 * 0.62 * relative(610), 12.0) << kelvin;
    EXPECT_NEAR(MeanAt(frame, 100, 1, 0) * 3.6, 4000.0, 12.0) << kelvin;
    EXPECT_NEAR(MeanAt(frame, 100, 1, 1) * 3.6, 4000 * 0.74 * relative(460), 12.0) << kelvin;
  }
}

TEST(MakeFrameSource, AMonochromeSensorSeesNoColourOfLight) {
  std::string error;
  VirtualOptions options;
  options.model = "k1m";
  options.scene = "flat";
  ExposureSettings settings;
  settings.width = settings.height = 20;
  settings.exposureUs = 1'000'000;
  const auto white = test::Shoot(*MakeFrameSource(options, error), settings);
  options.illuminantKelvin = 3000;
  EXPECT_EQ(test::Shoot(*MakeFrameSource(options, error), settings), white);
}

TEST(MakeFrameSource, AnExposureMaySayHowBrightAFlatIs) {
  std::string error;
  VirtualOptions options;
  options.model = "x26m";
  options.scene = "flat";
  const auto source = MakeFrameSource(options, error);
  ExposureSettings settings;
  settings.width = settings.height = 50;
  settings.exposureUs = 1'000'000;
  settings.flatFlux = 5000.0;
  EXPECT_NEAR(test::Mean(test::Shoot(*source, settings)) * 0.78, 5000.0, 10.0);
  for (const double darkness : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    settings.flatFlux = darkness;
    EXPECT_LT(test::Mean(test::Shoot(*source, settings)), 5.0);
  }
  settings.flatFlux.reset();
  EXPECT_NEAR(test::Mean(test::Shoot(*source, settings)) * 0.78, 1000.0, 5.0);
}

TEST(MakeFrameSource, TellsWhyAReplayIsImpossible) {
  std::string error;
  VirtualOptions options;
  options.model = "replay";
  EXPECT_EQ(MakeFrameSource(options, error), nullptr);
  EXPECT_EQ(error, "replay needs file=F, a FITS, PGM or SER file");
  options.file = "/nonexistent/frames.ser";
  EXPECT_EQ(MakeFrameSource(options, error), nullptr);
  EXPECT_EQ(error, "replay file '/nonexistent/frames.ser': no such file");
}

}  // namespace
}  // namespace orq
