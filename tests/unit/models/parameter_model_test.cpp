// Product ids and flags that no model of the table has.
#include <gmock/gmock.h>

#include "support/ParameterModel.h"

namespace orq {
namespace {

using test::ParameterModel;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

std::vector<std::string> HostModeWrites(const std::vector<std::string>& events) {
  std::vector<std::string> writes;
  for (const std::string& event : events)
    if (event.starts_with("40 D1 45 00")) writes.push_back(event);
  return writes;
}

TEST(ProductIds, TwoOfThemAreToldTheCaptureMode) {
  const struct {
    int id;
    bool told;
  } rows[] = {{0x461E, true}, {0x411E, true}, {0x461F, false}, {0x411D, false}, {0x7E57, false}};
  for (const auto& row : rows) {
    ParameterModel camera([&](ModelData& model) { model.productId = static_cast<std::uint16_t>(row.id); });
    ASSERT_EQ(camera.OpenCamera(0), 1);
    camera.port->TakeEvents();
    camera.StartCapture(true);
    camera.StopCapture();
    const auto writes = HostModeWrites(camera.port->TakeEvents());
    if (row.told)
      EXPECT_THAT(writes, ElementsAre("40 D1 45 00 03 00 00 00")) << row.id;
    else
      EXPECT_TRUE(writes.empty()) << row.id;
  }
}

TEST(ProductIds, TwoOfThemAreProbedForHighSpeed) {
  const struct {
    int id;
    int type;
    bool found;
  } rows[] = {{0x533E, 6, true},  {0x533F, 6, true},  {0x533E, 5, false},
              {0x533F, 7, false}, {0x533D, 6, false}, {0x7E57, 6, false}};
  for (const auto& row : rows) {
    ParameterModel camera([&](ModelData& model) { model.productId = static_cast<std::uint16_t>(row.id); });
    camera.port->fpga[0x1C] = static_cast<std::uint8_t>(row.type);
    ASSERT_EQ(camera.OpenCamera(0), 1);
    EXPECT_EQ(camera.hasHighSpeed, row.found) << row.id;
    const int id = ORQ_HIGH_SPEED_MODE;
    EXPECT_EQ(testing::Value(camera.Controls(), Contains(id)), row.found) << row.id;
    EXPECT_EQ(camera.Set(ORQ_HIGH_SPEED_MODE, 1), row.found ? CTRL_OK : CTRL_SET_FAILED) << row.id;
    EXPECT_EQ(camera.port->fpga[0x36], row.found ? 1 : 0) << row.id;
  }
}

TEST(ModelFlags, HighSpeedNeedsNoProbeWhereTheModelStatesIt) {
  ParameterModel camera([](ModelData& model) { model.highSpeed = true; });
  EXPECT_EQ(camera.hasHighSpeed, 1);
  EXPECT_EQ(camera.Set(ORQ_HIGH_SPEED_MODE, 1), CTRL_OK);
  ASSERT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(camera.port->fpga[0x36], 1) << "opening programs what was set before";
}

TEST(ModelFlags, NoneListsTheFourControlsOfEveryCamera) {
  ParameterModel camera([](ModelData& model) { model.limits.bandwidthMax = 0; });
  EXPECT_THAT(camera.Controls(), ElementsAre(ORQ_EXPOSURE, ORQ_FLIP, ORQ_AUTO_EXP_MAX_GAIN,
                                             ORQ_AUTO_EXP_MAX_EXP_MS, ORQ_AUTO_EXP_TARGET_BRIGHTNESS));
}

TEST(ModelFlags, AllListEverythingInOrder) {
  ParameterModel camera([](ModelData& model) {
    model.colour = true;
    model.limits.gainMax = 100;
    model.limits.gammaMax = 100;
    model.limits.wbMin = 1;
    model.limits.wbMax = 99;
    model.limits.offsetMax = 50;
    model.limits.bandwidthMin = 40;
    model.limits.bandwidthMax = 100;
    model.limits.patternMax = 7;
    model.overClock = model.patternAdjust = model.hardwareBin = model.highSpeed = true;
    model.thermometer = Thermometer::Tmp100;
    model.cooled = model.antiDewHeater = true;
  });
  camera.fanAdjustable = true;
  EXPECT_THAT(camera.Controls(),
              ElementsAre(ORQ_GAIN, ORQ_EXPOSURE, ORQ_GAMMA, ORQ_WB_R, ORQ_WB_B, ORQ_OFFSET, ORQ_BAND_WIDTH,
                          ORQ_FLIP, ORQ_OVER_CLK, ORQ_AUTO_EXP_MAX_GAIN, ORQ_AUTO_EXP_MAX_EXP_MS,
                          ORQ_AUTO_EXP_TARGET_BRIGHTNESS, ORQ_HARDWARE_BIN, ORQ_HIGH_SPEED_MODE, ORQ_MONO_BIN,
                          ORQ_PATTERN_ADJUST, ORQ_TEMPERATURE, ORQ_COOL_POWER_PERC, ORQ_TARGET_TEMP, ORQ_COOLER_ON,
                          ORQ_ANTI_DEW_HEATER, ORQ_FAN_SPEED_ADJUST, ORQ_POWER_LED_BRIGHT, ORQ_USB_HUB_RESET));
}

TEST(ModelFlags, OverclockAndPatternReachTheModelWithinTheirLimits) {
  ParameterModel camera([](ModelData& model) {
    model.overClock = model.patternAdjust = true;
    model.limits.patternMin = -3;
    model.limits.patternMax = 7;
  });
  EXPECT_EQ(camera.Set(ORQ_OVER_CLK, 31), CTRL_OK);
  EXPECT_EQ(camera.Get(ORQ_OVER_CLK), 30);
  EXPECT_EQ(camera.Set(ORQ_PATTERN_ADJUST, -9), CTRL_OK);
  EXPECT_EQ(camera.Get(ORQ_PATTERN_ADJUST), -3);
}

TEST(ModelFlags, BandwidthIsAutomaticWhereTheModelSaysSo) {
  for (const bool automatic : {false, true}) {
    ParameterModel camera([&](ModelData& model) { model.bandwidthAuto = automatic; });
    EXPECT_EQ(camera.IsAutoSupported(CT_BAND_WIDTH), automatic);
  }
}

TEST(ModelFlags, AModelWithoutThermometerListsNone) {
  ParameterModel camera;
  EXPECT_EQ(camera.hasTemperature, 0);
  EXPECT_EQ(camera.tempSensorType, 0);
  EXPECT_THAT(camera.Controls(), Not(Contains(static_cast<int>(ORQ_TEMPERATURE))));
}

TEST(ModelFlags, ReachTheFieldsOfTheSameMeaning) {
  const auto make = [](void (*change)(ModelData&)) { return std::make_unique<ParameterModel>(change); };
  EXPECT_EQ(make([](ModelData&) {})->normalModeFPGATrigger, 0);
  EXPECT_EQ(make([](ModelData& m) { m.normalModeFPGATrigger = true; })->normalModeFPGATrigger, 1);
  EXPECT_EQ(make([](ModelData&) {})->isUsb3Camera, 1);
  EXPECT_EQ(make([](ModelData& m) { m.usb3Camera = false; })->isUsb3Camera, 0);
  EXPECT_EQ(make([](ModelData&) {})->fpgaBin, 0);
  EXPECT_EQ(make([](ModelData& m) { m.fpgaBin = true; })->fpgaBin, 1);
  EXPECT_EQ(make([](ModelData& m) { m.guidePort = true; })->hasGuidePort, 1);
}

TEST(ModelFlags, TheBinTableIsTheModels) {
  ParameterModel camera([](ModelData& model) { model.binOffsets[19] = {-5, 6}; });
  EXPECT_EQ(camera.pBinOffsets[19].dx, -5);
  EXPECT_EQ(camera.pBinOffsets[19].dy, 6);
  EXPECT_EQ(camera.pBinOffsets[18].dx, 127);
}

TEST(ModelFlags, AnotherProductIdOpensThatProduct) {
  for (const int id : {0x2602, 0x294E}) {
    ParameterModel camera([&](ModelData& model) { model.productId = static_cast<std::uint16_t>(id); });
    ASSERT_EQ(camera.OpenCamera(2), 1);
    char expected[32];
    std::snprintf(expected, sizeof expected, "open F055:%04X #2", id);
    EXPECT_THAT(camera.port->TakeEvents(), Contains(expected));
  }
}

}  // namespace
}  // namespace orq
