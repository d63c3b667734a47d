// When settings are saved and loaded: the base's rules on a scripted port, a model's life on a virtual camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>

#include "SettingsFixture.h"
#include "models/camera/OwnSettings.h"
#include "session/CameraList.h"
#include "support/CollectedText.h"
#include "support/LogText.h"
#include "support/RecordingCamera.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

using testing::HasSubstr;

void UntilStopped(bool* running, void*) {
  while (ThreadCtrl::KeepRunning(running)) std::this_thread::yield();
}

class WhenSaved : public SettingsTest {
 protected:
  WhenSaved() {
    camera.settingsName = "Model";
    camera.captureThr.InitFuncPt(UntilStopped);
    camera.exposureThr.InitFuncPt(UntilStopped);
  }
  ~WhenSaved() override { camera.CloseCamera(); }

  bool Saved() { return std::filesystem::exists(File()); }

  RecordingCamera camera;
};

TEST_F(WhenSaved, StoppingAVideoSavesBeforeTheWorkersAreStopped) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  ASSERT_EQ(camera.StartCapture(false), 1);
  EXPECT_FALSE(Saved());
  LogText log;
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_TRUE(log.Text().starts_with(Line("SaveSetting", "save REG\n") + Line("StopCapture", "stop capture\n")));
  EXPECT_TRUE(Saved());
}

TEST_F(WhenSaved, StoppingAVideoInATriggerModeSavesToo) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.camMode = 2;
  ASSERT_EQ(camera.StartCapture(false), 1);
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_TRUE(Saved());
}

TEST_F(WhenSaved, StoppingASingleExposureSavesNothing) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  ASSERT_EQ(camera.StartExposure(), 1);
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_FALSE(Saved());
}

TEST_F(WhenSaved, StoppingNothingSavesNothing) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  LogText log;
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_EQ(log.Text(), "");
  EXPECT_FALSE(Saved());
}

TEST_F(WhenSaved, StoppingAClosedCameraSavesNothing) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  ASSERT_EQ(camera.StartCapture(false), 1);
  camera.bOpened = 0;
  EXPECT_EQ(camera.StopCapture(), 0);
  EXPECT_FALSE(Saved());
  camera.bOpened = 1;
}

TEST_F(WhenSaved, ClosingAfterSingleExposuresSavesBeforeTheCaptureIsStopped) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  ASSERT_EQ(camera.StartExposure(), 1);
  LogText log;
  camera.CloseCamera();
  const std::string text = log.Text();
  EXPECT_TRUE(text.starts_with(Line("SaveSetting", "save REG\n") + Line("StopCapture", "stop capture\n")));
  EXPECT_EQ(text.find("save REG"), text.rfind("save REG"));
  EXPECT_TRUE(Saved());
}

TEST_F(WhenSaved, ClosingARunningVideoSavesOnce) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  ASSERT_EQ(camera.StartCapture(false), 1);
  LogText log;
  camera.CloseCamera();
  const std::string text = log.Text();
  EXPECT_THAT(text, HasSubstr("save REG"));
  EXPECT_EQ(text.find("save REG"), text.rfind("save REG"));
}

TEST_F(WhenSaved, ClosingWithoutACaptureSavesNothing) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.CloseCamera();
  EXPECT_FALSE(Saved());
}

TEST_F(WhenSaved, ClosingAfterAVideoThatWasStoppedSavesNothingMore) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  ASSERT_EQ(camera.StartCapture(false), 1);
  camera.StopCapture();
  LogText log;
  camera.CloseCamera();
  EXPECT_EQ(log.Text().find("save REG"), std::string::npos);
}

TEST_F(WhenSaved, ClosingAClosedCameraSavesNothing) {
  camera.snapMode = 1;
  camera.CloseCamera();
  EXPECT_FALSE(Saved());
}

TEST_F(WhenSaved, OpeningDoesNotLoad) {
  WriteValues("<int name='Gain' value='77'/>");
  ASSERT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(camera.gain, 0);
}

void OnUsb2(VirtualOptions& options) {
  options.usb3 = false;
}

