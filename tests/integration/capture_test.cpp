// Capture: single exposures, video, triggers, changes under way, faults of the stream.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "link/WireProtocol.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

void OfferTriggers(VirtualOptions& options) {
  options.fpgaType = 0xC0;
}

/// One trigger that the sensor takes: just after a frame that was lost it may still be reading out.
void TriggerOnce(const VirtualRig& rig) {
  std::uint64_t missed = 0;
  do {
    missed = rig.device->TriggersMissed();
    ASSERT_TRUE(rig.camera->SendSoftTrigger());
  } while (rig.device->TriggersMissed() != missed);
}

TEST(Capture, ASingleExposureEndsByItselfAndIsFetchedOnce) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->expStatus, ExpIdle);
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  ASSERT_TRUE(Eventually([&] { return rig.camera->expStatus == ExpSuccess; }));
  EXPECT_TRUE(Eventually([&] { return !rig.camera->IsCaptureRunning(); }));
  std::vector<std::uint8_t> frame = rig.Buffer();
  const int size = static_cast<int>(frame.size());
  EXPECT_EQ(rig.camera->GetImageAfterExp(frame.data(), size), 1);
  EXPECT_EQ(rig.camera->expStatus, ExpIdle);
  EXPECT_EQ(rig.camera->GetImageAfterExp(frame.data(), size), 0);
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), size, -1), 0);
  EXPECT_EQ(rig.device->FramesExposed(), 1U);
  EXPECT_TRUE(rig.camera->CaptureTrouble().empty());
}

TEST(Capture, AFrameThatNobodyFetchedIsNotTakenForThatOfTheNextExposure) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  ASSERT_TRUE(Eventually([&] { return rig.camera->expStatus == ExpSuccess && !rig.camera->IsCaptureRunning(); }));
  // A worker that has been started and has not come to anything yet.
  rig.camera->captureThr.InitFuncPt([](bool* running, void*) {
    while (ThreadCtrl::KeepRunning(running)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  std::vector<std::uint8_t> frame = rig.Buffer();
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), static_cast<int>(frame.size()), 0), 0);
  rig.camera->StopCapture();
}

TEST(Capture, TheFpgaIsToldSingleExposureOrVideo) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  EXPECT_EQ(rig.device->FpgaRegister(0x37), 1);
  EXPECT_EQ(rig.device->FpgaRegister(0x45), 1) << "bit 1 is for two older products";
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  EXPECT_EQ(rig.device->FpgaRegister(0x37), 0);
}

TEST(Capture, TheControllerIsToldTheBlocksOfHeaderPayloadAndTrailer) {
  const VirtualRig rig("k1c", {}, 256);
  ASSERT_TRUE(rig.Open());
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 192, 128, 1, ORQ_IMG_RAW16}, applied, reason)) << reason;
  rig.device->ClearRequests();
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  int blocks = -1;
  for (const LoggedRequest& request : rig.device->Requests())
    if (request.setup.request == wire::kReqTransferCount) blocks = request.setup.index;
  EXPECT_EQ(blocks, 2) << "192 x 128 x 2 bytes fill one block of 49152 to the last; the marks need another";
}

TEST(Capture, VideoBringsFrameAfterFrame) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  FrameInfo last;
  ASSERT_TRUE(rig.Fetch(last));
  for (int i = 0; i < 20; ++i) {
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info));
    ASSERT_GT(static_cast<std::int32_t>(info.sequence - last.sequence), 0)
        << "across the wrap of the sequence, too";
    ASSERT_GE(info.startUnixUs, last.startUnixUs);
    last = info;
  }
  EXPECT_EQ(rig.camera->StopCapture(), 1);
  EXPECT_EQ(rig.camera->expStatus, ExpIdle);
  std::vector<std::uint8_t> frame = rig.Buffer();
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), static_cast<int>(frame.size()), -1), 0);
}

