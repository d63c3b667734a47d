// What files say about pixel values, against pixels of the simulated sensors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

constexpr int kSide = 64;

std::vector<double> Values(const std::vector<std::uint8_t>& frame, IMG_TYPE format) {
  std::vector<double> values;
  if (format != ORQ_IMG_RAW16) return {frame.begin(), frame.end()};
  for (std::size_t i = 0; i + 1 < frame.size(); i += 2) values.push_back(frame[i] + 256.0 * frame[i + 1]);
  return values;
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

struct Setting {
  IMG_TYPE format;
  int bin;
  bool hardwareBin = false;
  int gamma = 50;
};

/// Every way to bin that the model has, in all of its formats, with and without a curve.
std::vector<Setting> SettingsOf(const ModelData& model) {
  std::vector<Setting> settings;
  for (int format = 0; format < 4; ++format) {
    if (!model.formats[static_cast<std::size_t>(format)]) continue;
    for (const int bin : model.bins) {
      if (bin == 0) continue;
      for (const bool hardware : {false, true}) {
        if (hardware && !model.hardwareBin) continue;
        settings.push_back({static_cast<IMG_TYPE>(format), bin, hardware});
      }
    }
    settings.push_back({static_cast<IMG_TYPE>(format), 1, false, 80});
  }
  return settings;
}

/// The median of one frame's pixels, and what is said about them.
struct Look {
  double median = -1.0;
  FrameInfo info;
};

Look LookAt(const VirtualRig& rig, const Setting& setting) {
  Look look;
  CModelCamera& camera = *rig.camera;
  if (setting.hardwareBin != (camera.HardwareBin != 0)) camera.SetHardwareBin(setting.hardwareBin);
  FrameRegion applied;
  std::string reason;
  const int side = kSide / setting.bin / 8 * 8;
  EXPECT_TRUE(camera.SetRegion({0, 0, side, side, setting.bin, setting.format}, applied, reason)) << reason;
  camera.SetControlValue(ORQ_GAMMA, setting.gamma, false);
  const auto frame = rig.Snap(look.info);
  EXPECT_FALSE(frame.empty());
  if (!frame.empty()) look.median = Median(Values(frame, setting.format));
  return look;
}

std::string Name(const ModelData& model, const Setting& setting) {
  return std::string(model.key) + " format " + std::to_string(setting.format) + " bin " +
         std::to_string(setting.bin) + (setting.hardwareBin ? " by hardware" : "") + " gamma " +
         std::to_string(setting.gamma);
}

// Counts by which a median may be off: that of noise of a few counts, which 8-bit samples cut to whole numbers.
double Tolerance(const ModelData& model, const Setting& setting) {
  const double scale = setting.gamma == 50 ? 1.0 : 4.0;  // the curve is steep near black
  const int sums = setting.bin * setting.bin;
  if (setting.format != ORQ_IMG_RAW16) return 1.0 * sums * scale;
  return std::ldexp(1.0, 16 - model.adcBits) * 1.5 * scale + (model.adcBits == 16 ? 6 * scale : 0);
}

TEST(Levels, AreThoseOfThePixelsWhateverTheFormatAndBinning) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const std::string key(model.key);
    const VirtualRig dark(
        key.c_str(), [](VirtualOptions& options) { options.scene = "dark"; }, kSide);
    const VirtualRig bright(
        key.c_str(), [](VirtualOptions& options) { options.fluxElectronsPerSecond = 1e9; }, kSide);
    for (const VirtualRig* rig : {&dark, &bright}) {
      ASSERT_TRUE(rig->Open());
      ASSERT_EQ(rig->camera->SetControlValue(ORQ_OFFSET, 150, false), CTRL_OK);
      ASSERT_EQ(rig->camera->SetControlValue(ORQ_GAIN, 0, false), CTRL_OK);
      ASSERT_EQ(rig->camera->SetControlValue(ORQ_EXPOSURE, 1000, false), CTRL_OK);
    }
    for (const Setting& setting : SettingsOf(model)) {
      const Look black = LookAt(dark, setting);
      ASSERT_TRUE(black.info.levels.black) << Name(model, setting);
      EXPECT_NEAR(*black.info.levels.black, black.median, Tolerance(model, setting)) << Name(model, setting);
      const Look full = LookAt(bright, setting);
      ASSERT_TRUE(full.info.levels.saturated) << Name(model, setting);
      EXPECT_NEAR(*full.info.levels.saturated, full.median, Tolerance(model, setting)) << Name(model, setting);
    }
  }
}

TEST(Levels, FollowTheGainUntilTheConverterIsFull) {
  const VirtualRig rig(
      "b29m", [](VirtualOptions& options) { options.fluxElectronsPerSecond = 1e9; }, kSide);
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(1000, false);
  for (const auto& [gain, expected] : {std::pair{0, 63057.0}, {450, 65535.0}}) {  // 66000 e- / 1.05 + 200
    rig.camera->SetBrightness(20);
    rig.camera->SetGain(gain, false);
    const Look look = LookAt(rig, {ORQ_IMG_RAW16, 1});
    EXPECT_NEAR(*look.info.levels.saturated, expected, 1.0);
    EXPECT_NEAR(look.median, expected, 8.0);
  }
}