class ModelSettings : public SettingsTest {
 protected:
  static int Register(const VirtualRig& rig, unsigned short address) {
    unsigned char value = 0;
    EXPECT_TRUE(rig.camera->ReadFPGAREG(address, &value));
    return value;
  }
  /// A file with values for the K1C.
  void WriteK1C(const std::string& elements) const {
    WriteText("<orqcam><key name='software'><key name='" + std::string(FindModel("k1c")->name) + "'>" + elements +
              "</key></key></orqcam>");
  }
  /// Sets, captures as told, and closes.
  static void Use(const VirtualRig& rig, bool snap, int bandwidth) {
    ASSERT_TRUE(rig.Open());
    EXPECT_TRUE(rig.camera->SetGain(33, true));
    EXPECT_TRUE(rig.camera->SetBrightness(44));
    EXPECT_TRUE(rig.camera->SetExp(5000, false));
    EXPECT_TRUE(rig.camera->SetWB(21, 87, false));
    EXPECT_TRUE(rig.camera->SetFPSPerc(bandwidth, false));
    EXPECT_EQ(rig.camera->SetControlValue(ORQ_FLIP, 2, false), CTRL_OK);
    ASSERT_EQ(rig.camera->StartCapture(snap), 1);
    EXPECT_TRUE(rig.Fetch());
    rig.camera->CloseCamera();
  }
  static void ExpectUsed(const CModelCamera& camera) {
    EXPECT_EQ(camera.gain, 33);
    EXPECT_EQ(camera.AutoGain, 1);
    EXPECT_EQ(camera.Brightness, 44);
    EXPECT_EQ(camera.exposureUs, 5000U);
    EXPECT_EQ(camera.WB_Red, 21);
    EXPECT_EQ(camera.WB_Blue, 87);
    EXPECT_EQ(camera.FlipRow, 0);
    EXPECT_EQ(camera.FlipColumn, 1);
  }
};

TEST_F(ModelSettings, SurviveClosingAfterAVideo) {
  Use(VirtualRig("k1c"), false, 61);
  const VirtualRig again("k1c");
  ExpectUsed(*again.camera);
  ASSERT_TRUE(again.Open());
  ExpectUsed(*again.camera);
  EXPECT_EQ(again.camera->bandwidthPerc, 61);
}

TEST_F(ModelSettings, SurviveClosingAfterASingleExposure) {
  Use(VirtualRig("k1c"), true, 61);
  ExpectUsed(*VirtualRig("k1c").camera);
}

TEST_F(ModelSettings, SurviveReopeningTheSameObject) {
  const VirtualRig rig("k1c");
  Use(rig, true, 61);
  ASSERT_TRUE(rig.Open());
  ExpectUsed(*rig.camera);
}

TEST_F(ModelSettings, EachHostHasABandwidthOfItsOwn) {
  Use(VirtualRig("k1c"), false, 61);
  Use(VirtualRig("k1c", OnUsb2), false, 47);
  const VirtualRig usb3("k1c");
  ASSERT_TRUE(usb3.Open());
  EXPECT_EQ(usb3.camera->bandwidthPerc, 61);
  EXPECT_EQ(Register(usb3, 0x35), 61);
  const VirtualRig usb2("k1c", OnUsb2);
  ASSERT_TRUE(usb2.Open());
  EXPECT_EQ(usb2.camera->bandwidthPerc, 47);
  EXPECT_EQ(Register(usb2, 0x35), 47);
}

