// What the drivers of sensors write, against the sensors' data sheets.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "models/camera/ModelCamera.h"
#include "support/Cameras.h"
#include "support/DataSheet.h"
#include "support/FakePort.h"

namespace orq {
namespace {

using std::chrono::steady_clock;
using test::DataSheet;
using test::SheetStep;

/// Notes the writes to sensor registers and when they came.
class SensorPort : public test::FakePort {
 public:
  struct Write {
    std::uint16_t reg;
    std::uint8_t value;
    steady_clock::time_point at;
  };
  std::vector<Write> writes;

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    const int result = FakePort::ControlTransfer(setup, data, timeoutMs);
    if (setup.request == 0xD3)
      writes.push_back({setup.value, static_cast<std::uint8_t>(setup.index), steady_clock::now()});
    return result;
  }
  /// As "3020=00 3021=01".
  std::string TakeText() {
    std::string text;
    for (const Write& write : writes) {
      char word[16];
      std::snprintf(word, sizeof word, "%s%04X=%02X", text.empty() ? "" : " ", unsigned{write.reg},
                    unsigned{write.value});
      text += word;
    }
    writes.clear();
    return text;
  }
};

struct Desk {
  explicit Desk(const std::string& key) : camera(*FindModel(key), SettingsUse::Off) { camera.UsePort(port); }
  ~Desk() { camera.CloseCamera(); }
  std::shared_ptr<SensorPort> port = std::make_shared<SensorPort>();
  CModelCamera camera;
};

class PowerUps : public testing::TestWithParam<std::string> {};

TEST_P(PowerUps, AreThoseOfTheDataSheetStepByStepAndInItsTime) {
  const DataSheet sheet(GetParam());
  ASSERT_FALSE(sheet.models.empty());
  ASSERT_NE(FindModel(sheet.models[0]), nullptr) << sheet.models[0] << " has no row in ModelTable.cpp";
  Desk desk(sheet.models[0]);
  ASSERT_EQ(desk.camera.OpenCamera(0), 1);
  const std::vector<SensorPort::Write>& writes = desk.port->writes;
  ASSERT_GT(writes.size(), sheet.powerUp.size() + sheet.wake.size());
  const auto check = [&](const std::vector<SheetStep>& steps, std::size_t from) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
      const SensorPort::Write& write = writes[from + i];
      EXPECT_EQ(write.reg, steps[i].reg) << i;
      EXPECT_EQ(write.value, steps[i].value) << i;
      if (from + i + 1 == writes.size()) continue;
      EXPECT_GE(writes[from + i + 1].at - write.at, std::chrono::microseconds(steps[i].waitUs)) << i;
    }
  };
  check(sheet.powerUp, 0);
  check(sheet.wake, writes.size() - sheet.wake.size());
  desk.port->TakeText();
  desk.camera.CloseCamera();
  ASSERT_EQ(writes.size(), sheet.standby.size());
  check(sheet.standby, 0);
}

INSTANTIATE_TEST_SUITE_P(All, PowerUps, testing::ValuesIn(test::SheetNames()),
                         [](const auto& instance) { return instance.param; });

TEST(L3, CountsLinesHighByteFirstAndGainsOfThreeTenths) {
  Desk desk("l3m");
  ASSERT_EQ(desk.camera.OpenCamera(0), 1);
  desk.port->TakeText();
  ASSERT_TRUE(desk.camera.SetExp(1'000'000, false));
  EXPECT_EQ(desk.port->TakeText(), "3001=01 3020=00 3021=01 3022=38 3023=80 3001=00") << "80,000 lines";
  ASSERT_TRUE(desk.camera.SetExp(45, false));
  EXPECT_EQ(desk.port->TakeText(), "3001=01 3020=00 3021=00 3022=00 3023=04 3001=00") << "of 12.5 us";
  EXPECT_EQ(desk.camera.exposureUs, 50U);
  EXPECT_EQ(desk.camera.expReg, 4);
  ASSERT_TRUE(desk.camera.SetGain(100, false));
  EXPECT_EQ(desk.port->TakeText(), "3001=01 3030=21 3001=00");
  EXPECT_EQ(desk.camera.gain, 99) << "33 codes";
  ASSERT_TRUE(desk.camera.SetBrightness(240));
  EXPECT_EQ(desk.port->TakeText(), "3001=01 3038=00 3039=F0 3001=00");
  desk.port->refusedRegisters.insert({0xD3, 0x3030});
  EXPECT_FALSE(desk.camera.SetGain(0, false));
  EXPECT_EQ(desk.port->TakeText(), "3001=01 3030=00 3030=21 3001=00") << "the group is closed all the same";
  EXPECT_EQ(desk.camera.gain, 99);
}

