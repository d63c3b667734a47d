// Settings and the registers behind them.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "link/WireProtocol.h"
#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

std::uint64_t Fpga(const VirtualRig& rig, std::uint16_t reg, int bytes) {
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i)
    value |= std::uint64_t{rig.device->FpgaRegister(static_cast<std::uint16_t>(reg + i))} << (8 * i);
  return value;
}

std::uint64_t Sensor(const VirtualRig& rig, std::uint16_t reg) {
  return rig.device->SensorRegister(reg) |
         std::uint64_t{rig.device->SensorRegister(static_cast<std::uint16_t>(reg + 1))} << 8;
}

TEST(CameraControls, ModelsStateTheirIdentityBeforeTheyAreOpened) {
  const CModelCamera colour(*FindModel("k1c"));
  EXPECT_EQ(colour.modelName, "Tavix ORQ-K1C");
  EXPECT_EQ(colour.settingsName, "Tavix ORQ-K1C");
  EXPECT_EQ(colour.iVID, wire::kVendorId);
  EXPECT_EQ(colour.iPID, 0x1101);
  EXPECT_EQ(colour.iMaxWidth, 1936);
  EXPECT_EQ(colour.iMaxHeight, 1096);
  EXPECT_EQ(colour.iADCBits, 12);
  EXPECT_EQ(colour.bIsColor, 1);
  EXPECT_EQ(colour.hasGuidePort, 1);
  EXPECT_EQ(colour.exposureUs, 10'000U);
  EXPECT_EQ(colour.Brightness, 70);
  EXPECT_EQ(colour.WB_Red, 50);
  EXPECT_EQ(colour.WB_Blue, 50);
  EXPECT_EQ(colour.Region(), (FrameRegion{0, 0, 1936, 1096, 1, ORQ_IMG_RAW16}));
  EXPECT_EQ(colour.b16Bit, 1);
  EXPECT_EQ(colour.FrameBytes(), 1936 * 1096 * 2);
}

TEST(CameraControls, OpeningAddsWhatOnlyTheDeviceKnowsOf) {
  // Fan, LED and hub by the board's type, four of the GPS, a focus motor.
  const std::map<std::string, int> found{{"x26m", 3}, {"t46c", 3 + 4}, {"h53m", 1}};
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig(key);
    const int before = rig.camera->controlCount;
    ASSERT_TRUE(rig.Open());
    const int added = found.contains(key) ? found.at(key) : 0;
    EXPECT_EQ(rig.camera->controlCount, before + added) << key;
    _ORQ_CONTROL_CAPS last{};
    ASSERT_EQ(rig.camera->GetControlCaps(rig.camera->controlCount - 1, &last), 1);
    EXPECT_EQ(last.controlType == ORQ_USB_HUB_RESET, added >= 3) << key;
  }
}

TEST(CameraControls, FanAndLedReachTheBoardThatHasThem) {
  const VirtualRig rig("x26m");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_FAN_SPEED_ADJUST, 120, false), CTRL_OK);
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_POWER_LED_BRIGHT, 30, false), CTRL_OK);
  EXPECT_EQ(Fpga(rig, wire::kFpgaFanSpeed, 1), 120U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaLed, 1), 30U);
  EXPECT_EQ(rig.camera->GetFanSpeed(), 120);
  EXPECT_EQ(rig.camera->GetPowerLedBrightness(), 30);
}

TEST(CameraControls, TheThermometerTellsTheTemperatureOfTheDevice) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) { options.temperatureC = -12.375; });
  ASSERT_TRUE(rig.Open());
  long tenths = 0;
  ORQ_BOOL automatic = 0;
  EXPECT_EQ(rig.camera->GetControlValue(ORQ_TEMPERATURE, &tenths, &automatic), CTRL_OK);
  EXPECT_EQ(tenths, -123);
}

TEST(CameraControls, AModelsGammaIsNeutralFromTheStart) {
  const VirtualRig rig;
  EXPECT_EQ(rig.camera->GetGamma(), 50);
  EXPECT_EQ(rig.camera->gammaTable8[200], 200);
  EXPECT_EQ(rig.camera->gammaTable16[51234], 51234);
}

TEST(CameraControls, OpeningProgramsWhatWasSetBefore) {
  const VirtualRig rig;
  EXPECT_TRUE(rig.camera->SetExp(1'234'567'890, false));
  EXPECT_TRUE(rig.camera->SetGain(77, false));
  EXPECT_TRUE(rig.camera->SetBrightness(200));
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({10, 20, 32, 16, 2, ORQ_IMG_RAW16}, applied, reason)) << reason;
  EXPECT_TRUE(rig.device->Requests().empty());
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Fpga(rig, wire::kFpgaExposure, 5), 1'234'567'890U);
  EXPECT_EQ(Sensor(rig, wire::kSensorGain), 77U);
  EXPECT_EQ(Sensor(rig, wire::kSensorBlackLevel), 200U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaStartX, 2), 10U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaStartY, 2), 20U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaWidth, 2), 64U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHeight, 2), 32U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaBin, 1), 1U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaFormat, 1), 3U) << "16 bit, most significant byte first";
  EXPECT_EQ(Fpga(rig, wire::kFpgaBandwidth, 1), 100U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHostMode, 1) & 1U, 1U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaUpdateHold, 1), 0U);
}

