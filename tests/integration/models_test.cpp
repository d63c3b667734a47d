// Each model of the table on its virtual device: what it lists, what it can do that others cannot.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "link/WireProtocol.h"
#include "support/Cameras.h"
#include "support/ParameterModel.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::CameraKeys;
using test::ParameterModel;
using test::VirtualRig;

using Ids = std::vector<int>;

Ids Listed(const CModelCamera& camera) {
  return {camera.controlList.begin(), camera.controlList.begin() + camera.controlCount};
}

TEST(Models, ListTheirControlsInOrderOnceTheyAreOpen) {
  const Ids mono{ORQ_GAIN,
                 ORQ_EXPOSURE,
                 ORQ_GAMMA,
                 ORQ_OFFSET,
                 ORQ_BAND_WIDTH,
                 ORQ_FLIP,
                 ORQ_AUTO_EXP_MAX_GAIN,
                 ORQ_AUTO_EXP_MAX_EXP_MS,
                 ORQ_AUTO_EXP_TARGET_BRIGHTNESS};
  const Ids colour{ORQ_GAIN,
                   ORQ_EXPOSURE,
                   ORQ_GAMMA,
                   ORQ_WB_R,
                   ORQ_WB_B,
                   ORQ_OFFSET,
                   ORQ_BAND_WIDTH,
                   ORQ_FLIP,
                   ORQ_AUTO_EXP_MAX_GAIN,
                   ORQ_AUTO_EXP_MAX_EXP_MS,
                   ORQ_AUTO_EXP_TARGET_BRIGHTNESS,
                   ORQ_MONO_BIN};
  const auto with = [](Ids ids, const Ids& more) {
    ids.insert(ids.end(), more.begin(), more.end());
    return ids;
  };
  const Ids fan{ORQ_FAN_SPEED_ADJUST, ORQ_POWER_LED_BRIGHT, ORQ_USB_HUB_RESET};
  const Ids gps{ORQ_GPS_SUPPORT, ORQ_GPS_START_LINE, ORQ_GPS_END_LINE, ORQ_ROLLING_INTERVAL};
  const Ids cooling{ORQ_TEMPERATURE, ORQ_COOL_POWER_PERC, ORQ_TARGET_TEMP, ORQ_COOLER_ON, ORQ_ANTI_DEW_HEATER};
  const std::map<std::string, Ids> expected{
      {"k1c", with(colour, {ORQ_TEMPERATURE})},
      {"k1m", with(mono, {ORQ_TEMPERATURE})},
      {"k2m", with(mono, {ORQ_TEMPERATURE})},
      {"x26m", with(with(with(mono, {ORQ_HARDWARE_BIN}), cooling), fan)},
      {"t46c", with(with(with(colour, {ORQ_TEMPERATURE}), gps), fan)},
      {"h53m", with(mono, {ORQ_HIGH_SPEED_MODE, ORQ_TEMPERATURE})},
      {"b29m", with(mono, cooling)},
      {"l3m", with(mono, {ORQ_TEMPERATURE})},
      {"d6m", with(mono, {ORQ_TEMPERATURE})},
  };
  EXPECT_EQ(expected.size(), CameraKeys().size()) << "a new model wants its controls in the list above";
  for (const auto& [key, ids] : expected) {
    const VirtualRig rig(key.c_str());
    ASSERT_TRUE(rig.Open()) << key;
    EXPECT_EQ(Listed(*rig.camera), ids) << key;
  }
}

TEST(Models, SetWhatTheirDataSays) {
  for (const ModelData& model : AllModels()) {
    if (model.key == "replay") continue;
    const VirtualRig rig(std::string(model.key).c_str());
    const CModelCamera& camera = *rig.camera;
    EXPECT_EQ(camera.modelName, model.name);
    EXPECT_EQ(camera.iPID, model.productId);
    EXPECT_EQ(camera.isUsb3Camera, 1) << model.key;
    EXPECT_EQ(camera.hasGamma, 1) << model.key;
    EXPECT_EQ(camera.hasTemperature, 1) << model.key;
    EXPECT_EQ(camera.isCooled, model.cooled) << model.key;
    EXPECT_EQ(camera.bBin4By2x2, model.hardwareBin || model.fpgaBin) << model.key;
    EXPECT_EQ(camera.bHardBinSum, model.hardwareBin || model.fpgaBin) << model.key;
    EXPECT_EQ(camera.hasGuidePort, model.guidePort) << model.key;
  }
}

