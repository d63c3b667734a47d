// A whole camera, of every model, that is pulled out in the middle of what it does: that ends with a word, and
// once it is plugged in again the next frame is right.
#include <array>
#include <optional>
#include <string>
#include <thread>

#include "OpenLink.h"
#include "models/camera/ModelCamera.h"
#include "models/flash/FlashBackup.h"
#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

constexpr int kSide = 64;  ///< of the camera object's buffers; the sensor is whole

template <typename Door>
class LostCamera : public ::testing::Test {
 protected:
  /// The only one that is plugged in.
  void Plug(const char* key) {
    if (number) door.Unplug(*number);
    VirtualOptions options;
    options.model = key;
    options.timeScale = 0.05;
    std::string error;
    device = VirtualCamera::Make(options, error);
    ASSERT_NE(device, nullptr) << error;
    number = door.Attach(device);
    ModelData model = *FindModel(key);
    model.maxWidth = model.maxHeight = kSide;
    model.timeScale = options.timeScale;
    camera = std::make_unique<CModelCamera>(model);
    camera->UsePort(door.MakePort());
  }
  void PlugAndOpen(const char* key) {
    Plug(key);
    ASSERT_EQ(camera->OpenCamera(0), 1) << camera->LinkError();
  }
  void Unplug() { door.Unplug(*number); }

  void ExpectLost() {
    EXPECT_FALSE(camera->GetFirmwareVer(nullptr));
    EXPECT_TRUE(camera->DeviceLost());
    EXPECT_EQ(camera->Counters().inFlight, 0U);
    EXPECT_TRUE(camera->Counters().IdentityHolds());
  }
  void ExpectRightAfterAReplug() {
    camera->CloseCamera();
    door.Replug(*number);
    ASSERT_EQ(camera->OpenCamera(0), 1) << camera->LinkError();
    ASSERT_TRUE(camera->SetExp(2000, false));
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(camera->FrameBytes()));
    FrameInfo info;
    ASSERT_EQ(camera->StartCapture(true), 1) << camera->LinkError();
    ASSERT_EQ(camera->GetFrame(frame.data(), static_cast<int>(frame.size()), kPatienceMs, info), 1)
        << camera->CaptureTrouble();
    EXPECT_EQ(info.exposureUs, camera->exposureUs);
    EXPECT_FALSE(device->SentPayload(info.sequence).empty());
    camera->StopCapture();
    EXPECT_TRUE(camera->Counters().IdentityHolds());
    camera->CloseCamera();
  }

  Door door;
  std::optional<std::size_t> number;
  std::shared_ptr<VirtualCamera> device;
  std::unique_ptr<CModelCamera> camera;
};
TYPED_TEST_SUITE(LostCamera, BothDoors, DoorNames);

TYPED_TEST(LostCamera, AtAnyMomentOfItsOpening) {
  for (const char* key : CameraKeys()) {
    SCOPED_TRACE(key);
    ASSERT_NO_FATAL_FAILURE(this->PlugAndOpen(key));
    const std::size_t requests = this->device->Requests().size();
    this->camera->CloseCamera();
    for (const std::size_t part : {0U, 1U, 2U}) {
      this->device->ClearRequests();
      std::thread hand([&] {
        Eventually([&] { return this->device->Requests().size() >= requests * part / 3; });
        this->Unplug();
      });
      const bool opened = this->camera->OpenCamera(0) == 1;  // it may have been quicker
      hand.join();
      EXPECT_EQ(this->camera->bOpened != 0, opened);
      EXPECT_FALSE(this->camera->GetFirmwareVer(nullptr));
      ASSERT_NO_FATAL_FAILURE(this->ExpectRightAfterAReplug()) << "part " << part;
    }
  }
}