TEST(Capture, GettingAFrameWithoutACaptureReturnsAtOnce) {
  const VirtualRig rig;
  std::vector<std::uint8_t> frame = rig.Buffer();
  const int size = static_cast<int>(frame.size());
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), size, -1), 0);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), size, -1), 0);
}

TEST(Capture, ABufferThatIsTooSmallGetsNothingAndTheFrameStays) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  std::vector<std::uint8_t> frame(rig.Buffer().size(), 0xAB);
  const int size = static_cast<int>(frame.size());
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), size - 1, VirtualRig::kPatienceMs), 0);
  EXPECT_EQ(frame, std::vector<std::uint8_t>(frame.size(), 0xAB));
  EXPECT_EQ(rig.camera->GetImageData(nullptr, size, 0), 0);
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), -1, 0), 0);
  EXPECT_EQ(rig.camera->GetImageData(frame.data(), size, VirtualRig::kPatienceMs), 1);
}

TEST(Capture, AWaitThatIsTooShortTimesOutAndTheExposureGoesOn) {
  const VirtualRig rig;
  rig.camera->SetExp(20'000'000, false);  // 0.2 s of real time
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  FrameInfo info;
  EXPECT_FALSE(rig.Fetch(info, 0));
  EXPECT_EQ(rig.camera->expStatus, ExpWorking);
  EXPECT_TRUE(rig.Fetch(info));
}

TEST(Capture, ASlowReaderCostsFramesAndNothingElse) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) { options.timeScale = 0; });
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(Eventually([&] { return rig.camera->Counters().overwritten >= 50; }));
  FrameInfo first, second;
  ASSERT_TRUE(rig.Fetch(first));
  ASSERT_TRUE(rig.Fetch(second));
  EXPECT_NE(first.sequence, second.sequence);
  rig.camera->StopCapture();
  const StreamCounters counters = rig.camera->Counters();
  EXPECT_TRUE(counters.IdentityHolds());
  EXPECT_EQ(counters.failed, 0U);
  EXPECT_GE(counters.completed, counters.overwritten + 2);
}

TEST(Capture, ARegionChangeUnderWayBringsOnlyFramesOfTheNewRegion) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  for (int i = 0; i < 12; ++i) {
    ASSERT_TRUE(rig.Fetch());
    const FrameRegion wanted{2 * i,     0,         16 + 8 * (i % 3),
                             8 + 2 * i, 1 + i % 3, i % 2 == 0 ? ORQ_IMG_RAW8 : ORQ_IMG_RAW16};
    FrameRegion applied;
    std::string reason;
    ASSERT_TRUE(rig.camera->SetRegion(wanted, applied, reason)) << reason;
    EXPECT_TRUE(rig.camera->IsCaptureRunning());
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info)) << rig.camera->CaptureTrouble();
    EXPECT_EQ(info.region, wanted);
  }
}

TEST(Capture, AReaderInAnotherThreadLivesThroughRegionChanges) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  std::atomic<bool> stop{false};
  std::atomic<int> frames{0};
  std::thread reader([&] {
    std::vector<std::uint8_t> frame(128 * 128 * 2);
    while (!stop) {
      FrameInfo info;
      EXPECT_EQ(rig.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), VirtualRig::kPatienceMs, info),
                1);
      ++frames;
    }
  });
  for (int i = 0; i < 8; ++i) {
    const int seen = frames;
    EXPECT_TRUE(Eventually([&] { return frames > seen; }));
    FrameRegion applied;
    std::string reason;
    EXPECT_TRUE(rig.camera->SetRegion({0, 0, 32 + 8 * i, 32, 1, ORQ_IMG_RAW16}, applied, reason)) << reason;
  }
  stop = true;
  reader.join();
  rig.camera->StopCapture();
}

