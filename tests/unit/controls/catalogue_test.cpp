#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

#include "controls/ControlCatalogue.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::RecordingCamera;

/// Limits that differ from each other, so that a swapped one shows.
void FillLimits(CCameraBase& camera) {
  camera.limits.gainDefault = 17;
  camera.limits.gainMax = 511;
  camera.limits.gainMin = 0;
  camera.limits.exposureDefault = 10000;
  camera.limits.exposureMax = 2000000000;
  camera.limits.exposureMin = 32;
  camera.limits.gammaDefault = 50;
  camera.limits.gammaMax = 100;
  camera.limits.gammaMin = 1;
  camera.limits.wbRedDefault = 52;
  camera.limits.wbBlueDefault = 95;
  camera.limits.wbMax = 99;
  camera.limits.wbMin = 2;
  camera.limits.offsetDefault = 8;
  camera.limits.offsetMax = 80;
  camera.limits.offsetMin = 3;
  camera.limits.bandwidthMin = 40;
  camera.limits.bandwidthMax = 97;
  camera.limits.patternMax = 21;
  camera.limits.patternMin = -21;
  camera.bandwidthAutoSupported = 1;
  camera.iMaxHeight = 1096;
}

struct Row {
  ORQ_CONTROL_TYPE id;
  const char* name;
  const char* description;
  std::int32_t max, min, defaultValue;
  ORQ_BOOL automatic, writable;
};

// clang-format off
constexpr Row kRows[] = {
    {ORQ_GAIN, "Gain", "Gain", 511, 0, 17, 1, 1},
    {ORQ_EXPOSURE, "Exposure", "Exposure Time(us)", 2000000000, 32, 10000, 1, 1},
    {ORQ_GAMMA, "Gamma", "Gamma", 100, 1, 50, 0, 1},
    {ORQ_WB_R, "WB_R", "White balance: Red component", 99, 2, 52, 1, 1},
    {ORQ_WB_B, "WB_B", "White balance: Blue component", 99, 2, 95, 1, 1},
    {ORQ_OFFSET, "Offset", "offset", 80, 3, 8, 0, 1},
    {ORQ_BAND_WIDTH, "BandWidth", "The total data transfer rate percentage", 97, 40, 50, 1, 1},
    {ORQ_OVER_CLK, "OverCLK", "Over clocking percentage", 30, 0, 0, 0, 1},
    {ORQ_TEMPERATURE, "Temperature", "Sensor temperature(degrees Celsius)", 1000, -500, 20, 0, 0},
    {ORQ_FLIP, "Flip", "Flip: 0->None 1->Horiz 2->Vert 3->Both", 3, 0, 0, 0, 1},
    {ORQ_AUTO_EXP_MAX_GAIN, "AutoExpMaxGain", "Auto exposure maximum gain value", 511, 0, 255, 0, 1},
    {ORQ_AUTO_EXP_MAX_EXP_MS, "AutoExpMaxExpMS", "Auto exposure maximum exposure value(unit ms)", 60000, 1, 100, 0, 1},
    {ORQ_AUTO_EXP_TARGET_BRIGHTNESS, "AutoExpTargetBrightness", "Auto exposure target brightness value", 160, 50, 100, 0, 1},
    {ORQ_HARDWARE_BIN, "HardwareBin", "Is hardware bin2:0->No 1->Yes", 1, 0, 0, 0, 1},
    {ORQ_HIGH_SPEED_MODE, "HighSpeedMode", "Is high speed mode:0->No 1->Yes", 1, 0, 0, 0, 1},
    {ORQ_COOL_POWER_PERC, "CoolPowerPerc", "Cooler power percent", 100, 0, 0, 0, 0},
    {ORQ_TARGET_TEMP, "TargetTemp", "Target temperature(cool camera only)", 30, -40, 0, 0, 1},
    {ORQ_COOLER_ON, "CoolerOn", "turn on/off cooler(cool camera only)", 1, 0, 0, 0, 1},
    {ORQ_MONO_BIN, "MonoBin", "bin R G G B to one pixel for color camera, color will loss", 1, 0, 0, 0, 1},
    {ORQ_FAN_ON, "FanOn", "turn on/off fan(cool camera only)", 1, 0, 0, 0, 1},
    {ORQ_PATTERN_ADJUST, "PatternAdjust", "make brightness accordant", 21, -21, 0, 0, 1},
    {ORQ_ANTI_DEW_HEATER, "AntiDewHeater", "turn on/off anti dew heater(cool camera only)", 1, 0, 0, 0, 1},
    {ORQ_FAN_SPEED_ADJUST, "FanSpeedAdjust", "adjust fan speed(cool camera only)", 255, 0, 255, 0, 1},
    {ORQ_POWER_LED_BRIGHT, "PowerLedBright", "adjust power led brightness", 255, 0, 255, 0, 1},
    {ORQ_USB_HUB_RESET, "UsbHubReset", "reset the power of usb hub", 1, 0, 255, 0, 1},
    {ORQ_GPS_SUPPORT, "GPSSupport", "the camera has a GPS or not", 1, 0, 0, 0, 0},
    {ORQ_GPS_START_LINE, "GPSStartLine", "set start line number of getting GPS time(GPS camera only)", 1095, 0, 0, 0, 1},
    {ORQ_GPS_END_LINE, "GPSEndLine", "set end line number of getting GPS time(GPS camera only)", 1095, 0, 0, 0, 1},
    {ORQ_ROLLING_INTERVAL, "RollingInterval", "get the rolling interval of every line(rolling shutter GPS camera only)", 10000, 0, 0, 0, 0},
};
// clang-format on

