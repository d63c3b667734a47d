// What a camera object and its settings file keep when the camera is pulled out, and when there is none.
#include "OpenLink.h"
#include "session/CameraList.h"
#include "settings/XmlStore.h"
#include "unit/support/TempDirectory.h"

namespace orq::test {
namespace {

constexpr int kWidth = 1936;
constexpr int kHeight = 1096;

template <typename Door>
class KeptSettings : public ::testing::Test {
 protected:
  KeptSettings() {
    SetXmlDirectory(directory.Path());
    EnableXmlStore(true);
    number = door.Attach(device = MakeCamera(Untimed(), kWidth, kHeight));
  }
  ~KeptSettings() override {
    EnableXmlStore(false);
    SetXmlDirectory({});
  }

  std::unique_ptr<CModelCamera> Make() {
    NamedCamera named = orq::MakeCamera("0", [this] { return door.MakePort(); });
    EXPECT_NE(named.camera, nullptr) << named.error;
    return std::move(named.camera);
  }
  static void StartVideo(CModelCamera& camera) {
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(camera.FrameBytes()));
    FrameInfo info;
    ASSERT_EQ(camera.StartCapture(false), 1);
    ASSERT_EQ(camera.GetFrame(frame.data(), static_cast<int>(frame.size()), kPatienceMs, info), 1)
        << camera.CaptureTrouble();
  }
  void PullOut(const CModelCamera& camera) {
    door.Unplug(number);
    while (camera.IsCaptureRunning()) std::this_thread::yield();
    EXPECT_EQ(camera.expStatus, ExpFailed);
  }
  std::uint64_t ExposureOfTheDevice() const {
    std::uint64_t us = 0;
    for (int i = 4; i >= 0; --i)
      us = us << 8 | device->FpgaRegister(static_cast<std::uint16_t>(wire::kFpgaExposure + i));
    return us;
  }