TEST(Capture, HardwareBinningMayBeSwitchedUnderWay) {
  const VirtualRig rig("x26m");
  ASSERT_TRUE(rig.Open());
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 32, 32, 2, ORQ_IMG_RAW16}, applied, reason)) << reason;
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  for (const bool on : {true, false, true}) {
    ASSERT_TRUE(rig.camera->SetHardwareBin(on));
    ASSERT_TRUE(rig.Fetch()) << rig.camera->CaptureTrouble();
    EXPECT_EQ(rig.camera->IsHardBinRun(), on);
  }
}

TEST(Capture, ARegionChangeDropsTheFrameOfAFinishedExposureAndStartsNoOther) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(rig.camera->StartExposure(), 1);
    ASSERT_TRUE(Eventually([&] { return rig.camera->expStatus == ExpSuccess; }));
    FrameRegion applied;
    std::string reason;
    ASSERT_TRUE(rig.camera->SetRegion({0, 0, 16, 16, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
    EXPECT_FALSE(rig.camera->IsCaptureRunning());
    EXPECT_FALSE(rig.Fetch());
  }
  EXPECT_EQ(rig.device->FramesExposed(), 20U);
}

TEST(Capture, SingleExposuresMayFollowEachOtherAtOnce) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  std::vector<std::uint8_t> frame = rig.Buffer();
  const int size = static_cast<int>(frame.size());
  for (std::uint64_t i = 1; i <= 50; ++i) {
    ASSERT_EQ(rig.camera->StartExposure(), 1);
    if (i % 2 == 0) {
      ASSERT_EQ(rig.camera->GetImageData(frame.data(), size, VirtualRig::kPatienceMs), 1) << i;
    } else {
      ASSERT_TRUE(Eventually([&] { return rig.camera->expStatus == ExpSuccess; })) << i;
      ASSERT_EQ(rig.camera->GetImageAfterExp(frame.data(), size), 1) << i;
    }
    ASSERT_EQ(rig.device->FramesExposed(), i);
  }
}

// The worker shows what became of an exposure before it has returned. Whoever goes by that and nothing else, and
// fetches nothing, gets an exposure for every start.
TEST(Capture, AnExposureCanFollowAsSoonAsTheStatusShowsTheEndOfTheLast) {
  constexpr std::uint64_t kExposures = 200;
  const VirtualRig rig("k1c", [](VirtualOptions& options) {
    options.timeScale = 0;
    for (std::uint64_t frame = 1; frame <= kExposures; ++frame)
      if (frame % 3 != 0) options.frameFaults.push_back({FrameFault::Kind::Short, frame});
  });
  ASSERT_TRUE(rig.Open());
  for (std::uint64_t i = 1; i <= kExposures; ++i) {
    ASSERT_EQ(i % 2 == 0 ? rig.camera->StartExposure() : rig.camera->StartCapture(true), 1) << i;
    while (rig.camera->expStatus == ExpWorking) std::this_thread::yield();
    ASSERT_EQ(rig.camera->expStatus, i % 3 != 0 ? ExpFailed : ExpSuccess) << i;
    ASSERT_EQ(rig.device->FramesExposed(), i);
  }
}

TEST(Capture, AVideoThatEndedByItselfCanBeStartedAgainAtOnce) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  for (int i = 0; i < 50; ++i) {
    rig.device->FailRequests(wire::kReqWriteFpga, kUsbPipe);
    ASSERT_EQ(rig.camera->StartCapture(false), 1) << "the worker starts and then finds out";
    while (rig.camera->expStatus == ExpWorking) std::this_thread::yield();
    ASSERT_EQ(rig.camera->expStatus, ExpFailed) << i;
    rig.device->ClearFailures();
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info)) << i << ": " << rig.camera->CaptureTrouble();
    rig.camera->StopCapture();
  }
}

