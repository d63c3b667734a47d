// A camera as a program that died has left it: the first frame of the next program is the one that it asked for.
#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "OpenLink.h"
#include "OtherProcess.h"
#include "session/CameraList.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

constexpr int kWidth = 1936;
constexpr int kHeight = 1096;
constexpr StreamFormat kWholeSensor{kWidth, kHeight, 1, wire::kFormat16Bit};
constexpr std::uint64_t kAskedUs = 40'000;

void Write(CCameraFX3& link, std::uint16_t reg, unsigned value, int bytes = 1) {
  for (int i = 0; i < bytes; ++i)
    EXPECT_TRUE(link.WriteFPGAREG(static_cast<unsigned short>(reg + i), (value >> (8 * i)) & 0xFFU));
}

void RunVideo(CCameraFX3& link) {
  Program(link, kWholeSensor);
  Write(link, wire::kFpgaExposure, 2000, 4);
  EXPECT_TRUE(link.FPGAStart());
}

/// Reads the beginning of a frame, and no more.
void TakePartOfAFrame(CCameraFX3& link) {
  std::atomic<bool> came{false};
  const auto transfer = link.Port().Pipe().MakeTransfer(16384);
  ASSERT_NE(transfer, nullptr);
  transfer->owner = &came;
  transfer->onComplete = [](BulkTransfer& done) { *static_cast<std::atomic<bool>*>(done.owner) = true; };
  ASSERT_EQ(link.Port().Pipe().Submit(*transfer), kUsbOk);
  EXPECT_TRUE(Eventually([&] { return came.load(); }));
}

struct Leftover {
  const char* name;
  std::function<void(CCameraFX3& link)> leave;
};

const std::vector<Leftover>& Leftovers() {
  static const std::vector<Leftover> all{
      {"output running", RunVideo},
      {"half a frame in the pipe",
       [](CCameraFX3& link) {
         RunVideo(link);
         TakePartOfAFrame(link);
       }},
      {"half a frame in the pipe, output stopped",
       [](CCameraFX3& link) {
         RunVideo(link);
         TakePartOfAFrame(link);
         EXPECT_TRUE(link.FPGAStop());
       }},
      {"update hold on, an exposure half written",
       [](CCameraFX3& link) {
         RunVideo(link);
         Write(link, wire::kFpgaUpdateHold, 1);
         Write(link, wire::kFpgaExposure, 0xFFFF, 2);
       }},
      {"update hold on, a settings tag half written",
       [](CCameraFX3& link) {
         RunVideo(link);
         Write(link, wire::kFpgaUpdateHold, 1);
         Write(link, wire::kFpgaSettingsTag, 0xFFFF, 2);
       }},
      {"waiting for triggers on its input",
       [](CCameraFX3& link) {
         Write(link, wire::kFpgaTriggerInput, wire::kTriggerEnable | wire::kTriggerExternal | wire::kTriggerEdge);
         RunVideo(link);
       }},
      {"waiting for software triggers",
       [](CCameraFX3& link) {
         Write(link, wire::kFpgaTriggerInput, wire::kTriggerEnable | wire::kTriggerActiveHigh);
         RunVideo(link);
       }},
      {"a single exposure",
       [](CCameraFX3& link) {
         Write(link, wire::kFpgaSingle, 1);
         RunVideo(link);
       }},
      {"a single exposure as older products are told",
       [](CCameraFX3& link) {
         Write(link, wire::kFpgaHostMode, wire::kHostUsb3 | wire::kHostSnap);
         RunVideo(link);
       }},
      {"image bus released",
       [](CCameraFX3& link) {
         RunVideo(link);
         EXPECT_TRUE(link.EnableGPIF32DQ(false));
       }},
      {"sensor clock stopped", [](CCameraFX3& link) { EXPECT_TRUE(link.SendCMD(wire::kReqStopSensorClock)); }},
      {"guide lines on",
       [](CCameraFX3& link) {
         for (unsigned short line = 0; line < 4; ++line)
           EXPECT_TRUE(link.SendCMD(wire::kReqGuideOn, line, 0, false, nullptr, 0));
       }},
      {"binned by the hardware, eight bits",
       [](CCameraFX3& link) {
         RunVideo(link);
         Program(link, {64, 32, 2, 0}, 8, 8);
       }},
  };
  return all;
}

