// Cooled cameras on their virtual devices: the loop against the device's own thermal behaviour.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "link/WireProtocol.h"
#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

/// A cooled camera in 20 degrees. A minute of the camera takes 0.6 s.
VirtualRig Cooled(const char* key) {
  return VirtualRig(
      key, [](VirtualOptions& options) { options.ambientC = 20.0; });
}

double SensorC(const VirtualRig& rig) {
  return rig.device->Readings().sensorC;
}

long Get(const VirtualRig& rig, ORQ_CONTROL_TYPE id) {
  long value = 0;
  ORQ_BOOL automatic = 0;
  EXPECT_EQ(rig.camera->GetControlValue(id, &value, &automatic), CTRL_OK) << id;
  return value;
}

int Set(const VirtualRig& rig, ORQ_CONTROL_TYPE id, long value) {
  return rig.camera->SetControlValue(id, value, false);
}

/// Whether the sensor has stayed within `band` of `target` for `seconds` of the camera's time.
bool Settles(const VirtualRig& rig, double target, double band, double seconds) {
  double since = rig.device->Readings().deviceSeconds;
  return Eventually([&] {
    const DeviceReadings now = rig.device->Readings();
    if (std::abs(now.sensorC - target) > band) since = now.deviceSeconds;
    return now.deviceSeconds - since >= seconds;
  });
}

TEST(Cooling, SettlesOnTheTargetAndStaysThere) {
  for (const char* key : test::CooledCameraKeys()) {
    const VirtualRig rig = Cooled(key);
    ASSERT_TRUE(rig.Open());
    EXPECT_EQ(Set(rig, ORQ_TARGET_TEMP, 0), CTRL_OK);
    EXPECT_EQ(Set(rig, ORQ_COOLER_ON, 1), CTRL_OK);
    EXPECT_TRUE(Settles(rig, 0.0, 0.2, 60.0)) << key << ": " << SensorC(rig);
    EXPECT_NEAR(static_cast<double>(Get(rig, ORQ_TEMPERATURE)) / 10.0, 0.0, 0.5) << key;
    const long power = Get(rig, ORQ_COOL_POWER_PERC);
    EXPECT_GT(power, 5) << key;
    EXPECT_LT(power, 95) << key;
    EXPECT_NEAR(static_cast<double>(power), rig.device->Readings().coolerDrive / 2.55, 5.0) << key;
  }
}

TEST(Cooling, CoolsNoFasterThanTheRamp) {
  const VirtualRig rig = Cooled("x26m");
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, 5);
  const DeviceReadings first = rig.device->Readings();
  ASSERT_EQ(Set(rig, ORQ_COOLER_ON, 1), CTRL_OK);
  double fastest = 0.0;
  EXPECT_TRUE(Eventually([&] {
    const DeviceReadings now = rig.device->Readings();
    const double minutes = (now.deviceSeconds - first.deviceSeconds) / 60.0;
    fastest = std::max(fastest, first.sensorC - now.sensorC - 5.0 * minutes);
    return now.sensorC < 5.3;
  }));
  EXPECT_LT(fastest, 1.0) << "degrees ahead of five per minute";
}

TEST(Cooling, ShortensTheDarkCurrentOfFrames) {
  const VirtualRig rig("x26m", [](VirtualOptions& options) {
    options.ambientC = 20.0;
    options.scene = "dark";
  });
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(100'000'000, false);
  rig.camera->SetGain(200, false);  // 0.078 electrons per count
  rig.camera->SetBrightness(20);    // 200 counts
  const auto mean = [&] {
    FrameInfo info;
    const auto frame = rig.Snap(info);
    double sum = 0;
    for (std::size_t i = 0; i < frame.size(); i += 2) sum += frame[i] + 256.0 * frame[i + 1];
    return sum / (static_cast<double>(frame.size()) / 2.0) - 200.0;
  };
  const double warm = mean();
  Set(rig, ORQ_TARGET_TEMP, 5);
  Set(rig, ORQ_COOLER_ON, 1);
  ASSERT_TRUE(Settles(rig, 5.0, 0.3, 20.0));
  // 18 degrees of 6.3 per doubling: a seventh.
  EXPECT_LT(mean(), warm / 4.0);
}

TEST(Cooling, SettlesWhileFramesAreTaken) {
  const VirtualRig rig = Cooled("x26m");
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, 10);
  Set(rig, ORQ_COOLER_ON, 1);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  double since = rig.device->Readings().deviceSeconds;
  EXPECT_TRUE(Eventually([&] {
    EXPECT_TRUE(rig.Fetch());
    const DeviceReadings now = rig.device->Readings();
    if (std::abs(now.sensorC - 10.0) > 0.3) since = now.deviceSeconds;
    return now.deviceSeconds - since >= 20.0;
  }));
}

TEST(Cooling, TheDeviceSwitchesOffByItselfWhenTheProgramIsKilled) {
  const VirtualRig rig = Cooled("x26m");
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, -20);
  Set(rig, ORQ_COOLER_ON, 1);
  ASSERT_TRUE(Eventually([&] { return rig.device->Readings().coolerDrive > 20; }));
  // From now on nothing reaches the device, as if nobody were there.
  rig.device->FailRequests(0, kUsbTimeout);
  EXPECT_TRUE(Eventually([&] { return rig.device->Readings().coolerDrive == 0; }));
  EXPECT_TRUE(Eventually([&] { return !rig.camera->CoolerTrouble().empty(); }));
}

