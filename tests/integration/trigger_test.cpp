// The trigger modes of a whole camera: frames come on triggers and not otherwise.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kSoftware = 1;
constexpr int kRising = 2;
constexpr int kSoftwareLevel = 4;
constexpr int kHigh = 5;

bool TakesSoftware(int mode) {
  return mode == 1 || mode == 4;
}
bool TakesLevels(int mode) {
  return mode == 5 || mode == 6;
}
/// Level of the input line that is not a trigger.
bool RestsHigh(int mode) {
  return mode == 3 || mode == 6;
}

/// An open camera with all trigger modes in one of them.
struct TriggerRig : VirtualRig {
  explicit TriggerRig(int mode, const std::function<void(VirtualOptions&)>& change = {})
      : VirtualRig("k1c", [&](VirtualOptions& options) {
          options.fpgaType = 0xC0;
          if (change) change(options);
        }) {
    device->SetTriggerLine(RestsHigh(mode));
    EXPECT_TRUE(Open());
    EXPECT_EQ(camera->SetCameraMode(mode), MODE_OK);
  }

  /// Starts and waits until triggers count.
  void Start(bool snap) const {
    ASSERT_EQ(camera->StartCapture(snap), 1);
    ASSERT_TRUE(camera->AwaitTriggerReady(kPatienceMs));
  }
  /// One trigger of the camera's mode; a level lasts for an instant.
  void Trigger() const {
    const int mode = camera->camMode;
    std::string reason;
    if (TakesSoftware(mode)) {
      ASSERT_TRUE(camera->SoftTrigger(reason)) << reason;
    } else {
      device->SetTriggerLine(!RestsHigh(mode));
      device->SetTriggerLine(RestsHigh(mode));
    }
  }
  /// True when nothing comes for a while (a condition that cannot be waited for).
  bool Silent() const {
    FrameInfo info;
    return !Fetch(info, 60);
  }
};

class TriggerModes : public testing::TestWithParam<int> {};

TEST_P(TriggerModes, AVideoBringsFramesOnTriggersAndNoneWithout) {
  const TriggerRig rig(GetParam());
  rig.Start(false);
  EXPECT_TRUE(rig.Silent());
  EXPECT_EQ(rig.device->FramesExposed(), 0U);
  for (std::uint64_t i = 1; i <= 5; ++i) {
    rig.Trigger();
    ASSERT_TRUE(rig.Fetch()) << i;
    while (!rig.Silent()) {
    }
    // The computer may take so long over a level that it holds for a second exposure.
    if (TakesLevels(GetParam())) continue;
    EXPECT_EQ(rig.device->FramesExposed(), i);
    EXPECT_EQ(rig.device->TriggersMissed(), 0U);
  }
  EXPECT_EQ(rig.camera->StopCapture(), 1);
  const StreamCounters counters = rig.camera->Counters();
  EXPECT_GE(counters.completed, 5U);
  EXPECT_TRUE(TakesLevels(GetParam()) || counters.started == 5U) << counters.started;
  EXPECT_EQ(rig.camera->expStatus, ExpIdle);
  EXPECT_THAT(rig.camera->CaptureTrouble(), IsEmpty());
}

TEST_P(TriggerModes, ASingleExposureWaitsForItsTrigger) {
  const TriggerRig rig(GetParam());
  for (std::uint64_t i = 1; i <= 3; ++i) {
    rig.Start(true);
    EXPECT_TRUE(rig.Silent());
    EXPECT_EQ(rig.camera->expStatus, ExpWorking);
    EXPECT_EQ(rig.device->FramesExposed(), i - 1);
    rig.Trigger();
    ASSERT_TRUE(Eventually([&] { return rig.camera->expStatus == ExpSuccess; }));
    std::vector<std::uint8_t> frame = rig.Buffer();
    EXPECT_EQ(rig.camera->GetImageAfterExp(frame.data(), static_cast<int>(frame.size())), 1);
    EXPECT_EQ(rig.camera->expStatus, ExpIdle);
    EXPECT_EQ(rig.device->FramesExposed(), i);
  }
}