TEST(Models, StateWhichThermometerTheyHave) {
  const std::map<std::string, int> types{{"k1c", 0},  {"k1m", 1},  {"k2m", 2}, {"x26m", 0}, {"t46c", 4},
                                         {"h53m", 3}, {"b29m", 2}, {"l3m", 0}, {"d6m", 0}};
  for (const char* key : CameraKeys()) {
    ASSERT_TRUE(types.contains(key)) << key << " has no row here; docs/models.md has one for thermometers";
    const VirtualRig rig(key);
    EXPECT_EQ(rig.camera->tempSensorType, types.at(key)) << key;
  }
}

std::uint64_t Fpga(const VirtualRig& rig, std::uint16_t reg) {
  return rig.device->FpgaRegister(reg);
}

/// Whether every 16-bit sample has only its `bits` upper bits set at most, and some sample the lowest of them.
bool HasDepth(const std::vector<std::uint8_t>& frame, int bits) {
  unsigned all = 0;
  for (std::size_t i = 0; i < frame.size(); i += 2) all |= frame[i] | unsigned{frame[i + 1]} << 8;
  const unsigned lowest = 1U << (16 - bits);
  return (all & (lowest - 1)) == 0 && (all & lowest) != 0;
}

TEST(HighSpeed, TenBitFramesComeTwiceAsFast) {
  const VirtualRig rig("h53m");
  EXPECT_FALSE(rig.camera->SetHighSpeedMode(true)) << "nobody has asked the device yet";
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->hasHighSpeed, 1);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHighSpeed), 0U);
  FrameInfo info;
  EXPECT_TRUE(HasDepth(rig.Snap(info), 12));
  rig.camera->SetExp(7'600, false);
  EXPECT_EQ(rig.camera->expReg, 1000);

  EXPECT_EQ(rig.camera->SetControlValue(ORQ_HIGH_SPEED_MODE, 1, false), CTRL_OK);
  EXPECT_EQ(rig.camera->HighSpeed, 1);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHighSpeed), 1U);
  EXPECT_EQ(rig.camera->expReg, 2000) << "lines of half the time";
  EXPECT_TRUE(HasDepth(rig.Snap(info), 10));

  EXPECT_EQ(rig.camera->SetControlValue(ORQ_HIGH_SPEED_MODE, 0, false), CTRL_OK);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHighSpeed), 0U);
  EXPECT_TRUE(HasDepth(rig.Snap(info), 12));
}

TEST(HighSpeed, KeepsTheScaleOfTheSamples) {
  const VirtualRig rig("h53m");
  ASSERT_TRUE(rig.Open());
  const auto mean = [&] {
    FrameInfo info;
    const auto frame = rig.Snap(info);
    double sum = 0;
    for (std::size_t i = 0; i < frame.size(); i += 2) sum += frame[i] + 256.0 * frame[i + 1];
    return sum / (static_cast<double>(frame.size()) / 2.0);
  };
  const double slow = mean();
  ASSERT_TRUE(rig.camera->SetHighSpeedMode(true));
  // Cutting off two bits loses one and a half counts of sixteen on average.
  EXPECT_NEAR(mean(), slow - 1.5 * 16.0, 0.01 * slow);
}

TEST(HighSpeed, DeliversNoFrameOfTheOldModeToARunningVideo) {
  const VirtualRig rig("h53m");
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch());
  for (const int bits : {10, 12, 10}) {
    ASSERT_TRUE(rig.camera->SetHighSpeedMode(bits == 10));
    auto frame = rig.Buffer();
    FrameInfo info;
    ASSERT_EQ(rig.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), VirtualRig::kPatienceMs, info),
              1);
    EXPECT_TRUE(HasDepth(frame, bits)) << bits;
  }
}

