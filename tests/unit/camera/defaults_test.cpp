// What a model gets that overrides nothing but the abstract operations.
#include <gtest/gtest.h>

#include "support/RecordingCamera.h"

namespace {

using orq::test::BareCamera;

TEST(Defaults, SettersWithoutHardwareRefuse) {
  BareCamera camera;
  EXPECT_FALSE(camera.SetBrightness(10));
  EXPECT_FALSE(camera.SetHighSpeedMode(true));
  EXPECT_FALSE(camera.SetHardwareBin(true));
  EXPECT_FALSE(camera.SetEnableDDR(true));
  EXPECT_FALSE(camera.SetFPSPerc(50, true));
  EXPECT_FALSE(camera.SetOverCLKPerc(10));
  camera.SetPattern(5);
  camera.SetMemSave(true);
  EXPECT_EQ(camera.Brightness, 0);
  EXPECT_EQ(camera.HighSpeed, 0);
  EXPECT_EQ(camera.HardwareBin, 0);
  EXPECT_EQ(camera.bandwidthPerc, 0);
  EXPECT_EQ(camera.AutoFPS, 0);
  EXPECT_EQ(camera.OverCLKPerc, 0);
  EXPECT_EQ(camera.Pattern, 0);
}

TEST(Defaults, GainAndGammaAreTheStoredOnes) {
  BareCamera camera;
  camera.gain = 123;
  camera.gamma = 61;
  camera.AutoGain = 1;
  bool automatic = false;
  EXPECT_EQ(camera.GetGain(&automatic), 123);
  EXPECT_TRUE(automatic);
  camera.AutoGain = 0;
  camera.GetGain(&automatic);
  EXPECT_FALSE(automatic);
  EXPECT_EQ(camera.GetGamma(), 61);
}

TEST(Defaults, HardwareBinRunsOnlyWhenOnAndBinned) {
  BareCamera camera;
  for (const int bin : {1, 2, 3, 4}) {
    camera.iBin = bin;
    camera.HardwareBin = 0;
    EXPECT_FALSE(camera.IsHardBinRun()) << bin;
    camera.HardwareBin = 1;
    EXPECT_EQ(camera.IsHardBinRun(), bin > 1) << bin;
  }
}

TEST(Defaults, TheInsideTemperatureIsZero) {
  BareCamera camera;
  EXPECT_EQ(camera.GetSensorTempInside(), 0.0F);
}

TEST(Defaults, AnUnopenedCameraHasNoAdjustableOutputsAndNoHub) {
  BareCamera camera;
  camera.port->unplugged = true;
  EXPECT_FALSE(camera.FanAdjustCheck());
  EXPECT_FALSE(camera.SetFanSpeed(100));
  EXPECT_EQ(camera.GetFanSpeed(), 0);
  EXPECT_FALSE(camera.SetPowerLedBrightness(100));
  EXPECT_EQ(camera.GetPowerLedBrightness(), 0);
  EXPECT_FALSE(camera.ResetUSBHub());
  EXPECT_FALSE(camera.GetUSBHubOn());
}

TEST(Defaults, TheTemperatureOfAnUnopenedCameraIsTheLastOneKnown) {
  BareCamera camera;
  camera.port->unplugged = true;
  EXPECT_EQ(camera.GetTemp(), 0.0F);
  camera.sensorTemp = -12.5F;
  EXPECT_EQ(camera.GetTemp(), -12.5F);
}

TEST(Defaults, TheGainCanBeReadWithoutItsFlag) {
  BareCamera camera;
  camera.gain = 123;
  EXPECT_EQ(camera.GetGain(nullptr), 123);
}

}  // namespace
