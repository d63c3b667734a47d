// What a driver writes, and what its sensor's virtual twin makes of it: two readings of one data sheet. They must
// agree in every setting of every model.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "link/WireProtocol.h"
#include "support/Cameras.h"
#include "support/DataSheet.h"
#include "virtual/device/StateFile.h"
#include "virtual/sensor/chips/PlainChip.h"

namespace orq {
namespace {

/// A driver and a chip wired together; time is the test's.
class Twins {
 public:
  explicit Twins(const std::string& key)
      : model(*FindModel(key)), sensor(*model.sensor), chip(MakeSensorChip(key)), registers_(kSensorRegisters) {
    chip->PowerUp(registers_);
    Run(sensor.PowerUp());
    SetMode(0);
  }
  void SetMode(int mode) {
    Run(sensor.Standby());
    RegisterBatch batch;
    sensor.AddMode(batch, mode);
    Write(batch);
    Run(sensor.Wake());
  }
  void Write(const RegisterBatch& batch) {
    Run(sensor.BeginTogether());
    for (const RegisterWrite& write : batch.Writes())
      if (write.sensor)
        chip->Write(registers_, write.reg, write.value, false, now_);
      else
        fpga_[write.reg] = write.value;
    Run(sensor.EndTogether());
  }
  ChipSetting Setting() const { return chip->Setting(registers_); }
  /// What a pixel reads: the chip knows, or the row of a sensor that takes the settings themselves.
  PixelReadout Readout() const {
    const ChipSetting setting = Setting();
    return setting.readout ? *setting.readout
                           : ReadoutOf(*FindSensor(model.key), setting.gain, setting.blackLevel);
  }
  std::uint64_t ExposureUs() const {
    if (const auto us = Setting().exposureUs) return *us;
    std::uint64_t us = 0;
    for (std::uint16_t i = 5; i-- > 0;)
      us = us << 8 | fpga_.at(static_cast<std::uint16_t>(wire::kFpgaExposure + i));
    return us;
  }

  const ModelData& model;
  const Sensor& sensor;
  const std::unique_ptr<SensorChip> chip;

 private:
  void Run(std::span<const SensorStep> steps) {
    for (const SensorStep& step : steps) {
      chip->Write(registers_, step.reg, step.value, false, now_);
      now_ += std::chrono::microseconds(step.waitUs);
    }
  }

