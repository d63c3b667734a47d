#include "virtual/FrameSource.h"

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
  EXPECT_EQ(error, "unknown scene 'moon'; known are stars, flat and dark");
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
