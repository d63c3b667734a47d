// Taking a dark: what is collected, and what is left of the camera's state afterwards, however it ends.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <mutex>
#include <vector>

#include "camera/CameraModeTable.h"
#include "link/WireProtocol.h"
#include "session/CameraList.h"
#include "session/DarkSession.h"
#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

constexpr int kSide = 64;
constexpr std::uint64_t kFiveFramesUs = 30'000;
constexpr std::uint64_t kVeryLongUs = 2'000'000'000;

const DarkWatcher kNobody;

VirtualRig Rig(const char* key, const std::function<void(VirtualOptions&)>& change = {}) {
  return VirtualRig(key, change, kSide);
}

FrameRegion Apply(CModelCamera& camera, const FrameRegion& wanted) {
  FrameRegion applied;
  std::string reason;
  EXPECT_TRUE(camera.SetRegion(wanted, applied, reason)) << reason;
  return applied;
}

std::vector<int> DarkOf(CModelCamera& camera) {
  const std::scoped_lock lock(camera.DarkAccumMutex);
  if (!camera.pDarkFull) return {};
  const std::size_t pixels =
      static_cast<std::size_t>(camera.iMaxWidth) * static_cast<std::size_t>(camera.iMaxHeight);
  return {camera.pDarkFull.get(), camera.pDarkFull.get() + pixels};
}

/// A dark that is in use, all of one value.
void GiveDark(CModelCamera& camera, std::uint8_t value) {
  {
    const std::scoped_lock locks(camera.DarkAccumMutex, camera.DarkBufMutex);
    camera.pDarkFull = std::make_unique<std::uint8_t[]>(kSide * kSide);
    camera.pDarkBuf = std::make_unique<std::uint8_t[]>(kSide * kSide);
    std::fill_n(camera.pDarkFull.get(), kSide * kSide, value);
  }
  camera.AdjustDarkBuff();
  camera.UsingDark(true);
}

void ExpectNoCollection(CModelCamera& camera) {
  EXPECT_EQ(camera.bGettingDark, 0);
  EXPECT_EQ(camera.iDarkFrameCount, 0);
  EXPECT_FALSE(camera.IsCaptureRunning());
}

void Replug(const VirtualRig& rig) {
  rig.bus->Attach(rig.device);
}

TEST(DarkSession, CollectsTheSumOfTheFramesThatTheSensorSent) {
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig = Rig(key);
    ASSERT_TRUE(rig.Open());
    CModelCamera& camera = *rig.camera;
    camera.SetExp(kFiveFramesUs, false);
    FrameInfo info;
    ASSERT_FALSE(rig.Snap(info).empty());

    DarkSession session(camera);
    DarkFacts facts;
    const DarkOutcome outcome = session.Collect(0, kNobody, facts);
    ASSERT_TRUE(outcome.Done()) << outcome.reason;
    ExpectNoCollection(camera);

    std::vector<int> expected(kSide * kSide, 0);
    for (std::uint32_t i = 1; i <= 5; ++i) {
      const auto sent = rig.device->SentPayload(info.sequence + i);
      ASSERT_EQ(sent.size(), expected.size()) << key << " frame " << i;
      for (std::size_t p = 0; p < sent.size(); ++p) expected[p] = std::min(255, expected[p] + sent[p] / 5);
    }
    EXPECT_EQ(DarkOf(camera), expected) << key;
    EXPECT_EQ(camera.CutDark, 0) << "collected is not used";
  }
}

TEST(DarkSession, TellsTheSensorsTemperature) {
  const VirtualRig rig = Rig("x26m", [](VirtualOptions& options) { options.temperatureC = -7.5; });
  ASSERT_TRUE(rig.Open());
  DarkSession session(*rig.camera);
  DarkFacts facts;
  ASSERT_TRUE(session.Collect(1, kNobody, facts).Done());
  ASSERT_TRUE(facts.sensorC.has_value());
  EXPECT_NEAR(*facts.sensorC, -7.5F, 0.5F);
}

TEST(DarkSession, TakesAsManyFramesAsItIsTold) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  DarkSession session(*rig.camera);
  for (const int frames : {1, 2, 7, kMostDarkFrames}) {
    const std::uint64_t before = rig.device->FramesExposed();
    DarkFacts facts;
    const DarkOutcome outcome = session.Collect(frames, kNobody, facts);
    ASSERT_TRUE(outcome.Done()) << outcome.reason;
    EXPECT_EQ(facts.frames, frames);
    EXPECT_GE(rig.device->FramesExposed() - before, static_cast<std::uint64_t>(frames));
  }
}

