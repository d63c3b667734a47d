// Opening, capturing, stopping, closing, unplugging: whole stories, also with several threads.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "link/WireProtocol.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

std::size_t EntriesOf(const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}
std::size_t Threads() {
  return EntriesOf("/proc/self/task");
}
std::size_t Descriptors() {
  return EntriesOf("/proc/self/fd");
}

void OneCycle(const VirtualRig& rig, bool snap) {
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(snap), 1);
  ASSERT_TRUE(rig.Fetch()) << rig.camera->CaptureTrouble();
  ASSERT_EQ(rig.camera->StopCapture(), 1);
  rig.camera->CloseCamera();
  ASSERT_EQ(rig.camera->bOpened, 0);
}

void Replug(const VirtualRig& rig) {
  ASSERT_TRUE(rig.bus->Attach(rig.device));
}

TEST(Lifecycle, TwoHundredCyclesLeaveNothingBehind) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) { options.timeScale = 0; });
  for (int i = 0; i < 20; ++i) OneCycle(rig, i % 2 == 0);
  const std::size_t threads = Threads();
  const std::size_t descriptors = Descriptors();
  rig.device->ClearRequests();
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 200 && !HasFatalFailure(); ++i) OneCycle(rig, i % 2 == 0);
  rig.device->ClearRequests();
  const std::size_t after = mallinfo2().uordblks;
  EXPECT_TRUE(Eventually([&] { return Threads() <= threads; })) << Threads() << " after " << threads;
  EXPECT_EQ(Descriptors(), descriptors);
  EXPECT_LT(after, before + 200'000) << "less than a kilobyte per cycle";
}

TEST(Lifecycle, MakingAndDestroyingCamerasLeavesNoThreads) {
  std::thread([] {}).join();  // sanitizers start a thread of their own beside the first
  const std::size_t threads = Threads();
  for (int i = 0; i < 5; ++i) {
    const VirtualRig rig;
    ASSERT_TRUE(rig.Open());
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    ASSERT_TRUE(rig.Fetch());
  }  // destroyed while capturing
  EXPECT_TRUE(Eventually([&] { return Threads() <= threads; })) << Threads() << " after " << threads;
}

TEST(Lifecycle, AStopFromAnotherThreadEndsAWaitAtOnce) {
  const VirtualRig rig;
  rig.camera->SetExp(2'000'000'000, false);
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  std::atomic<bool> waiting{false};
  std::thread reader([&] {
    waiting = true;
    FrameInfo info;
    EXPECT_FALSE(rig.Fetch(info, -1));
  });
  while (!waiting) std::this_thread::yield();
  EXPECT_EQ(rig.camera->StopCapture(), 1);
  reader.join();
  EXPECT_FALSE(rig.camera->IsCaptureRunning());
  EXPECT_EQ(rig.camera->expStatus, ExpIdle);
}

TEST(Lifecycle, AStoppedSingleExposureHasFailed) {
  const VirtualRig rig;
  rig.camera->SetExp(2'000'000'000, false);
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  EXPECT_EQ(rig.camera->StopCapture(), 1);
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  std::vector<std::uint8_t> frame = rig.Buffer();
  EXPECT_EQ(rig.camera->GetImageAfterExp(frame.data(), static_cast<int>(frame.size())), 0);
}

TEST(Lifecycle, ClosingDuringCaptureEndsEverything) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  std::thread reader([&] {
    FrameInfo info;
    while (rig.Fetch(info, -1)) {
    }
  });
  ASSERT_TRUE(Eventually([&] { return rig.camera->LastFrame().region.width != 0; }));
  rig.camera->CloseCamera();
  reader.join();
  EXPECT_EQ(rig.camera->bOpened, 0);
  EXPECT_FALSE(rig.camera->IsCaptureRunning());
  OneCycle(rig, false);
}

TEST(Lifecycle, ASecondOpenOfTheSameObjectChangesNothing) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->ClearRequests();
  EXPECT_TRUE(rig.Open());
  EXPECT_TRUE(rig.device->Requests().empty());
}

