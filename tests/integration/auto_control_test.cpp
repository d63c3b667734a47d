#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "link/WireProtocol.h"
#include "models/camera/ModelCamera.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

constexpr int kTarget = 100;
constexpr int kTolerance = 15;
constexpr int kSide = 64;

enum class Mode { Exposure, Gain, Both };

bool InBand(int mean) {
  return std::abs(mean - kTarget) <= kTolerance;
}

/// What it took to come to rest.
struct Settling {
  int cycles = 0;  ///< measurements until the last change
  bool settled = false;
  int turns = 0;  ///< how often too dark became too bright or the other way round
  int mean = 0;
};

/// A camera in flat light that captures, with the cycles of automatic control in the test's hand: each judges a
/// frame of the settings in force.
class Loop {
 public:
  Loop(const char* key, double flux, const std::function<void(VirtualOptions&)>& change = {},
       const std::function<void(ModelData&)>& changeModel = {})
      : rig(key, Options(flux, change), kSide) {
    if (changeModel) {
      ModelData model = camera().Model();
      changeModel(model);
      rig.camera = rig.MakeObject(model);
    }
    EXPECT_TRUE(rig.Open());
    camera().autoThr.InitFuncPt([](bool* running, void*) {  // the frame path copies while a worker runs
      while (ThreadCtrl::KeepRunning(running)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    EXPECT_EQ(camera().autoThr.Start(&camera()), 1);
    camera().AutoExpMaxMs = 10'000;
  }
  ~Loop() {
    camera().StopCapture();
    camera().StopAutoControlThr();
  }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  CModelCamera& camera() const { return *rig.camera; }

  void SetFormat(IMG_TYPE format, int bin = 1) {
    FrameRegion applied;
    std::string reason;
    ASSERT_TRUE(camera().SetRegion({0, 0, kSide / bin, kSide / bin, bin, format}, applied, reason)) << reason;
  }
  void Start(Mode mode, std::uint64_t exposureUs, int gain) {
    camera().SetExp(exposureUs, mode != Mode::Gain);
    camera().SetGain(gain, mode != Mode::Exposure);
    ASSERT_EQ(camera().StartCapture(false), 1);
  }
  bool AwaitFrame() {
    camera().autoGateLimit = 0;
    return Eventually([this] { return camera().autoGateLimit != 0; });
  }
  /// One cycle; the mean that it measured, 0 when no frame came.
  int Cycle() {
    if (!AwaitFrame()) return 0;
    camera().AutoExpGain(camera().autoBuf.get());
    return camera().autoMean;
  }
  /// Cycles until three in a row have changed nothing.
  Settling Settle(int most = 80) {
    Settling result;
    int side = 0;
    for (int cycle = 1, steady = 0; cycle <= most && steady < 3; ++cycle) {
      const auto before = std::pair(camera().exposureUs.Load(), camera().gain.Load());
      result.mean = Cycle();
      if (result.mean == 0) break;
      const int now = InBand(result.mean) ? 0 : result.mean > kTarget ? 1 : -1;
      if (now * side < 0) ++result.turns;
      if (now != 0) side = now;
      const bool same = before == std::pair(camera().exposureUs.Load(), camera().gain.Load());
      steady = same ? steady + 1 : 0;
      if (!same) result.cycles = cycle;
      result.settled = steady == 3;
    }
    return result;
  }

  VirtualRig rig;

 private:
  static std::function<void(VirtualOptions&)> Options(double flux,
                                                      const std::function<void(VirtualOptions&)>& change) {
    return [=](VirtualOptions& options) {
      options.timeScale = 0;
      options.fluxElectronsPerSecond = flux;
      if (change) change(options);
    };
  }
};

struct Case {
  const char* name;
  const char* key;
  IMG_TYPE format;
  int bin;
  double flux;
  Mode mode;
  std::uint64_t exposureUs;  ///< at the start
  int gain;
  int mostCycles;
};

std::string NameOf(const testing::TestParamInfo<Case>& info) {
  return info.param.name;
}

class ClosedLoop : public testing::TestWithParam<Case> {};

TEST_P(ClosedLoop, ComesToRestInTheBandWithoutSwinging) {
  const Case& start = GetParam();
  Loop loop(start.key, start.flux);
  loop.SetFormat(start.format, start.bin);
  loop.Start(start.mode, start.exposureUs, start.gain);
  const Settling end = loop.Settle();
  RecordProperty("cycles", end.cycles);
  RecordProperty("mean", end.mean);
  EXPECT_TRUE(end.settled);
  EXPECT_TRUE(InBand(end.mean)) << end.mean;
  EXPECT_EQ(end.turns, 0);
  EXPECT_LE(end.cycles, start.mostCycles);
}

// Of a full scale of 255, k1c and k1m give 1 for 57.6 electrons at gain 0, t46c for 166, x26m for 200, k2m for 44,
// b29m for 269. Noise at the edge of the band adds a rest of up to two cycles and one more step; there is room for
// two of these.
constexpr Case kCases[] = {
    {"K1cExposureFromDark", "k1c", ORQ_IMG_RAW16, 1, 1e6, Mode::Exposure, 32, 0, 23},
    {"K1cExposureFromBright", "k1c", ORQ_IMG_RAW16, 1, 1e6, Mode::Exposure, 5'000'000, 0, 23},
    {"K1mExposureToFiveSeconds", "k1m", ORQ_IMG_RAW8, 1, 1000, Mode::Exposure, 10'000, 0, 25},
    {"K1mExposureFromTenSeconds", "k1m", ORQ_IMG_RAW16, 1, 1200, Mode::Exposure, 10'000'000, 50, 15},
    {"K1cGainFromDark", "k1c", ORQ_IMG_RAW8, 1, 1e6, Mode::Gain, 1000, 0, 25},
    {"K1cGainFromBright", "k1c", ORQ_IMG_RAW16, 1, 1e6, Mode::Gain, 1000, 100, 60},
    {"K1cBothFromDark", "k1c", ORQ_IMG_RAW16, 1, 1e6, Mode::Both, 32, 0, 19},
    {"K1cBothFromBright", "k1c", ORQ_IMG_RAW8, 1, 1e6, Mode::Both, 5'000'000, 50, 25},
    {"K1mBothToSeconds", "k1m", ORQ_IMG_RAW16, 1, 300, Mode::Both, 32, 0, 40},
    {"K2mBothFromDark", "k2m", ORQ_IMG_RAW16, 1, 5e5, Mode::Both, 100, 0, 19},
    {"K2mBothFromBright", "k2m", ORQ_IMG_RAW8, 1, 5e5, Mode::Both, 90'000, 200, 16},
    {"T46cExposureFromDark", "t46c", ORQ_IMG_RAW16, 1, 1e6, Mode::Exposure, 100, 0, 22},
    {"T46cBothFromBright", "t46c", ORQ_IMG_RGB24, 1, 1e6, Mode::Both, 1'000'000, 190, 20},
    {"X26mBinTwoOnTheHost8Bit", "x26m", ORQ_IMG_RAW8, 2, 1e6, Mode::Exposure, 1000, 0, 13},
    {"X26mBinThree16Bit", "x26m", ORQ_IMG_RAW16, 3, 1e6, Mode::Both, 1000, 0, 14},
    {"B29mBinFourInItsFpga", "b29m", ORQ_IMG_RAW16, 4, 2e5, Mode::Exposure, 1000, 0, 18},
    {"B29mBinTwo8Bit", "b29m", ORQ_IMG_RAW8, 2, 2e5, Mode::Both, 4'000'000, 100, 19},
};
INSTANTIATE_TEST_SUITE_P(AutoControl, ClosedLoop, testing::ValuesIn(kCases), NameOf);

TEST(AutoControl, FollowsTheLight) {
  Loop loop("k1c", 1e5);
  loop.Start(Mode::Both, 10'000, 0);
  ASSERT_TRUE(loop.Settle().settled);
  for (const double flux : {4e5, 2e4}) {
    loop.rig.device->SetFlux(flux);
    ASSERT_TRUE(Eventually([&] { return !InBand(loop.Cycle()); })) << "frames of the old light come first";
    const Settling end = loop.Settle();
    EXPECT_TRUE(end.settled);
    EXPECT_TRUE(InBand(end.mean)) << end.mean;
    EXPECT_EQ(end.turns, 0);
    EXPECT_LE(end.cycles, 25);
  }
}

// 8-bit frames have no byte order: what they measure, 16-bit frames of the same light measure, too. The device
// sends what the flag says; the name decides what is read.
TEST(AutoControl, MeasuresTheSameIn16BitWhateverTheModelsNameAndByteOrder) {
  for (const ModelData& row : AllModels()) {
    if (row.key == "replay") continue;  // plays a file
    const std::string key(row.key);
    const auto measured = [&](IMG_TYPE format, std::string_view name, bool msbFirst) {
      Loop loop(key.c_str(), 1e6, {}, [&](ModelData& model) {
        model.name = name;
        model.msbFirst = msbFirst;
      });
      loop.SetFormat(format);
      loop.Start(Mode::Exposure, 10'000, 0);
      return loop.Cycle();
    };
    const int expected = measured(ORQ_IMG_RAW8, row.name, row.msbFirst);
    ASSERT_GT(expected, 20) << key << ": too dark to tell";
    for (const std::string_view name :
         {row.name, std::string_view("Tavix ORQ-Other"), std::string_view("Tavix ORQ-K2M")}) {
      for (const bool msbFirst : {false, true}) {
        // Bytes that are read the wrong way round are far off; the sky moves a little from one camera to the next.
        EXPECT_NEAR(measured(ORQ_IMG_RAW16, name, msbFirst), expected, 8)
            << key << " named " << name << (msbFirst ? ", high byte first" : "");
      }
    }
  }
}

TEST(AutoControl, ComesToRestAtItsLimits) {
  Loop dark("h53m", 1e5);
  dark.camera().SetAutoPara(50, 2, kTarget);
  dark.Start(Mode::Both, 1000, 0);
  const Settling below = dark.Settle();
  EXPECT_TRUE(below.settled);
  EXPECT_LT(below.mean, 85);
  EXPECT_EQ(dark.camera().exposureUs, 2000U);
  EXPECT_EQ(dark.camera().gain, 50);

  Loop bright("k1m", 1e9);
  bright.Start(Mode::Both, 1000, 10);
  const Settling above = bright.Settle();
  EXPECT_TRUE(above.settled);
  EXPECT_EQ(above.mean, 255);
  EXPECT_EQ(bright.camera().exposureUs, 32U);
  EXPECT_EQ(bright.camera().gain, 1) << "with automatic exposure the gain stays above 0";
}

// x26m reads a row in 36.8 us: exposures up to 110 us are two lines at most.
TEST(AutoControl, ExposuresOfAFewLinesRestInAWiderBand) {
  Loop loop("x26m", 3.3e8);
  loop.Start(Mode::Exposure, 100, 0);
  const Settling end = loop.Settle();
  EXPECT_TRUE(end.settled);
  EXPECT_LE(loop.camera().expReg, 2);
  EXPECT_GT(end.mean, 115);
  EXPECT_LE(end.mean, 145);
}

// The decision counts hardware bin 4 as a sum, and a 16-bit frame's second stage averages.
TEST(AutoControl, HardwareBinFourIn16BitRestsAtAQuarterOfTheTarget) {
  Loop loop("x26m", 1e5);
  ASSERT_TRUE(loop.camera().SetHardwareBin(true));
  loop.SetFormat(ORQ_IMG_RAW16, 4);
  loop.Start(Mode::Exposure, 1000, 0);
  const Settling end = loop.Settle();
  EXPECT_TRUE(end.settled);
  EXPECT_TRUE(InBand(end.mean)) << end.mean;
  FrameInfo info;
  std::vector<std::uint8_t> frame = loop.rig.Buffer();
  ASSERT_EQ(loop.camera().GetFrame(frame.data(), static_cast<int>(frame.size()), VirtualRig::kPatienceMs, info),
            1);
  double sum = 0;
  for (std::size_t i = 1; i < frame.size(); i += 2) sum += frame[i];
  const std::size_t samples = frame.size() / 2;
  EXPECT_NEAR(sum / static_cast<double>(samples), kTarget / 4.0, 5);
}

/// Mean of the colours (red, green, blue) of the RGGB frame in `autoBuf`, on the 0 to 255 scale.
std::array<double, 3> Colours(CModelCamera& camera) {
  const std::lock_guard lock(camera.autoBufMutex);
  const std::size_t bytes = camera.b16Bit != 0 ? 2 : 1;  // of k1c: the first tells the brightness
  std::array<double, 3> sum{};
  std::array<int, 3> count{};
  for (std::size_t y = 0; y < kSide; ++y) {
    for (std::size_t x = 0; x < kSide; ++x) {
      const std::size_t colour = x % 2 + y % 2;
      sum.at(colour) += camera.autoBuf[(y * kSide + x) * bytes];
      ++count.at(colour);
    }
  }
  return {sum[0] / count[0], sum[1] / count[1], sum[2] / count[2]};
}

struct Light {
  const char* name;
  double kelvin;
  IMG_TYPE format;
  bool automaticExposure;
  double tolerance;
};

class WhiteBalanceLoop : public testing::TestWithParam<Light> {};

TEST_P(WhiteBalanceLoop, BringsRedAndBlueToGreen) {
  const Light& light = GetParam();
  Loop loop("k1c", 1e6, [&](VirtualOptions& options) { options.illuminantKelvin = light.kelvin; });
  loop.SetFormat(light.format);
  CModelCamera& camera = loop.camera();
  camera.SetWB(50, 50, true);
  loop.Start(light.automaticExposure ? Mode::Exposure : Mode::Gain, 7000, 0);
  if (!light.automaticExposure) camera.SetGain(0, false);
  int changes = 0;
  for (int steady = 0; changes < 10 && steady < 3;) {
    if (light.automaticExposure) loop.Cycle();
    ASSERT_TRUE(loop.AwaitFrame());
    const auto before = std::pair(camera.WB_Red.Load(), camera.WB_Blue.Load());
    camera.AutoWhiBal(camera.autoBuf.get());
    const bool same = before == std::pair(camera.WB_Red.Load(), camera.WB_Blue.Load());
    steady = same ? steady + 1 : 0;
    if (!same) ++changes;
  }
  RecordProperty("changes", changes);
  EXPECT_GE(changes, 1);
  EXPECT_LE(changes, 4);
  ASSERT_TRUE(loop.AwaitFrame());
  camera.StopCapture();
  const auto [red, green, blue] = Colours(camera);
  EXPECT_NEAR(red / green, 1.0, light.tolerance);
  EXPECT_NEAR(blue / green, 1.0, light.tolerance);
}

// The tolerances are those of the rules, and one unit of a truncated mean.
constexpr Light kLights[] = {
    {"Warm", 4000, ORQ_IMG_RAW16, false, 0.05},
    {"Cold", 8000, ORQ_IMG_RAW16, false, 0.05},
    {"WarmIn8Bit", 4000, ORQ_IMG_RAW8, false, 0.05},
    {"ColdWithAutomaticExposure", 8000, ORQ_IMG_RAW8, true, 0.11},
    {"WarmWithAutomaticExposure", 4000, ORQ_IMG_RAW16, true, 0.11},
};
INSTANTIATE_TEST_SUITE_P(AutoControl, WhiteBalanceLoop, testing::ValuesIn(kLights),
                         [](const testing::TestParamInfo<Light>& light) { return std::string(light.param.name); });

// What the light of a candle lacks in blue, no value of the range makes up for.
TEST(AutoControl, WhiteBalanceEndsAtItsLimits) {
  Loop loop("k1c", 1e6, [](VirtualOptions& options) { options.illuminantKelvin = 1900; });
  CModelCamera& camera = loop.camera();
  camera.SetWB(50, 50, true);
  loop.Start(Mode::Exposure, 5000, 0);
  for (int i = 0; i < 6; ++i) {
    ASSERT_TRUE(loop.AwaitFrame());
    camera.AutoWhiBal(camera.autoBuf.get());
  }
  EXPECT_EQ(camera.WB_Blue, 99);
  const auto [red, green, blue] = Colours(camera);
  EXPECT_NEAR(red / green, 1.0, 0.11);
  EXPECT_LT(blue / green, 0.8);
}

/// Notes for every exposure that the worker sets which exposure it had and which mean it measured under it.
class Witness : public CModelCamera {
 public:
  using CModelCamera::CModelCamera;
  bool SetExp(unsigned long long us, bool on) override {
    if (watching) judged.emplace_back(exposureUs.Load(), autoMean.Load());
    return CModelCamera::SetExp(us, on);
  }
  std::atomic<bool> watching{false};
  std::vector<std::pair<std::uint64_t, int>> judged;
};

// At a time scale of 0.04 an exposure of five seconds takes two cycles of the worker, and the next one is under
// way before the first is judged.
TEST(AutoControl, TheWorkerJudgesFramesOfTheExposureInForceOnly) {
  constexpr double kFlux = 5000;
  constexpr double kTimeScale = 0.04;
  const VirtualRig rig("k1m", [=](VirtualOptions& options) {
    options.timeScale = kTimeScale;
    options.fluxElectronsPerSecond = kFlux;
  });
  ModelData model = *FindModel("k1m");
  model.maxWidth = model.maxHeight = kSide;
  model.timeScale = kTimeScale;
  Witness camera(model);
  camera.UsePort(MakeVirtualPort(rig.bus));
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.SetExp(5'000'000, true);
  camera.watching = true;
  ASSERT_EQ(camera.StartCapture(false), 1);
  ASSERT_EQ(camera.StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera.autoSteadyCycles >= 3; }));
  camera.StopAutoControlThr();
  camera.StopCapture();
  EXPECT_TRUE(InBand(camera.autoMean)) << camera.autoMean;
  EXPECT_GE(camera.judged.size(), 3U);
  camera.judged.emplace_back(camera.exposureUs, camera.autoMean);
  for (const auto& [exposureUs, mean] : camera.judged) {
    // 3.6 electrons per count of 12 bits, the black level; a mean is truncated and one more.
    const double counts = kFlux * static_cast<double>(exposureUs) * 1e-6 / 3.6 + camera.Brightness;
    EXPECT_NEAR(mean, std::min(counts / 16 + 0.5, 255.0), 2.0) << exposureUs;
  }
}

TEST(AutoControl, TheWorkerSettlesExposureAndWhiteBalance) {
  const VirtualRig rig(
      "k1c",
      [](VirtualOptions& options) {
        options.timeScale = 1;
        options.fluxElectronsPerSecond = 1e5;
        options.illuminantKelvin = 4000;
      },
      kSide);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  camera.SetExp(20'000, true);
  camera.SetWB(50, 50, true);
  ASSERT_EQ(camera.StartCapture(false), 1);
  ASSERT_EQ(camera.StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return camera.autoSteadyCycles >= 8; })) << "two looks at the colours";
  camera.StopAutoControlThr();
  camera.StopCapture();
  EXPECT_TRUE(InBand(camera.autoMean)) << camera.autoMean;
  const auto [red, green, blue] = Colours(camera);
  EXPECT_NEAR(red / green, 1.0, 0.11);
  EXPECT_NEAR(blue / green, 1.0, 0.11);
}

TEST(AutoControl, WorksBetweenSingleExposures) {
  const VirtualRig rig(
      "k1m",
      [](VirtualOptions& options) {
        options.timeScale = 0;
        options.fluxElectronsPerSecond = 1e6;
      },
      kSide);
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(20'000, true);
  ASSERT_EQ(rig.camera->StartAutoControlThr(), 1);
  for (std::uint64_t last = 20'000; !InBand(rig.camera->autoMean);) {
    FrameInfo info;
    ASSERT_FALSE(rig.Snap(info).empty());
    ASSERT_EQ(info.exposureUs, last);
    ASSERT_TRUE(Eventually([&] { return rig.camera->exposureUs != last || InBand(rig.camera->autoMean); }));
    last = rig.camera->exposureUs;
  }
  rig.camera->StopAutoControlThr();
}

TEST(AutoFrame, AChangeOfGeometryClosesTheGateBeforeTheNextCapture) {
  Loop loop("k1c", 1e6);
  loop.Start(Mode::Exposure, 1000, 0);
  ASSERT_TRUE(loop.AwaitFrame());
  loop.camera().StopCapture();
  ASSERT_NE(loop.camera().autoGateLimit, 0);
  loop.SetFormat(ORQ_IMG_RAW8);
  EXPECT_EQ(loop.camera().autoGateLimit, 0);
}

// What `autoBuf` holds shows the old setting.
TEST(AutoFrame, EveryChangeOfASettingClosesTheGateAndNoneThatChangesNothing) {
  constexpr std::int32_t kOpen = 1'000'000;
  for (const ModelData& model : AllModels()) {
    CModelCamera camera(model);
    const ControlLimits& range = model.limits;
    const bool hasGain = range.gainMax != range.gainMin;
    const auto gateAfter = [&](const auto& set) {
      camera.autoGateLimit = kOpen;
      set();
      return camera.autoGateLimit.Load();
    };
    for (const int gain : {range.gainMax, range.gainMin}) {
      EXPECT_EQ(gateAfter([&] { camera.SetGain(gain, true); }), hasGain ? 0 : kOpen) << model.key << " " << gain;
      EXPECT_EQ(gateAfter([&] { camera.SetGain(gain, false); }), kOpen) << model.key << " " << gain;
    }
    for (const std::uint64_t us : {50'000U, 60'000U}) {
      EXPECT_EQ(gateAfter([&] { camera.SetExp(us, true); }), 0) << model.key << " " << us;
      EXPECT_EQ(gateAfter([&] { camera.SetExp(us, false); }), kOpen) << model.key << " " << us;
    }
    for (const int red : {20, 30}) {
      EXPECT_EQ(gateAfter([&] { camera.SetWB(red, 50, true); }), model.colour ? 0 : kOpen) << model.key;
      EXPECT_EQ(gateAfter([&] { camera.SetWB(red, 50, false); }), kOpen) << model.key;
    }
  }
}

TEST(AutoFrame, FramesWithoutAWorkerCloseTheGate) {
  Loop loop("k1c", 1e6);
  loop.Start(Mode::Exposure, 1000, 0);
  ASSERT_TRUE(loop.AwaitFrame());
  loop.camera().StopAutoControlThr();
  EXPECT_TRUE(Eventually([&] { return loop.camera().autoGateLimit == 0; })) << "the next worker awaits a frame";
}

TEST(AutoFrame, FramesOfOldSettingsAreNotCopied) {
  Loop loop("k1c", 1e6);
  loop.Start(Mode::Exposure, 1000, 0);
  ASSERT_TRUE(loop.AwaitFrame());
  std::array<std::uint8_t, 4> old{};
  for (std::uint16_t i = 0; i < 4; ++i) old[i] = loop.rig.device->FpgaRegister(wire::kFpgaSettingsTag + i);
  ASSERT_TRUE(loop.camera().SetExp(2000, true));
  // As if the sensor still had the settings from before.
  for (std::uint16_t i = 0; i < 4; ++i) loop.rig.device->SetFpgaRegister(wire::kFpgaSettingsTag + i, old[i]);
  const std::uint32_t oldTag = std::uint32_t{old[0]} | std::uint32_t{old[1]} << 8U | std::uint32_t{old[2]} << 16U |
                               std::uint32_t{old[3]} << 24U;
  FrameInfo info;
  do {
    ASSERT_TRUE(loop.rig.Fetch(info));
  } while (info.settingsTag != oldTag);
  loop.camera().autoGateLimit = 0;
  {
    const std::lock_guard lock(loop.camera().autoBufMutex);
    std::fill_n(loop.camera().autoBuf.get(), 16, std::uint8_t{0xEE});
  }
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(loop.rig.Fetch());
  EXPECT_EQ(loop.camera().autoGateLimit, 0);
  const std::lock_guard lock(loop.camera().autoBufMutex);
  EXPECT_EQ(loop.camera().autoBuf[0], 0xEE);
}

// The header says what the sensor does, which need not be what was asked for.
TEST(AutoFrame, FramesOfASensorThatCountsLinesAreMeasured) {
  const VirtualRig rig(
      "k1c",
      [](VirtualOptions& options) {
        options.timeScale = 0;
        options.fluxElectronsPerSecond = 1e6;
        options.countLines = true;
      },
      kSide);
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(1000, true);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info));
  EXPECT_EQ(info.exposureUs, 999U) << "74 lines of 13.5 us";
  EXPECT_EQ(rig.camera->exposureUs, 1000U);
  ASSERT_EQ(rig.camera->StartAutoControlThr(), 1);
  EXPECT_TRUE(Eventually([&] { return InBand(rig.camera->autoMean); })) << rig.camera->autoMean;
  rig.camera->StopAutoControlThr();
  rig.camera->StopCapture();
}

TEST(AutoFrame, ThePatternFollowsARegionThatBeginsOnAnOddPixel) {
  ModelData model = *FindModel("k1c");
  model.maxWidth = model.maxHeight = kSide;
  model.region = {1, 1, 1, 1, 1, 1};
  CModelCamera camera(model);
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(camera.SetRegion({1, 1, 8, 8, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  // Seen from (1, 1), RGGB is BGGR.
  const std::array<std::uint8_t, 4> frame{10, 20, 20, 30};
  std::array<int, 3> variances{};
  std::array<int, 3> averages{};
  camera.algorithm.Get_variance_ave_RAW(frame.data(), 0, 0, 2, 2, 2, 2, variances.data(), averages.data(), false);
  EXPECT_EQ(averages, (std::array{30, 20, 10}));
}

// For the thread sanitizer: the automatic-control worker, the capture worker, and a caller who changes what both
// use.
TEST(AutoControl, WorkersAndACallerWhoChangesEverythingAgree) {
  const VirtualRig rig(
      "k1c",
      [](VirtualOptions& options) {
        options.timeScale = 1;
        options.fluxElectronsPerSecond = 1e6;
      },
      kSide);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  camera.SetExp(2000, true);
  camera.SetGain(10, true);
  camera.SetWB(40, 60, true);
  ASSERT_EQ(camera.StartCapture(false), 1);
  ASSERT_EQ(camera.StartAutoControlThr(), 1);
  for (int round = 0; round < 40; ++round) {
    const bool odd = round % 2 != 0;
    camera.SetControlValue(ORQ_EXPOSURE, 1000 + 100 * round, true);
    camera.SetControlValue(ORQ_GAIN, round % 50, !odd);
    camera.SetControlValue(ORQ_WB_R, 30 + round % 40, true);
    camera.SetControlValue(ORQ_WB_B, 70 - round % 40, true);
    camera.SetControlValue(ORQ_AUTO_EXP_MAX_GAIN, 20 + round % 30, false);
    camera.SetControlValue(ORQ_AUTO_EXP_MAX_EXP_MS, 10 + round % 90, false);
    camera.SetControlValue(ORQ_AUTO_EXP_TARGET_BRIGHTNESS, 50 + round % 100, false);
    camera.SetControlValue(ORQ_OFFSET, round % 100, false);
    camera.SetControlValue(ORQ_FLIP, round % 4, false);
    camera.SetControlValue(ORQ_GAMMA, round % 100, false);
    if (round % 8 == 7) {
      FrameRegion applied;
      std::string reason;
      const IMG_TYPE format = odd ? ORQ_IMG_RAW8 : ORQ_IMG_RAW16;
      EXPECT_TRUE(camera.SetRegion({0, 0, 32, 32, 1 + round / 8 % 2, format}, applied, reason)) << reason;
    }
    if (round % 16 == 15) {
      camera.StopAutoControlThr();
      EXPECT_EQ(camera.StartAutoControlThr(), 1);
    }
    EXPECT_TRUE(rig.Fetch());
    if (round % 8 == 3) {  // some peace, in which a frame is judged
      camera.autoMean = 0;
      EXPECT_TRUE(Eventually([&] { return camera.autoMean != 0; }));
    }
  }
  camera.StopAutoControlThr();
  EXPECT_EQ(camera.StopCapture(), 1);
}

}  // namespace
}  // namespace orq