template <typename Door>
class AbandonedCamera : public ::testing::Test {
 protected:
  void Plug() {
    VirtualOptions options;
    options.timeScale = 0.05;
    options.fpgaType = 0xC0;  // with a trigger unit
    device = MakeCamera(options, kWidth, kHeight, 13'500);
    door.Attach(device);
  }
  /// A program that dies: nothing of it is undone.
  void LeaveBehind(const Leftover& leftover) {
    CCameraFX3 link;
    ASSERT_TRUE(Open(link, door.MakePort())) << link.Port().LastError();
    leftover.leave(link);
    link.CloseDevice();
  }
  NamedCamera OpenNext() {
    NamedCamera named = orq::MakeCamera("0", [this] { return door.MakePort(); });
    EXPECT_NE(named.camera, nullptr) << named.error;
    if (named.camera == nullptr) return named;
    EXPECT_EQ(named.camera->OpenCamera(named.openIndex), 1) << named.camera->LinkError();
    EXPECT_TRUE(named.camera->SetExp(kAskedUs, false));
    EXPECT_TRUE(named.camera->SetGain(7, false));
    FrameRegion applied;
    std::string reason;
    EXPECT_TRUE(named.camera->SetRegion({64, 32, 320, 240, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
    return named;
  }
  void ExpectItsOwnFrame(CModelCamera& camera) {
    constexpr int kMostTries = 100;
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(camera.FrameBytes()));
    std::vector<std::uint8_t> sent;
    FrameInfo info;
    // The device remembers its latest frames only: on a slow computer a video may be ahead of its reader.
    for (int tries = 0; sent.empty() && tries < kMostTries; ++tries) {
      ASSERT_EQ(camera.GetFrame(frame.data(), static_cast<int>(frame.size()), kPatienceMs, info), 1)
          << camera.CaptureTrouble();
      sent = device->SentPayload(info.sequence);
    }
    EXPECT_EQ(info.exposureUs, kAskedUs);
    EXPECT_EQ(info.gain, 7);
    EXPECT_TRUE(frame == sent) << "sequence " << info.sequence;
  }

  Door door;
  std::shared_ptr<VirtualCamera> device;
};
TYPED_TEST_SUITE(AbandonedCamera, BothDoors, DoorNames);

TYPED_TEST(AbandonedCamera, TheFirstSingleExposureIsTheOneThatWasAskedFor) {
  this->Plug();
  for (const Leftover& leftover : Leftovers()) {
    SCOPED_TRACE(leftover.name);
    this->LeaveBehind(leftover);
    const NamedCamera next = this->OpenNext();
    ASSERT_NE(next.camera, nullptr);
    ASSERT_EQ(next.camera->StartCapture(true), 1);
    this->ExpectItsOwnFrame(*next.camera);
    next.camera->StopCapture();
    EXPECT_EQ(next.camera->Counters().failed, 0U);
    EXPECT_TRUE(next.camera->Counters().IdentityHolds());
    for (const bool on : this->device->Readings().guideLines) EXPECT_FALSE(on);
    next.camera->CloseCamera();
  }
}

TYPED_TEST(AbandonedCamera, EveryFrameOfAVideoIsOneOfItsOwn) {
  this->Plug();
  for (const Leftover& leftover : Leftovers()) {
    SCOPED_TRACE(leftover.name);
    this->LeaveBehind(leftover);
    const NamedCamera next = this->OpenNext();
    ASSERT_NE(next.camera, nullptr);
    ASSERT_EQ(next.camera->StartCapture(false), 1);
    for (int i = 0; i < 3; ++i) this->ExpectItsOwnFrame(*next.camera);
    next.camera->StopCapture();
    EXPECT_EQ(next.camera->Counters().failed, 0U);
    next.camera->CloseCamera();
  }
}

using AbandonedByAProcess = AbandonedCamera<LibusbDoor>;

TEST_F(AbandonedByAProcess, TheNextOneGetsItsOwnFrame) {
  Plug();
  for (const bool snap : {true, false}) {
    ASSERT_EQ(AskOtherProcess("abandon"), 0);
    ASSERT_EQ(device->FpgaRegister(wire::kFpgaRun), 1) << "the output runs on";
    const NamedCamera next = OpenNext();
    ASSERT_NE(next.camera, nullptr);
    ASSERT_EQ(next.camera->StartCapture(snap), 1);
    ExpectItsOwnFrame(*next.camera);
    next.camera->StopCapture();
    next.camera->CloseCamera();
  }
}

TYPED_TEST(AbandonedCamera, AFrameFromBeforeTheCaptureIsCountedAndNotDelivered) {
  this->Plug();
  const NamedCamera next = this->OpenNext();
  ASSERT_NE(next.camera, nullptr);
  // The tag of the capture never reaches the camera: its frames are of the settings before.
  const StreamFormat form{320, 240, 1, 0};
  StreamFormat captures = form;
  CCameraFX3& link = *next.camera;
  captures.fresh = {link.Tag().CountUp(), &link.Tag()};
  ASSERT_TRUE(link.StartStream(*next.camera->ring, captures)) << link.LinkError();
  EXPECT_TRUE(Eventually([&] { return link.Counters().stale >= 2; }));
  EXPECT_EQ(link.Counters().completed, 0U);
  EXPECT_EQ(link.Counters().failed, 0U);
  // From now on frames bear the tag.
  EXPECT_TRUE(next.camera->SetGain(9, false));
  EXPECT_TRUE(Eventually([&] { return link.Counters().completed >= 1; }));
  link.StopStream();
  EXPECT_TRUE(link.Counters().IdentityHolds());
}

TYPED_TEST(AbandonedCamera, FlashIsNotTouchedWhileAStreamRuns) {
  this->Plug();
  const NamedCamera next = this->OpenNext();
  ASSERT_NE(next.camera, nullptr);
  ASSERT_EQ(next.camera->StartCapture(false), 1);
  this->ExpectItsOwnFrame(*next.camera);
  this->device->ClearRequests();
  std::array<unsigned char, 16> page{};
  EXPECT_FALSE(next.camera->ReadSPI(page.data(), 0, 16));
  EXPECT_FALSE(next.camera->WriteSPI(page.data(), 0, 16));
  for (const LoggedRequest& request : this->device->Requests()) {
    EXPECT_NE(request.setup.request, wire::kReqGpifBusWidth);
    EXPECT_NE(request.setup.request, wire::kReqFlashErase);
  }
  this->ExpectItsOwnFrame(*next.camera);
  next.camera->StopCapture();
  EXPECT_TRUE(next.camera->ReadSPI(page.data(), 0, 16));
}

}  // namespace
}  // namespace orq::test