TEST(HighSpeed, ARefusedRegisterChangesNothing) {
  const VirtualRig rig("h53m");
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqWriteFpga, kUsbPipe, 1, 1);
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_HIGH_SPEED_MODE, 1, false), CTRL_SET_FAILED);
  EXPECT_EQ(rig.camera->HighSpeed, 0);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHighSpeed), 0U);
  EXPECT_EQ(Fpga(rig, wire::kFpgaUpdateHold), 0U);
}

TEST(HighSpeed, IsProgrammedAgainByTheNextOpen) {
  const VirtualRig rig("h53m");
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetHighSpeedMode(true));
  rig.camera->CloseCamera();
  rig.device->SetFpgaRegister(wire::kFpgaHighSpeed, 0);
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(Fpga(rig, wire::kFpgaHighSpeed), 1U);
}

TEST(HighSpeed, OtherModelsRefuseIt) {
  const VirtualRig rig("k2m");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_HIGH_SPEED_MODE, 1, false), CTRL_SET_FAILED);
  EXPECT_EQ(rig.camera->HighSpeed, 0);
  rig.camera->CloseCamera();
  rig.camera->HighSpeed = 1;  // as a settings file might say
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->HighSpeed, 0);
  EXPECT_EQ(Fpga(rig, wire::kFpgaHighSpeed), 0U);
}

TEST(LineTiming, FollowsBandwidth) {
  const VirtualRig rig("t46c");
  ASSERT_TRUE(rig.Open());
  int interval = 0;
  ASSERT_EQ(rig.camera->GetRollingInterval(interval), 1);
  EXPECT_EQ(interval, 164) << "16.4 us in tenths";
  ASSERT_TRUE(rig.camera->SetFPSPerc(40, false));
  long value = 0;
  ORQ_BOOL automatic = 1;
  EXPECT_EQ(rig.camera->GetControlValue(ORQ_ROLLING_INTERVAL, &value, &automatic), CTRL_OK);
  EXPECT_EQ(value, 410);
  rig.camera->bandwidthPerc = 0;  // as a settings file might say
  EXPECT_EQ(rig.camera->GetRollingInterval(interval), 1);
  EXPECT_EQ(interval, 16'400);
  float offset = 0;
  EXPECT_EQ(rig.camera->GetSHR0Time(offset), 1);
  EXPECT_EQ(offset, 131.2F);
}

TEST(LineTiming, IsUnknownToModelsWithoutGps) {
  const VirtualRig rig("x26m");
  int interval = 77;
  float offset = 77.0F;
  EXPECT_EQ(rig.camera->GetRollingInterval(interval), 0);
  EXPECT_EQ(rig.camera->GetSHR0Time(offset), 0);
  EXPECT_EQ(interval, 77);
  EXPECT_EQ(offset, 77.0F);
}

TEST(CaptureMode, IsToldToTheFpgaOfTheGpsCameraOnly) {
  for (const char* key : CameraKeys()) {
    const VirtualRig rig(key);
    ASSERT_TRUE(rig.Open());
    ASSERT_EQ(rig.camera->StartCapture(true), 1);
    EXPECT_EQ(Fpga(rig, wire::kFpgaHostMode), FindModel(key)->gps ? 3U : 1U) << key;
    rig.camera->StopCapture();
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    EXPECT_EQ(Fpga(rig, wire::kFpgaHostMode), 1U) << key;
    EXPECT_TRUE(rig.Fetch());
    EXPECT_TRUE(rig.Fetch());
  }
}

TEST(SensorThermometer, ReadsTwoBytesInTwosComplement) {
  class Port : public test::FakePort {
   public:
    std::map<int, std::vector<int>> bytes;  ///< by register: what it reads in turn, the last one for ever
    bool refuse = false;
    int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
      if (setup.request != wire::kReqReadSensor) return FakePort::ControlTransfer(setup, data, timeoutMs);
      if (refuse) return kUsbPipe;
      auto& values = bytes[setup.value];
      data[0] = static_cast<std::uint8_t>(values.front());
      if (values.size() > 1) values.erase(values.begin());
      return 1;
    }
  };
  const auto port = std::make_shared<Port>();
  ParameterModel camera([](ModelData& model) { model.thermometer = Thermometer::Sensor; });
  camera.UsePort(port);
  ASSERT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(camera.tempSensorType, 4);
  const auto reads = [&](std::vector<int> low, std::vector<int> high) {
    port->bytes = {{0x013A, std::move(low)}, {0x013B, std::move(high)}};
    return camera.GetSensorTempInside();
  };
  EXPECT_EQ(reads({0x80}, {0x19}), 25.5F);
  EXPECT_EQ(reads({0x40}, {0xF6}), -9.75F) << "-2496 / 256";
  EXPECT_EQ(reads({0xFF}, {0x7F}), 127.99609375F);
  EXPECT_EQ(reads({0x00}, {0x80}), -128.0F);
  EXPECT_EQ(reads({0x00}, {0x00}), 0.0F);
  // The reading went from 19.99 to 20.0 between the bytes: 0x13FD, then 0x1400.
  EXPECT_EQ(reads({0xFD, 0x00}, {0x13, 0x14}), 20.0F);

  camera.sensorTemp = 12.5F;
  EXPECT_EQ(reads({0}, {1, 2, 3, 4, 5, 6}), 12.5F) << "never twice the same";
  port->refuse = true;
  EXPECT_EQ(camera.GetSensorTempInside(), 12.5F);
}