class Catalogue : public testing::Test {
 protected:
  Catalogue() { FillLimits(camera); }

  _ORQ_CONTROL_CAPS Caps(ORQ_CONTROL_TYPE id) {
    _ORQ_CONTROL_CAPS caps;
    std::memset(&caps, 0x5A, sizeof caps);
    EXPECT_EQ(camera.GetCtrllCaps(id, &caps), 1);
    return caps;
  }

  RecordingCamera camera;
};

TEST_F(Catalogue, DescribesEveryControl) {
  ASSERT_EQ(std::size(kRows), 29U);
  std::int32_t number = 0;
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.id, number++);
    const _ORQ_CONTROL_CAPS caps = Caps(row.id);
    EXPECT_STREQ(caps.name, row.name);
    EXPECT_STREQ(caps.description, row.description);
    EXPECT_EQ(caps.maxValue, row.max);
    EXPECT_EQ(caps.minValue, row.min);
    EXPECT_EQ(caps.defaultValue, row.defaultValue);
    EXPECT_EQ(caps.isAutoSupported, row.automatic);
    EXPECT_EQ(caps.isWritable, row.writable);
    EXPECT_EQ(caps.controlType, 0x5A5A5A5A) << "the type is not filled in";
  }
}

TEST_F(Catalogue, ARecordIs216Bytes) {
  static_assert(sizeof(_ORQ_CONTROL_CAPS) == 64 + 128 + 6 * 4);
  static_assert(offsetof(_ORQ_CONTROL_CAPS, maxValue) == 192);
  static_assert(offsetof(_ORQ_CONTROL_CAPS, controlType) == 212);
}

TEST_F(Catalogue, AnUnknownControlLeavesTheRecordAlone) {
  for (const int id : {29, 40, INT_MAX, -1, INT_MIN}) {
    _ORQ_CONTROL_CAPS caps;
    std::memset(&caps, 0x5A, sizeof caps);
    const _ORQ_CONTROL_CAPS before = caps;
    EXPECT_EQ(camera.GetCtrllCaps(static_cast<ORQ_CONTROL_TYPE>(id), &caps), 0) << id;
    EXPECT_EQ(std::memcmp(&caps, &before, sizeof caps), 0) << id;
  }
}

