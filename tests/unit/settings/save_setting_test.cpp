#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <string>
#include <vector>

#include "SettingsFixture.h"
#include "settings/SettingsFile.h"
#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace orq::test {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Optional;
using testing::Pair;

class SaveSetting : public SettingsTest {
 protected:
  SaveSetting() { camera.settingsName = "Model"; }

  std::int32_t Saved(const std::string& name) { return Stored("software\\Model", name).value_or(-999); }

  BareCamera camera;
};

TEST_F(SaveSetting, WritesAllValuesInTheirOrder) {
  camera.usb3Host = 1;
  camera.SaveSetting();
  std::vector<std::string> names;
  const std::string text = Text();
  for (std::size_t at = text.find("<key name=\"Model\">");
       (at = text.find(" name=\"", at + 8)) != std::string::npos;)
    names.push_back(text.substr(at + 7, text.find('"', at + 7) - at - 7));
  const char* const expected[] = {"Exposure",
                                  "Gain",
                                  "Brightness",
                                  "Fclk",
                                  "FPSPercentageUSB3",
                                  "CoolPowerPctg",
                                  "TargetTemp",
                                  "OverCLKPerc",
                                  "Pattern",
                                  "LibusbLogLever",
                                  "AutoBL",
                                  "OO",
                                  "EE",
                                  "OE",
                                  "EO",
                                  "DebugPrint",
                                  "AutoGainMax",
                                  "AutoExpMaxMs",
                                  "DestBrightness",
                                  "FlipRow",
                                  "FlipColumn",
                                  "WB_Red",
                                  "WB_Blue",
                                  "AutoExp",
                                  "AutoGain",
                                  "AutoFPS",
                                  "RawOutput",
                                  "HighSpeed",
                                  "AutoWB",
                                  "HPC",
                                  "HardwareBin",
                                  "CutDark",
                                  "BMPPATH"};
  EXPECT_THAT(names, ElementsAreArray(expected));
}

