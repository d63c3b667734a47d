// Frames with every correction on, against a plain recomputation from the samples that were sent: all models, all
// ways of binning, and geometries that change while frames are under way.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "image/timemark/TimeMark.h"
#include "link/WireProtocol.h"
#include "support/Cameras.h"
#include "support/PlainFramePath.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::PlainFramePath;
using test::VirtualRig;

constexpr int kSide = 128;

class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}
  int Roll(int low, int high) { return low + static_cast<int>(random_() % static_cast<unsigned>(high - low + 1)); }
  bool OneIn(int n) { return Roll(1, n) == 1; }

 private:
  std::mt19937 random_;
};

/// Gain at which the faint light of the tests spreads 8-bit samples over several values.
int TellingGain(const ModelData& model) {
  return model.adcBits == 16 ? 220 : model.adcBits == 14 ? 200 : model.limits.gainMax > 100 ? 60 : 32;
}

/// A camera whose sensor has defects everywhere: hot pixels alone and in clusters, hot rows, a dark image in which
/// no two neighbours are alike.
struct DefectiveCamera {
  explicit DefectiveCamera(const char* key, int side = kSide)
      : rig(
            key, [](VirtualOptions& options) { options.fluxElectronsPerSecond = 500; }, side) {
    Dice dice(static_cast<unsigned>(key[0] + key[1] * 256 + key[2]));
    const int pixels = side * side;
    plain.hotPixels.resize(static_cast<std::size_t>(pixels));
    plain.dark.resize(static_cast<std::size_t>(pixels));
    for (int& value : plain.dark) value = dice.OneIn(60) ? dice.Roll(60, 255) : dice.Roll(0, 24);
    for (int i = 0; i < pixels / 60; ++i) {
      const int at = dice.Roll(0, pixels - side - 2);
      Hot(at);
      if (dice.OneIn(6))
        for (const int neighbour : {1, 2, side, side + 1}) Hot(at + neighbour);
    }
    for (const int row : {18, 40, 41, 42, 43, 95}) {
      for (int x = 0; x < side; ++x)
        if (x % 3 != 0) Hot(row * side + x);
    }
  }

  void Hot(int at) { plain.hotPixels[static_cast<std::size_t>(at)] = 1; }

  /// Opens the camera and hands it the tables, as loading them would.
  bool Open() {
    CModelCamera& camera = *rig.camera;
    if (!rig.Open()) return false;
    camera.SetExp(400'000, false);
    camera.SetGain(TellingGain(camera.Model()), false);
    {
      const std::scoped_lock locks(camera.DarkAccumMutex, camera.DarkBufMutex);
      camera.pDarkFull = std::make_unique<std::uint8_t[]>(plain.dark.size());
      camera.pDarkBuf = std::make_unique<std::uint8_t[]>(plain.dark.size());
      std::copy(plain.dark.begin(), plain.dark.end(), camera.pDarkFull.get());
    }
    camera.AdjustDarkBuff();
    camera.UsingDark(true);
    {
      const std::scoped_lock lock(camera.HPCMutex);
      std::copy(plain.hotPixels.begin(), plain.hotPixels.end(), camera.pHPCFullMap.get());
      camera.bHPCForce = true;
    }
    camera.AdjustHPCTable();
    camera.HPC = 1;
    return true;
  }

  bool SetRegion(const FrameRegion& region) const {
    FrameRegion applied;
    std::string reason;
    const bool done = rig.camera->SetRegion(region, applied, reason);
    EXPECT_TRUE(done) << reason;
    EXPECT_EQ(applied, region);
    return done && applied == region;
  }
  void SetGamma(int gamma) {
    EXPECT_EQ(rig.camera->SetControlValue(ORQ_GAMMA, gamma, false), CTRL_OK);
    plain.gamma = gamma;
  }
  bool SetMonoBin(bool on) {
    if (rig.camera->SetControlValue(ORQ_MONO_BIN, on ? 1 : 0, false) != CTRL_OK) return false;
    plain.monoBin = on;
    return true;
  }
  void SetWhiteBalance(int red, int blue) {
    ASSERT_TRUE(rig.camera->SetWB(red, blue, false));
    plain.red = red;
    plain.blue = blue;
  }

  /// Where the first difference lies; empty when the frame is right.
  std::string Difference(const FrameInfo& info, const std::vector<std::uint8_t>& sent,
                         const std::vector<std::uint8_t>& frame) const {
    const FrameRegion& r = info.region;
    const std::string what = std::string(rig.camera->Model().key) + " " + std::to_string(r.width) + "x" +
                             std::to_string(r.height) + " from " + std::to_string(r.startX) + "," +
                             std::to_string(r.startY) + " bin " + std::to_string(r.bin) + " (host " +
                             std::to_string(plain.HostBin(info, sent)) + ") format " + std::to_string(r.format) +
                             (info.flipHorizontal ? " H" : "") + (info.flipVertical ? " V" : "");
    if (plain.HostBin(info, sent) == 0) return what + ": the device sent a frame of another geometry";
    const auto expected = plain.Delivered(info, sent);
    int differences = 0;
    std::size_t first = 0;
    for (std::size_t i = expected.size(); i-- > 0;) {
      if (frame[i] == expected[i]) continue;
      first = i;
      ++differences;
    }
    if (differences == 0) return {};
    return what + ": " + std::to_string(differences) + " bytes differ, the first at " + std::to_string(first) +
           " is " + std::to_string(frame[first]) + " and should be " + std::to_string(expected[first]);
  }

  /// Takes one exposure and compares it.
  void ExpectGoodFrame() const {
    FrameInfo info;
    const auto frame = rig.Snap(info);
    ASSERT_FALSE(frame.empty()) << rig.camera->CaptureTrouble();
    const auto sent = rig.device->SentPayload(info.sequence);
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(Difference(info, sent, frame), "");
  }

  VirtualRig rig;
  PlainFramePath plain{rig.camera->Model(), {}, {}};
};

class CorrectedFrames : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Models, CorrectedFrames, testing::ValuesIn(test::CameraKeys()),
                         [](const auto& model) { return std::string(model.param); });