TEST_F(ModelSettings, AreProgrammedWhenTheCameraIsOpened) {
  WriteK1C(
      "<int name='Exposure' value='70000'/><int name='Gain' value='33'/><int name='FPSPercentageUSB3' "
      "value='58'/>");
  const VirtualRig rig("k1c");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Register(rig, 0x30) + Register(rig, 0x31) * 256 + Register(rig, 0x32) * 65536, 70'000);
  EXPECT_EQ(Register(rig, 0x35), 58);
  unsigned char gain = 0;
  EXPECT_TRUE(rig.camera->ReadSONYREG(0x0204, &gain));
  EXPECT_EQ(gain, 33);
  EXPECT_EQ(rig.camera->expReg, 70'000'000 / 13'500);
}

TEST_F(ModelSettings, BelongToTheModel) {
  Use(VirtualRig("k1c"), true, 61);
  const VirtualRig other("x26m");
  EXPECT_EQ(other.camera->gain, 0);
  EXPECT_EQ(other.camera->Brightness, 130);
}

TEST_F(ModelSettings, ValuesBeyondTheModelsLimitsAreBroughtWithinThem) {
  const auto value = [](const char* name, const char* number) {
    return "<int name='" + std::string(name) + "' value='" + number + "'/>";
  };
  for (const bool high : {true, false}) {
    const char* number = high ? "999999999" : "-999999999";
    std::string elements;
    for (const char* name :
         {"Gain", "Brightness", "FPSPercentageUSB3", "FPSPercentageUSB2", "WB_Red", "WB_Blue", "OverCLKPerc",
          "Pattern", "TargetTemp", "AutoGainMax", "AutoExpMaxMs", "DestBrightness"})
      elements += value(name, number);
    WriteK1C(elements + value("Exposure", high ? "999999999" : "0") + "<byte name='LibusbLogLever' value='99'/>");
    const VirtualRig rig("k1c");
    const CModelCamera& camera = *rig.camera;
    EXPECT_EQ(camera.gain, high ? 100 : 0);
    EXPECT_EQ(camera.Brightness, high ? 240 : 0);
    EXPECT_EQ(camera.usb3Bandwidth, high ? 100 : 40);
    EXPECT_EQ(camera.bandwidthPerc, high ? 100 : 40);
    EXPECT_EQ(camera.WB_Red, high ? 99 : 1);
    EXPECT_EQ(camera.WB_Blue, high ? 99 : 1);
    EXPECT_EQ(camera.OverCLKPerc, high ? 30 : 0);
    EXPECT_EQ(camera.Pattern, 0);
    EXPECT_EQ(camera.TargetTemp, high ? 30 : -40);
    EXPECT_EQ(camera.AutoGainMax, high ? 100 : 0);
    EXPECT_EQ(camera.AutoExpMaxMs, high ? 60'000 : 1);
    EXPECT_EQ(camera.DestBrightness, high ? 160 : 50);
    EXPECT_EQ(camera.exposureUs, high ? 100'000U : 32U);
    EXPECT_EQ(camera.LibusbLogLever, 4);
    EXPECT_TRUE(rig.Open());
  }
}

TEST_F(ModelSettings, FlagsAreOnOrOff) {
  WriteK1C(
      "<byte name='AutoGain' value='7'/><byte name='FlipRow' value='200'/><byte name='FlipColumn' value='0'/>");
  const VirtualRig rig("k1c");
  EXPECT_EQ(rig.camera->AutoGain, 1);
  EXPECT_EQ(rig.camera->FlipRow, 1);
  EXPECT_EQ(rig.camera->FlipColumn, 0);
}

TEST_F(ModelSettings, HardwareBinningIsForThoseThatHaveIt) {
  const std::string on = "<byte name='HardwareBin' value='1'/>";
  WriteK1C(on);
  EXPECT_EQ(VirtualRig("k1c").camera->HardwareBin, 0);
  WriteText("<orqcam><key name='software'><key name='" + std::string(FindModel("x26m")->name) + "'>" + on +
            "</key></key></orqcam>");
  const VirtualRig rig("x26m");
  EXPECT_EQ(rig.camera->HardwareBin, 1);
  ASSERT_TRUE(rig.Open());
  FrameRegion region = rig.camera->Region();
  region.bin = 2;
  region.width /= 2;
  region.height /= 2;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion(region, region, reason)) << reason;
  EXPECT_TRUE(rig.camera->IsHardBinRun());
}

TEST_F(ModelSettings, ARegionSetBeforeOpeningStays) {
  const VirtualRig rig("k1c");
  FrameRegion region = rig.camera->Region();
  region.width = 64;
  region.height = 32;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion(region, region, reason)) << reason;
  rig.camera->SetGain(12, false);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->Region().width, 64);
  EXPECT_EQ(rig.camera->iHeight, 32);
  EXPECT_EQ(rig.camera->gain, 12);
}