  std::vector<std::uint8_t> registers_;
  std::map<std::uint16_t, std::uint8_t> fpga_;
  SensorChip::Time now_{std::chrono::hours(1)};
};

class SensorTwins : public testing::TestWithParam<const char*> {
 protected:
  Twins twins{GetParam()};
  const ModelData& model = twins.model;
  const Sensor& sensor = twins.sensor;
  int modes = std::max<int>(static_cast<int>(sensor.Modes().size()), 1);
};

TEST_P(SensorTwins, AreBothPlainOrBothOfTheirOwn) {
  const bool plainDriver = model.sensor == &kPlainSensor || model.sensor == &kSteppedSensor;
  const bool plainChip = dynamic_cast<const PlainChip*>(twins.chip.get()) != nullptr;
  EXPECT_EQ(plainChip, plainDriver) << "a driver in ModelTable.cpp and a chip in SensorChip.cpp belong together";
}

TEST_P(SensorTwins, RunOnceTheDriverHasWokenThem) {
  EXPECT_TRUE(twins.Setting().running);
  for (int mode = 0; mode < modes; ++mode) {
    twins.SetMode(mode);
    const ChipSetting setting = twins.Setting();
    EXPECT_TRUE(setting.running) << "mode " << mode;
    EXPECT_EQ(setting.mode, mode);
    const ReadoutMode stated = ReadoutModeOf(model, mode);
    EXPECT_EQ(twins.Readout().fullWellElectrons, stated.fullWellElectrons) << "mode " << mode;
    if (setting.lineTimeNs != 0) EXPECT_EQ(setting.lineTimeNs, stated.lineTimeNs) << "mode " << mode;
  }
}

TEST_P(SensorTwins, AgreeInEveryGain) {
  for (int mode = 0; mode < modes; ++mode) {
    twins.SetMode(mode);
    double before = HUGE_VAL;
    for (int gain = model.limits.gainMin; gain <= model.limits.gainMax; ++gain) {
      const int nearest = sensor.NearestGain(gain);
      RegisterBatch batch;
      sensor.AddGain(batch, nearest);
      twins.Write(batch);
      const ChipSetting setting = twins.Setting();
      ASSERT_EQ(sensor.GainOf(static_cast<std::uint16_t>(setting.gain)), nearest)
          << "gain " << gain << ", code of the header 0x" << std::hex << setting.gain;
      const double electrons = twins.Readout().electronsPerAdu;
      ASSERT_NEAR(ElectronsPerAdc(model, mode, nearest) / electrons, 1.0, 1e-4) << "gain " << gain;
      ASSERT_LE(electrons, before) << "gain " << gain << " amplifies less than the one below it";
      before = electrons;
    }
  }
}

TEST_P(SensorTwins, AgreeInEveryOffset) {
  for (int offset = model.limits.offsetMin; offset <= model.limits.offsetMax; ++offset) {
    RegisterBatch batch;
    sensor.AddBlackLevel(batch, offset);
    twins.Write(batch);
    ASSERT_EQ(sensor.BlackLevelOf(static_cast<std::uint16_t>(twins.Setting().blackLevel)), offset);
    ASSERT_EQ(twins.Readout().blackCounts, offset * model.countsPerOffset) << "offset " << offset;
  }
}

TEST_P(SensorTwins, AgreeInExposuresFromTheShortestToTheLongest) {
  const auto shortest = static_cast<std::uint64_t>(model.limits.exposureMin);
  const auto longest = static_cast<std::uint64_t>(model.limits.exposureMax);
  for (int mode = 0; mode < modes; ++mode) {
    twins.SetMode(mode);
    const std::uint32_t lineNs = ReadoutModeOf(model, mode).lineTimeNs;
    for (std::uint64_t us = shortest; us <= longest;
         us = us == longest ? us + 1 : std::min(us + us / 7 + 1, longest)) {
      const std::uint64_t nearest = sensor.NearestExposure(us, lineNs);
      RegisterBatch batch;
      sensor.AddExposure(batch, nearest, lineNs);
      twins.Write(batch);
      ASSERT_EQ(twins.ExposureUs(), nearest) << "of " << us << " us in mode " << mode;
    }
  }
}

// A register of two settings is a slip of the pen that makes one undo the other.
TEST_P(SensorTwins, HaveRegistersOfTheirOwnForEachSetting) {
  std::map<std::string, std::set<std::pair<bool, std::uint16_t>>> owners;
  const auto note = [&](const std::string& what, const RegisterBatch& batch) {
    std::set<std::pair<bool, std::uint16_t>> once;
    for (const RegisterWrite& write : batch.Writes())
      EXPECT_TRUE(once.emplace(write.sensor, write.reg).second)
          << what << " writes register 0x" << std::hex << write.reg << " twice";
    owners[what].insert(once.begin(), once.end());
  };
  for (int mode = 0; mode < modes; ++mode) {
    RegisterBatch modeBatch, exposure, gain, offset;
    if (modes > 1) sensor.AddMode(modeBatch, mode);
    sensor.AddExposure(exposure, 1'000, ReadoutModeOf(model, mode).lineTimeNs);
    sensor.AddGain(gain, model.limits.gainMax);
    sensor.AddBlackLevel(offset, model.limits.offsetMax);
    note("mode", modeBatch);
    note("exposure", exposure);
    note("gain", gain);
    note("offset", offset);
  }
  for (const auto& [what, registers] : owners) {
    for (const auto& [other, others] : owners) {
      for (const auto& [ofSensor, reg] : registers) {
        if (what < other) {
          EXPECT_FALSE(others.contains({ofSensor, reg}))
              << "register 0x" << std::hex << reg << " is that of " << what << " and of " << other;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Models, SensorTwins, testing::ValuesIn(test::CameraKeys()),
                         [](const auto& instance) { return std::string(instance.param); });

TEST(DataSheets, AreThereForEverySensorWithRegistersOfItsOwn) {
  std::set<std::string> described;
  for (const std::string& name : test::SheetNames()) {
    const test::DataSheet sheet(name);
    described.insert(sheet.models.begin(), sheet.models.end());
  }
  std::set<std::string> wanted;
  for (const ModelData& model : AllModels())
    if (!model.sensor->PowerUp().empty()) wanted.insert(std::string(model.key));
  EXPECT_EQ(described, wanted)
      << "models that a page of docs/sensors begins with, and models that have a power-up";
}

}  // namespace
}  // namespace orq