TEST(Capture, ATriggerModeCanBeChosenAsSoonAsTheStatusShowsTheEndOfAnExposure) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) {
    options.timeScale = 0;
    OfferTriggers(options);
  });
  ASSERT_TRUE(rig.Open());
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(rig.camera->StartExposure(), 1);
    while (rig.camera->expStatus == ExpWorking) std::this_thread::yield();
    ASSERT_EQ(rig.camera->SetCameraMode(1), MODE_OK) << i;
    ASSERT_EQ(rig.camera->SetCameraMode(0), MODE_OK) << i;
  }
}

TEST(Capture, ARegionChangeDuringAnExposureBeginsItAnew) {
  const VirtualRig rig;
  rig.camera->SetExp(20'000'000, false);  // 0.2 s of real time
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartExposure(), 1);
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 16, 16, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info)) << rig.camera->CaptureTrouble();
  EXPECT_EQ(info.region, applied);
  EXPECT_EQ(rig.camera->expStatus, ExpSuccess);
}

TEST(Capture, SettingsChangedUnderWayReachTheFrames) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  ASSERT_TRUE(rig.camera->SetGain(40, false));
  ASSERT_TRUE(rig.camera->SetExp(5'000, false));
  FrameInfo info;
  EXPECT_TRUE(Eventually([&] { return rig.Fetch(info) && info.gain == 40 && info.exposureUs == 5'000; }));
}

struct Fault {
  FrameFault::Kind kind;
  int side;  ///< of the frame
  const char* reason;
};

// Small frames fit in one transfer, large ones fill several.
constexpr Fault kFaults[] = {{FrameFault::Kind::Short, 128, "too short"},
                             {FrameFault::Kind::Oversize, 128, "too long"},
                             {FrameFault::Kind::BadHeader, 128, "header or trailer"},
                             {FrameFault::Kind::BadTrailer, 128, "header or trailer"},
                             {FrameFault::Kind::Stall, 128, "stalled"},
                             {FrameFault::Kind::Error, 128, "transfer failed"},
                             {FrameFault::Kind::Stall, 1024, "stalled"},
                             {FrameFault::Kind::Error, 1024, "transfer failed"}};

class DamagedExposure : public testing::TestWithParam<Fault> {};

TEST_P(DamagedExposure, FailsWithItsReasonAndTheNextOneWorks) {
  const Fault& fault = GetParam();
  const VirtualRig rig(
      "k1c",
      [&](VirtualOptions& options) {
        options.frameFaults = {{fault.kind, 1}};
      },
      fault.side);
  ASSERT_TRUE(rig.Open());
  FrameInfo info;
  EXPECT_TRUE(rig.Snap(info).empty());
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_NE(rig.camera->CaptureTrouble().find(fault.reason), std::string::npos) << rig.camera->CaptureTrouble();
  EXPECT_TRUE(rig.camera->Counters().IdentityHolds());
  EXPECT_FALSE(rig.Snap(info).empty()) << rig.camera->CaptureTrouble();
  EXPECT_TRUE(rig.camera->CaptureTrouble().empty());
}

INSTANTIATE_TEST_SUITE_P(Faults, DamagedExposure, testing::ValuesIn(kFaults));

// Frame by frame on triggers, so that each fault is met by a reader that keeps up.
TEST(Capture, DamagedFramesOfAStreamAreCountedAndNeverDelivered) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) {
    OfferTriggers(options);
    options.frameFaults = {{FrameFault::Kind::Short, 2},    {FrameFault::Kind::BadTrailer, 4},
                           {FrameFault::Kind::Oversize, 6}, {FrameFault::Kind::BadHeader, 8},
                           {FrameFault::Kind::Drop, 10},    {FrameFault::Kind::Stall, 12}};
  });
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->SetCameraMode(1), MODE_OK);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(Eventually([&] { return rig.device->FpgaRegister(wire::kFpgaRun) == 1; }));
  constexpr std::uint32_t kFirst = 0xFFFFFFF0U;
  for (std::uint32_t frame = 1; frame <= 13; ++frame) {
    TriggerOnce(rig);
    ASSERT_TRUE(Eventually([&] { return rig.device->FramesExposed() == frame; }));
    if (frame % 2 != 0) {
      FrameInfo info;
      ASSERT_TRUE(rig.Fetch(info)) << frame << ": " << rig.camera->CaptureTrouble();
      EXPECT_EQ(info.sequence, kFirst + frame - 1) << "only whole frames are delivered";
    } else if (frame < 10) {
      EXPECT_TRUE(Eventually([&] { return rig.camera->Counters().failed == frame / 2; })) << frame;
    } else if (frame == 12) {
      EXPECT_TRUE(Eventually([&] { return rig.camera->Counters().resyncs == 1; }));
    }
  }
  rig.camera->StopCapture();
  const StreamCounters counters = rig.camera->Counters();
  EXPECT_EQ(counters.completed, 7U);
  EXPECT_EQ(counters.failedShort, 1U);
  EXPECT_EQ(counters.failedMarks, 2U);
  EXPECT_EQ(counters.failedOversize, 1U);
  EXPECT_GE(counters.lost, 1U);
  EXPECT_EQ(counters.overwritten, 0U);
  EXPECT_TRUE(counters.IdentityHolds());
}

