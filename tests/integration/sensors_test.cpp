// Sensors measured through the whole camera: photon transfer, exposures, readout modes.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

// Photon transfer -------------------------------------------------------------------------------------------

/// What a sensor's page says, of one readout mode.
struct Page {
  double electronsPerCount;  ///< at gain factor 1
  double pixelNoise;         ///< e- rms
  double converterNoise;     ///< e- rms at factor 1
  double fullWell;
  // High conversion gain has a pixel noise of its own; what is multiplied digitally lowers no noise.
  int highFrom = INT_MAX;  ///< gain setting
  double highPixelNoise = 0;
  int digitalFrom = INT_MAX;  ///< gain setting
};

const std::map<std::string, std::vector<Page>>& Pages() {
  static const std::map<std::string, std::vector<Page>> kPages{
      {"k1c", {{3.6, 0.9, 3.175, 14'700}}},
      {"k1m", {{3.6, 0.9, 3.175, 14'700}}},
      {"k2m", {{2.75, 1.1, 2.4, 11'200}}},
      {"x26m", {{0.78, 1.4, 2.988, 51'000}}},
      {"t46c", {{2.6, 1.5, 5.6, 42'000}}},
      {"h53m", {{2.3, 1.0, 2.2, 9'400}}},
      {"b29m", {{1.05, 1.3, 4.1, 66'000}}},
      {"l3m", {{2.4, 1.1, 2.3, 9'800}}},
      {"d6m", {{3.8, 2.2, 6.0, 60'000, 120, 1.3, 302}, {0.95, 1.6, 2.4, 15'000, 120, 0.9, 302}}}};
  return kPages;
}

/// The amplification of a gain setting: the K1's steps as its page lists them at these settings, tenths of a
/// decibel elsewhere.
double FactorOf(const std::string& key, int gain) {
  if (key.starts_with("k1")) return std::map<int, double>{{0, 1}, {33, 4.25}, {66, 18}, {100, 64}}.at(gain);
  return std::pow(10.0, gain / 200.0);
}

constexpr int kSide = 600;

/// Counts of one exposure; of a mosaic its green pixels only.
std::vector<double> Counts(const VirtualRig& rig, FrameInfo& info) {
  const std::vector<std::uint8_t> frame = rig.Snap(info);
  std::vector<double> counts;
  if (frame.empty()) return counts;
  const double unit = std::ldexp(1.0, 16 - rig.camera->Model().adcBits);
  const int greenParity = info.bayerPattern >= 2 ? 0 : 1;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      if (info.bayerPattern >= 0 && (x + y) % 2 != greenParity) continue;
      const auto at = 2 * static_cast<std::size_t>(y * kSide + x);
      counts.push_back((frame[at] + 256.0 * frame[at + 1]) / unit);
    }
  }
  return counts;
}

struct Pair {
  double mean = 0;
  double variance = 0;  ///< of one frame, rounding to whole counts taken off
};

/// Of pairs of frames, pixel by pixel: what is fixed in both falls out.
Pair Measure(const VirtualRig& rig, FrameInfo& info) {
  constexpr int kPairs = 2;
  Pair pair;
  double samples = 0;
  for (int i = 0; i < kPairs; ++i) {
    const std::vector<double> first = Counts(rig, info);
    const std::vector<double> second = Counts(rig, info);
    if (first.empty() || first.size() != second.size()) return {};
    for (std::size_t at = 0; at < first.size(); ++at) {
      const double difference = first[at] - second[at];
      pair.mean += (first[at] + second[at]) / 2;
      pair.variance += difference * difference / 2;
    }
    samples += static_cast<double>(first.size());
  }
  pair.mean /= samples;
  pair.variance = pair.variance / samples - 1.0 / 12.0;
  return pair;
}

class PhotonTransfers : public testing::TestWithParam<const char*> {};

// The gain by the slope of variance over signal, the read noise from bias frames: both within one percent of what
// the sensor's page says, and of what files say.
TEST_P(PhotonTransfers, OfFourGainsGiveTheStatedGainAndReadNoise) {
  const std::string key = GetParam();
  ASSERT_TRUE(Pages().contains(key)) << "a new model wants its sensor's numbers in Pages()";
  const VirtualRig rig(
      key.c_str(), [](VirtualOptions& options) { options.timeScale = 0; }, kSide);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  ASSERT_TRUE(camera.SetExp(1'000, false));
  const std::vector<Page>& modes = Pages().at(key);
  ASSERT_EQ(modes.size(), std::max<std::size_t>(camera.Model().sensor->Modes().size(), 1));
  for (std::size_t mode = 0; mode < modes.size(); ++mode) {
    if (modes.size() > 1) ASSERT_TRUE(camera.SetReadoutMode(static_cast<int>(mode)));
    for (int step = 0; step < 4; ++step) {
      ASSERT_TRUE(camera.SetGain(camera.limits.gainMax * step / 3, false));
      const int gain = camera.gain;
      const double factor = FactorOf(key, gain);
      const Page& page = modes[mode];
      const double stated = page.electronsPerCount / factor;
      const double pixel = gain >= page.highFrom ? page.highPixelNoise : page.pixelNoise;
      const double analog = gain >= page.digitalFrom ? factor / 2 : factor;
      const double readNoise = std::hypot(pixel, page.converterNoise / analog);

      FrameInfo info;
      rig.device->SetFlux(0);
      const Pair bias = Measure(rig, info);
      const double room = std::min(page.fullWell, stated * (std::ldexp(1.0, camera.iADCBits) - bias.mean));
      rig.device->SetFlux(0.4 * room / 1e-3);
      const Pair flat = Measure(rig, info);
      const std::string what = key + " mode " + std::to_string(mode) + " gain " + std::to_string(gain);
      ASSERT_GT(flat.variance, bias.variance) << what;
      const double found = (flat.mean - bias.mean) / (flat.variance - bias.variance);
      EXPECT_NEAR(found / stated, 1.0, 0.01) << what;
      EXPECT_NEAR(std::sqrt(bias.variance) * found / readNoise, 1.0, 0.01) << what;
      EXPECT_EQ(info.gain, gain) << what;
      const double filed = info.electronsPerAdu * std::ldexp(1.0, 16 - camera.iADCBits);
      EXPECT_NEAR(filed / stated, 1.0, 0.006) << what << ": a setting is told to a tenth of a decibel";
      _ORQ_CAMERA_INFO property{};
      camera.GetCameraProperty(&property);
      EXPECT_NEAR(static_cast<double>(property.electronsPerAdu) / filed, 1.0, 1e-4) << what;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Models, PhotonTransfers, testing::ValuesIn(test::CameraKeys()),
                         [](const auto& instance) { return std::string(instance.param); });

// Exposures -------------------------------------------------------------------------------------------------

/// Lines of an exposure by the sensor's registers, as its page says they count.
std::uint64_t LinesOf(const VirtualCamera& device, const std::string& key) {
  const auto number = [&](std::uint16_t reg) {
    std::uint64_t value = 0;
    for (std::uint16_t i = 0; i < 4; ++i) {
      const std::uint64_t byte = device.SensorRegister(static_cast<std::uint16_t>(reg + i));
      value |= byte << (8 * (key == "l3m" ? 3 - i : i));
    }
    return value;
  };
  return key == "l3m" ? number(0x3020) : number(0x4020) - number(0x4024);
}

class LineSensors : public testing::TestWithParam<const char*> {};

TEST_P(LineSensors, ExposeWhatTheHeaderSaysAtEveryReadoutMode) {
  const std::string key = GetParam();
  const VirtualRig rig(
      key.c_str(), [](VirtualOptions& options) { options.timeScale = 0; }, 32);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  const std::vector<double> lineUs = key == "l3m" ? std::vector{12.5} : std::vector{10.0, 20.0};
  for (std::size_t mode = 0; mode < lineUs.size(); ++mode) {
    if (mode > 0) ASSERT_EQ(camera.SetControlValue(ORQ_READOUT_MODE, static_cast<long>(mode), false), CTRL_OK);
    for (const long us : {38L, 47L, 999L, 1'000L, 33'333L, 1'234'567L, 10'000'000L}) {
      ASSERT_EQ(camera.SetControlValue(ORQ_EXPOSURE, us, false), CTRL_OK);
      FrameInfo info;
      ASSERT_FALSE(rig.Snap(info).empty());
      const std::uint64_t lines = LinesOf(*rig.device, key);
      const double exposed = static_cast<double>(lines) * lineUs[mode];
      EXPECT_NEAR(exposed, static_cast<double>(std::max<long>(us, camera.limits.exposureMin)), lineUs[mode] / 2)
          << us;
      EXPECT_NEAR(static_cast<double>(info.exposureUs), exposed, 0.5) << us;
      EXPECT_EQ(info.exposureUs, camera.exposureUs) << "what was stored";
      EXPECT_EQ(static_cast<std::uint64_t>(camera.expReg), lines);
      EXPECT_EQ(info.readoutMode, static_cast<int>(mode));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Models, LineSensors, testing::Values("l3m", "d6m"),
                         [](const auto& instance) { return std::string(instance.param); });

// Readout modes ---------------------------------------------------------------------------------------------

TEST(ReadoutModes, ChangeWhatARunningVideoShows) {
  const VirtualRig rig("d6m", {}, 64);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  ASSERT_EQ(camera.StartCapture(false), 1);
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info));
  EXPECT_EQ(info.readoutMode, 0);
  EXPECT_EQ(info.readoutName, "High full well");
  ASSERT_TRUE(camera.SetReadoutMode(1));
  ASSERT_TRUE(rig.Fetch(info));
  EXPECT_EQ(info.readoutMode, 1) << "no frame of the old mode follows";
  EXPECT_EQ(info.readoutName, "Low noise");
  EXPECT_EQ(info.levels.saturated, 4 * 16'109.0) << "15,000 e- at 0.95, on an offset of 320 counts";
  camera.StopCapture();
  camera.CloseCamera();
  EXPECT_EQ(rig.device->SensorRegister(0x4000), 0) << "asleep";
  ASSERT_TRUE(rig.Open());
  ASSERT_FALSE(rig.Snap(info).empty());
  EXPECT_EQ(info.readoutMode, 1) << "programmed again";
}

TEST(ReadoutModes, AreThereOnlyWhereTheSensorHasSeveral) {
  const VirtualRig rig("l3m");
  ASSERT_TRUE(rig.Open());
  EXPECT_FALSE(rig.camera->SetReadoutMode(0));
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_READOUT_MODE, 0, false), CTRL_NOT_SUPPORTED);
  long value = 0;
  EXPECT_EQ(rig.camera->GetControlValue(ORQ_READOUT_MODE, &value, nullptr), CTRL_NOT_SUPPORTED);
}

}  // namespace
}  // namespace orq