TEST(DarkSession, TheExposureTimeDecidesTheNumberOfFrames) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  DarkSession session(*rig.camera);
  for (const auto& [exposureUs, frames] : {std::pair(100'999, 5), std::pair(101'000, 4), std::pair(326'000, 3),
                                           std::pair(551'000, 2), std::pair(776'000, 1)}) {
    rig.camera->SetExp(static_cast<unsigned long long>(exposureUs), false);
    DarkFacts facts;
    ASSERT_TRUE(session.Collect(0, kNobody, facts).Done());
    EXPECT_EQ(facts.frames, frames) << exposureUs;
  }
}

/// Frames of 8 bits in a file, and the camera that plays them.
class RecordedDark : public testing::Test {
 protected:
  void SetUp() override {
    path_ = "/tmp/orq-dark-session-" + std::to_string(getpid()) + ".pgm";
    std::ofstream file(path_, std::ios::binary);
    file << "P5\n10 6\n255\n";
    for (int y = 0; y < 6; ++y)
      for (int x = 0; x < 10; ++x) file.put(static_cast<char>(ValueAt(x, y)));
    ASSERT_TRUE(file.flush());
  }
  void TearDown() override { std::remove(path_.c_str()); }

  /// 20 everywhere; two hot pixels, a row of which half is hot, and one with one less.
  static int ValueAt(int x, int y) {
    if ((x == 3 && y == 0) || (x == 9 && y == 1)) return 250;
    if (y == 4) return x < 5 ? 200 : 20;
    if (y == 5) return x < 4 ? 200 : 20;
    return 20;
  }

  std::string path_;
};

