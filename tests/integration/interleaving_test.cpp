// What happens when operations meet at an awkward moment.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/HeldThread.h"
#include "support/VirtualRig.h"

namespace {
/// Allocations of arrays of exactly this many bytes fail; 0: none.
std::atomic<std::size_t> g_failingSize{0};
}  // namespace

// In front of the C++ library's.
void* operator new[](std::size_t bytes) {
  if (bytes != 0 && bytes == g_failingSize) throw std::bad_alloc();
  return ::operator new(bytes);
}
// Of one kind with the others, which the sanitizer's own would not be.
void* operator new[](std::size_t bytes, const std::nothrow_t& nothrow) noexcept {
  return ::operator new(bytes, nothrow);
}
void operator delete[](void* memory) noexcept {
  ::operator delete(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  ::operator delete(memory);
}

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

TEST(Interleaving, AReconnectDuringACaptureEndsItWithAReasonAndTheNextOneWorks) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    if (i != 0) ASSERT_TRUE(rig.Fetch());  // the first time the stream may be about to start
    ASSERT_EQ(rig.camera->ReConnectCamera(), 1);
    // The worker may have found the stream gone, or may only now have started its stream on the reopened device.
    if (rig.camera->IsCaptureRunning()) {
      EXPECT_EQ(rig.camera->StopCapture(), 1);
    } else {
      EXPECT_EQ(rig.camera->expStatus, ExpFailed);
      EXPECT_FALSE(rig.camera->CaptureTrouble().empty());
    }
    FrameInfo info;
    EXPECT_FALSE(rig.Snap(info).empty()) << rig.camera->CaptureTrouble();
  }
}

TEST(Interleaving, AFailedReconnectDuringACaptureLeavesAUsableObject) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  rig.bus->RefuseOpens(kUsbAccess);
  EXPECT_EQ(rig.camera->ReConnectCamera(), 0);
  EXPECT_EQ(rig.camera->bOpened, 0);
  EXPECT_TRUE(Eventually([&] { return !rig.camera->IsCaptureRunning(); }));
  EXPECT_EQ(rig.camera->CaptureTrouble(), "the camera was closed while it captured: start the capture again");
  rig.bus->RefuseOpens(kUsbOk);
  EXPECT_TRUE(rig.Open());
  FrameInfo info;
  EXPECT_FALSE(rig.Snap(info).empty());
}