TEST(Lifecycle, AnOpenCameraIsBusyForOthersAndGoesOnUndisturbed) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const auto second = rig.MakeObject(rig.camera->Model());
  EXPECT_EQ(second->OpenCamera(0), 0);
  EXPECT_EQ(second->bOpened, 0);
  EXPECT_EQ(second->Port().LastErrorCode(), kUsbBusy);
  EXPECT_FALSE(second->LinkError().empty());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
  rig.camera->CloseCamera();
  EXPECT_EQ(second->OpenCamera(0), 1) << second->LinkError();
}

TEST(Lifecycle, ARefusedOpenSaysWhyAndCanBeTriedAgain) {
  const VirtualRig rig;
  rig.bus->RefuseOpens(kUsbAccess);
  EXPECT_FALSE(rig.Open());
  EXPECT_NE(rig.camera->LinkError().find("udev"), std::string::npos) << rig.camera->LinkError();
  rig.bus->RefuseOpens(kUsbOk);
  EXPECT_TRUE(rig.Open());
}

TEST(Lifecycle, AFailureAtAnyRequestOfAnOpenLeavesTheCameraClosed) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera->CloseCamera();
  const auto opening = rig.device->Requests();
  ASSERT_GT(opening.size(), 20U);
  for (const std::uint8_t request :
       {wire::kReqFirmwareVersion, wire::kReqStartSensorClock, wire::kReqWriteSensor}) {
    rig.device->FailRequests(request, kUsbPipe);
    EXPECT_FALSE(rig.Open()) << int{request};
    EXPECT_EQ(rig.camera->bOpened, 0);
    EXPECT_EQ(rig.camera->usbHandle, nullptr);
    rig.device->ClearFailures();
    ASSERT_TRUE(rig.Open()) << int{request};
    rig.camera->CloseCamera();
  }
}

TEST(Lifecycle, VanishingAtAnyRequestOfAnOpenLeavesTheCameraClosed) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera->CloseCamera();
  const int requests = static_cast<int>(rig.device->Requests().size());
  for (int at = 0; at < requests - 1; ++at) {
    rig.device->FailRequests(0, kUsbNoDevice, at);
    EXPECT_FALSE(rig.Open()) << at;
    EXPECT_EQ(rig.camera->bOpened, 0) << at;
    EXPECT_FALSE(rig.camera->LinkError().empty()) << at;
    rig.device->ClearFailures();
    Replug(rig);
  }
  EXPECT_TRUE(rig.Open()) << rig.camera->LinkError();
}

TEST(Lifecycle, AnUnplugWhileIdleIsReportedAndAReplugMended) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.bus->Unplug(rig.device);
  EXPECT_FALSE(rig.camera->SetGain(10, false));
  EXPECT_TRUE(rig.camera->DeviceLost());
  EXPECT_FALSE(rig.camera->LinkError().empty());
  EXPECT_EQ(rig.camera->bOpened, 1) << "an unplug does not close";
  Replug(rig);
  EXPECT_EQ(rig.camera->ReConnectCamera(), 1);
  EXPECT_FALSE(rig.camera->DeviceLost());
  EXPECT_TRUE(rig.camera->SetGain(10, false));
}