TEST_F(RecordedDark, IsCollectedAndDescribed) {
  NamedCamera named = MakeCamera("virtual:replay,timescale=0,file=" + path_);
  ASSERT_NE(named.camera, nullptr) << named.error;
  CModelCamera& camera = *named.camera;
  ASSERT_EQ(camera.OpenCamera(named.openIndex), 1);
  camera.SetExp(40'000, false);
  camera.SetBrightness(0);
  DarkSession session(camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(5, kNobody, facts);
  ASSERT_TRUE(outcome.Done()) << outcome.reason;
  std::vector<int> expected;
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 10; ++x) expected.push_back(ValueAt(x, y));  // all divide by 5
  EXPECT_EQ(DarkOf(camera), expected);
  EXPECT_EQ(facts.frames, 5);
  EXPECT_EQ(facts.exposureUs, 40'000U);
  EXPECT_EQ(facts.gain, camera.gain);
  EXPECT_EQ(facts.offset, camera.Brightness);
  EXPECT_EQ(facts.average, (49 * 20 + 2 * 250 + 9 * 200) / 60U);  // 54: the hot ones begin at 85
  EXPECT_EQ(facts.badRows, 1U);
  EXPECT_EQ(facts.hotPixels, 2U + 4U);
  EXPECT_FALSE(facts.sensorC.has_value()) << "a recording has no thermometer";
  EXPECT_GT(facts.takenUnixUs, 1'700'000'000'000'000);
}

/// A camera with everything set that a collection changes.
struct BusyCamera {
  explicit BusyCamera(const std::function<void(VirtualOptions&)>& change = {}) : rig(Rig("x26m", change)) {
    CModelCamera& camera = *rig.camera;
    EXPECT_TRUE(rig.Open());
    EXPECT_TRUE(camera.SetHardwareBin(true));
    region = Apply(camera, {8, 4, 24, 20, 2, ORQ_IMG_RAW16});
    EXPECT_TRUE(camera.SetExp(kFiveFramesUs, true));
    EXPECT_TRUE(camera.SetGain(77, true));
    EXPECT_EQ(camera.SetCameraMode(kSoftwareMode), MODE_OK);
    camera.snapMode = 0;
  }

  void ExpectAsBefore() {
    CModelCamera& camera = *rig.camera;
    EXPECT_EQ(camera.Region(), region);
    EXPECT_EQ(camera.iStartX, region.startX);
    EXPECT_EQ(camera.iWidth, region.width);
    EXPECT_EQ(camera.iBin, region.bin);
    EXPECT_EQ(camera.b16Bit, 1);
    EXPECT_EQ(camera.HardwareBin, 1);
    EXPECT_EQ(camera.exposureUs, kFiveFramesUs);
    EXPECT_EQ(camera.AutoExp, 1);
    EXPECT_EQ(camera.gain, 77);
    EXPECT_EQ(camera.AutoGain, 1);
    EXPECT_EQ(camera.camMode, kSoftwareMode);
    EXPECT_EQ(camera.snapMode, 0);
    EXPECT_EQ(camera.expStatus, ExpIdle) << "no frame of the dark is on offer";
    ExpectNoCollection(camera);
  }

  /// In the mode, region and format of before.
  void ExpectUsable() {
    CModelCamera& camera = *rig.camera;
    ASSERT_EQ(camera.StartExposure(), 1);
    std::string reason;
    ASSERT_TRUE(camera.SoftTrigger(reason)) << reason;
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info)) << camera.CaptureTrouble();
    EXPECT_EQ(info.region, region);
    EXPECT_EQ(info.exposureUs, kFiveFramesUs);
    EXPECT_EQ(info.gain, 77);
    camera.StopCapture();
  }

  static constexpr CAM_MODE kSoftwareMode = 1;
  VirtualRig rig;
  FrameRegion region;
};

TEST(DarkSession, RestoresEverythingAfterItsWork) {
  BusyCamera busy;
  DarkFacts facts;
  {
    DarkSession session(*busy.rig.camera);
    ASSERT_TRUE(session.Collect(0, kNobody, facts).Done());
    const FrameRegion whole{0, 0, kSide, kSide, 1, ORQ_IMG_RAW8};
    EXPECT_EQ(busy.rig.camera->Region(), whole) << "until it is restored";
    const DarkOutcome restored = session.Restore();
    EXPECT_TRUE(restored.Done()) << restored.reason;
    busy.ExpectAsBefore();
    Apply(*busy.rig.camera, {0, 0, 16, 16, 1, ORQ_IMG_RAW16});
    EXPECT_TRUE(session.Restore().Done());
    EXPECT_EQ(busy.rig.camera->Region().width, 16) << "only once";
    Apply(*busy.rig.camera, busy.region);
  }
  busy.ExpectAsBefore();
  busy.ExpectUsable();
}

TEST(DarkSession, TheDarkOfTheRestoredRegionIsCutFromTheWhole) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  const FrameRegion region = Apply(*rig.camera, {8, 4, 24, 20, 1, ORQ_IMG_RAW16});
  DarkFacts facts;
  {
    DarkSession session(*rig.camera);
    ASSERT_TRUE(session.Collect(3, kNobody, facts).Done());
  }
  CModelCamera& camera = *rig.camera;
  const std::vector<int> full = DarkOf(camera);
  const std::scoped_lock lock(camera.DarkBufMutex);
  ASSERT_EQ(camera.iDarkWidth, region.width);
  ASSERT_EQ(camera.iDarkHeight, region.height);
  for (int y = 0; y < region.height; ++y) {
    for (int x = 0; x < region.width; ++x) {
      ASSERT_EQ(camera.pDarkBuf[static_cast<std::size_t>(y * region.width + x)],
                full[static_cast<std::size_t>((y + 4) * kSide + x + 8)]);
    }
  }
}

TEST(DarkSession, TheEndOfItsLifeRestores) {
  BusyCamera busy;
  {
    DarkSession session(*busy.rig.camera);
    DarkFacts facts;
    ASSERT_TRUE(session.Collect(1, kNobody, facts).Done());
  }
  busy.ExpectAsBefore();
}

TEST(DarkSession, ARunningVideoGoesOnAfterwards) {
  const VirtualRig rig = Rig("k1c");
  ASSERT_TRUE(rig.Open());
  const FrameRegion region = Apply(*rig.camera, {8, 4, 24, 20, 1, ORQ_IMG_RAW16});
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  DarkSession session(*rig.camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(0, kNobody, facts);
  ASSERT_TRUE(outcome.Done()) << outcome.reason;
  EXPECT_FALSE(rig.camera->IsCaptureRunning());
  const DarkOutcome restored = session.Restore();
  ASSERT_TRUE(restored.Done()) << restored.reason;
  for (int i = 0; i < 3; ++i) {
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info)) << rig.camera->CaptureTrouble();
    EXPECT_EQ(info.region, region);
  }
  EXPECT_EQ(rig.camera->snapMode, 0);
  rig.camera->StopCapture();
}