TEST(CameraControls, AUsb2HostHasItsOwnBandwidthAndHostBit) {
  const VirtualRig rig("k1c", [](VirtualOptions& options) { options.usb3 = false; });
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->bandwidthPerc, 50);
  EXPECT_EQ(Fpga(rig, wire::kFpgaBandwidth, 1), 50U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHostMode, 1) & 1U, 0U);
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  EXPECT_TRUE(rig.Fetch());
}

TEST(CameraControls, SettersProgramAndStoreClampedValues) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  EXPECT_TRUE(rig.camera->SetExp(1, true));
  EXPECT_EQ(rig.camera->exposureUs, 32U);
  EXPECT_EQ(rig.camera->AutoExp, 1);
  EXPECT_EQ(Fpga(rig, wire::kFpgaExposure, 5), 32U);
  EXPECT_TRUE(rig.camera->SetExp(~0ULL, false));
  EXPECT_EQ(rig.camera->exposureUs, 2'000'000'000U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaExposure, 5), 2'000'000'000U);
  EXPECT_TRUE(rig.camera->SetGain(101, true));
  EXPECT_EQ(rig.camera->gain, 100);
  EXPECT_EQ(rig.camera->AutoGain, 1);
  EXPECT_TRUE(rig.camera->SetGain(-1, false));
  EXPECT_EQ(Sensor(rig, wire::kSensorGain), 0U);
  EXPECT_TRUE(rig.camera->SetBrightness(1000));
  EXPECT_EQ(Sensor(rig, wire::kSensorBlackLevel), 240U);
  EXPECT_TRUE(rig.camera->SetFPSPerc(5, true));
  EXPECT_EQ(rig.camera->bandwidthPerc, 40);
  EXPECT_EQ(rig.camera->AutoFPS, 1);
  EXPECT_EQ(Fpga(rig, wire::kFpgaBandwidth, 1), 40U);
  EXPECT_TRUE(rig.camera->SetWB(0, 100, true));
  EXPECT_EQ(rig.camera->WB_Red, 1);
  EXPECT_EQ(rig.camera->WB_Blue, 99);
  EXPECT_EQ(rig.camera->autoWB, 1);
}