TYPED_TEST(LostCamera, WhileItExposes) {
  for (const char* key : CameraKeys()) {
    SCOPED_TRACE(key);
    ASSERT_NO_FATAL_FAILURE(this->PlugAndOpen(key));
    ASSERT_TRUE(this->camera->SetExp(2'000'000'000, false));  // 100 s here: longer than any patience
    ASSERT_EQ(this->camera->StartCapture(true), 1) << this->camera->LinkError();
    ASSERT_TRUE(Eventually([&] { return this->camera->StreamAlive(); }));
    this->Unplug();
    EXPECT_TRUE(Eventually([&] { return !this->camera->IsCapturing(); }));
    EXPECT_FALSE(this->camera->CaptureTrouble().empty());
    this->camera->StopCapture();
    this->ExpectLost();
    EXPECT_EQ(this->camera->Counters().completed, 0U);
    ASSERT_NO_FATAL_FAILURE(this->ExpectRightAfterAReplug());
  }
}

TYPED_TEST(LostCamera, WhileItsFlashIsRead) {
  for (const char* key : CameraKeys()) {
    SCOPED_TRACE(key);
    ASSERT_NO_FATAL_FAILURE(this->PlugAndOpen(key));
    FlashImage image;
    const FlashOutcome outcome = ReadFlashImage(*this->camera, image, [&](const FlashProgress& progress) {
      if (progress.done >= kFlashChunkBytes && !this->camera->DeviceLost()) this->Unplug();
      return true;
    });
    EXPECT_EQ(outcome.result, FlashResult::CameraFailed) << outcome.reason;
    EXPECT_FALSE(outcome.reason.empty());
    EXPECT_TRUE(image.bytes.empty()) << "nothing half read";
    this->ExpectLost();
    ASSERT_NO_FATAL_FAILURE(this->ExpectRightAfterAReplug());
  }
}

TYPED_TEST(LostCamera, WhileItsFlashIsWritten) {
  for (const char* key : CameraKeys()) {
    SCOPED_TRACE(key);
    ASSERT_NO_FATAL_FAILURE(this->PlugAndOpen(key));
    const auto goOn = [](const FlashProgress&) { return true; };
    FlashImage before;
    ASSERT_TRUE(ReadFlashImage(*this->camera, before, goOn).Done());
    FlashImage wanted = before;
    for (std::uint8_t& byte : wanted.bytes) byte = static_cast<std::uint8_t>(byte ^ 0x5AU);
    const FlashOutcome outcome = RestoreFlashImage(*this->camera, wanted, [&](const FlashProgress& progress) {
      if (progress.done >= kFlashSectorBytes && !this->camera->DeviceLost()) this->Unplug();
      return true;
    });
    EXPECT_EQ(outcome.result, FlashResult::CameraFailed) << outcome.reason;
    this->ExpectLost();
    ASSERT_NO_FATAL_FAILURE(this->ExpectRightAfterAReplug());
    // Its flash has what was written until then, and can be put right.
    ASSERT_EQ(this->camera->OpenCamera(0), 1) << this->camera->LinkError();
    EXPECT_EQ(CompareFlashImage(*this->camera, before, goOn).result, FlashResult::Differs);
    EXPECT_TRUE(RestoreFlashImage(*this->camera, before, goOn).Done());
    EXPECT_TRUE(CompareFlashImage(*this->camera, before, goOn).Done());
    this->camera->CloseCamera();
  }
}

TYPED_TEST(LostCamera, WhileItGuides) {
  for (const char* key : CameraKeys([](const ModelData& model) { return model.guidePort; })) {
    SCOPED_TRACE(key);
    ASSERT_NO_FATAL_FAILURE(this->PlugAndOpen(key));
    ASSERT_TRUE(this->camera->PulseGuideOn(GUIDE_NORTH));
    ASSERT_NE(this->device->Readings().guideLines, (std::array<bool, 4>{}));
    this->Unplug();
    this->camera->PulseGuideOff(GUIDE_NORTH);
    this->ExpectLost();
    EXPECT_EQ(this->device->Readings().guideLines, (std::array<bool, 4>{})) << "it has no power";
    ASSERT_NO_FATAL_FAILURE(this->ExpectRightAfterAReplug());
  }
}

TYPED_TEST(LostCamera, WhileItCools) {
  for (const char* key : CooledCameraKeys()) {
    SCOPED_TRACE(key);
    ASSERT_NO_FATAL_FAILURE(this->PlugAndOpen(key));
    ASSERT_EQ(this->camera->SetControlValue(ORQ_TARGET_TEMP, -20, false), CTRL_OK);
    ASSERT_EQ(this->camera->SetControlValue(ORQ_COOLER_ON, 1, false), CTRL_OK);
    ASSERT_TRUE(Eventually([&] { return this->device->Readings().coolerDrive > 0; }));
    this->Unplug();
    EXPECT_TRUE(Eventually([&] { return !this->camera->CoolerTrouble().empty(); }));
    this->ExpectLost();
    ASSERT_NO_FATAL_FAILURE(this->ExpectRightAfterAReplug());
    EXPECT_EQ(this->device->Readings().coolerDrive, 0) << "it has lost its power";
  }
}

}  // namespace
}  // namespace orq::test