TEST(DarkSession, AutomaticControlPausesMeanwhile) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  camera.SetExp(kFiveFramesUs, true);
  ASSERT_EQ(camera.StartAutoControlThr(), 1);
  ASSERT_EQ(camera.StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  DarkSession session(camera);
  std::vector<std::uint64_t> exposures;
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(
      5,
      [&](const DarkProgress& at) {
        EXPECT_FALSE(camera.autoThr.IsActive());
        exposures.push_back(at.exposureUs);
        return true;
      },
      facts);
  ASSERT_TRUE(outcome.Done()) << outcome.reason;
  EXPECT_EQ(std::count(exposures.begin(), exposures.end(), facts.exposureUs),
            static_cast<std::ptrdiff_t>(exposures.size()));
  ASSERT_TRUE(session.Restore().Done());
  EXPECT_TRUE(camera.autoThr.IsActive());
  EXPECT_EQ(camera.AutoExp, 1);
  EXPECT_TRUE(rig.Fetch()) << camera.CaptureTrouble();
  camera.StopAutoControlThr();
  camera.StopCapture();
}

TEST(DarkSession, AnExposureUnderWayBeginsAnewAfterwards) {
  const VirtualRig rig = Rig("k1c");
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kFiveFramesUs, false);
  ASSERT_EQ(rig.camera->SetCameraMode(BusyCamera::kSoftwareMode), MODE_OK);
  ASSERT_EQ(rig.camera->StartExposure(), 1);  // waits for a trigger
  {
    DarkSession session(*rig.camera);
    DarkFacts facts;
    ASSERT_TRUE(session.Collect(2, kNobody, facts).Done());
  }
  std::string reason;
  ASSERT_TRUE(rig.camera->SoftTrigger(reason)) << reason;
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info)) << rig.camera->CaptureTrouble();
  EXPECT_EQ(info.region.format, ORQ_IMG_RAW16);
  rig.camera->StopCapture();
}

TEST(DarkSession, ReportsItsProgress) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kFiveFramesUs, false);
  std::vector<DarkProgress> seen;
  DarkSession session(*rig.camera);
  DarkFacts facts;
  ASSERT_TRUE(session
                  .Collect(
                      3,
                      [&](const DarkProgress& at) {
                        seen.push_back(at);
                        return true;
                      },
                      facts)
                  .Done());
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.front().frame, 1);
  EXPECT_EQ(seen.front().elapsedUs, 0U);
  EXPECT_EQ(seen.back().frame, 3);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].frames, 3);
    EXPECT_EQ(seen[i].exposureUs, kFiveFramesUs);
    if (i == 0) continue;
    EXPECT_TRUE(seen[i].frame > seen[i - 1].frame || seen[i].elapsedUs > seen[i - 1].elapsedUs);
  }
}

/// Stops at the first report that `when` picks.
DarkWatcher StopWhen(const std::function<bool(const DarkProgress&)>& when) {
  return [when, stop = false](const DarkProgress& at) mutable {
    stop = stop || when(at);
    return !stop;
  };
}

TEST(DarkSession, StoppingBeforeTheFirstFrameLeavesTheOldDarkInUse) {
  BusyCamera busy;
  CModelCamera& camera = *busy.rig.camera;
  GiveDark(camera, 13);
  DarkSession session(camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(0, StopWhen([](const DarkProgress&) { return true; }), facts);
  EXPECT_EQ(outcome.result, DarkResult::Cancelled);
  EXPECT_FALSE(outcome.reason.empty());
  EXPECT_EQ(facts.frames, 0);
  EXPECT_TRUE(session.Restore().Done());
  busy.ExpectAsBefore();
  EXPECT_EQ(camera.CutDark, 1);
  EXPECT_EQ(DarkOf(camera), std::vector<int>(kSide * kSide, 13));
  busy.ExpectUsable();
}

TEST(DarkSession, StoppingInALongExposureEndsAtOnce) {
  const VirtualRig rig = Rig("k1m", [](VirtualOptions& options) { options.timeScale = 1; });
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kVeryLongUs, false);  // half an hour
  GiveDark(*rig.camera, 13);
  DarkSession session(*rig.camera);
  DarkFacts facts;
  const DarkOutcome outcome =
      session.Collect(0, StopWhen([](const DarkProgress& at) { return at.elapsedUs > 0; }), facts);
  EXPECT_EQ(outcome.result, DarkResult::Cancelled);
  EXPECT_TRUE(session.Restore().Done());
  ExpectNoCollection(*rig.camera);
  EXPECT_EQ(rig.camera->CutDark, 1);
  rig.camera->SetExp(1000, false);
  FrameInfo info;
  EXPECT_FALSE(rig.Snap(info).empty());
}