TEST_F(Catalogue, BandwidthIsAutomaticOnlyWhereTheModelCan) {
  camera.bandwidthAutoSupported = 0;
  EXPECT_EQ(Caps(ORQ_BAND_WIDTH).isAutoSupported, 0);
}

TEST_F(Catalogue, TheLongestAutomaticExposureIsAtMostAMinute) {
  const struct {
    std::int32_t exposureMaxUs;
    std::int32_t longestMs;
  } cases[] = {{2000000000, 60000}, {60000000, 60000}, {59999999, 59999}, {30000000, 30000}, {999, 0}};
  for (const auto& c : cases) {
    camera.limits.exposureMax = c.exposureMaxUs;
    EXPECT_EQ(Caps(ORQ_AUTO_EXP_MAX_EXP_MS).maxValue, c.longestMs) << c.exposureMaxUs;
  }
}

TEST_F(Catalogue, TheDefaultAutomaticGainIsTheTruncatedMean) {
  const struct {
    std::int32_t min, max, mean;
  } cases[] = {{0, 511, 255}, {-4, 1, -1}, {INT_MAX - 1, INT_MAX, INT_MAX - 1}};
  for (const auto& c : cases) {
    camera.limits.gainMin = c.min;
    camera.limits.gainMax = c.max;
    EXPECT_EQ(Caps(ORQ_AUTO_EXP_MAX_GAIN).defaultValue, c.mean);
  }
}

TEST_F(Catalogue, InternalIdsConvertToPublicOnes) {
  const int expected[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 13, 14, 15, 16, 17, 18, 19, 20, 21, 25, 22, 23, 24};
  for (int type = 0; type < 22; ++type)
    EXPECT_EQ(camera.ControlConv(static_cast<Control_TYPE>(type)), expected[type]) << type;
}

TEST_F(Catalogue, AnythingElseConvertsToTheGain) {
  for (const int type : {-1, 22, 23, 255, INT_MAX, INT_MIN})
    EXPECT_EQ(camera.ControlConv(static_cast<Control_TYPE>(type)), ORQ_GAIN) << type;
}

TEST_F(Catalogue, AnswersLimitsByInternalId) {
  EXPECT_TRUE(camera.IsAutoSupported(CT_EXPOSURE));
  EXPECT_FALSE(camera.IsAutoSupported(CT_OFFSET));
  EXPECT_EQ(camera.GetMin(CT_TARGET_TEMP), -40);
  EXPECT_EQ(camera.GetMax(CT_TARGET_TEMP), 30);
  EXPECT_EQ(camera.GetMin(CT_GAIN), 0);
  EXPECT_EQ(camera.GetMax(CT_GAIN), 511);
  EXPECT_EQ(camera.GetMax(CT_USB_HUB_RESET), 1);
  EXPECT_EQ(camera.GetMin(CT_OFFSET), 3);
}

TEST_F(Catalogue, FormatsOneAndThreeNeedAColourCamera) {
  const auto supported = [this](int type) { return camera.IsImgTypeSupported(static_cast<IMG_TYPE>(type)); };
  for (int type = 0; type < 4; ++type) EXPECT_FALSE(supported(type)) << type;
  camera.supportImgType0 = camera.supportImgType1 = camera.supportImgType2 = camera.supportImgType3 = 1;
  EXPECT_TRUE(supported(0));
  EXPECT_FALSE(supported(1));
  EXPECT_TRUE(supported(2));
  EXPECT_FALSE(supported(3));
  camera.bIsColor = 1;
  for (int type = 0; type < 4; ++type) EXPECT_TRUE(supported(type)) << type;
  for (const int type : {4, 255, -1}) EXPECT_FALSE(supported(type)) << type;
  camera.supportImgType1 = camera.supportImgType3 = 0;
  EXPECT_FALSE(supported(1));
  EXPECT_FALSE(supported(3));
}

}  // namespace