TEST_F(ModelSettings, WhatWasSetSurvivesAReconnect) {
  const VirtualRig rig("k1c");
  ASSERT_TRUE(rig.Open());
  WriteK1C("<int name='Gain' value='5'/>");
  rig.camera->SetGain(77, false);
  rig.camera->SetExp(3'000'000, false);
  ASSERT_EQ(rig.camera->ReConnectCamera(), 1);
  EXPECT_EQ(rig.camera->gain, 77);
  EXPECT_EQ(rig.camera->exposureUs, 3'000'000U);
}

/// An 8-bit greyscale BMP file of 128 x 128 pixels: header fields by hand, every pixel 9.
std::string DarkBmp() {
  const auto little = [](std::uint32_t value) {
    return std::string{static_cast<char>(value), static_cast<char>(value >> 8U), static_cast<char>(value >> 16U),
                       static_cast<char>(value >> 24U)};
  };
  return "BM" + little(128 * 128 + 1078) + little(0) + little(1078) + little(40) + little(128) + little(128) +
         std::string("\1\0\10\0", 4) + little(0) + little(128 * 128) + little(0) + little(0) + little(256) +
         little(0) + std::string(1024, '\0') + std::string(128UL * 128, '\t');
}

TEST_F(ModelSettings, ADarkReferenceIsLoadedAgain) {
  const auto dark = directory / "dark.bmp";
  std::ofstream(dark, std::ios::binary) << DarkBmp();
  WriteK1C("<byte name='CutDark' value='1'/><text name='BMPPATH' value='" + dark.string() + "'/>");
  testing::internal::CaptureStdout();
  const VirtualRig rig("k1c");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "bmpheader size=14\nbmpinfo size=40\n");
  EXPECT_EQ(rig.camera->CutDark, 1);
  ASSERT_NE(rig.camera->pDarkFull, nullptr);
  EXPECT_EQ(rig.camera->pDarkFull[0], 9);
  EXPECT_EQ(rig.camera->pDarkFull[128 * 128 - 1], 9);
  EXPECT_EQ(std::string(rig.camera->BMPPATH.data()), dark.string());
  EXPECT_TRUE(rig.Open());
}

TEST_F(ModelSettings, NothingOfAWholeLifeWithAKeptDarkPassesTheTextSink) {
  const auto dark = directory / "dark.bmp";
  std::ofstream(dark, std::ios::binary) << DarkBmp();
  WriteK1C("<byte name='CutDark' value='1'/><text name='BMPPATH' value='" + dark.string() + "'/>");
  CollectedText text;
  g_bDebugPrint = true;
  {
    const VirtualRig rig("k1c");
    ASSERT_TRUE(rig.Open());
    FrameInfo info;
    EXPECT_FALSE(rig.Snap(info).empty());
    EXPECT_TRUE(rig.camera->SaveBMPToFile((directory / "saved.bmp").c_str()));
    EXPECT_EQ(rig.camera->LoadBMPFromFile((directory / "saved.bmp").c_str()), 1);
    rig.camera->CloseCamera();
  }
  g_bDebugPrint = false;
  EXPECT_EQ(text.Release(), "");
  const std::string sizes = "bmpheader size=14\nbmpinfo size=40\n";
  EXPECT_EQ(text.Output(), sizes + sizes);
  EXPECT_THAT(text.Error(), HasSubstr(" OpenCamera]: open camera success\n"));
  EXPECT_THAT(text.Error(), HasSubstr("saved.bmp --> succeed!\n"));
}

TEST_F(ModelSettings, LoadingADarkReferenceLaterSetsTheWholeSensor) {
  const VirtualRig rig("k1c");
  FrameRegion region = rig.camera->Region();
  region.width = 64;
  region.height = 32;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion(region, region, reason)) << reason;
  WriteK1C("<byte name='CutDark' value='1'/>");
  rig.camera->LoadSetting();
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->Region().width, 128);
  EXPECT_EQ(rig.camera->Region().height, 128);
  EXPECT_EQ(rig.camera->Region().bin, 1);
}