TEST(D6, HasThreeGainsAndAShutterThatOpensLate) {
  Desk desk("d6m");
  ASSERT_EQ(desk.camera.OpenCamera(0), 1);
  desk.port->TakeText();
  const auto gain = [&](int setting) {
    EXPECT_TRUE(desk.camera.SetGain(setting, false));
    return desk.port->TakeText();
  };
  EXPECT_EQ(gain(0), "4010=01 4030=00 4031=00 4032=00 4033=00 4010=02");
  EXPECT_EQ(gain(60), "4010=01 4030=FF 4031=00 4032=00 4033=00 4010=02") << "10^0.3: 512 - 512 / 1.99526 = 255.4";
  EXPECT_EQ(gain(120), "4010=01 4030=00 4031=00 4032=01 4033=00 4010=02");
  EXPECT_EQ(gain(360), "4010=01 4030=BF 4031=01 4032=01 4033=01 4010=02") << "63.1 / 8 = 7.887: 447.08";
  ASSERT_TRUE(desk.camera.SetExp(2'000, false));
  EXPECT_EQ(desk.port->TakeText(),
            "4010=01 4020=94 4021=02 4022=00 4023=00 4024=CC 4025=01 4026=00 4027=00 4010=02")
      << "200 of 660 lines";
  ASSERT_TRUE(desk.camera.SetExp(10'000'000, false));
  EXPECT_EQ(desk.port->TakeText(),
            "4010=01 4020=41 4021=42 4022=0F 4023=00 4024=01 4025=00 4026=00 4027=00 4010=02");
}

TEST(D6, SleepsWhileItsReadoutModeChangesAndKeepsTheExposure) {
  Desk desk("d6m");
  ASSERT_EQ(desk.camera.OpenCamera(0), 1);
  ASSERT_TRUE(desk.camera.SetExp(10'010, false));
  desk.port->TakeText();
  ASSERT_EQ(desk.camera.SetControlValue(ORQ_READOUT_MODE, 1, false), CTRL_OK);
  EXPECT_EQ(
      desk.port->TakeText(),
      "4000=02 4000=00 4010=01 4040=01 4020=94 4021=02 4022=00 4023=00 4024=9F 4025=00 4026=00 4027=00 4010=02 "
      "4000=02 4000=06")
      << "501 lines of 20 us";
  EXPECT_EQ(desk.camera.exposureUs, 10'020U);
  EXPECT_FLOAT_EQ(desk.camera.baseElectronsPerAdu, 0.95F);
  EXPECT_FALSE(desk.camera.SetReadoutMode(2));
  desk.port->refusedRegisters.insert({0xD3, 0x4040});
  EXPECT_EQ(desk.camera.SetControlValue(ORQ_READOUT_MODE, 0, false), CTRL_SET_FAILED);
  EXPECT_EQ(desk.camera.GetReadoutMode(), 1);
  long value = -1;
  EXPECT_EQ(desk.camera.GetControlValue(ORQ_READOUT_MODE, &value, nullptr), CTRL_OK);
  EXPECT_EQ(value, 1);
}

// What a sensor can do next to a setting is a setting that it can do.
TEST(Sensors, KeepWhatTheyRoundedTo) {
  for (const char* key : test::CameraKeys()) {
    const ModelData& model = *FindModel(key);
    const Sensor& sensor = *model.sensor;
    int before = -1;
    for (int gain = model.limits.gainMin; gain <= model.limits.gainMax; ++gain) {
      const int nearest = sensor.NearestGain(gain);
      EXPECT_EQ(sensor.NearestGain(nearest), nearest) << key << " " << gain;
      EXPECT_GE(nearest, before) << key << " " << gain;
      EXPECT_LE(nearest, model.limits.gainMax) << key;
      EXPECT_NEAR(nearest, gain, 1.5) << key;
      before = nearest;
    }
    EXPECT_EQ(sensor.NearestGain(model.limits.gainMax), model.limits.gainMax) << key;
    for (std::size_t mode = 0; mode < std::max<std::size_t>(sensor.Modes().size(), 1); ++mode) {
      const std::uint32_t lineNs = ReadoutModeOf(model, static_cast<int>(mode)).lineTimeNs;
      const auto shortest = static_cast<std::uint64_t>(model.limits.exposureMin);
      EXPECT_EQ(sensor.NearestExposure(shortest, lineNs), shortest)
          << key << ": a limit is a thing that it can do";
      for (std::uint64_t us = shortest; us < 10'000'000; us += us / 7 + 1) {
        const std::uint64_t nearest = sensor.NearestExposure(us, lineNs);
        EXPECT_EQ(sensor.NearestExposure(nearest, lineNs), nearest) << key << " " << us;
        EXPECT_LE(std::abs(static_cast<double>(nearest) - static_cast<double>(us)), lineNs / 2000.0 + 0.5) << key;
      }
    }
  }
}

TEST(Sensors, TellAGainFromItsCodeAsTheyWroteIt) {
  for (int code = 0; code <= 100; ++code)
    EXPECT_EQ(FindModel("l3m")->sensor->GainOf(static_cast<std::uint16_t>(code)), 3 * code);
  const Sensor& d6 = *FindModel("d6m")->sensor;
  for (int setting = 0; setting <= 360; ++setting) {
    const int gain = d6.NearestGain(setting);
    RegisterBatch batch;
    d6.AddGain(batch, gain);
    const auto writes = batch.Writes();
    ASSERT_EQ(writes.size(), 4U);
    const unsigned analog = writes[0].value | unsigned{writes[1].value} << 8;
    const unsigned code = analog | unsigned{writes[2].value} << 12 | unsigned{writes[3].value} << 13;
    EXPECT_EQ(d6.GainOf(static_cast<std::uint16_t>(code)), gain);
    const double factor =
        512.0 / (512.0 - analog) * (writes[2].value != 0 ? 4 : 1) * (writes[3].value != 0 ? 2 : 1);
    EXPECT_NEAR(20.0 * std::log10(factor), gain / 10.0, 0.051) << setting;
    EXPECT_NEAR(static_cast<double>(d6.ElectronsPerAdu(3.8F, gain)), 3.8 / factor, 1e-6);
  }
}

}  // namespace
}  // namespace orq