TEST(Levels, KnowWhatTheFastReadoutCutsOff) {
  const VirtualRig rig(
      "h53m", [](VirtualOptions& options) { options.scene = "dark"; }, kSide);
  ASSERT_TRUE(rig.Open());
  rig.camera->SetBrightness(111);  // 11 bits and 2 that the fast readout loses: 108
  ASSERT_TRUE(rig.camera->SetHighSpeedMode(true));
  const Look look = LookAt(rig, {ORQ_IMG_RAW16, 1});
  EXPECT_TRUE(look.info.highSpeed);
  EXPECT_EQ(*look.info.levels.black, 108 * 16);
  EXPECT_EQ(*look.info.levels.saturated, 1023 * 64);
  EXPECT_NEAR(look.median, 108 * 16, 64);
}

TEST(Levels, FollowTheDarkThatWasSubtracted) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const std::string key(model.key);
    const VirtualRig rig(
        key.c_str(), [](VirtualOptions& options) { options.scene = "dark"; }, kSide);
    ASSERT_TRUE(rig.Open());
    CModelCamera& camera = *rig.camera;
    camera.SetExp(1000, false);
    const int perUnit = 1 << (model.adcBits - 8);
    // Just above and just below a whole number of 8-bit units: half of the dark's samples are one less.
    camera.SetBrightness(static_cast<int>(std::lround(6.0 * perUnit / model.countsPerOffset)));
    if (camera.Brightness * model.countsPerOffset < 2 * perUnit) continue;  // no offset reaches two units
    camera.GettingDark(true, camera.exposureUs);
    camera.iDarkFrames = 1;  // nothing is divided and cut
    ASSERT_GE(LookAt(rig, {ORQ_IMG_RAW8, 1}).median, 0.0);
    ASSERT_EQ(camera.bGettingDark, 0);
    camera.UsingDark(true);
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      FrameInfo info;
      FrameRegion applied;
      std::string reason;
      ASSERT_TRUE(camera.SetRegion({0, 0, kSide, kSide, 1, format}, applied, reason));
      const auto values = Values(rig.Snap(info), format);
      double sum = 0.0;
      for (const double value : values) sum += value;
      const double mean = sum / static_cast<double>(values.size());
      const double unit = format == ORQ_IMG_RAW16 ? 256.0 : 1.0;
      EXPECT_NEAR(*info.levels.black, mean, format == ORQ_IMG_RAW8 ? 1.0 : 0.1 * unit)
          << key << " format " << format;
    }
  }
}

TEST(Offsets, LeaveTheNoiseOfADarkWholeAtFullGain) {
  constexpr int kLargeSide = 256;
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;
    const std::string key(model.key);
    const VirtualRig rig(
        key.c_str(), [](VirtualOptions& options) { options.scene = "dark"; }, kLargeSide);
    ASSERT_TRUE(rig.Open());
    ASSERT_EQ(rig.camera->Brightness, model.limits.offsetDefault);
    rig.camera->SetGain(model.limits.gainMax, false);
    rig.camera->SetExp(1000, false);
    for (const IMG_TYPE format : {ORQ_IMG_RAW16, ORQ_IMG_RAW8}) {
      FrameInfo info;
      FrameRegion applied;
      std::string reason;
      ASSERT_TRUE(rig.camera->SetRegion({0, 0, kLargeSide, kLargeSide, 1, format}, applied, reason)) << reason;
      const auto values = Values(rig.Snap(info), format);
      EXPECT_EQ(info.gain, model.limits.gainMax) << key;
      const auto zeros = static_cast<std::size_t>(std::ranges::count(values, 0.0));
      EXPECT_LE(zeros * 1000, values.size()) << key << " format " << format;
      EXPECT_LT(Median(values), format == ORQ_IMG_RAW16 ? 0.06 * 65536 : 16) << key << " loses range for nothing";
    }
  }
}

TEST(Levels, AreNotStatedWhereColoursDiffer) {
  const VirtualRig rig("k1c");
  ASSERT_TRUE(rig.Open());
  rig.camera->SetBrightness(8);
  rig.camera->SetWB(80, 50, false);
  const Look colour = LookAt(rig, {ORQ_IMG_RGB24, 1});
  EXPECT_EQ(colour.info.levels.saturated, 255.0) << "more than 255 there is not";
  rig.camera->SetWB(20, 50, false);
  const Look dim = LookAt(rig, {ORQ_IMG_RGB24, 1});
  EXPECT_FALSE(dim.info.levels.saturated);
  const Look raw = LookAt(rig, {ORQ_IMG_RAW16, 1});
  EXPECT_EQ(raw.info.levels.black, 8 * 16.0) << "raw frames are not balanced";
}

}  // namespace
}  // namespace orq