// A setter tells the device and keeps the value. Were that not one step, two callers could leave the one value in
// the camera and the other in the object. A change of geometry that waits for the hot-pixel table holds all of
// them.
TEST(Interleaving, EverySetterWaitsForTheSequenceOfRegistersUnderWay) {
  for (const ModelData& model : AllModels()) {
    if (model.key == "replay") continue;  // plays a file
    const VirtualRig rig(std::string(model.key).c_str(), {}, 32);
    ASSERT_TRUE(rig.Open());
    CModelCamera& camera = *rig.camera;
    const ControlLimits& range = model.limits;
    std::vector<std::pair<const char*, std::function<void()>>> setters{
        {"gain", [&] { camera.SetGain(range.gainMax, false); }},
        {"offset", [&] { camera.SetBrightness(range.offsetMax); }},
        {"exposure", [&] { camera.SetExp(12'500, false); }},
        {"bandwidth", [&] { camera.SetFPSPerc(range.bandwidthMin, false); }},
    };
    if (model.colour) setters.emplace_back("white balance", [&] { camera.SetWB(20, 80, false); });
    {
      std::unique_lock table(camera.HPCMutex);
      test::HeldThread change([&] {
        FrameRegion applied;
        std::string reason;
        EXPECT_TRUE(camera.SetRegion({0, 0, 16, 16, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
      });
      EXPECT_TRUE(change.IsHeld());
      std::vector<std::unique_ptr<test::HeldThread>> threads;
      for (const auto& setter : setters) threads.push_back(std::make_unique<test::HeldThread>(setter.second));
      for (std::size_t i = 0; i < setters.size(); ++i)
        EXPECT_TRUE(threads[i]->IsHeld()) << model.key << " " << setters[i].first;
      table.unlock();
    }
    EXPECT_EQ(camera.gain, range.gainMax);
    EXPECT_EQ(camera.Brightness, range.offsetMax);
    EXPECT_EQ(camera.exposureUs, 12'500U);
  }
}

TEST(Interleaving, AnExposureMayFollowTheOneBeforeWithoutAStop) {
  const VirtualRig rig(
      "k1c", [](VirtualOptions& options) { options.timeScale = 0; }, 32);
  ASSERT_TRUE(rig.Open());
  std::vector<std::uint8_t> frame = rig.Buffer();
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(rig.camera->StartExposure(), 1);
    ASSERT_TRUE(Eventually([&] { return rig.camera->expStatus != ExpWorking; }));
    ASSERT_EQ(rig.camera->GetImageAfterExp(frame.data(), static_cast<int>(frame.size())), 1) << i;
    ASSERT_FALSE(rig.camera->IsCaptureRunning()) << "the next start would be taken for a running capture";
  }
}

TEST(Interleaving, AnExposureMayFollowAFailedOneWithoutAStop) {
  const VirtualRig rig(
      "k1c", [](VirtualOptions& options) { options.timeScale = 0; }, 32);
  ASSERT_TRUE(rig.Open());
  for (std::uint64_t i = 1; i <= 50; ++i) {
    rig.device->AddFrameFault({FrameFault::Kind::Short, i});
    ASSERT_EQ(rig.camera->StartExposure(), 1);
    ASSERT_FALSE(rig.Fetch()) << i;
    ASSERT_FALSE(rig.camera->IsCaptureRunning()) << "the next start would be taken for a running capture";
    ASSERT_EQ(rig.device->FramesExposed(), i);
  }
}

// An open adopts the geometry that the fields ask for. A worker that has not yet noticed that its stream is gone
// must not meet it: what it holds is a frame of the old geometry.
TEST(Interleaving, AReconnectWaitsForTheWorkerBeforeItAdoptsAnotherGeometry) {
  const VirtualRig rig("x26m");
  ASSERT_TRUE(rig.Open());
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 32, 32, 2, ORQ_IMG_RAW16}, applied, reason)) << reason;
  rig.camera->autoThr.InitFuncPt([](bool* running, void*) {
    while (ThreadCtrl::KeepRunning(running)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  ASSERT_EQ(rig.camera->autoThr.Start(rig.camera.get()), 1);
  std::unique_lock copying(rig.camera->autoBufMutex);  // the worker cannot get past its first frame
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(Eventually([&] { return rig.camera->Counters().dropped > 0; })) << "nobody takes frames any more";
  rig.camera->HardwareBin = 1;
  std::atomic<bool> reopened{false};
  std::thread reconnecting([&] {
    EXPECT_EQ(rig.camera->ReConnectCamera(), 1);
    reopened = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(600));  // four times what it takes; too short is harmless
  EXPECT_FALSE(reopened);
  copying.unlock();
  reconnecting.join();
  EXPECT_FALSE(rig.camera->IsCaptureRunning());
  EXPECT_EQ(rig.camera->CaptureTrouble(), "the camera was closed while it captured: start the capture again");
  FrameInfo info;
  EXPECT_FALSE(rig.Snap(info).empty()) << rig.camera->CaptureTrouble();
  EXPECT_EQ(rig.device->SentPayload(info.sequence).size(), 32U * 32U * 2U) << "binned by the hardware";
  rig.camera->StopAutoControlThr();
}

TEST(Interleaving, ACaptureWithoutMemoryForItsFramesFailsWithAReason) {
  const VirtualRig rig;
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 120, 62, 1, ORQ_IMG_RGB24}, applied, reason)) << reason;
  ASSERT_TRUE(rig.Open());
  g_failingSize = static_cast<std::size_t>(rig.camera->FrameBytes());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  EXPECT_TRUE(Eventually([&] { return !rig.camera->IsCaptureRunning(); }));
  g_failingSize = 0;
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_NE(rig.camera->CaptureTrouble().find("not enough memory"), std::string::npos);
  FrameInfo info;
  EXPECT_FALSE(rig.Snap(info).empty()) << rig.camera->CaptureTrouble();
}

/// Pulls the camera out at the first request of `story`, then at the second, and so on until it is done before.
/// Whatever happens to the story: the capture ends, and the camera works again once it was plugged in and opened.
void UnplugAtEveryRequestOf(const VirtualRig& rig, const std::function<void()>& story) {
  bool reached = true;
  int at = 0;
  for (; reached; ++at) {
    ASSERT_TRUE(rig.Open()) << at << ": " << rig.camera->LinkError();
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    ASSERT_TRUE(rig.Fetch()) << at << ": " << rig.camera->CaptureTrouble();
    rig.device->FailRequests(0, kUsbNoDevice, at);
    story();
    reached = rig.camera->DeviceLost();
    FrameInfo info;
    while (reached && rig.Fetch(info, -1)) {
    }
    rig.camera->CloseCamera();
    ASSERT_FALSE(rig.camera->IsCaptureRunning()) << at;
    rig.device->ClearFailures();
    ASSERT_TRUE(rig.bus->Attach(rig.device) || !reached) << at;
    ASSERT_LT(at, 200);
  }
  EXPECT_GT(at, 4) << "the story takes more requests than that";
  ASSERT_TRUE(rig.Open());
  FrameInfo info;
  EXPECT_FALSE(rig.Snap(info).empty()) << rig.camera->CaptureTrouble();
}

TEST(Interleaving, AnUnplugAtAnyRequestOfAGeometryChangeEndsTheCapture) {
  const VirtualRig rig("x26m");
  int round = 0;
  UnplugAtEveryRequestOf(rig, [&] {
    FrameRegion applied;
    std::string reason;
    const int width = 32 + 16 * (round++ % 2);
    if (!rig.camera->SetRegion({0, 0, width, 32, 2, ORQ_IMG_RAW8}, applied, reason)) EXPECT_FALSE(reason.empty());
    rig.camera->SetHardwareBin(round % 2 == 0);
  });
}

TEST(Interleaving, AnUnplugAtAnyRequestOfAStopAndAStartEndsTheCapture) {
  const VirtualRig rig("k1c");
  UnplugAtEveryRequestOf(rig, [&] {
    EXPECT_EQ(rig.camera->StopCapture(), 1);
    EXPECT_EQ(rig.camera->StartExposure(), 1);
    FrameInfo info;
    if (!rig.Fetch(info)) {
      EXPECT_EQ(rig.camera->expStatus, ExpFailed);
      EXPECT_FALSE(rig.camera->CaptureTrouble().empty());
    }
    EXPECT_EQ(rig.camera->StopCapture(), 1);
  });
}

}  // namespace
}  // namespace orq