TEST_P(CorrectedFrames, AreRightAtEveryBinFormatOffsetAndFlip) {
  DefectiveCamera camera(GetParam());
  ASSERT_TRUE(camera.Open());
  const ModelData& model = camera.rig.camera->Model();
  int flips = 0;
  for (const std::uint8_t bin : model.bins) {
    if (bin == 0) break;
    for (const bool hardware : {false, true}) {
      if (hardware && !model.hardwareBin) continue;
      if (hardware) ASSERT_TRUE(camera.rig.camera->SetHardwareBin(true));
      for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
        ASSERT_EQ(camera.rig.camera->SetControlValue(ORQ_FLIP, flips++ % 4, false), CTRL_OK);
        ASSERT_TRUE(camera.SetRegion({0, 0, kSide / bin / 8 * 8, kSide / bin / 2 * 2, bin, format}));
        camera.ExpectGoodFrame();
        ASSERT_TRUE(camera.SetRegion({6, 14, 16, 22, bin, format}));
        camera.ExpectGoodFrame();
      }
      if (hardware) ASSERT_TRUE(camera.rig.camera->SetHardwareBin(false));
    }
  }
}

TEST_P(CorrectedFrames, OfTheSmallestRegionAreRight) {
  DefectiveCamera camera(GetParam());
  ASSERT_TRUE(camera.Open());
  for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
    for (const int y : {16, 38, 40, 42}) {  // beside, across and between hot rows
      ASSERT_TRUE(camera.SetRegion({112, y, 16, 4, 1, format}));
      camera.ExpectGoodFrame();
    }
    ASSERT_TRUE(camera.SetRegion({0, 0, 16, 4, 4, format}));
    camera.ExpectGoodFrame();
  }
}