TEST(Cooling, ClosingLeavesTheDeviceOff) {
  const VirtualRig rig = Cooled("x26m");
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, -20);
  Set(rig, ORQ_ANTI_DEW_HEATER, 1);
  Set(rig, ORQ_COOLER_ON, 1);
  EXPECT_EQ(rig.device->Readings().heaterDrive, 128);
  ASSERT_TRUE(Eventually([&] { return rig.device->Readings().coolerDrive > 20; }));
  rig.camera->CloseCamera();
  EXPECT_EQ(rig.device->Readings().coolerDrive, 0);
  EXPECT_EQ(rig.device->Readings().heaterDrive, 0);
  EXPECT_EQ(rig.device->FpgaRegister(wire::kFpgaCoolerWatchdog), 0);
}

TEST(Cooling, IsTakenOverByTheNextProgram) {
  const VirtualRig rig = Cooled("x26m");
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, 5);
  Set(rig, ORQ_COOLER_ON, 1);
  rig.camera->KeepCooling(true);
  ASSERT_TRUE(Settles(rig, 5.0, 0.3, 20.0));
  rig.camera->CloseCamera();
  EXPECT_GT(rig.device->Readings().coolerDrive, 0);
  rig.camera->TargetTemp = 20;  // the next program does not know
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Get(rig, ORQ_COOLER_ON), 1);
  EXPECT_EQ(Get(rig, ORQ_TARGET_TEMP), 5);
  double farthest = 0.0;
  const double since = rig.device->Readings().deviceSeconds;
  EXPECT_TRUE(Eventually([&] {
    const DeviceReadings now = rig.device->Readings();
    farthest = std::max(farthest, std::abs(now.sensorC - 5.0));
    return now.deviceSeconds - since >= 60.0;
  }));
  EXPECT_LT(farthest, 1.5) << "without a jump";
}

TEST(Cooling, TellsWhatItCanReach) {
  const VirtualRig rig("x26m", [](VirtualOptions& options) { options.ambientC = 40.0; });
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, -40);
  Set(rig, ORQ_COOLER_ON, 1);
  ASSERT_TRUE(Eventually([&] { return rig.camera->CoolerReach().has_value(); }));
  EXPECT_NEAR(*rig.camera->CoolerReach(), SensorC(rig), 2.0);
  EXPECT_NE(rig.camera->CoolerTrouble().find("cannot reach -40 C"), std::string::npos)
      << rig.camera->CoolerTrouble();
  Set(rig, ORQ_TARGET_TEMP, 30);
  EXPECT_TRUE(Eventually([&] { return !rig.camera->CoolerReach() && rig.camera->CoolerTrouble().empty(); }));
}

TEST(Cooling, AnUnpluggedCameraCoolsAgainAfterAReopen) {
  const VirtualRig rig = Cooled("b29m");
  ASSERT_TRUE(rig.Open());
  Set(rig, ORQ_TARGET_TEMP, -20);
  Set(rig, ORQ_COOLER_ON, 1);
  ASSERT_TRUE(Eventually([&] { return rig.device->Readings().coolerDrive > 20; }));
  rig.bus->Unplug(rig.device);
  EXPECT_TRUE(Eventually([&] { return Get(rig, ORQ_COOLER_ON) == 0; }));
  EXPECT_NE(rig.camera->CoolerTrouble(), "");
  rig.camera->CloseCamera();
  rig.bus->Attach(rig.device);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Get(rig, ORQ_COOLER_ON), 0) << "a power cycle switches it off";
  EXPECT_EQ(rig.device->Readings().coolerDrive, 0);
  EXPECT_EQ(Set(rig, ORQ_COOLER_ON, 1), CTRL_OK);
  EXPECT_TRUE(Eventually([&] { return rig.device->Readings().coolerDrive > 20; }));
  EXPECT_EQ(rig.camera->CoolerTrouble(), "");
}

TEST(Cooling, AFanThatStandsStillIsStarted) {
  const VirtualRig rig = Cooled("x26m");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Set(rig, ORQ_FAN_ON, 0), CTRL_OK);
  EXPECT_EQ(rig.device->Readings().fanSpeed, 0);
  EXPECT_EQ(Get(rig, ORQ_FAN_ON), 0);
  Set(rig, ORQ_COOLER_ON, 1);
  EXPECT_EQ(rig.device->Readings().fanSpeed, 255);
  EXPECT_EQ(Get(rig, ORQ_FAN_ON), 1);
}

TEST(Cooling, UncooledModelsRefuseIt) {
  const VirtualRig rig("t46c");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Set(rig, ORQ_COOLER_ON, 1), CTRL_NOT_SUPPORTED);
  EXPECT_EQ(Set(rig, ORQ_TARGET_TEMP, 0), CTRL_NOT_SUPPORTED);
  EXPECT_EQ(rig.camera->CoolerTrouble(), "");
}

TEST(Thermometers, OfAllModelsTellTheSensorsTemperature) {
  for (const char* key : test::CameraKeys()) {
    for (const double celsius : {8.0, 23.5}) {
      const VirtualRig rig(key, [&](VirtualOptions& options) { options.temperatureC = celsius; });
      ASSERT_TRUE(rig.Open());
      // The 8-bit converter has counts of half a degree.
      EXPECT_NEAR(static_cast<double>(rig.camera->GetTemp()), celsius, std::string(key) == "k1m" ? 0.6 : 0.1)
          << key;
    }
  }
}

TEST(RealExposure, IsCountedInTheTicksOfEachModel) {
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig(key);
    ASSERT_TRUE(rig.Open());
    rig.camera->SetExp(1'234'000, false);
    FrameInfo info;
    ASSERT_FALSE(rig.Snap(info).empty());
    EXPECT_EQ(rig.camera->RealExposureMs(), 1'234) << key;
  }
}

}  // namespace
}  // namespace orq