  TempDirectory directory;
  Door door;
  std::shared_ptr<VirtualCamera> device;
  std::size_t number = 0;
};
TYPED_TEST_SUITE(KeptSettings, BothDoors, DoorNames);

// Within one open a set that failed counts as done: repeating it does not disturb the camera. Opening begins anew.
TYPED_TEST(KeptSettings, AnExposureThatCouldNotBeSetIsSetAfterTheCameraIsOpenAgain) {
  constexpr long kWanted = 5'000'000;
  const auto camera = this->Make();
  ASSERT_EQ(camera->OpenCamera(0), 1);
  for (const bool reconnects : {true, false}) {
    ASSERT_EQ(camera->SetControlValue(ORQ_EXPOSURE, 20'000, false), CTRL_OK);
    this->door.Unplug(this->number);
    EXPECT_EQ(camera->SetControlValue(ORQ_EXPOSURE, kWanted, false), CTRL_SET_FAILED);
    EXPECT_EQ(camera->SetControlValue(ORQ_EXPOSURE, kWanted, false), CTRL_OK);
    this->door.Replug(this->number);
    if (!reconnects) camera->CloseCamera();
    ASSERT_EQ(reconnects ? camera->ReConnectCamera() : camera->OpenCamera(0), 1) << camera->LinkError();
    EXPECT_EQ(this->ExposureOfTheDevice(), 20'000U);
    EXPECT_EQ(camera->SetControlValue(ORQ_EXPOSURE, kWanted, false), CTRL_OK);
    EXPECT_EQ(camera->exposureUs, static_cast<std::uint64_t>(kWanted));
    EXPECT_EQ(this->ExposureOfTheDevice(), static_cast<std::uint64_t>(kWanted));
  }
}

TYPED_TEST(KeptSettings, AfterTwoFailedReopensThereIsNoHandleAndOpeningGoesOn) {
  const auto camera = this->Make();
  ASSERT_EQ(camera->OpenCamera(0), 1);
  this->door.Unplug(this->number);
  EXPECT_EQ(camera->ReConnectCamera(), 0);
  EXPECT_EQ(camera->usbHandle, nullptr);
  EXPECT_EQ(camera->bOpened, 0);
  this->door.Replug(this->number);
  EXPECT_EQ(camera->ReConnectCamera(), 0) << "there is no handle";
  ASSERT_EQ(camera->OpenCamera(0), 1) << camera->LinkError();
  EXPECT_EQ(camera->ReConnectCamera(), 1) << camera->LinkError();
  this->StartVideo(*camera);
}

TYPED_TEST(KeptSettings, OfAVideoThatDiedByAnUnplugAreThereInTheNextRun) {
  int gain = 10;
  for (const bool stops : {true, false}) {
    for (const bool closes : {true, false}) {
      auto camera = this->Make();
      ASSERT_EQ(camera->OpenCamera(0), 1);
      ASSERT_NO_FATAL_FAILURE(this->StartVideo(*camera));
      ASSERT_EQ(camera->SetControlValue(ORQ_GAIN, ++gain, false), CTRL_OK);
      ASSERT_NO_FATAL_FAILURE(this->PullOut(*camera));
      if (stops) EXPECT_EQ(camera->StopCapture(), 1);
      if (closes) camera->CloseCamera();
      camera.reset();
      this->door.Replug(this->number);
      EXPECT_EQ(this->Make()->gain, gain) << (stops ? "stopped" : "not stopped") << (closes ? ", closed" : "");
    }
  }
}

TYPED_TEST(KeptSettings, OfAVideoThatDiedAreThereWhenReopeningFailedToo) {
  auto camera = this->Make();
  ASSERT_EQ(camera->OpenCamera(0), 1);
  ASSERT_NO_FATAL_FAILURE(this->StartVideo(*camera));
  ASSERT_EQ(camera->SetControlValue(ORQ_GAIN, 17, false), CTRL_OK);
  ASSERT_NO_FATAL_FAILURE(this->PullOut(*camera));
  EXPECT_EQ(camera->ReConnectCamera(), 0);
  camera.reset();
  this->door.Replug(this->number);
  EXPECT_EQ(this->Make()->gain, 17);
}

TYPED_TEST(KeptSettings, WhatIsChangedAfterAVideoWasStoppedIsNotKeptByClosing) {
  auto camera = this->Make();
  ASSERT_EQ(camera->OpenCamera(0), 1);
  ASSERT_NO_FATAL_FAILURE(this->StartVideo(*camera));
  ASSERT_EQ(camera->SetControlValue(ORQ_GAIN, 21, false), CTRL_OK);
  EXPECT_EQ(camera->StopCapture(), 1);
  ASSERT_EQ(camera->SetControlValue(ORQ_GAIN, 22, false), CTRL_OK);
  camera.reset();
  EXPECT_EQ(this->Make()->gain, 21);
}

TYPED_TEST(KeptSettings, OfARealCameraAndOfItsVirtualTwinAreApart) {
  const auto rehearsal = [] { return orq::MakeCamera("virtual:k1c,timescale=0"); };
  const auto keep = [](CModelCamera& camera, int gain, const char* dark) {
    camera.gain = gain;
    camera.HPC = gain % 2 != 0;
    std::snprintf(camera.BMPPATH.data(), camera.BMPPATH.size(), "%s", dark);
    camera.SaveSetting();
  };
  keep(*this->Make(), 41, "/real.bmp");
  {
    const NamedCamera twin = rehearsal();
    ASSERT_NE(twin.camera, nullptr) << twin.error;
    EXPECT_EQ(twin.camera->gain, 0) << "from its defaults";
    keep(*twin.camera, 8, "/rehearsed.bmp");
  }
  const auto real = this->Make();
  EXPECT_EQ(real->gain, 41);
  EXPECT_EQ(real->HPC, 1);
  EXPECT_STREQ(real->BMPPATH.data(), "/real.bmp");
  const NamedCamera twin = rehearsal();
  EXPECT_EQ(twin.camera->gain, 8);
  EXPECT_STREQ(twin.camera->BMPPATH.data(), "/rehearsed.bmp");
}

TEST(KeptSettingsNames, EveryVirtualModelHasAPlaceOfItsOwn) {
  for (const ModelData& model : AllModels()) {
    if (model.maxWidth == 0) continue;  // wants a recording
    const NamedCamera twin = orq::MakeCamera("virtual:" + std::string(model.key));
    ASSERT_NE(twin.camera, nullptr) << twin.error;
    EXPECT_EQ(twin.camera->settingsName, "virtual " + std::string(model.name));
    EXPECT_EQ(CModelCamera(model).settingsName, model.name);
  }
}

}  // namespace
}  // namespace orq::test