TEST(ColourFrames, AreCorrectedBeforeTheyAreBinnedCurvedFlippedAndConverted) {
  DefectiveCamera camera("k1c");
  ASSERT_TRUE(camera.Open());
  camera.SetWhiteBalance(72, 31);
  int round = 0;
  for (const IMG_TYPE format : {ORQ_IMG_RGB24, ORQ_IMG_Y8, ORQ_IMG_RAW16}) {
    for (const int bin : {1, 2, 3}) {
      for (const bool mono : {false, true}) {
        ASSERT_TRUE(camera.SetMonoBin(false));
        ASSERT_TRUE(camera.SetRegion({2 * bin, 10, 32, 20, bin, format}));
        if (mono && !camera.SetMonoBin(true)) continue;
        camera.SetGamma(round % 2 == 0 ? 23 : 88);
        ASSERT_EQ(camera.rig.camera->SetControlValue(ORQ_FLIP, round % 4, false), CTRL_OK);
        camera.ExpectGoodFrame();
        ++round;
      }
    }
  }
  EXPECT_EQ(round, 16) << "mono bin leaves no colours: refused for rgb24 at two bins";
}

TEST(Gamma, NeutralLeavesTheTablesUnused) {
  DefectiveCamera camera("k1m");
  ASSERT_TRUE(camera.Open());
  ASSERT_EQ(camera.rig.camera->GetGamma(), 50);
  std::fill_n(camera.rig.camera->gammaTable16.get(), kGammaTable16, std::uint16_t{7});
  camera.rig.camera->gammaTable8.fill(7);
  for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
    ASSERT_TRUE(camera.SetRegion({8, 8, 32, 20, 2, format}));
    camera.ExpectGoodFrame();
  }
}

/// Fetches frames on a thread of its own and compares every one whose samples the device still has.
class ComparingReader {
 public:
  explicit ComparingReader(const DefectiveCamera& camera) : camera_(camera), thread_([this] { Run(); }) {}
  ~ComparingReader() {
    stop_ = true;
    camera_.rig.camera->StopCapture();
    thread_.join();
  }

  /// Waits for a frame of the region that was fetched and compared from now on.
  bool AwaitGood(const FrameRegion& region) {
    std::unique_lock lock(mutex_);
    const int before = compared_;
    changed_.wait_for(lock, std::chrono::seconds(60),
                      [&] { return !trouble_.empty() || (compared_ > before && last_ == region); });
    EXPECT_EQ(trouble_, "");
    return trouble_.empty() && compared_ > before;
  }

 private:
  void Run() {
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(6 * kSide * kSide));
    while (!stop_) {
      FrameInfo info;
      if (camera_.rig.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), 60'000, info) == 0) {
        if (!stop_) Note(info.region, "no frame: " + camera_.rig.camera->CaptureTrouble());
        return;
      }
      const auto sent = camera_.rig.device->SentPayload(info.sequence);
      if (!sent.empty()) Note(info.region, camera_.Difference(info, sent, frame));
    }
  }
  void Note(const FrameRegion& region, const std::string& trouble) {
    {
      const std::lock_guard lock(mutex_);
      ++compared_;
      last_ = region;
      if (trouble_.empty()) trouble_ = trouble;
    }
    changed_.notify_all();
  }

  const DefectiveCamera& camera_;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::condition_variable changed_;
  int compared_ = 0;
  FrameRegion last_;
  std::string trouble_;
  std::thread thread_;
};

int RandomBin(Dice& dice, const ModelData& model) {
  std::vector<int> bins;
  for (const int bin : model.bins)
    if (bin != 0) bins.push_back(bin);
  return bins.at(static_cast<std::size_t>(dice.Roll(0, static_cast<int>(bins.size()) - 1)));
}

FrameRegion RandomRegion(Dice& dice, const ModelData& model) {
  FrameRegion region;
  region.bin = RandomBin(dice, model);
  region.format = dice.OneIn(2) ? ORQ_IMG_RAW8 : ORQ_IMG_RAW16;
  region.width = dice.Roll(2, kSide / region.bin / 8) * 8;
  region.height = dice.Roll(2, kSide / region.bin / 2) * 2;
  region.startX = dice.Roll(0, (kSide - region.width * region.bin) / 2) * 2;
  region.startY = dice.Roll(0, (kSide - region.height * region.bin) / 2) * 2;
  return region;
}