TEST_P(TriggerModes, TriggersDuringAnExposureAreLost) {
  const TriggerRig rig(GetParam());
  ASSERT_TRUE(rig.camera->SetExp(2'000'000'000, false));  // 20 s of real time
  rig.Start(false);
  for (int i = 0; i < 4; ++i) rig.Trigger();
  EXPECT_EQ(rig.device->TriggersMissed(), 3U);
  rig.camera->StopCapture();
  ASSERT_TRUE(rig.camera->SetExp(1000, false));
  rig.Start(true);
  EXPECT_TRUE(rig.Silent()) << "they are not kept";
  EXPECT_EQ(rig.device->FramesExposed(), 0U);
  rig.Trigger();
  EXPECT_TRUE(rig.Fetch());
}

TEST_P(TriggerModes, StoppingWhileItWaitsEndsEveryWait) {
  for (const bool snap : {false, true}) {
    const TriggerRig rig(GetParam());
    rig.Start(snap);
    std::thread reader([&] {
      FrameInfo info;
      EXPECT_FALSE(rig.Fetch(info, -1));
    });
    EXPECT_EQ(rig.camera->StopCapture(), 1);
    reader.join();
    EXPECT_FALSE(rig.camera->IsCaptureRunning());
    EXPECT_EQ(rig.device->FpgaRegister(0x00), 0) << "the output is off";
    EXPECT_THAT(rig.camera->CaptureTrouble(), IsEmpty());
  }
}

TEST_P(TriggerModes, AnUnplugWhileItWaitsEndsTheCapture) {
  for (const bool snap : {false, true}) {
    const TriggerRig rig(GetParam());
    rig.Start(snap);
    rig.bus->Unplug(rig.device);
    FrameInfo info;
    EXPECT_FALSE(rig.Fetch(info, -1));
    EXPECT_TRUE(rig.camera->DeviceLost());
    EXPECT_EQ(rig.camera->expStatus, ExpFailed);
    EXPECT_THAT(rig.camera->CaptureTrouble(), Not(IsEmpty()));
    EXPECT_FALSE(rig.camera->AwaitTriggerReady(0));
  }
}

TEST_P(TriggerModes, TheModeCannotChangeWhileACaptureRuns) {
  const TriggerRig rig(GetParam());
  rig.Start(false);
  EXPECT_EQ(rig.camera->SetCameraMode(0), MODE_CAPTURE_RUNNING);
  EXPECT_EQ(rig.camera->SetCameraMode(GetParam()), MODE_CAPTURE_RUNNING);
  rig.Trigger();
  EXPECT_TRUE(rig.Fetch()) << "the capture goes on as before";
  rig.camera->StopCapture();
  EXPECT_EQ(rig.camera->SetCameraMode(0), MODE_OK);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
  EXPECT_TRUE(rig.Fetch()) << "free running";
}

TEST_P(TriggerModes, SelectingAnotherModeStopsTheCapture) {
  const TriggerRig rig(GetParam());
  rig.Start(false);
  EXPECT_EQ(rig.camera->SelectCameraMode(0), 1);
  EXPECT_FALSE(rig.camera->IsCaptureRunning());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
}

TEST_P(TriggerModes, AnotherRegionIsTakenOverWhileItWaits) {
  const TriggerRig rig(GetParam());
  rig.Start(false);
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 64, 32, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  ASSERT_TRUE(rig.camera->AwaitTriggerReady(VirtualRig::kPatienceMs));
  EXPECT_TRUE(rig.Silent());
  rig.Trigger();
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info));
  EXPECT_EQ(info.region.width, 64);
}

INSTANTIATE_TEST_SUITE_P(Modes, TriggerModes, testing::Range(1, 7));

TEST(Trigger, ALevelBringsFrameAfterFrameWhileItLasts) {
  for (const int mode : {5, 6}) {
    const TriggerRig rig(mode);
    rig.Start(false);
    rig.device->SetTriggerLine(!RestsHigh(mode));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(rig.Fetch());
    rig.device->SetTriggerLine(RestsHigh(mode));
    while (!rig.Silent()) {
    }
    const std::uint64_t exposed = rig.device->FramesExposed();
    EXPECT_TRUE(rig.Silent());
    EXPECT_EQ(rig.device->FramesExposed(), exposed);
  }
}

// Software triggers ---------------------------------------------------------------------------------------------