TEST_F(SaveSetting, StoresNumbersInFourBytesAndFlagsInOne) {
  camera.exposureUs = 12'345;
  camera.gain = -7;
  camera.Brightness = 22;
  camera.Fclk = 3;
  camera.bandwidthPerc = 77;
  camera.coolPowerPerc = 45.9F;
  camera.TargetTemp = -15;
  camera.OverCLKPerc = 8;
  camera.Pattern = 9;
  camera.AutoGainMax = 51;
  camera.AutoExpMaxMs = 1234;
  camera.DestBrightness = 99;
  camera.WB_Red = 61;
  camera.WB_Blue = 62;
  camera.SaveSetting();
  xmlHandle key = Open();
  const std::pair<const char*, std::int32_t> numbers[] = {{"Exposure", 12'345},
                                                          {"Gain", -7},
                                                          {"Brightness", 22},
                                                          {"Fclk", 3},
                                                          {"FPSPercentageUSB2", 77},
                                                          {"CoolPowerPctg", 45},
                                                          {"TargetTemp", -15},
                                                          {"OverCLKPerc", 8},
                                                          {"Pattern", 9},
                                                          {"AutoGainMax", 51},
                                                          {"AutoExpMaxMs", 1234},
                                                          {"DestBrightness", 99},
                                                          {"WB_Red", 61},
                                                          {"WB_Blue", 62}};
  for (const auto& [name, number] : numbers)
    EXPECT_THAT(Query(key, name), Optional(Pair(4, BytesOf(number)))) << name;
}

TEST_F(SaveSetting, StoresEachFlagFromItsOwnField) {
  const std::pair<const char*, Relaxed<std::uint8_t> CCameraBase::*> flags[] = {
      {"LibusbLogLever", &CCameraBase::LibusbLogLever},
      {"AutoBL", &CCameraBase::AutoBL},
      {"OO", &CCameraBase::OO},
      {"EE", &CCameraBase::EE},
      {"OE", &CCameraBase::OE},
      {"EO", &CCameraBase::EO},
      {"DebugPrint", &CCameraBase::DebugPrint},
      {"FlipRow", &CCameraBase::FlipRow},
      {"FlipColumn", &CCameraBase::FlipColumn},
      {"AutoExp", &CCameraBase::AutoExp},
      {"AutoGain", &CCameraBase::AutoGain},
      {"AutoFPS", &CCameraBase::AutoFPS},
      {"RawOutput", &CCameraBase::RawOutput},
      {"HighSpeed", &CCameraBase::HighSpeed},
      {"AutoWB", &CCameraBase::autoWB},
      {"HPC", &CCameraBase::HPC},
      {"HardwareBin", &CCameraBase::HardwareBin},
      {"CutDark", &CCameraBase::CutDark}};
  std::uint8_t next = 10;
  for (const auto& flag : flags) camera.*flag.second = next++;
  camera.SaveSetting();
  xmlHandle key = Open();
  next = 10;
  for (const auto& flag : flags)
    EXPECT_THAT(Query(key, flag.first), Optional(Pair(3, Bytes{next++}))) << flag.first;
}

TEST_F(SaveSetting, KeepsTheLowHalfOfALongExposure) {
  camera.exposureUs = 4'294'967'295U;
  camera.SaveSetting();
  EXPECT_EQ(Saved("Exposure"), -1);
  camera.exposureUs = 4'294'967'296U + 700;
  camera.SaveSetting();
  EXPECT_EQ(Saved("Exposure"), 700);
}

TEST_F(SaveSetting, CutsTheCoolersPowerTowardZero) {
  for (const auto& [power, saved] : {std::pair(45.9F, 45), {-3.9F, -3}, {0.99F, 0}, {100.0F, 100}}) {
    camera.coolPowerPerc = power;
    camera.SaveSetting();
    EXPECT_EQ(Saved("CoolPowerPctg"), saved) << power;
  }
}

TEST_F(SaveSetting, BoundsAPowerThatIsNone) {
  using Float = std::numeric_limits<float>;
  for (const auto& [power, saved] : {std::pair(Float::quiet_NaN(), 0),
                                     {Float::infinity(), 2'147'483'647},
                                     {-Float::max(), -2'147'483'647 - 1},
                                     {3e9F, 2'147'483'647}}) {
    camera.coolPowerPerc = power;
    camera.SaveSetting();
    EXPECT_EQ(Saved("CoolPowerPctg"), saved) << power;
  }
}

TEST_F(SaveSetting, ChoosesTheBandwidthsKeyByTheHost) {
  camera.usb3Host = 0;
  camera.bandwidthPerc = 41;
  camera.SaveSetting();
  EXPECT_EQ(Saved("FPSPercentageUSB2"), 41);
  EXPECT_EQ(Saved("FPSPercentageUSB3"), -999);
  camera.usb3Host = 1;
  camera.bandwidthPerc = 93;
  camera.SaveSetting();
  EXPECT_EQ(Saved("FPSPercentageUSB2"), 41);
  EXPECT_EQ(Saved("FPSPercentageUSB3"), 93);
}

TEST_F(SaveSetting, StoresThePathWithoutItsEnd) {
  std::strcpy(camera.BMPPATH.data(), "/d/dark.bmp");
  camera.SaveSetting();
  EXPECT_THAT(Query(Open(), "BMPPATH"), Optional(Pair(3, BytesOf("/d/dark.bmp"))));
}

TEST_F(SaveSetting, StoresAnEmptyPath) {
  camera.SaveSetting();
  EXPECT_THAT(Query(Open(), "BMPPATH"), Optional(Pair(3, Bytes())));
}

TEST_F(SaveSetting, StoresAPathWithoutAnEndAsFarAsItsFieldGoes) {
  camera.BMPPATH.fill('p');
  camera.SaveSetting();
  EXPECT_THAT(Query(Open(), "BMPPATH"), Optional(Pair(3, Bytes(256, 'p'))));
}

TEST_F(SaveSetting, LogsThatItIsDone) {
  LogText log;
  camera.SaveSetting();
  EXPECT_EQ(log.Text(), Line("SaveSetting", "save REG\n"));
}

TEST_F(SaveSetting, IsDoneAlsoWhenTheFileCouldNotBeWritten) {
  camera.gain = 5;
  camera.SaveSetting();
  std::string reason;
  const FileLock lock(File().string(), std::chrono::milliseconds(0), reason);
  ASSERT_TRUE(lock.Held()) << reason;
  camera.gain = 6;
  LogText log;
  camera.SaveSetting();
  EXPECT_EQ(log.Text(), Line("SaveSetting", "save REG\n"));
  EXPECT_EQ(Saved("Gain"), 5);
  EXPECT_THAT(TakeXmlTrouble(), HasSubstr("nothing was written"));
}

TEST_F(SaveSetting, IsAbandonedSilentlyWithoutAPlace) {
  WriteText("");  // a regular file is no directory
  SetXmlDirectory((File() / "below").string());
  LogText log;
  camera.SaveSetting();
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(Text(), "");
}

TEST_F(SaveSetting, GoesToTheModelsOwnKey) {
  camera.gain = 5;
  camera.SaveSetting();
  BareCamera other;
  other.settingsName = "Another Model";
  other.gain = 6;
  other.SaveSetting();
  EXPECT_EQ(Saved("Gain"), 5);
  EXPECT_EQ(Stored("software\\Another Model", "Gain"), 6);
}

TEST_F(SaveSetting, MakesTheKeyPathOnce) {
  EXPECT_EQ(camera.subKeyPath, nullptr);
  camera.InitSubKey();
  EXPECT_STREQ(camera.subKeyPath.get(), "software\\Model");
  camera.settingsName = "Renamed";
  camera.InitSubKey();
  EXPECT_STREQ(camera.subKeyPath.get(), "software\\Model");
  camera.SaveSetting();
  EXPECT_EQ(Stored("software\\Renamed", "Gain"), std::nullopt);
}

TEST_F(SaveSetting, CutsAKeyPathThatIsTooLong) {
  camera.settingsName = std::string(300, 'n');
  camera.InitSubKey();
  EXPECT_EQ(std::string(camera.subKeyPath.get()), "software\\" + std::string(246, 'n'));
  camera.SaveSetting();
  EXPECT_EQ(Stored("software\\" + std::string(246, 'n'), "Gain"), 0);
}

}  // namespace
}  // namespace orq::test
