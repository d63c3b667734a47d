#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "SettingsFixture.h"
#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace orq::test {
namespace {

class LoadSetting : public SettingsTest {
 protected:
  LoadSetting() {
    camera.settingsName = "Model";
    g_bDebugPrint = false;
  }
  ~LoadSetting() override { g_bDebugPrint = false; }

  /// Loads a file in which software\Model holds these elements.
  void Load(const std::string& elements) {
    WriteValues(elements);
    camera.LoadSetting();
  }

  BareCamera camera;
};

std::string Int(const std::string& name, std::int64_t number) {
  return "<int name='" + name + "' value='" + std::to_string(number) + "'/>";
}
std::string Byte(const std::string& name, int number) {
  return "<byte name='" + name + "' value='" + std::to_string(number) + "'/>";
}
/// Raw bytes: printable text, or "%" and two hexadecimal digits each.
std::string Raw(const std::string& name, const std::string& text) {
  return "<text name='" + name + "' value='" + text + "'/>";
}

TEST_F(LoadSetting, BringsBackWhatWasSaved) {
  BareCamera saved;
  saved.settingsName = "Model";
  saved.usb3Host = 1;
  saved.exposureUs = 54'321;
  saved.gain = 1;
  saved.Brightness = 2;
  saved.Fclk = 3;
  saved.bandwidthPerc = 44;
  saved.coolPowerPerc = 45.9F;
  saved.TargetTemp = -6;
  saved.OverCLKPerc = 7;
  saved.Pattern = 8;
  saved.LibusbLogLever = 9;
  saved.AutoBL = 10;
  saved.OO = 11;
  saved.EE = 12;
  saved.OE = 13;
  saved.EO = 14;
  saved.AutoGainMax = 16;
  saved.AutoExpMaxMs = 17;
  saved.DestBrightness = 18;
  saved.FlipRow = 19;
  saved.FlipColumn = 20;
  saved.WB_Red = 21;
  saved.WB_Blue = 22;
  saved.AutoExp = 23;
  saved.AutoGain = 24;
  saved.AutoFPS = 25;
  saved.RawOutput = 26;
  saved.HighSpeed = 27;
  saved.autoWB = 28;
  saved.HPC = 29;
  saved.HardwareBin = 30;
  std::strcpy(saved.BMPPATH.data(), "/night/dark.bmp");
  saved.SaveSetting();

  camera.bandwidthPerc = 50;
  camera.LoadSetting();
  EXPECT_EQ(camera.exposureUs, 54'321U);
  EXPECT_EQ(camera.gain, 1);
  EXPECT_EQ(camera.Brightness, 2);
  EXPECT_EQ(camera.Fclk, 3);
  EXPECT_EQ(camera.usb3Bandwidth, 44);
  EXPECT_EQ(camera.bandwidthPerc, 50);  // opening on a USB 3 host takes it from there
  EXPECT_EQ(camera.coolPowerPerc, 45.0F);
  EXPECT_EQ(camera.TargetTemp, -6);
  EXPECT_EQ(camera.OverCLKPerc, 7);
  EXPECT_EQ(camera.Pattern, 8);
  EXPECT_EQ(camera.LibusbLogLever, 9);
  EXPECT_EQ(camera.AutoBL, 10);
  EXPECT_EQ(camera.OO, 11);
  EXPECT_EQ(camera.EE, 12);
  EXPECT_EQ(camera.OE, 13);
  EXPECT_EQ(camera.EO, 14);
  EXPECT_EQ(camera.AutoGainMax, 16);
  EXPECT_EQ(camera.AutoExpMaxMs, 17);
  EXPECT_EQ(camera.DestBrightness, 18);
  EXPECT_EQ(camera.FlipRow, 19);
  EXPECT_EQ(camera.FlipColumn, 20);
  EXPECT_EQ(camera.WB_Red, 21);
  EXPECT_EQ(camera.WB_Blue, 22);
  EXPECT_EQ(camera.AutoExp, 23);
  EXPECT_EQ(camera.AutoGain, 24);
  EXPECT_EQ(camera.AutoFPS, 25);
  EXPECT_EQ(camera.RawOutput, 26);
  EXPECT_EQ(camera.HighSpeed, 27);
  EXPECT_EQ(camera.autoWB, 28);
  EXPECT_EQ(camera.HPC, 29);
  EXPECT_EQ(camera.HardwareBin, 30);
  EXPECT_STREQ(camera.BMPPATH.data(), "/night/dark.bmp");
}

TEST_F(LoadSetting, TakesTheBandwidthOfAUsb2HostAsItIs) {
  Load(Int("FPSPercentageUSB2", 61) + Int("FPSPercentageUSB3", 62));
  EXPECT_EQ(camera.bandwidthPerc, 61);
  EXPECT_EQ(camera.usb3Bandwidth, 62);
}

TEST_F(LoadSetting, LogsThatItIsDone) {
  WriteValues("");
  LogText log;
  camera.LoadSetting();
  EXPECT_EQ(log.Text(), Line("LoadSetting", "LoadSetting\n"));
}

TEST_F(LoadSetting, LeavesEverythingWithoutAFile) {
  camera.exposureUs = 2'000'000;
  camera.coolPowerPerc = 12.5F;
  LogText log;
  camera.LoadSetting();
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.exposureUs, 2'000'000U);  // not capped either
  EXPECT_EQ(camera.coolPowerPerc, 12.5F);
  EXPECT_EQ(camera.AutoExpMaxMs, 30'000);
  EXPECT_TRUE(Names().empty());
}

TEST_F(LoadSetting, LeavesEverythingWithoutItsKey) {
  Store("software\\Another Model", "Gain", 9);
  camera.exposureUs = 2'000'000;
  camera.gain = 3;
  camera.LoadSetting();
  EXPECT_EQ(camera.exposureUs, 2'000'000U);
  EXPECT_EQ(camera.gain, 3);
}

TEST_F(LoadSetting, LeavesFieldsWithoutAValue) {
  camera.gain = 31;
  camera.FlipRow = 1;
  camera.AutoExpMaxMs = 777;
  std::strcpy(camera.BMPPATH.data(), "/old.bmp");
  Load("");
  EXPECT_EQ(camera.gain, 31);
  EXPECT_EQ(camera.FlipRow, 1);
  EXPECT_EQ(camera.AutoExpMaxMs, 777);
  EXPECT_STREQ(camera.BMPPATH.data(), "/old.bmp");
}

TEST_F(LoadSetting, NeverRestoresAnExposureAboveAHundredMilliseconds) {
  for (const auto& [stored, loaded] :
       {std::pair(2'000'000, 100'000U), {100'001, 100'000U}, {100'000, 100'000U}, {99'999, 99'999U}}) {
    camera.exposureUs = 0;
    Load(Int("Exposure", stored));
    EXPECT_EQ(camera.exposureUs, loaded) << stored;
  }
}

TEST_F(LoadSetting, CapsTheExposureAlsoWhenTheFileHasNone) {
  camera.exposureUs = 5'000'000;
  Load(Int("Gain", 1));
  EXPECT_EQ(camera.exposureUs, 100'000U);
}

TEST_F(LoadSetting, ReplacesTheLowHalfOfTheExposureOnly) {
  camera.exposureUs = 0x1'0000'0000U;
  Load(Int("Exposure", 500));
  EXPECT_EQ(camera.exposureUs, 100'000U);  // 0x1'0000'01F4, capped
}

TEST_F(LoadSetting, TakesAnExposureOfEightBytes) {
  Load(Raw("Exposure", "%10%27%00%00%00%00%00%00"));
  EXPECT_EQ(camera.exposureUs, 10'000U);
}

TEST_F(LoadSetting, TakesTheFirstEightBytesOfALongerExposure) {
  Load(Raw("Exposure", "%10%27%00%00%00%00%00%00%FF%FF"));
  EXPECT_EQ(camera.exposureUs, 10'000U);
}

TEST_F(LoadSetting, HasNoCoolingPowerWithoutItsKey) {
  camera.coolPowerPerc = 45.9F;
  Load("");
  EXPECT_EQ(camera.coolPowerPerc, 0.0F);
  Load(Int("CoolPowerPctg", 45));
  EXPECT_EQ(camera.coolPowerPerc, 45.0F);
}

TEST_F(LoadSetting, CountsTheOlderExposureLimitInSeconds) {
  Load(Int("AutoExpMax", 30));
  EXPECT_EQ(camera.AutoExpMaxMs, 30'000);
  Load(Int("AutoExpMax", 2));
  EXPECT_EQ(camera.AutoExpMaxMs, 2000);
}

TEST_F(LoadSetting, PrefersTheNewerExposureLimit) {
  Load(Int("AutoExpMax", 2) + Int("AutoExpMaxMs", 1500));
  EXPECT_EQ(camera.AutoExpMaxMs, 1500);
}

TEST_F(LoadSetting, DoesNotReadTheOlderLimitBesideTheNewer) {
  // An older value of 9 bytes would be the length that the byte values start from if it were read.
  Load(Raw("AutoExpMaxMs", "%01") + Raw("AutoExpMax", "123456789"));
  EXPECT_EQ(camera.AutoExpMaxMs, (30'000 & ~0xFF) + 1);  // a short value replaces the first byte
}

TEST_F(LoadSetting, BoundsAnOlderLimitOfManySeconds) {
  Load(Int("AutoExpMax", 2'147'484));
  EXPECT_EQ(camera.AutoExpMaxMs, 2'147'483'647);
  Load(Int("AutoExpMax", -2'147'484));
  EXPECT_EQ(camera.AutoExpMaxMs, -2'147'483'647 - 1);
}

// One length serves all queries: a short value limits the one after it, whose own length then counts again.
TEST_F(LoadSetting, AShortNumberLimitsTheNextOne) {
  Load(Raw("Exposure", "%10%27") + Int("Gain", 0x01020304) + Int("Brightness", 0x05060708));
  EXPECT_EQ(camera.exposureUs, 10'000U);
  EXPECT_EQ(camera.gain, 0x0304);
  EXPECT_EQ(camera.Brightness, 0x05060708);
}

TEST_F(LoadSetting, AnAbsentNumberPassesTheLengthOn) {
  Load(Int("Gain", 5) + Raw("Brightness", "%07") + Int("WB_Red", 0x01020304) + Int("WB_Blue", 0x01020304));
  EXPECT_EQ(camera.Brightness, 7);
  EXPECT_EQ(camera.WB_Red, 4);
  EXPECT_EQ(camera.WB_Blue, 0x01020304);
}

TEST_F(LoadSetting, AnEmptyNumberHidesTheNextOne) {
  camera.gain = 77;
  camera.Brightness = 88;
  Load(Raw("Gain", "") + Int("Brightness", 5) + Int("Fclk", 6));
  EXPECT_EQ(camera.gain, 77);
  EXPECT_EQ(camera.Brightness, 88);
  EXPECT_EQ(camera.Fclk, 6);
}

TEST_F(LoadSetting, TheCoolersPowerIsLimitedLikeAnyNumber) {
  Load(Int("Gain", 1) + Raw("FPSPercentageUSB2", "%01%00") + Int("CoolPowerPctg", 0x00030002));
  EXPECT_EQ(camera.coolPowerPerc, 2.0F);
}

TEST_F(LoadSetting, NumbersThatAreTooLongStayInTheirFields) {
  camera.Brightness = 0x55555555;
  camera.EO = 0x55;
  Load(Raw("Gain", "%01%00%00%00ABCDEFGHIJKLMNOPQRSTUVWXYZ") + Raw("LibusbLogLever", "%02ABCDEFGH") +
       Raw("OE", "%03ABCDEFGH"));
  EXPECT_EQ(camera.gain, 1);
  EXPECT_EQ(camera.Brightness, 0x55555555);
  EXPECT_EQ(camera.LibusbLogLever, 2);
  EXPECT_EQ(camera.OE, 3);
  EXPECT_EQ(camera.EO, 0x55);
}

TEST_F(LoadSetting, FlagsStartFromALengthOfOne) {
  // Numbers leave another length behind: an empty one 0, so that a flag would not be read.
  Load(Raw("AutoExpMaxMs", "") + Byte("LibusbLogLever", 3) + Byte("AutoBL", 4));
  EXPECT_EQ(camera.LibusbLogLever, 3);
  EXPECT_EQ(camera.AutoBL, 4);
}

TEST_F(LoadSetting, TheSecondFlagStartsFromALengthOfOneAgain) {
  Load(Raw("LibusbLogLever", "") + Byte("AutoBL", 4));
  EXPECT_EQ(camera.AutoBL, 4);
}

TEST_F(LoadSetting, AnEmptyFlagHidesTheNextOneThatIsThere) {
  camera.EE = 5;
  Load(Raw("AutoBL", "") + Byte("EE", 1) + Byte("OE", 1));
  EXPECT_EQ(camera.EE, 5);
  EXPECT_EQ(camera.OE, 1);
}

TEST_F(LoadSetting, FlagsAreReadInTheirOrder) {
  // Each empty value hides the one that is read after it.
  const char* const order[] = {"AutoBL",     "OO",      "EE",          "OE",       "EO",        "FlipRow",
                               "FlipColumn", "AutoFPS", "AutoExp",     "AutoGain", "AutoWB",    "RawOutput",
                               "HighSpeed",  "HPC",     "HardwareBin", "CutDark",  "DebugPrint"};
  Relaxed<std::uint8_t> CCameraBase::*const fields[] = {
      &CCameraBase::AutoBL,    &CCameraBase::OO,       &CCameraBase::EE,          &CCameraBase::OE,
      &CCameraBase::EO,        &CCameraBase::FlipRow,  &CCameraBase::FlipColumn,  &CCameraBase::AutoFPS,
      &CCameraBase::AutoExp,   &CCameraBase::AutoGain, &CCameraBase::autoWB,      &CCameraBase::RawOutput,
      &CCameraBase::HighSpeed, &CCameraBase::HPC,      &CCameraBase::HardwareBin, &CCameraBase::CutDark,
      &CCameraBase::DebugPrint};
  for (std::size_t hiding = 0; hiding + 1 < std::size(order); ++hiding) {
    BareCamera fresh;
    fresh.settingsName = "Model";
    std::string elements;
    for (std::size_t i = 0; i < std::size(order); ++i) {
      if (std::string(order[i]) == "CutDark") continue;  // it does more than being read
      elements += i == hiding ? Raw(order[i], "") : Byte(order[i], 1);
    }
    if (std::string(order[hiding]) == "CutDark") continue;
    WriteValues(elements);
    fresh.LoadSetting();
    g_bDebugPrint = false;
    const std::size_t hidden = std::string(order[hiding + 1]) == "CutDark" ? hiding + 2 : hiding + 1;
    for (std::size_t i = 0; i < std::size(order); ++i) {
      const bool read = i != hiding && i != hidden && std::string(order[i]) != "CutDark";
      EXPECT_EQ(fresh.*fields[i], read ? 1 : 0) << order[i] << " after an empty " << order[hiding];
    }
  }
}

TEST_F(LoadSetting, TheDarkFlagIsReadBetweenHardwareBinningAndTheDebugLog) {
  camera.iBin = 3;
  Load(Raw("HardwareBin", "") + Byte("CutDark", 1));
  EXPECT_EQ(camera.iBin, 3);
  EXPECT_EQ(camera.CutDark, 0);
  Load(Raw("CutDark", "") + Byte("DebugPrint", 1));
  EXPECT_EQ(camera.DebugPrint, 0);
  EXPECT_FALSE(g_bDebugPrint);
}

TEST_F(LoadSetting, TheCoolersPowerIsReadBetweenBandwidthAndTarget) {
  camera.TargetTemp = -1;
  Load(Raw("CoolPowerPctg", "") + Int("TargetTemp", 5));
  EXPECT_EQ(camera.TargetTemp, -1);
  camera.coolPowerPerc = 45.9F;
  Load(Raw("FPSPercentageUSB2", "") + Int("CoolPowerPctg", 45));
  EXPECT_EQ(camera.coolPowerPerc, 0.0F);
}

TEST_F(LoadSetting, NumbersAreReadInTheirOrder) {
  const std::pair<const char*, Relaxed<std::int32_t> CCameraBase::*> order[] = {
      {"Gain", &CCameraBase::gain},
      {"Brightness", &CCameraBase::Brightness},
      {"Fclk", &CCameraBase::Fclk},
      {"FPSPercentageUSB3", &CCameraBase::usb3Bandwidth},
      {"FPSPercentageUSB2", &CCameraBase::bandwidthPerc},
      {"TargetTemp", &CCameraBase::TargetTemp},
      {"OverCLKPerc", &CCameraBase::OverCLKPerc},
      {"Pattern", &CCameraBase::Pattern},
      {"AutoGainMax", &CCameraBase::AutoGainMax},
      {"DestBrightness", &CCameraBase::DestBrightness},
      {"WB_Red", &CCameraBase::WB_Red},
      {"WB_Blue", &CCameraBase::WB_Blue},
      {"AutoExpMaxMs", &CCameraBase::AutoExpMaxMs}};
  for (std::size_t hiding = 0; hiding + 1 < std::size(order); ++hiding) {
    BareCamera fresh;
    fresh.settingsName = "Model";
    std::string elements;
    for (std::size_t i = 0; i < std::size(order); ++i) {
      fresh.*order[i].second = -1;
      elements += i == hiding ? Raw(order[i].first, "") : Int(order[i].first, 1);
    }
    WriteValues(elements);
    fresh.LoadSetting();
    for (std::size_t i = 0; i < std::size(order); ++i) {
      const bool read = i != hiding && i != hiding + 1;
      EXPECT_EQ(fresh.*order[i].second, read ? 1 : -1)
          << order[i].first << " after an empty " << order[hiding].first;
    }
  }
}

TEST_F(LoadSetting, CutsALongPath) {
  Load(Raw("BMPPATH", std::string(400, 'p')));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), std::string(255, 'p'));
}

TEST_F(LoadSetting, TakesAPathOfJustTheRoomThereIs) {
  Load(Raw("BMPPATH", std::string(255, 'p')));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), std::string(255, 'p'));
}

TEST_F(LoadSetting, LeavesNothingOfALongerPath) {
  std::strcpy(camera.BMPPATH.data(), "/a/long/path/of/before.bmp");
  Load(Raw("BMPPATH", "/b.bmp"));
  EXPECT_STREQ(camera.BMPPATH.data(), "/b.bmp");
}

TEST_F(LoadSetting, SwitchesTheDebugLogOn) {
  for (const int on : {1, 2, 255}) {
    g_bDebugPrint = false;
    testing::internal::CaptureStderr();
    Load(Byte("DebugPrint", on));
    // The line that ends the loading is the first one that shows.
    EXPECT_EQ(testing::internal::GetCapturedStderr(), Line("LoadSetting", "LoadSetting\n"));
    EXPECT_TRUE(g_bDebugPrint);
    EXPECT_EQ(camera.DebugPrint, on);
  }
}

TEST_F(LoadSetting, NeverSwitchesTheDebugLogOff) {
  g_bDebugPrint = true;
  testing::internal::CaptureStderr();
  Load(Byte("DebugPrint", 0));
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(g_bDebugPrint);
  EXPECT_EQ(camera.DebugPrint, 0);
}

TEST_F(LoadSetting, LeavesTheDebugLogOff) {
  Load(Byte("DebugPrint", 0));
  EXPECT_FALSE(g_bDebugPrint);
}

TEST_F(LoadSetting, ADarkReferenceAsksForTheWholeSensor) {
  camera.iMaxWidth = 640;
  camera.iMaxHeight = 480;
  camera.iWidth = 100;
  camera.iHeight = 90;
  camera.iBin = 3;
  Load(Byte("CutDark", 1) + Raw("BMPPATH", "/nowhere/dark.bmp"));
  EXPECT_EQ(camera.iWidth, 640);
  EXPECT_EQ(camera.iHeight, 480);
  EXPECT_EQ(camera.iBin, 1);
  EXPECT_EQ(camera.CutDark, 0);  // its file is not there
}

TEST_F(LoadSetting, ADarkReferenceIsLoadedWhenAllElseIsDone) {
  LogText log;
  Load(Byte("CutDark", 1) + Raw("BMPPATH", "/nowhere"));
  EXPECT_EQ(log.Text(),
            Line("LoadSetting", "LoadSetting\n") + Line("LoadBMPFromFile", "Open file /nowhere failed!\n"));
}

TEST_F(LoadSetting, ADarkReferenceIsLoadedAlsoWithoutAFile) {
  camera.iMaxWidth = 640;
  camera.iMaxHeight = 480;
  camera.CutDark = 1;
  camera.iBin = 2;
  camera.LoadSetting();
  EXPECT_EQ(camera.iWidth, 640);
  EXPECT_EQ(camera.iHeight, 480);
  EXPECT_EQ(camera.iBin, 1);
  EXPECT_EQ(camera.CutDark, 0);
}

TEST_F(LoadSetting, TheGeometryStaysWithoutADarkReference) {
  camera.iMaxWidth = 640;
  camera.iWidth = 100;
  camera.iHeight = 90;
  camera.iBin = 3;
  Load(Byte("CutDark", 0));
  EXPECT_EQ(camera.iWidth, 100);
  EXPECT_EQ(camera.iHeight, 90);
  EXPECT_EQ(camera.iBin, 3);
}

}  // namespace
}  // namespace orq::test