TEST(Lifecycle, AReconnectProgramsAllSettingsAgain) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(123'456, false);
  rig.camera->SetGain(33, false);
  rig.camera->SetBrightness(17);
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({8, 6, 48, 32, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  rig.bus->Unplug(rig.device);
  Replug(rig);
  ASSERT_EQ(rig.camera->ReConnectCamera(), 1);
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  EXPECT_EQ(info.exposureUs, 123'456U);
  EXPECT_EQ(info.gain, 33);
  EXPECT_EQ(info.offset, 17);
  EXPECT_EQ(info.region, applied);
}

TEST(Lifecycle, AReconnectWithoutAReplugFailsAndALaterOpenWorks) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.bus->Unplug(rig.device);
  EXPECT_EQ(rig.camera->ReConnectCamera(), 0);
  EXPECT_EQ(rig.camera->bOpened, 0);
  EXPECT_EQ(rig.camera->ReConnectCamera(), 0) << "nothing is open any more";
  Replug(rig);
  EXPECT_TRUE(rig.Open());
}

TEST(Lifecycle, AnUnplugWhileStreamingEndsTheCaptureWithAReason) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  rig.bus->Unplug(rig.device);
  FrameInfo info;
  while (rig.Fetch(info, -1)) {
  }
  EXPECT_TRUE(Eventually([&] { return !rig.camera->IsCaptureRunning(); }));
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_NE(rig.camera->CaptureTrouble().find("unplugged"), std::string::npos) << rig.camera->CaptureTrouble();
  EXPECT_TRUE(rig.camera->DeviceLost());
  EXPECT_TRUE(rig.camera->Counters().IdentityHolds());
  EXPECT_EQ(rig.camera->StopCapture(), 1);
  Replug(rig);
  ASSERT_EQ(rig.camera->ReConnectCamera(), 1);
  EXPECT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
}

TEST(Lifecycle, AnUnplugDuringALongExposureFailsItAtOnce) {
  const VirtualRig rig;
  rig.camera->SetExp(2'000'000'000, false);
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  rig.bus->Unplug(rig.device);
  FrameInfo info;
  EXPECT_FALSE(rig.Fetch(info, -1));
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_FALSE(rig.camera->CaptureTrouble().empty());
}

TEST(Lifecycle, AnUnplugWhileAnotherThreadSetsControlsIsHarmless) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  std::atomic<bool> lost{false};
  std::thread setter([&] {
    for (int i = 0; rig.camera->SetExp(static_cast<unsigned long long>(1000 + i % 100), false); ++i)
      rig.camera->SetGain(i % 100, false);
    lost = true;
  });
  ASSERT_TRUE(rig.Fetch());
  rig.bus->Unplug(rig.device);
  setter.join();
  EXPECT_TRUE(lost);
  rig.camera->CloseCamera();
}

TEST(Lifecycle, ManyThreadsMayUseOneCamera) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    for (int i = 0; !stop; ++i) {
      EXPECT_TRUE(rig.camera->SetExp(static_cast<unsigned long long>(200 + i % 50), i % 2 == 0));
      EXPECT_TRUE(rig.camera->SetGain(i % 100, true));
    }
  });
  threads.emplace_back([&] {
    for (int i = 0; !stop; ++i) {
      EXPECT_EQ(rig.camera->SetControlValue(ORQ_GAIN, i % 100, false), CTRL_OK);
      EXPECT_EQ(rig.camera->SetControlValue(ORQ_FLIP, i % 4, false), CTRL_OK);
      EXPECT_EQ(rig.camera->SetControlValue(ORQ_WB_R, 1 + i % 99, false), CTRL_OK);
    }
  });
  threads.emplace_back([&] {
    while (!stop) {
      EXPECT_TRUE(rig.camera->Counters().IdentityHolds());
      rig.camera->LastFrame();
      rig.camera->Region();
    }
  });
  for (int i = 0; i < 30; ++i) EXPECT_TRUE(rig.Fetch());
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(rig.camera->StopCapture(), 1);
  EXPECT_TRUE(rig.camera->Counters().IdentityHolds());
}

TEST(Lifecycle, StartAndStopInQuickSuccessionNeverHang) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  for (int i = 0; i < 30; ++i) {
    ASSERT_EQ(rig.camera->StartCapture(i % 3 == 0), 1);
    if (i % 2 == 0) ASSERT_TRUE(rig.Fetch()) << i << ": " << rig.camera->CaptureTrouble();
    ASSERT_EQ(rig.camera->StopCapture(), 1);
    ASSERT_TRUE(rig.camera->Counters().IdentityHolds());
  }
}

}  // namespace
}  // namespace orq
