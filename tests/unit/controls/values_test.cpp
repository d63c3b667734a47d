#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <limits>
#include <string>
#include <thread>

#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::BareCamera;
using orq::test::Line;
using orq::test::LogText;
using orq::test::RecordingCamera;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlValue : public testing::Test {
 protected:
  ControlValue() {
    camera.limits.gainMax = 300;
    camera.limits.gainMin = -10;
    camera.limits.exposureMax = 2000000000;
    camera.limits.exposureMin = 32;
    camera.limits.gammaMax = 100;
    camera.limits.gammaMin = 1;
    camera.limits.wbMax = 99;
    camera.limits.wbMin = 1;
    camera.limits.offsetMax = 80;
    camera.limits.offsetMin = 0;
    camera.limits.bandwidthMin = 40;
    camera.limits.bandwidthMax = 100;
    camera.limits.patternMax = 21;
    camera.limits.patternMin = -21;
    camera.iMaxHeight = 1096;
  }

  /// Calls the base's operation itself, so that only what it calls in turn is noted.
  int Set(int id, long wanted, bool on = false) {
    return camera.CCameraBase::SetControlValue(static_cast<ORQ_CONTROL_TYPE>(id), wanted, on);
  }
  int Get(int id) {
    value = kUntouched;
    autoOn = 99;
    return camera.CCameraBase::GetControlValue(static_cast<ORQ_CONTROL_TYPE>(id), &value, &autoOn);
  }
  void ExpectCalls(const std::string& call) { EXPECT_THAT(camera.TakeCalls(), ElementsAre(call)); }

  static constexpr long kUntouched = -987654321;
  RecordingCamera camera;
  long value = kUntouched;
  ORQ_BOOL autoOn = 99;
};

struct SetterCase {
  ORQ_CONTROL_TYPE id;
  long value;
  bool autoOn;
  const char* call;
};

TEST_F(ControlValue, SettersAreReachedThroughTheTableAndTheirResultIsTold) {
  const SetterCase cases[] = {
      {ORQ_GAIN, 120, true, "SetGain 120 1"},
      {ORQ_GAIN, 120, false, "SetGain 120 0"},
      {ORQ_GAMMA, 60, true, "SetGamma 60"},
      {ORQ_OFFSET, 12, true, "SetBrightness 12"},
      {ORQ_BAND_WIDTH, 70, true, "SetFPSPerc 70 1"},
      {ORQ_BAND_WIDTH, 70, false, "SetFPSPerc 70 0"},
      {ORQ_OVER_CLK, 7, false, "SetOverCLKPerc 7"},
      {ORQ_HARDWARE_BIN, 1, false, "SetHardwareBin 1"},
      {ORQ_HARDWARE_BIN, 0, true, "SetHardwareBin 0"},
      {ORQ_HIGH_SPEED_MODE, 5, false, "SetHighSpeedMode 1"},
      {ORQ_HIGH_SPEED_MODE, -5, false, "SetHighSpeedMode 0"},
      {ORQ_FAN_SPEED_ADJUST, 128, false, "SetFanSpeed 128"},
      {ORQ_POWER_LED_BRIGHT, 129, false, "SetPowerLedBrightness 129"},
      {ORQ_USB_HUB_RESET, 1, false, "ResetUSBHub"},
      {ORQ_USB_HUB_RESET, 0, false, "ResetUSBHub"},
  };
  for (const SetterCase& c : cases) {
    camera.succeed = true;
    EXPECT_EQ(Set(c.id, c.value, c.autoOn), 0) << c.call;
    ExpectCalls(c.call);
    camera.succeed = false;
    EXPECT_EQ(Set(c.id, c.value, c.autoOn), 16) << c.call;
    ExpectCalls(c.call);
  }
}

TEST_F(ControlValue, WhiteBalanceKeepsTheOtherColourAndNeverFails) {
  camera.WB_Red = 33;
  camera.WB_Blue = 44;
  for (const bool succeed : {true, false}) {
    camera.succeed = succeed;
    EXPECT_EQ(Set(ORQ_WB_R, 60, true), 0);
    ExpectCalls("SetWB 60 44 1");
    EXPECT_EQ(Set(ORQ_WB_B, 61, false), 0);
    ExpectCalls("SetWB 33 61 0");
  }
}