TEST_F(ModelSettings, AHotPixelTableThatIsNotThereIsSwitchedOff) {
  WriteK1C("<byte name='HPC' value='1'/>");
  const VirtualRig rig("k1c");
  EXPECT_EQ(rig.camera->HPC, 1);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->HPC, 0);
}

TEST_F(ModelSettings, AreLeftAloneWhenSwitchedOff) {
  WriteK1C("<int name='Gain' value='5'/>");
  const std::string before = Text();
  EnableXmlStore(false);
  Use(VirtualRig("k1c"), false, 61);
  EXPECT_EQ(VirtualRig("k1c").camera->gain, 0);
  EXPECT_EQ(Text(), before);
}

TEST_F(ModelSettings, AreNotKeptByACameraThatOnlyLoadsThem) {
  WriteK1C("<int name='Gain' value='5'/>");
  const std::string before = Text();
  for (const bool snap : {false, true}) {
    for (const SettingsUse use : {SettingsUse::Load, SettingsUse::Off}) {
      VirtualRig rig("k1c");
      rig.camera = std::make_unique<CModelCamera>(*FindModel("k1c"), use);
      rig.camera->UsePort(MakeVirtualPort(rig.bus));
      EXPECT_EQ(rig.camera->gain, use == SettingsUse::Load ? 5 : 0);
      Use(rig, snap, 61);
      EXPECT_EQ(Text(), before);
      EXPECT_EQ(rig.camera->SaveSetting(), 1) << "who asks for it is served";
      EXPECT_NE(Text(), before);
      WriteK1C("<int name='Gain' value='5'/>");
    }
  }
}

TEST_F(ModelSettings, OfOneCameraAreNotThoseOfAnother) {
  WriteText("<orqcam><key name='software'><key name='" + MakeCamera("virtual:k1c").camera->settingsName +
            "'><int name='Gain' value='5'/></key></key></orqcam>");
  EXPECT_EQ(MakeCamera("virtual:k1c").camera->gain, 5);
  EXPECT_EQ(MakeCamera("virtual:k1c", SettingsUse::Load).camera->gain, 5);
  EXPECT_EQ(MakeCamera("virtual:k1c", SettingsUse::Off).camera->gain, 0);
  EXPECT_EQ(MakeCamera("virtual:k1c").camera->settingsUse, SettingsUse::LoadAndKeep);
}

TEST_F(ModelSettings, OwnOnesAreKeptWhenAskedFor) {
  const VirtualRig rig("k1c");
  rig.camera->SetGamma(80);
  rig.camera->SetMonoBin(true);
  KeepOwnSettings(*rig.camera);
  const VirtualRig again("k1c");
  EXPECT_EQ(again.camera->GetGamma(), 50) << "the core does not know of them";
  LoadOwnSettings(*again.camera);
  EXPECT_EQ(again.camera->GetGamma(), 80);
  EXPECT_TRUE(again.camera->GetMonoBin());
  const VirtualRig other("t46c");
  LoadOwnSettings(*other.camera);
  EXPECT_EQ(other.camera->GetGamma(), 50);
}

TEST_F(ModelSettings, OwnOnesThatCannotBeAreBroughtWithinTheLimitsOrLeftOut) {
  for (const auto& [stored, expected] : {std::pair{"<int name='Gamma' value='-7'/>", 0},
                                         {"<int name='Gamma' value='1000000'/>", 100},
                                         {"<text name='Gamma' value='bright'/>", 50},
                                         {"<byte name='Gamma' value='3'/>", 50}}) {
    WriteK1C(stored);
    const VirtualRig rig("k1c");
    LoadOwnSettings(*rig.camera);
    EXPECT_EQ(rig.camera->GetGamma(), expected) << stored;
  }
}

}  // namespace
}  // namespace orq::test