TEST(BinOffsets, AreEmptyWhereColumnsAndRowsKeepTheirParity) {
  const VirtualRig rig("x26m");
  for (std::size_t i = 0; i < kBinOffsets; ++i) {
    EXPECT_EQ(rig.camera->pBinOffsets[i].dx, 127) << i;
    EXPECT_EQ(rig.camera->pBinOffsets[i].dy, 127) << i;
  }
}

// The targets that the binned map marks for a hot pixel at `at`, along one axis.
std::set<int> Targets(const CModelCamera& camera, int bin, int at, bool vertical) {
  std::set<int> targets;
  for (int i = at & 1; i < 8; i += 2) {
    const BinOffset& entry = camera.pBinOffsets[static_cast<std::size_t>(bin) * 8 + static_cast<std::size_t>(i)];
    // NOLINTNEXTLINE(bugprone-signed-char-misuse): these are numbers
    const int offset = vertical ? entry.dy : entry.dx;
    if (offset == 127 && i != (at & 1)) break;
    const double half = at / 2.0;  // the hardware bins by two, also at bin 4
    targets.insert((vertical ? static_cast<int>(std::lround(half)) : static_cast<int>(half)) +
                   (offset == 127 ? 0 : offset));
  }
  return targets;
}

TEST(BinOffsets, MarkTheSampleThatTheSensorPutsAHotPixelInto) {
  const VirtualRig rig("b29m");
  for (const int bin : {2, 4}) {
    for (int at = 0; at < 64; ++at) {
      const int sample = at / 4 * 2 + at % 2;  // pixels two apart make a sample
      for (const bool vertical : {false, true}) {
        const std::set<int> targets = Targets(*rig.camera, bin, at, vertical);
        EXPECT_TRUE(targets.contains(sample)) << bin << " " << at << (vertical ? " down" : " across");
        EXPECT_LE(targets.size(), 2U);
        for (const int target : targets) EXPECT_LE(std::abs(target - sample), 1) << at;
      }
    }
  }
  for (const int bin : {0, 1, 3})
    for (int k = 0; k < 8; ++k)
      EXPECT_EQ(rig.camera->pBinOffsets[static_cast<std::size_t>(bin * 8 + k)].dx, 127) << bin << " " << k;
}

TEST(BinOffsets, LeaveTheDarkImagesMappingExact) {
  const VirtualRig rig("b29m");
  for (const int bin : {2, 4}) {
    for (const int parity : {0, 1}) {
      EXPECT_EQ(rig.camera->pBinOffsets[static_cast<std::size_t>(bin * 8 + parity)].dx, 0);
      EXPECT_EQ(rig.camera->pBinOffsets[static_cast<std::size_t>(bin * 8 + parity)].dy, 0);
    }
  }
}

}  // namespace
}  // namespace orq