TEST(DarkSession, StoppingBetweenFramesLeavesNoDark) {
  for (const int frame : {2, 5}) {
    BusyCamera busy;
    CModelCamera& camera = *busy.rig.camera;
    GiveDark(camera, 13);
    DarkSession session(camera);
    DarkFacts facts;
    const DarkOutcome outcome =
        session.Collect(5, StopWhen([&](const DarkProgress& at) { return at.frame == frame; }), facts);
    EXPECT_EQ(outcome.result, DarkResult::Cancelled);
    EXPECT_TRUE(session.Restore().Done());
    busy.ExpectAsBefore();
    EXPECT_EQ(camera.CutDark, 0) << "half a dark is not to be subtracted";
    EXPECT_TRUE(DarkOf(camera).empty());
    busy.ExpectUsable();
  }
}

TEST(DarkSession, CanBeginAgainAfterItWasStopped) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kFiveFramesUs, false);
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  DarkSession session(*rig.camera);
  DarkFacts facts;
  EXPECT_EQ(session.Collect(5, StopWhen([](const DarkProgress& at) { return at.frame == 4; }), facts).result,
            DarkResult::Cancelled);
  ASSERT_TRUE(session.Restore().Done());
  ASSERT_FALSE(rig.Snap(info).empty());
  ASSERT_TRUE(session.Collect(2, kNobody, facts).Done());
  const auto first = rig.device->SentPayload(info.sequence + 1);
  const auto second = rig.device->SentPayload(info.sequence + 2);
  const std::vector<int> dark = DarkOf(*rig.camera);
  ASSERT_EQ(first.size(), dark.size());
  ASSERT_EQ(second.size(), dark.size());
  for (std::size_t i = 0; i < dark.size(); ++i)
    ASSERT_EQ(dark[i], std::min(255, first[i] / 2 + second[i] / 2)) << "nothing is left of the frames before";
}

TEST(DarkSession, ACollectionThatAnotherHandEndsIsNotDone) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  DarkSession session(*rig.camera);
  for (const int frame : {1, 3}) {
    DarkFacts facts;
    const DarkOutcome outcome = session.Collect(
        5,
        [&](const DarkProgress& at) {
          if (at.frame == frame) rig.camera->GettingDark(false, 0);
          return true;
        },
        facts);
    EXPECT_EQ(outcome.result, DarkResult::Cancelled) << frame;
    ExpectNoCollection(*rig.camera);
    EXPECT_TRUE(DarkOf(*rig.camera).empty());
  }
}

TEST(DarkSession, ACollectionThatIsRestartedWithFewerFramesEnds) {
  const VirtualRig rig = Rig("k1m");
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kFiveFramesUs, false);
  DarkSession session(*rig.camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(
      9,
      [&](const DarkProgress& at) {
        if (at.frame == 8 && at.elapsedUs == 0) rig.camera->GettingDark(true, 0);  // five, of which seven are in
        return true;
      },
      facts);
  EXPECT_TRUE(outcome.Done()) << outcome.reason;
  EXPECT_EQ(facts.frames, 8);
  ExpectNoCollection(*rig.camera);
}

TEST(DarkSession, ADamagedFrameIsRepeated) {
  const VirtualRig rig = Rig("k1m", [](VirtualOptions& options) {
    options.frameFaults = {{FrameFault::Kind::Short, 2}, {FrameFault::Kind::BadTrailer, 3}};
  });
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kFiveFramesUs, false);
  DarkSession session(*rig.camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(0, kNobody, facts);
  EXPECT_TRUE(outcome.Done()) << outcome.reason;
  EXPECT_EQ(facts.frames, 5);
  EXPECT_GE(rig.device->FramesExposed(), 7U);
}