TEST(Capture, ACameraThatSendsOnlyFramesOfOtherSettingsIsGivenUp) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetExp(1000, false));
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  for (std::uint16_t i = 0; i < 4; ++i) rig.device->SetFpgaRegister(wire::kFpgaSettingsTag + i, 0);
  while (rig.Fetch()) {
  }
  EXPECT_NE(rig.camera->CaptureTrouble().find("that were exposed before"), std::string::npos)
      << rig.camera->CaptureTrouble();
  rig.camera->StopCapture();
  const StreamCounters counters = rig.camera->Counters();
  EXPECT_GT(counters.stale, 0U);
  EXPECT_EQ(counters.failed, 0U);
  EXPECT_TRUE(counters.IdentityHolds());
}

TEST(Capture, FramesOfAVideoFromBeforeAChangeTellTheirTrueSettings) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetExp(1000, false));
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info));
  for (std::uint64_t exposureUs = 2000; exposureUs <= 6000; exposureUs += 1000) {
    ASSERT_TRUE(rig.camera->SetExp(exposureUs, false));
    const std::uint32_t tag = rig.camera->Tag().Newest();
    do {
      ASSERT_TRUE(rig.Fetch(info)) << rig.camera->CaptureTrouble();
      EXPECT_EQ(info.exposureUs, info.settingsTag == tag ? exposureUs : exposureUs - 1000);
    } while (info.settingsTag != tag);
  }
  rig.camera->StopCapture();
  EXPECT_EQ(rig.camera->Counters().stale, 0U) << "they are of this capture";
}

TEST(Capture, AStreamThatCannotStartFailsWithItsReason) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqWriteFpga, kUsbPipe);
  ASSERT_EQ(rig.camera->StartCapture(false), 1) << "the worker starts and then finds out";
  FrameInfo info;
  EXPECT_FALSE(rig.Fetch(info, -1));
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_FALSE(rig.camera->CaptureTrouble().empty());
  rig.device->ClearFailures();
  rig.camera->StopCapture();
  EXPECT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
}

TEST(Capture, AFrameThatNeverComesIsGivenUpSecondsAfterItsTime) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) {
    options.frameFaults = {{FrameFault::Kind::Drop, 1}};
  });
  ASSERT_TRUE(rig.Open());
  const auto begin = std::chrono::steady_clock::now();
  FrameInfo info;
  EXPECT_TRUE(rig.Snap(info).empty());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_EQ(rig.camera->expStatus, ExpFailed);
  EXPECT_NE(rig.camera->CaptureTrouble().find("no frame"), std::string::npos) << rig.camera->CaptureTrouble();
}

}  // namespace
}  // namespace orq