TEST_P(CorrectedFrames, AreRightThroughARandomSequenceOfGeometriesWhileStreaming) {
  DefectiveCamera camera(GetParam());
  ASSERT_TRUE(camera.Open());
  CModelCamera& object = *camera.rig.camera;
  Dice dice(20);
  bool hardware = false;
  ASSERT_EQ(object.StartCapture(false), 1);
  ComparingReader reader(camera);
  for (int change = 0; change < 30; ++change) {
    FrameRegion region = RandomRegion(dice, object.Model());
    if (dice.OneIn(4)) {
      // A capture that has not begun yet would take the refusal that is meant for the change.
      ASSERT_TRUE(reader.AwaitGood(object.Region())) << change;
      // Refused half-way: frames of the old geometry go on, with the tables of the old geometry.
      camera.rig.device->FailRequests(wire::kReqWriteFpga, kUsbPipe, dice.Roll(0, 6), 1);
      const FrameRegion before = object.Region();
      FrameRegion applied;
      std::string reason;
      if (!object.SetRegion(region, applied, reason)) region = before;
      camera.rig.device->ClearFailures();
      // Where the change needed fewer writes, the capture that starts again has met the refusal.
      ASSERT_TRUE(test::Eventually([&] { return object.StreamAlive() || !object.IsCapturing(); }));
      ASSERT_TRUE(object.IsCapturing() || object.StartCapture(false) == 1);
    } else {
      ASSERT_TRUE(camera.SetRegion(region));
    }
    if (object.Model().hardwareBin && dice.OneIn(2)) {
      hardware = !hardware;
      ASSERT_TRUE(object.SetHardwareBin(hardware));
    }
    if (dice.OneIn(3)) continue;  // the next change comes while frames of this geometry are under way
    if (dice.OneIn(2)) object.SetControlValue(ORQ_FLIP, dice.Roll(0, 3), false);
    ASSERT_TRUE(reader.AwaitGood(region)) << change;
  }
}

TEST(TimeMark, IsPrintedLastOnTheFrameAsItIsDelivered) {
  constexpr int kWide = 256;
  DefectiveCamera camera("k1c", kWide);
  ASSERT_TRUE(camera.Open());
  camera.SetGamma(80);
  ASSERT_EQ(camera.rig.camera->SetControlValue(ORQ_FLIP, 3, false), CTRL_OK);
  camera.rig.camera->SetTimeMark(true);
  for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RGB24, ORQ_IMG_Y8}) {
    ASSERT_TRUE(camera.SetRegion({0, 0, kWide, 24, 1, format}));
    FrameInfo info;
    const std::time_t before = std::time(nullptr);
    const auto frame = camera.rig.Snap(info);
    const std::time_t after = std::time(nullptr);
    const auto sent = camera.rig.device->SentPayload(info.sequence);
    ASSERT_FALSE(sent.empty());
    const auto bare = camera.plain.Delivered(info, sent);
    bool found = false;
    for (std::time_t when = before; when <= after && !found; ++when) {
      std::tm local{};
      localtime_r(&when, &local);
      auto marked = bare;
      DrawMark({marked, kWide, 24, format == ORQ_IMG_RGB24 ? 3 : 1}, MarkTextOf(local));
      ASSERT_NE(marked, bare);
      found = marked == frame;
    }
    EXPECT_TRUE(found) << format;
  }
  ASSERT_TRUE(camera.SetRegion({0, 0, kWide, 24, 1, ORQ_IMG_RAW16}));
  camera.ExpectGoodFrame();  // there is no mark in 16 bits
  ASSERT_TRUE(camera.SetRegion({0, 0, kWide, 22, 1, ORQ_IMG_RAW8}));
  camera.ExpectGoodFrame();  // and none in a frame that is too low
}

// Loading settings asks for the whole sensor from the next open on; the frames of this one are what they were.
TEST(TimeMark, KeepsToTheFrameWhenTheFieldsAskForAHigherOne) {
  constexpr int kWide = 256;
  DefectiveCamera camera("k1m", kWide);
  ASSERT_TRUE(camera.Open());
  ASSERT_TRUE(camera.SetRegion({0, 64, kWide, 8, 1, ORQ_IMG_RAW8}));
  camera.rig.camera->SetTimeMark(true);
  camera.rig.camera->iHeight = kWide;
  camera.plain.dark.clear();  // the tables need not be of this frame either
  camera.plain.hotPixels.clear();
  camera.ExpectGoodFrame();
}