TEST(CameraControls, ExposureInLinesFollowsTheExposure) {
  const VirtualRig rig;
  rig.camera->SetExp(32, false);
  EXPECT_EQ(rig.camera->expReg, 2);  // lines of 13.5 us
  rig.camera->SetExp(13'500, false);
  EXPECT_EQ(rig.camera->expReg, 1000);
}

TEST(CameraControls, EveryFrameSeesAllBytesOfAnExposureAtOnce) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->ClearRequests();
  ASSERT_TRUE(rig.camera->SetExp(0x0102'0304, false));
  std::vector<std::pair<int, int>> writes;
  for (const LoggedRequest& request : rig.device->Requests())
    if (request.setup.request == wire::kReqWriteFpga)
      writes.emplace_back(request.setup.value, request.setup.index);
  const std::uint32_t tag = rig.camera->Tag().Newest();
  const auto tagByte = [tag](int i) { return static_cast<int>((tag >> (8 * i)) & 0xFFU); };
  EXPECT_EQ(writes, (std::vector<std::pair<int, int>>{{0x01, 1},
                                                      {0x30, 0x04},
                                                      {0x31, 0x03},
                                                      {0x32, 0x02},
                                                      {0x33, 0x01},
                                                      {0x34, 0x00},
                                                      {0x38, tagByte(0)},
                                                      {0x39, tagByte(1)},
                                                      {0x3A, tagByte(2)},
                                                      {0x3B, tagByte(3)},
                                                      {0x01, 0}}));
}

struct Setter {
  const char* name;
  std::uint8_t request;  ///< that its registers go through
  std::function<bool(CModelCamera&)> set;
  std::function<std::int64_t(CModelCamera&)> stored;
};

const std::vector<Setter>& Setters() {
  static const std::vector<Setter> setters{
      {"exposure", wire::kReqWriteFpga, [](CModelCamera& c) { return c.SetExp(77'777, true); },
       [](CModelCamera& c) { return static_cast<std::int64_t>(c.exposureUs) * 2 + c.AutoExp; }},
      {"gain", wire::kReqWriteSensor, [](CModelCamera& c) { return c.SetGain(55, true); },
       [](CModelCamera& c) { return std::int64_t{c.gain} * 2 + c.AutoGain; }},
      {"offset", wire::kReqWriteSensor, [](CModelCamera& c) { return c.SetBrightness(99); },
       [](CModelCamera& c) { return std::int64_t{c.Brightness}; }},
      {"bandwidth", wire::kReqWriteFpga, [](CModelCamera& c) { return c.SetFPSPerc(66, true); },
       [](CModelCamera& c) { return std::int64_t{c.bandwidthPerc} * 2 + c.AutoFPS; }},
      {"region", wire::kReqWriteFpga,
       [](CModelCamera& c) {
         FrameRegion applied;
         std::string reason;
         return c.SetRegion({2, 2, 48, 24, 2, ORQ_IMG_RAW8}, applied, reason);
       },
       [](CModelCamera& c) {
         return std::int64_t{c.iWidth} * 100 + std::int64_t{c.iHeight} * 10 + c.iStartX + c.iStartY + c.iBin +
                c.b16Bit;
       }},
  };
  return setters;
}

std::vector<std::uint8_t> AllRegisters(const VirtualRig& rig) {
  std::vector<std::uint8_t> values;
  for (int reg = 0; reg < 256; ++reg) {
    // A refused change gets a new settings tag, too: a frame may have seen a part of it.
    const bool tag = reg >= wire::kFpgaSettingsTag && reg < wire::kFpgaSettingsTag + 4;
    if (!tag) values.push_back(rig.device->FpgaRegister(static_cast<std::uint16_t>(reg)));
  }
  for (const int reg : {0x204, 0x205, 0x208, 0x209})
    values.push_back(rig.device->SensorRegister(static_cast<std::uint16_t>(reg)));
  return values;
}

TEST(CameraControls, ARefusedRegisterChangesNeitherTheValueNorTheDevice) {
  for (const Setter& setter : Setters()) {
    const VirtualRig rig;
    ASSERT_TRUE(rig.Open());
    const auto before = AllRegisters(rig);
    const std::int64_t stored = setter.stored(*rig.camera);
    // One refusal at each of its writes in turn, until none is left to refuse.
    int refused = 0;
    for (;; ++refused) {
      ASSERT_LT(refused, 50) << setter.name;
      rig.device->FailRequests(setter.request, kUsbPipe, refused, 1);
      const bool set = setter.set(*rig.camera);
      rig.device->ClearFailures();
      if (set) break;
      EXPECT_EQ(setter.stored(*rig.camera), stored) << setter.name << " refused at write " << refused;
      EXPECT_EQ(AllRegisters(rig), before) << setter.name << " refused at write " << refused;
      EXPECT_FALSE(rig.camera->LinkError().empty());
    }
    EXPECT_GE(refused, 2) << setter.name;
    EXPECT_NE(setter.stored(*rig.camera), stored) << setter.name;
    EXPECT_NE(AllRegisters(rig), before) << setter.name;
  }
}

TEST(CameraControls, ARefusedRegionIsExplained) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqWriteFpga, kUsbPipe);
  FrameRegion applied{};
  std::string reason;
  EXPECT_FALSE(rig.camera->SetRegion({0, 0, 64, 64, 1, ORQ_IMG_RAW8}, applied, reason));
  EXPECT_NE(reason.find("refused"), std::string::npos) << reason;
  EXPECT_EQ(applied, FrameRegion{});
}

TEST(CameraControls, AMonochromeCameraHasNoWhiteBalance) {
  const VirtualRig rig("x26m");
  EXPECT_FALSE(rig.camera->SetWB(10, 10, false));
  EXPECT_EQ(rig.camera->WB_Red, 50);
}

TEST(CameraControls, ACameraWithoutHardwareBinningRefusesIt) {
  const VirtualRig rig;
  EXPECT_FALSE(rig.camera->SetHardwareBin(true));
  EXPECT_EQ(rig.camera->HardwareBin, 0);
  EXPECT_FALSE(rig.camera->IsHardBinRun());
}

TEST(CameraControls, HardwareBinningIsSetThroughItsControl) {
  const VirtualRig rig("x26m");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_HARDWARE_BIN, 1, false), CTRL_OK);
  long value = 0;
  ORQ_BOOL automatic = 1;
  EXPECT_EQ(rig.camera->GetControlValue(ORQ_HARDWARE_BIN, &value, &automatic), CTRL_OK);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(rig.device->FpgaRegister(wire::kFpgaBin), 1) << "nothing to bin at bin 1";
  EXPECT_FALSE(rig.camera->IsHardBinRun());
}

}  // namespace
}  // namespace orq