TEST(Trigger, ASoftwareTriggerRightAfterTheStartIsNotLost) {
  for (const int mode : {kSoftware, kSoftwareLevel}) {
    const TriggerRig rig(mode);
    for (std::uint64_t i = 1; i <= 10; ++i) {
      ASSERT_EQ(rig.camera->StartCapture(i % 2 == 0), 1);
      rig.Trigger();
      ASSERT_TRUE(rig.Fetch());
      rig.camera->StopCapture();
      EXPECT_EQ(rig.device->FramesExposed(), i);
    }
  }
}

TEST(Trigger, ASoftwareTriggerNeedsASoftwareMode) {
  for (const int mode : {0, 2, 3, 5, 6}) {
    const TriggerRig rig(mode);
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    std::string reason;
    EXPECT_FALSE(rig.camera->SoftTrigger(reason));
    EXPECT_EQ(reason, "camera mode " + std::to_string(mode) + " takes no software triggers: choose mode 1 or 4");
  }
}

TEST(Trigger, ASoftwareTriggerNeedsACapture) {
  const TriggerRig rig(kSoftware);
  std::string reason;
  EXPECT_FALSE(rig.camera->SoftTrigger(reason));
  EXPECT_EQ(reason, "no capture waits for a trigger: start one first");
  rig.Start(false);
  EXPECT_TRUE(rig.camera->SoftTrigger(reason));
  rig.camera->StopCapture();
  EXPECT_FALSE(rig.camera->SoftTrigger(reason));
  EXPECT_FALSE(rig.camera->AwaitTriggerReady(VirtualRig::kPatienceMs)) << "at once";
}

TEST(Trigger, ARefusedSoftwareTriggerIsReported) {
  const TriggerRig rig(kSoftware);
  rig.Start(true);
  rig.device->FailRequests(0xD7, kUsbPipe);
  std::string reason;
  EXPECT_FALSE(rig.camera->SoftTrigger(reason));
  EXPECT_THAT(reason, HasSubstr("the camera refused the trigger: "));
  rig.device->ClearFailures();
  EXPECT_TRUE(rig.camera->SoftTrigger(reason)) << reason;
  EXPECT_TRUE(rig.Fetch());
}

TEST(Trigger, FreeRunningIsNeverReadyForTriggers) {
  const TriggerRig rig(0);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  EXPECT_FALSE(rig.camera->AwaitTriggerReady(VirtualRig::kPatienceMs)) << "at once";
}

// A frame is given up 5 s after its time; without a trigger there is no such time.
TEST(Trigger, TheWaitForATriggerHasNoEndAndTheWaitForItsFrameHas) {
  const TriggerRig rig(kSoftware, [](VirtualOptions& options) {
    options.frameFaults = {{FrameFault::Kind::Drop, 2}};
  });
  rig.Start(true);
  FrameInfo info;
  EXPECT_FALSE(rig.Fetch(info, 5'500));
  EXPECT_EQ(rig.camera->expStatus, ExpWorking);
  rig.Trigger();
  EXPECT_TRUE(rig.Fetch());
  rig.Start(true);
  rig.Trigger();
  EXPECT_FALSE(rig.Fetch(info, -1)) << "the camera loses this one";
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_THAT(rig.camera->CaptureTrouble(), HasSubstr("the camera sent no frame for 5 s"));
}

TEST(Trigger, AVideoOutlivesALostFrame) {
  const TriggerRig rig(kSoftware, [](VirtualOptions& options) {
    options.frameFaults = {{FrameFault::Kind::Drop, 1}, {FrameFault::Kind::Stall, 2}};
  });
  rig.Start(false);
  rig.Trigger();
  ASSERT_TRUE(Eventually([&] { return rig.device->FramesExposed() == 1; }));
  EXPECT_TRUE(rig.Silent());
  rig.Trigger();
  ASSERT_TRUE(Eventually([&] { return rig.camera->Counters().resyncs == 1; }));
  EXPECT_TRUE(rig.Silent());
  rig.Trigger();
  EXPECT_TRUE(rig.Fetch()) << rig.camera->CaptureTrouble();
}

// What opening does ---------------------------------------------------------------------------------------------

TEST(Trigger, WhatIsOfferedFollowsTheFpgasType) {
  const struct {
    std::uint8_t type;
    int mode3;
    int mode4;
  } cases[] = {{0x9F, 17, 17}, {0xA0, 0, 17}, {0xBF, 0, 17}, {0xC0, 0, 0}};
  for (const auto& c : cases) {
    const VirtualRig rig("k1c", [&](VirtualOptions& options) { options.fpgaType = c.type; });
    ASSERT_TRUE(rig.Open());
    EXPECT_EQ(rig.camera->SetCameraMode(3), c.mode3) << int{c.type};
    EXPECT_EQ(rig.camera->SetCameraMode(4), c.mode4) << int{c.type};
  }
}

TEST(Trigger, ACameraThatAnotherProgramLeftWaitingRunsFreelyAgain) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) { options.fpgaType = 0xC0; });
  rig.device->SetFpgaRegister(0x02, 0x0F);
  rig.device->SetFpgaRegister(0x03, 0x0F);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.device->FpgaRegister(0x02) & 0x01, 0);
  EXPECT_EQ(rig.device->FpgaRegister(0x03) & 0x03, 0) << "outputs off";
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
}