TEST(Corrections, AreLeftOutWhileTheirTablesDescribeAnotherFrame) {
  DefectiveCamera camera("k1m");
  ASSERT_TRUE(camera.Open());
  CModelCamera& object = *camera.rig.camera;
  const FrameRegion region{8, 64, 64, 16, 1, ORQ_IMG_RAW16};
  ASSERT_TRUE(camera.SetRegion(region));
  ASSERT_EQ(object.StartCapture(false), 1);
  // What loading settings with a dark does.
  object.iWidth = object.iMaxWidth;
  object.iHeight = object.iMaxHeight;
  object.AdjustDarkBuff();
  object.AdjustHPCTable();
  FrameInfo info;
  ASSERT_TRUE(camera.rig.Fetch(info));  // may have been under way
  camera.plain.dark.clear();
  camera.plain.hotPixels.clear();
  {
    ComparingReader reader(camera);
    EXPECT_TRUE(reader.AwaitGood(region));
  }
}

TEST(Corrections, AFrameThatStillWaitedWhenTheRegionMovedIsNotTakenForOneOfTheNewPlace) {
  DefectiveCamera camera("k1m");
  ASSERT_TRUE(camera.Open());
  CModelCamera& object = *camera.rig.camera;
  ASSERT_TRUE(camera.SetRegion({0, 0, 64, 64, 1, ORQ_IMG_RAW16}));
  FrameInfo first;
  ASSERT_FALSE(camera.rig.Snap(first).empty());
  const std::uint64_t firstNumber = camera.rig.device->FramesExposed();

  const FrameRegion moved{32, 32, 64, 64, 1, ORQ_IMG_RAW16};
  std::unique_lock repairing(object.HPCMutex);  // the worker cannot get past its first frame
  ASSERT_EQ(object.StartCapture(false), 1);
  ASSERT_TRUE(test::Eventually([&] { return object.Counters().dropped > 0; })) << "the ring is full";
  const std::uint64_t exposedBefore = camera.rig.device->FramesExposed();
  const std::jthread mover([&] { EXPECT_TRUE(camera.SetRegion(moved)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // until the stop is asked for; less is harmless
  repairing.unlock();
  FrameInfo info;
  do {
    ASSERT_TRUE(camera.rig.Fetch(info)) << object.CaptureTrouble();
  } while (info.region != moved);
  EXPECT_GT(firstNumber + (info.sequence - first.sequence), exposedBefore);
}

TEST(AutoFrame, IsTheCorrectedFrameBeforeBinningInTheDevicesByteOrder) {
  for (const char* key : test::CameraKeysOfAllBins()) {
    DefectiveCamera camera(key);
    ASSERT_TRUE(camera.Open());
    CModelCamera& object = *camera.rig.camera;
    camera.SetGamma(90);
    if (object.Model().colour) camera.SetWhiteBalance(80, 30);
    ASSERT_EQ(object.SetControlValue(ORQ_FLIP, 3, false), CTRL_OK);
    object.autoThr.InitFuncPt([](bool* running, void*) {
      while (ThreadCtrl::KeepRunning(running)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    ASSERT_EQ(object.autoThr.Start(&object), 1);
    for (const IMG_TYPE format : {ORQ_IMG_RAW16, ORQ_IMG_RAW8}) {
      ASSERT_TRUE(camera.SetRegion({4, 12, 24, 20, 2, format}));
      object.autoGateLimit = 0;  // a frame is awaited: it is copied at once
      FrameInfo info;
      ASSERT_FALSE(camera.rig.Snap(info).empty());
      EXPECT_NE(object.autoGateLimit, 0);
      const auto sent = camera.rig.device->SentPayload(info.sequence);
      const auto expected = camera.plain.BeforeBinning(info, sent);
      const std::lock_guard lock(object.autoBufMutex);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        if (format == ORQ_IMG_RAW8) {
          ASSERT_EQ(object.autoBuf[i], expected[i]) << key << " " << i;
          continue;
        }
        const long high = expected[i] / 256;
        const long low = expected[i] % 256;
        ASSERT_EQ(object.autoBuf[2 * i], object.Model().msbFirst ? high : low) << key << " " << i;
        ASSERT_EQ(object.autoBuf[2 * i + 1], object.Model().msbFirst ? low : high) << key << " " << i;
      }
    }
    object.StopAutoControlThr();
  }
}

}  // namespace
}  // namespace orq
