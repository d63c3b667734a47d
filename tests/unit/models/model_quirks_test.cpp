// What the quirks say by name and product id must be what the table, and the devices behind it, say of each model.
#include "controls/ModelQuirks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "controls/ElectronsPerAdu.h"
#include "models/table/ModelData.h"
#include "virtual/device/DeviceData.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

constexpr std::uint8_t kFastReadoutType = 6;
constexpr std::uint8_t kBoardsWithFan[] = {5, 6};

TEST(ModelQuirks, MeasureTheByteOrderThatTheTableDelivers) {
  int found = 0;
  for (const ModelData& model : AllModels()) {
    EXPECT_EQ(quirks::MeasuresHighByteFirst(model.name), model.msbFirst) << model.name;
    found += model.msbFirst ? 1 : 0;
  }
  EXPECT_EQ(found, 3) << "four of the seven names have no row";
}

TEST(ModelQuirks, GiveTheSteppedGainToTheSensorsThatHaveIt) {
  for (const ModelData& model : AllModels()) {
    const SensorData* sensor = FindSensor(model.key);
    const bool stepped = sensor != nullptr && sensor->gainLaw == SensorGainLaw::Stepped;
    EXPECT_EQ(quirks::HasSteppedGain(model.name), stepped) << model.name;
    if (sensor == nullptr) continue;  // recordings answer to no gain
    for (int gain = model.limits.gainMin; gain <= model.limits.gainMax; ++gain) {
      const double device = GainFactor(sensor->gainLaw, gain);
      ASSERT_NEAR(GainFactor(model.name, gain), device, 1e-6 * device) << model.name << " at " << gain;
    }
  }
}

TEST(ModelQuirks, ProbeWhereTheTableDoesNotTellAndTheDeviceDoes) {
  for (const ModelData& model : AllModels()) {
    const bool probed = quirks::ProbesForHighSpeed(model.productId);
    EXPECT_EQ(probed, FindDevice(model.key)->fpgaType == kFastReadoutType) << model.name;
    EXPECT_FALSE(probed && model.highSpeed) << model.name << ": a flag needs no probe";
  }
}

TEST(ModelQuirks, ScaleCoordinatesWhereTheFpgaBins) {
  for (const ModelData& model : AllModels())
    EXPECT_EQ(quirks::ScalesBinnedCoordinates(model.productId), model.fpgaBin) << model.name;
}

TEST(ModelQuirks, TellTheCaptureModeToTheCameraThatTakesTimes) {
  for (const ModelData& model : AllModels())
    EXPECT_EQ(quirks::WantsCaptureMode(model.productId), model.gps) << model.name;
}

TEST(ModelQuirks, FindAFanWhereTheBoardHasOne) {
  for (const ModelData& model : AllModels()) {
    const DeviceData& device = *FindDevice(model.key);
    const bool boardSays = std::ranges::find(kBoardsWithFan, device.boardType) != std::end(kBoardsWithFan);
    EXPECT_EQ(quirks::HasAdjustableFan(model.productId) || boardSays, device.adjustable) << model.name;
  }
}

// The ids are literals: a sister product without a row is known as well, and its neighbours are not.
TEST(ModelQuirks, KnowTheProductsThatNoRowStandsBehind) {
  EXPECT_TRUE(quirks::ProbesForHighSpeed(0x533F));
  EXPECT_FALSE(quirks::ProbesForHighSpeed(0x533D) || quirks::ProbesForHighSpeed(0x5340));
  EXPECT_TRUE(quirks::WantsCaptureMode(0x411E));
  EXPECT_FALSE(quirks::WantsCaptureMode(0x411F) || quirks::WantsCaptureMode(0x461F));
  EXPECT_TRUE(quirks::ScalesBinnedCoordinates(0x294E));
  EXPECT_FALSE(quirks::ScalesBinnedCoordinates(0x294B) || quirks::ScalesBinnedCoordinates(0x295A));
  EXPECT_TRUE(quirks::HasAdjustableFan(0x2602));
  EXPECT_FALSE(quirks::HasAdjustableFan(0x2600) || quirks::HasAdjustableFan(0x2603));
}

TEST(ModelQuirks, GoByTheLowSixteenBitsOfAProductId) {
  EXPECT_TRUE(quirks::ProbesForHighSpeed(0x7001533E));
  EXPECT_TRUE(quirks::WantsCaptureMode(0x0001461E));
  EXPECT_TRUE(quirks::ScalesBinnedCoordinates(static_cast<std::int32_t>(0xFFFF294AU)));
  EXPECT_TRUE(quirks::HasAdjustableFan(0x00012601));
}

}  // namespace
}  // namespace orq