TEST(Trigger, ModeAndOutputsComeBackAfterAReplug) {
  const TriggerRig rig(kRising);
  ASSERT_EQ(rig.camera->SetTrigOutPinConf(TRIG_OUTPUT_PINA, false, 5, 6), 0);
  ASSERT_EQ(rig.camera->SetTrigOutPinConf(TRIG_OUTPUT_PINB, true, 7, 8), 0);
  rig.camera->CloseCamera();
  rig.bus->Attach(rig.device);  // out and in again
  ASSERT_EQ(rig.device->FpgaRegister(0x02), 0);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->camMode, kRising);
  EXPECT_EQ(rig.device->FpgaRegister(0x02), 0x0F);
  EXPECT_EQ(rig.device->FpgaRegister(0x03), 0x0B);
  EXPECT_EQ(rig.device->FpgaRegister(0x04), 5);
  EXPECT_EQ(rig.device->FpgaRegister(0x10), 8);
  rig.Start(true);
  EXPECT_TRUE(rig.Silent());
  rig.Trigger();
  EXPECT_TRUE(rig.Fetch());
}

TEST(Trigger, AModeThatTheNextCameraDoesNotOfferIsGivenUp) {
  const TriggerRig rig(kHigh);
  rig.camera->CloseCamera();
  rig.device->SetFpgaRegister(0x1C, 0xA0);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->camMode, 0);
  EXPECT_EQ(rig.device->FpgaRegister(0x02) & 0x01, 0);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
}

TEST(Trigger, ACameraWithoutTriggerUnitIsNotToldAboutTriggers) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) { options.fpgaType = 0x9F; });
  ASSERT_TRUE(rig.Open());
  for (const LoggedRequest& request : rig.device->Requests()) {
    const bool fpga = request.setup.request == 0xD0 || request.setup.request == 0xD1;
    EXPECT_FALSE(fpga && (request.setup.value == 0x02 || request.setup.value == 0x03));
  }
}

// Outputs -------------------------------------------------------------------------------------------------------

TEST(Trigger, OutputsPulseWithEachExposure) {
  const TriggerRig rig(kSoftware);
  ASSERT_EQ(rig.camera->SetTrigOutPinConf(TRIG_OUTPUT_PINA, true, 0, 20'000), 0);
  ASSERT_EQ(rig.camera->SetTrigOutPinConf(TRIG_OUTPUT_PINB, true, 100'000, 30'000), 0);
  ASSERT_TRUE(rig.camera->SetExp(1'000'000, false));
  const std::size_t before = rig.device->SyncEdges(0).size();
  rig.Start(true);
  rig.Trigger();
  ASSERT_TRUE(rig.Fetch());
  std::vector<SyncEdge> a = rig.device->SyncEdges(0);
  a.erase(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(before));
  std::vector<SyncEdge> b = rig.device->SyncEdges(1);
  ASSERT_EQ(a.size(), 2U);
  ASSERT_GE(b.size(), 2U);
  b.erase(b.begin(), b.end() - 2);
  EXPECT_TRUE(a[0].high);
  EXPECT_FALSE(a[1].high);
  EXPECT_EQ(a[1].timeUs - a[0].timeUs, 20'000U);
  EXPECT_TRUE(b[0].high);
  EXPECT_EQ(b[0].timeUs - a[0].timeUs, 100'000U);
  EXPECT_EQ(b[1].timeUs - b[0].timeUs, 30'000U);
}

}  // namespace
}  // namespace orq