TEST_F(ControlValue, ThePatternIsSetAndNeverFails) {
  camera.succeed = false;
  EXPECT_EQ(Set(ORQ_PATTERN_ADJUST, -9), 0);
  ExpectCalls("SetPattern -9");
}

TEST_F(ControlValue, MonoBinIsOnFromOneAndNeverFails) {
  for (const long wanted : {0L, 1L, -1L, 2L}) {
    EXPECT_EQ(Set(ORQ_MONO_BIN, wanted), 0);
    EXPECT_EQ(camera.monoBin, wanted >= 1 ? 1 : 0) << wanted;
    EXPECT_EQ(Get(ORQ_MONO_BIN), 0);
    EXPECT_EQ(value, wanted >= 1 ? 1 : 0) << wanted;
    EXPECT_EQ(autoOn, 0);
  }
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(ControlValue, TheTemperatureIsTakenWithoutEffect) {
  EXPECT_EQ(Set(ORQ_TEMPERATURE, 100), 0);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(ControlValue, ValuesAreClampedToTheLimits) {
  const SetterCase cases[] = {
      {ORQ_GAIN, 301, false, "SetGain 300 0"},
      {ORQ_GAIN, 300, false, "SetGain 300 0"},
      {ORQ_GAIN, -11, false, "SetGain -10 0"},
      {ORQ_GAIN, -10, false, "SetGain -10 0"},
      {ORQ_OFFSET, 81, false, "SetBrightness 80"},
      {ORQ_GAMMA, 0, false, "SetGamma 1"},
      {ORQ_OVER_CLK, 31, false, "SetOverCLKPerc 30"},
      {ORQ_BAND_WIDTH, 39, false, "SetFPSPerc 40 0"},
      {ORQ_WB_R, 1000, false, "SetWB 99 0 0"},
      {ORQ_FAN_SPEED_ADJUST, 256, false, "SetFanSpeed 255"},
      {ORQ_PATTERN_ADJUST, -22, false, "SetPattern -21"},
  };
  for (const SetterCase& c : cases) {
    Set(c.id, c.value, c.autoOn);
    ExpectCalls(c.call);
  }
}

TEST_F(ControlValue, WithCrossedLimitsTheMinimumWinsBelowItOnly) {
  camera.limits.offsetMin = 50;
  camera.limits.offsetMax = 20;
  Set(ORQ_OFFSET, 10);
  ExpectCalls("SetBrightness 50");
  Set(ORQ_OFFSET, 60);
  ExpectCalls("SetBrightness 20");
}

TEST_F(ControlValue, ValuesBeyond32BitsSaturateInsteadOfWrapping) {
  Set(ORQ_GAIN, LONG_MAX);
  ExpectCalls("SetGain 300 0");
  Set(ORQ_GAIN, LONG_MIN);
  ExpectCalls("SetGain -10 0");
  camera.limits.gainMax = INT_MAX;
  camera.limits.gainMin = INT_MIN;
  Set(ORQ_GAIN, LONG_MAX);
  ExpectCalls("SetGain 2147483647 0");
  Set(ORQ_GAIN, LONG_MIN);
  ExpectCalls("SetGain -2147483648 0");
}

TEST_F(ControlValue, AnExposureIsLoggedAndSetWide) {
  LogText log;
  EXPECT_EQ(Set(ORQ_EXPOSURE, 2000000000, true), 0);
  EXPECT_EQ(log.Text(), Line("SetControlValue", "SetExp-> 2000000000, auto: 1\n"));
  ExpectCalls("SetExp 2000000000 1");
  EXPECT_EQ(camera.lastSetExp, 2000000000);
  EXPECT_EQ(camera.lastSetExpAuto, 1);
}

TEST_F(ControlValue, TheSameExposureReachesTheModelOnce) {
  EXPECT_EQ(Set(ORQ_EXPOSURE, 5000), 0);
  ExpectCalls("SetExp 5000 0");
  LogText log;
  EXPECT_EQ(Set(ORQ_EXPOSURE, 5000), 0);
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
  EXPECT_EQ(Set(ORQ_EXPOSURE, 5000, true), 0);
  ExpectCalls("SetExp 5000 1");
  EXPECT_EQ(Set(ORQ_EXPOSURE, 5001, true), 0);
  ExpectCalls("SetExp 5001 1");
}

TEST_F(ControlValue, ExposuresAreComparedAfterClamping) {
  Set(ORQ_EXPOSURE, 1);
  ExpectCalls("SetExp 32 0");
  Set(ORQ_EXPOSURE, 31);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(ControlValue, AFailedExposureIsRememberedAndNotTriedAgain) {
  camera.succeed = false;
  EXPECT_EQ(Set(ORQ_EXPOSURE, 5000), 16);
  ExpectCalls("SetExp 5000 0");
  EXPECT_EQ(camera.lastSetExp, 5000);
  EXPECT_EQ(Set(ORQ_EXPOSURE, 5000), 0);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(ControlValue, ANegativeExposureIsWidenedWithItsSign) {
  camera.limits.exposureMin = -5;
  Set(ORQ_EXPOSURE, -5);
  ExpectCalls("SetExp -5 0");
}

TEST_F(ControlValue, FlipsAreTwoBits) {
  const struct {
    long set;
    int row, column;
    long read;
  } cases[] = {{3, 1, 1, 3}, {1, 1, 0, 1}, {2, 0, 1, 2}, {0, 0, 0, 0}, {7, 1, 1, 3}, {-1, 0, 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(Set(ORQ_FLIP, c.set), 0);
    EXPECT_EQ(camera.FlipRow, c.row) << c.set;
    EXPECT_EQ(camera.FlipColumn, c.column) << c.set;
    EXPECT_EQ(Get(ORQ_FLIP), 0);
    EXPECT_EQ(value, c.read);
    EXPECT_EQ(autoOn, 0);
  }
}

TEST_F(ControlValue, AutomaticControlParametersAreReplacedOneByOne) {
  camera.SetAutoPara(11, 2222, 133);
  EXPECT_EQ(Set(ORQ_AUTO_EXP_MAX_GAIN, 200), 0);
  EXPECT_EQ(camera.AutoGainMax, 200);
  EXPECT_EQ(camera.AutoExpMaxMs, 2222);
  EXPECT_EQ(camera.DestBrightness, 133);
  EXPECT_EQ(Set(ORQ_AUTO_EXP_MAX_EXP_MS, 70000), 0);
  EXPECT_EQ(camera.AutoGainMax, 200);
  EXPECT_EQ(camera.AutoExpMaxMs, 60000);
  EXPECT_EQ(camera.DestBrightness, 133);
  EXPECT_EQ(Set(ORQ_AUTO_EXP_TARGET_BRIGHTNESS, 10), 0);
  EXPECT_EQ(camera.AutoGainMax, 200);
  EXPECT_EQ(camera.AutoExpMaxMs, 60000);
  EXPECT_EQ(camera.DestBrightness, 50);
  EXPECT_EQ(Get(ORQ_AUTO_EXP_MAX_GAIN), 0);
  EXPECT_EQ(value, 200);
  EXPECT_EQ(Get(ORQ_AUTO_EXP_MAX_EXP_MS), 0);
  EXPECT_EQ(value, 60000);
  EXPECT_EQ(Get(ORQ_AUTO_EXP_TARGET_BRIGHTNESS), 0);
  EXPECT_EQ(value, 50);
  EXPECT_EQ(autoOn, 0);
}

TEST_F(ControlValue, AutomaticControlParametersAreStoredUnchecked) {
  camera.SetAutoPara(-1, INT_MAX, 999);
  int gain = 0, ms = 0, brightness = 0;
  camera.GetAutoPara(&gain, &ms, &brightness);
  EXPECT_EQ(gain, -1);
  EXPECT_EQ(ms, INT_MAX);
  EXPECT_EQ(brightness, 999);
}

TEST_F(ControlValue, WhatTheBaseDoesNotServeIsRefusedAndLogged) {
  // Cooler, fan and heater belong to models. 25 and 28 are read-only.
  for (const int id : {15, 16, 17, 19, 21, 25, 28}) {
    LogText log;
    EXPECT_EQ(Set(id, 1), 3) << id;
    EXPECT_EQ(log.Text(), Line("SetControlValue", "Setting " + std::to_string(id) + " is not supported\n"));
  }
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(ControlValue, UnknownIdsAreRefusedAndLogged) {
  for (const int id : {29, 40, INT_MAX, -1, INT_MIN}) {
    LogText log;
    EXPECT_EQ(Set(id, 1), 3) << id;
    EXPECT_EQ(log.Text(), Line("SetControlValue", "Setting " + std::to_string(id) + " is not supported\n"));
  }
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(ControlValue, ReadsThatNoServiceAnswersLeaveTheValue) {
  for (const int id : {15, 16, 17, 19, 21, 29, 40, INT_MAX, -1, INT_MIN}) {
    EXPECT_EQ(Get(id), 3) << id;
    EXPECT_EQ(value, kUntouched) << id;
    EXPECT_EQ(autoOn, 0) << id;
  }
}

TEST_F(ControlValue, StoredValuesAreReadWithTheirAutoFlags) {
  camera.exposureUs = 123456;
  camera.AutoExp = 1;
  camera.WB_Red = 31;
  camera.WB_Blue = 32;
  camera.autoWB = 1;
  camera.Brightness = 33;
  camera.bandwidthPerc = 34;
  camera.AutoFPS = 1;
  camera.OverCLKPerc = 35;
  camera.HardwareBin = 1;
  camera.HighSpeed = 1;
  camera.Pattern = -36;
  const struct {
    ORQ_CONTROL_TYPE id;
    long value;
    ORQ_BOOL autoOn;
  } cases[] = {{ORQ_EXPOSURE, 123456, 1}, {ORQ_WB_R, 31, 1},           {ORQ_WB_B, 32, 1},
               {ORQ_OFFSET, 33, 0},       {ORQ_BAND_WIDTH, 34, 1},     {ORQ_OVER_CLK, 35, 0},
               {ORQ_HARDWARE_BIN, 1, 0},  {ORQ_HIGH_SPEED_MODE, 1, 0}, {ORQ_PATTERN_ADJUST, -36, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(Get(c.id), 0) << c.id;
    EXPECT_EQ(value, c.value) << c.id;
    EXPECT_EQ(autoOn, c.autoOn) << c.id;
  }
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
  camera.AutoExp = camera.autoWB = camera.AutoFPS = 0;
  for (const auto& c : cases) {
    EXPECT_EQ(Get(c.id), 0);
    EXPECT_EQ(autoOn, 0) << c.id;
  }
}

TEST_F(ControlValue, AnExposureIsReadByItsLow32Bits) {
  camera.exposureUs = 0x1'0000'2710ULL;
  EXPECT_EQ(Get(ORQ_EXPOSURE), 0);
  EXPECT_EQ(value, 10000);
}

TEST_F(ControlValue, GettersAreReachedThroughTheTable) {
  camera.hubOn = true;
  const struct {
    ORQ_CONTROL_TYPE id;
    const char* call;
    long value;
  } cases[] = {{ORQ_GAIN, "GetGain", 321},
               {ORQ_GAMMA, "GetGamma", 77},
               {ORQ_FAN_SPEED_ADJUST, "GetFanSpeed", 201},
               {ORQ_POWER_LED_BRIGHT, "GetPowerLedBrightness", 202},
               {ORQ_USB_HUB_RESET, "GetUSBHubOn", 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(Get(c.id), 0) << c.call;
    EXPECT_EQ(value, c.value) << c.call;
    EXPECT_EQ(autoOn, 0) << c.call;
    ExpectCalls(c.call);
  }
  camera.gainIsAuto = true;
  EXPECT_EQ(Get(ORQ_GAIN), 0);
  EXPECT_EQ(autoOn, 1);
  camera.hubOn = false;
  EXPECT_EQ(Get(ORQ_USB_HUB_RESET), 0);
  EXPECT_EQ(value, 0);
}

TEST_F(ControlValue, TheTemperatureIsReadInTenthsCutTowardZero) {
  const struct {
    float celsius;
    long tenths;
  } cases[] = {{-12.37F, -123}, {12.37F, 123}, {0.0F, 0}, {-0.09F, 0}, {25.0F, 250}, {-0.19F, -1}};
  for (const auto& c : cases) {
    camera.temperature = c.celsius;
    EXPECT_EQ(Get(ORQ_TEMPERATURE), 0);
    EXPECT_EQ(value, c.tenths) << c.celsius;
    EXPECT_EQ(autoOn, 0);
    ExpectCalls("GetTemp");
  }
}

TEST_F(ControlValue, ATemperatureThatIsNoneIsReadBounded) {
  camera.temperature = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(Get(ORQ_TEMPERATURE), 0);
  EXPECT_EQ(value, 0);
  camera.temperature = std::numeric_limits<float>::infinity();
  EXPECT_EQ(Get(ORQ_TEMPERATURE), 0);
  EXPECT_EQ(value, INT_MAX);
  camera.temperature = -std::numeric_limits<float>::infinity();
  EXPECT_EQ(Get(ORQ_TEMPERATURE), 0);
  EXPECT_EQ(value, INT_MIN);
}

TEST_F(ControlValue, TheRollingIntervalIsWrittenEvenWhenUnknown) {
  EXPECT_EQ(Get(ORQ_ROLLING_INTERVAL), 18);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(autoOn, 0);
  ExpectCalls("GetRollingInterval");
  camera.rollingInterval = 148;
  EXPECT_EQ(Get(ORQ_ROLLING_INTERVAL), 0);
  EXPECT_EQ(value, 148);
}

TEST_F(ControlValue, GpsLinesAreClampedWrittenAndReadBack) {
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.port->TakeEvents();
  EXPECT_EQ(Set(ORQ_GPS_START_LINE, 0x123), 0);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("40 D1 01 00 01 00 00 00", "40 D1 47 00 23 00 00 00",
                                                     "40 D1 48 00 01 00 00 00", "40 D1 01 00 00 00 00 00"));
  EXPECT_EQ(Set(ORQ_GPS_END_LINE, 5000), 0);  // clamped to 1095
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("40 D1 01 00 01 00 00 00", "40 D1 49 00 47 00 00 00",
                                                     "40 D1 4A 00 04 00 00 00", "40 D1 01 00 00 00 00 00"));
  EXPECT_EQ(Get(ORQ_GPS_START_LINE), 0);
  EXPECT_EQ(value, 0x123);
  EXPECT_EQ(autoOn, 0);
  EXPECT_EQ(Get(ORQ_GPS_END_LINE), 0);
  EXPECT_EQ(value, 1095);
  EXPECT_EQ(Set(ORQ_GPS_START_LINE, -7), 0);
  EXPECT_EQ(Get(ORQ_GPS_START_LINE), 0);
  EXPECT_EQ(value, 0);
}

TEST_F(ControlValue, AGpsLineThatCannotBeReachedIsToldWithItsCode) {
  camera.port->refusedRequests = {0xD0, 0xD1};
  EXPECT_EQ(Set(ORQ_GPS_START_LINE, 1), 20);
  EXPECT_EQ(Set(ORQ_GPS_END_LINE, 1), 20);
  EXPECT_EQ(Get(ORQ_GPS_START_LINE), 20);
  EXPECT_EQ(value, kUntouched);
  EXPECT_EQ(Get(ORQ_GPS_END_LINE), 20);
  EXPECT_EQ(value, kUntouched);
  EXPECT_EQ(autoOn, 0);
  camera.iMaxHeight = 0;  // no line exists
  EXPECT_EQ(Set(ORQ_GPS_START_LINE, 1), 21);
}

TEST_F(ControlValue, GpsSupportIsReadFromTheDeviceAndNeverFails) {
  EXPECT_EQ(Get(ORQ_GPS_SUPPORT), 0);
  EXPECT_EQ(value, 0);
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.port->fpga[0x1C] = 3;
  camera.port->fpga[0x46] = 1;
  EXPECT_EQ(Get(ORQ_GPS_SUPPORT), 0);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(autoOn, 0);
}

TEST_F(ControlValue, InternalIdsAreReadThroughTheTable) {
  camera.gainIsAuto = true;
  bool automatic = false;
  EXPECT_EQ(camera.GetValue(CT_GAIN, &automatic), 321);
  EXPECT_TRUE(automatic);
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("GetControlValue 0", "GetGain"));
  camera.HardwareBin = 1;
  automatic = true;
  EXPECT_EQ(camera.GetValue(CT_HARDWARE_BIN, &automatic), 1);
  EXPECT_FALSE(automatic);
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("GetControlValue 13"));
}

TEST_F(ControlValue, AnInternalReadTakesNoFlagButOneForAutomatic) {
  camera.AutoExp = 2;
  bool automatic = true;
  camera.GetValue(CT_EXPOSURE, &automatic);
  EXPECT_FALSE(automatic);
  EXPECT_EQ(Get(ORQ_EXPOSURE), 0);
  EXPECT_EQ(autoOn, 2);
  camera.AutoExp = 1;
  camera.GetValue(CT_EXPOSURE, &automatic);
  EXPECT_TRUE(automatic);
}

TEST_F(ControlValue, AnInternalReadDropsTheResult) {
  bool automatic = true;
  EXPECT_EQ(camera.GetValue(CT_COOLER_ON, &automatic), 0);
  EXPECT_FALSE(automatic);
}

/// Stores what it is told, as models do.
class StoringCamera : public BareCamera {
 public:
  bool SetExp(unsigned long long us, bool on) override {
    exposureUs = us;
    AutoExp = on ? 1 : 0;
    return true;
  }
};

TEST(ControlValueThreads, ReadersSeeOnlyValuesThatWereSet) {
  StoringCamera camera;
  camera.limits.exposureMax = 2000000000;
  camera.SetControlValue(ORQ_EXPOSURE, 1000, false);
  camera.SetControlValue(ORQ_AUTO_EXP_TARGET_BRIGHTNESS, 60, false);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 0; i < 3000; ++i) {
      camera.SetControlValue(ORQ_EXPOSURE, i % 2 == 0 ? 2000000000 : 1000, i % 2 == 0);
      camera.SetControlValue(ORQ_AUTO_EXP_TARGET_BRIGHTNESS, i % 2 == 0 ? 150 : 60, false);
      camera.SetControlValue(ORQ_FLIP, i % 4, false);
    }
    done = true;
  });
  int wrong = 0;
  do {
    long exposure = 0, brightness = 0, flip = 0;
    ORQ_BOOL on = 0;
    camera.GetControlValue(ORQ_EXPOSURE, &exposure, &on);
    camera.GetControlValue(ORQ_AUTO_EXP_TARGET_BRIGHTNESS, &brightness, &on);
    camera.GetControlValue(ORQ_FLIP, &flip, &on);
    if ((exposure != 1000 && exposure != 2000000000) || (brightness != 60 && brightness != 150) || flip > 3)
      ++wrong;
  } while (!done);
  writer.join();
  EXPECT_EQ(wrong, 0);
}

TEST(ControlValueDefaults, ABareCameraFailsWhatItCannotSet) {
  BareCamera camera;
  camera.port->unplugged = true;
  for (const ORQ_CONTROL_TYPE id :
       {ORQ_GAIN, ORQ_EXPOSURE, ORQ_GAMMA, ORQ_OFFSET, ORQ_BAND_WIDTH, ORQ_OVER_CLK, ORQ_HARDWARE_BIN,
        ORQ_HIGH_SPEED_MODE, ORQ_FAN_SPEED_ADJUST, ORQ_POWER_LED_BRIGHT, ORQ_USB_HUB_RESET})
    EXPECT_EQ(camera.SetControlValue(id, 1, false), 16) << id;
  EXPECT_EQ(camera.SetControlValue(ORQ_WB_R, 1, false), 0);
  EXPECT_EQ(camera.SetControlValue(ORQ_PATTERN_ADJUST, 1, false), 0);
}

TEST_F(ControlValue, ResultsThatNobodyWantsAreNotDelivered) {
  camera.exposureUs = 500;
  camera.AutoExp = 1;
  EXPECT_EQ(camera.GetControlValue(ORQ_EXPOSURE, nullptr, &autoOn), 0);
  EXPECT_EQ(autoOn, 1);
  EXPECT_EQ(camera.GetControlValue(ORQ_EXPOSURE, &value, nullptr), 0);
  EXPECT_EQ(value, 500);
  EXPECT_EQ(camera.GetControlValue(ORQ_COOLER_ON, nullptr, nullptr), 3);
  EXPECT_EQ(camera.GetValue(CT_EXPOSURE, nullptr), 500);
  camera.SetAutoPara(1, 2, 3);
  int ms = 0;
  camera.GetAutoPara(nullptr, &ms, nullptr);
  EXPECT_EQ(ms, 2);
}

}  // namespace
