// Sensors with registers of their own, written as their data sheets ask for and otherwise. Time is the test's.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/DataSheet.h"
#include "virtual/device/StateFile.h"
#include "virtual/sensor/chips/SensorChip.h"

namespace orq {
namespace {

using std::chrono::microseconds;
using test::DataSheet;
using test::SheetStep;

struct Bench {
  explicit Bench(const std::string& sensor) : Bench(DataSheet(sensor)) {}
  explicit Bench(const DataSheet& page)
      : sheet(page), chip(MakeSensorChip(sheet.models.at(0))), registers(kSensorRegisters) {
    chip->PowerUp(registers);
  }
  void Write(const std::vector<SheetStep>& steps) {
    for (const SheetStep& step : steps) {
      chip->Write(registers, step.reg, step.value, false, now);
      now += microseconds(step.waitUs);
    }
  }
  ChipSetting Setting() const { return chip->Setting(registers); }
  int Black() const { return Setting().readout->blackCounts; }
  bool IsWrong() const { return !Setting().running || Black() != 0; }

  DataSheet sheet;
  std::unique_ptr<SensorChip> chip;
  std::vector<std::uint8_t> registers;
  SensorChip::Time now{std::chrono::hours(1)};
};

class SensorChips : public testing::TestWithParam<std::string> {};

TEST_P(SensorChips, RunAsTheirDataSheetsSay) {
  Bench bench(GetParam());
  EXPECT_FALSE(bench.Setting().running);
  bench.Write(bench.sheet.powerUp);
  EXPECT_FALSE(bench.Setting().running) << "in standby";
  bench.Write(bench.sheet.wake);
  EXPECT_TRUE(bench.Setting().running);
  EXPECT_EQ(bench.Black(), 0) << "no black level was set";
  bench.Write(bench.sheet.standby);
  EXPECT_FALSE(bench.Setting().running);
  bench.Write(bench.sheet.wake);
  EXPECT_TRUE(bench.Setting().running);
  bench.chip->SetClock(false, bench.now);
  bench.chip->SetClock(true, bench.now);
  EXPECT_FALSE(bench.Setting().running);
  bench.Write(bench.sheet.powerUp);
  bench.Write(bench.sheet.wake);
  EXPECT_TRUE(bench.Setting().running);
}

TEST_P(SensorChips, ThatWereLeftRunningRunOn) {
  Bench bench(GetParam());
  bench.Write(bench.sheet.powerUp);
  bench.Write(bench.sheet.wake);
  const auto other = MakeSensorChip(bench.sheet.models.at(0));
  std::vector<std::uint8_t> registers = bench.registers;
  other->TakeUp(registers);
  EXPECT_TRUE(other->Setting(registers).running);
  EXPECT_EQ(other->Setting(registers).readout->blackCounts, 0);
}

// A driver's bug shows: without any one step, or any one wait, there are no frames or the black level is wrong.
TEST_P(SensorChips, ShowEachStepThatIsMissing) {
  const DataSheet sheet(GetParam());
  std::vector<SheetStep> all = sheet.powerUp;
  all.insert(all.end(), sheet.wake.begin(), sheet.wake.end());
  for (std::size_t i = 1; i < all.size(); ++i) {
    if (all[i].value == 0 && i < sheet.powerUp.size()) continue;  // what is 0 after a reset need not be written
    Bench bench(sheet);
    std::vector<SheetStep> steps = all;
    steps.erase(steps.begin() + static_cast<std::ptrdiff_t>(i));
    bench.Write(steps);
    EXPECT_TRUE(bench.IsWrong()) << "without step " << i;
  }
}

// A reset, the first step, matters after another program: one that has put nonsense everywhere.
TEST_P(SensorChips, ShowThatTheResetIsMissing) {
  const DataSheet sheet(GetParam());
  const auto shows = [&](std::uint8_t nonsense) {
    Bench bench(sheet);
    for (std::uint32_t reg = sheet.FirstRegister(); reg < sheet.FirstRegister() + 0x20U; ++reg)
      bench.chip->Write(bench.registers, static_cast<std::uint16_t>(reg), nonsense, false, bench.now);
    bench.now += std::chrono::seconds(1);
    bench.Write({sheet.powerUp.begin() + 1, sheet.powerUp.end()});
    bench.Write(sheet.wake);
    return bench.IsWrong();
  };
  EXPECT_TRUE(shows(1) || shows(2) || shows(0xFF));
}

TEST_P(SensorChips, ShowEachWaitThatIsTooShort) {
  const DataSheet sheet(GetParam());
  std::vector<SheetStep> all = sheet.powerUp;
  all.insert(all.end(), sheet.wake.begin(), sheet.wake.end());
  int waits = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (all[i].waitUs == 0) continue;
    ++waits;
    Bench bench(sheet);
    std::vector<SheetStep> steps = all;
    steps[i].waitUs -= 1;
    bench.Write(steps);
    EXPECT_TRUE(bench.IsWrong()) << "after step " << i;
  }
  EXPECT_GE(waits, 3);
}

TEST_P(SensorChips, ShowThePowerUpInTheWrongOrder) {
  Bench bench(GetParam());
  bench.Write(bench.sheet.wake);
  bench.Write(bench.sheet.powerUp);
  EXPECT_FALSE(bench.Setting().running);
  // The PLL told to run before it is set.
  Bench other(GetParam());
  std::vector<SheetStep> steps = other.sheet.powerUp;
  const auto runs = steps.begin() + static_cast<std::ptrdiff_t>(other.sheet.PllStart());
  std::rotate(steps.begin() + 1, runs, runs + 1);
  other.Write(steps);
  other.Write(other.sheet.wake);
  EXPECT_FALSE(other.Setting().running);
}

INSTANTIATE_TEST_SUITE_P(All, SensorChips, testing::ValuesIn(test::SheetNames()),
                         [](const auto& instance) { return instance.param; });

// The registers of settings, by hand from the data sheets.
TEST(L3Chip, CountsLinesHighByteFirstAndGainInThreeTenthsOfADecibel) {
  Bench bench("l3");
  bench.Write({{0x3020, 0}, {0x3021, 1}, {0x3022, 2}, {0x3023, 4}, {0x3030, 20}, {0x3038, 1}, {0x3039, 2}});
  bench.Write(bench.sheet.powerUp);
  EXPECT_EQ(bench.Setting().exposureUs, 13U) << "the reset takes all back: one line";
  bench.Write({{0x3020, 0}, {0x3021, 1}, {0x3022, 2}, {0x3023, 4}, {0x3030, 20}, {0x3038, 1}, {0x3039, 2}});
  bench.Write(bench.sheet.wake);
  const ChipSetting setting = bench.Setting();
  EXPECT_EQ(setting.exposureUs, 66'052U * 25 / 2);
  EXPECT_EQ(setting.gain, 20);
  EXPECT_EQ(setting.blackLevel, 258);
  EXPECT_NEAR(setting.readout->electronsPerAdu, 2.4 / 1.99526, 1e-4) << "6 dB";
  EXPECT_NEAR(setting.readout->readNoiseElectrons, 1.5933, 1e-3);
}

TEST(L3Chip, TakesUpTogetherWhatWasHeld) {
  Bench bench("l3");
  bench.Write({{0x3001, 1}, {0x3022, 1}, {0x3023, 0}, {0x3030, 7}});
  EXPECT_EQ(bench.Setting().gain, 0);
  bench.Write({{0x3001, 0}});
  EXPECT_EQ(bench.Setting().gain, 7);
  EXPECT_EQ(bench.Setting().exposureUs, 3200U);
}

TEST(D6Chip, OpensItsShutterLateAndMultipliesThreeGains) {
  Bench bench("d6");
  bench.Write(bench.sheet.powerUp);
  // 1000 lines, the shutter opens in line 744; code 256 is a factor of 2.
  bench.Write({{0x4020, 0xE8},
               {0x4021, 0x03},
               {0x4024, 0xE8},
               {0x4025, 0x02},
               {0x4031, 1},
               {0x4032, 1},
               {0x4033, 1},
               {0x4038, 9}});
  ChipSetting setting = bench.Setting();
  EXPECT_EQ(setting.exposureUs, 2560U);
  EXPECT_EQ(setting.gain, 0x3100);
  EXPECT_DOUBLE_EQ(setting.readout->electronsPerAdu, 3.8 / 16);
  EXPECT_NEAR(setting.readout->readNoiseElectrons, std::hypot(1.3, 0.75), 1e-9);
  bench.Write({{0x4040, 1}});
  EXPECT_EQ(bench.Setting().mode, 0) << "taken up by waking";
  bench.Write(bench.sheet.wake);
  setting = bench.Setting();
  EXPECT_EQ(setting.mode, 1);
  EXPECT_EQ(setting.readout->blackCounts, 36);
  EXPECT_EQ(setting.lineTimeNs, 20'000U);
  EXPECT_EQ(setting.exposureUs, 5120U);
  EXPECT_DOUBLE_EQ(setting.readout->electronsPerAdu, 0.95 / 16);
  EXPECT_EQ(setting.readout->fullWellElectrons, 15'000.0);
  bench.Write({{0x4040, 0}});
  EXPECT_EQ(bench.Setting().mode, 1) << "awake";
}

}  // namespace
}  // namespace orq