TEST(DarkSession, ThreeDamagedFramesInARowAreAFailureThatRestores) {
  BusyCamera busy([](VirtualOptions& options) {
    options.frameFaults = {
        {FrameFault::Kind::Short, 2}, {FrameFault::Kind::Short, 3}, {FrameFault::Kind::Short, 4}};
  });
  CModelCamera& camera = *busy.rig.camera;
  GiveDark(camera, 13);
  DarkSession session(camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(0, kNobody, facts);
  EXPECT_EQ(outcome.result, DarkResult::CameraFailed);
  EXPECT_NE(outcome.reason.find("too short"), std::string::npos) << outcome.reason;
  EXPECT_TRUE(session.Restore().Done());
  busy.ExpectAsBefore();
  EXPECT_EQ(camera.CutDark, 0);
  busy.ExpectUsable();
}

TEST(DarkSession, ARefusedRegionIsAFailureThatRestores) {
  BusyCamera busy;
  CModelCamera& camera = *busy.rig.camera;
  GiveDark(camera, 13);
  busy.rig.device->FailRequests(wire::kReqWriteFpga, kUsbPipe);
  DarkSession session(camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(0, kNobody, facts);
  EXPECT_EQ(outcome.result, DarkResult::CameraFailed);
  EXPECT_FALSE(outcome.reason.empty());
  EXPECT_FALSE(session.Restore().Done()) << "nothing can be programmed";
  busy.rig.device->ClearFailures();
  EXPECT_TRUE(session.Restore().Done());
  busy.ExpectAsBefore();
  EXPECT_EQ(camera.CutDark, 1) << "the dark was not touched";
  busy.ExpectUsable();
}

TEST(DarkSession, AnUnplugIsAFailureAndWhatWasSetComesBackWithTheCamera) {
  for (const std::uint64_t frame : {1U, 3U}) {
    BusyCamera busy([&](VirtualOptions& options) { options.frameFaults = {{FrameFault::Kind::Unplug, frame}}; });
    CModelCamera& camera = *busy.rig.camera;
    DarkSession session(camera);
    DarkFacts facts;
    const DarkOutcome outcome = session.Collect(0, kNobody, facts);
    EXPECT_EQ(outcome.result, DarkResult::CameraFailed);
    EXPECT_NE(outcome.reason.find("unplugged"), std::string::npos) << outcome.reason;
    EXPECT_TRUE(camera.DeviceLost());
    ExpectNoCollection(camera);
    EXPECT_FALSE(session.Restore().Done());
    Replug(busy.rig);
    ASSERT_EQ(camera.ReConnectCamera(), 1);
    const DarkOutcome restored = session.Restore();
    EXPECT_TRUE(restored.Done()) << restored.reason;
    busy.ExpectAsBefore();
    busy.ExpectUsable();
  }
}

TEST(DarkSession, AnUnplugInTheMiddleOfAnExposureIsNoticedAtOnce) {
  const VirtualRig rig = Rig("k1m", [](VirtualOptions& options) { options.timeScale = 1; });
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(kVeryLongUs, false);
  DarkSession session(*rig.camera);
  DarkFacts facts;
  const DarkOutcome outcome = session.Collect(
      0,
      [&](const DarkProgress& at) {
        if (at.elapsedUs > 0) rig.bus->Unplug(rig.device);
        return true;
      },
      facts);
  EXPECT_EQ(outcome.result, DarkResult::CameraFailed);
  ExpectNoCollection(*rig.camera);
}

TEST(DarkSession, WhatCannotBeDoneIsRefusedAndNothingTouched) {
  const VirtualRig rig = Rig("k1m");
  DarkFacts facts;
  {
    DarkSession session(*rig.camera);
    EXPECT_EQ(session.Collect(0, kNobody, facts).result, DarkResult::Refused) << "closed";
  }
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  {
    DarkSession session(*rig.camera);
    EXPECT_EQ(session.Collect(-1, kNobody, facts).result, DarkResult::Refused);
    EXPECT_EQ(session.Collect(kMostDarkFrames + 1, kNobody, facts).result, DarkResult::Refused);
    EXPECT_TRUE(rig.camera->IsCaptureRunning());
  }
  rig.camera->StopCapture();

  ModelData wideOnly = rig.camera->Model();
  wideOnly.formats[ORQ_IMG_RAW8] = false;
  rig.camera->CloseCamera();
  const auto camera = rig.MakeObject(wideOnly);
  ASSERT_EQ(camera->OpenCamera(0), 1);
  const FrameRegion before = camera->Region();
  DarkSession session(*camera);
  const DarkOutcome outcome = session.Collect(0, kNobody, facts);
  EXPECT_EQ(outcome.result, DarkResult::Refused);
  EXPECT_NE(outcome.reason.find("8-bit frames of the whole sensor"), std::string::npos) << outcome.reason;
  EXPECT_EQ(camera->Region(), before);
  EXPECT_EQ(camera->bGettingDark, 0);
}

}  // namespace
}  // namespace orq
