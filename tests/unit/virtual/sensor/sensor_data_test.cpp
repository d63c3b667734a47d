#include "virtual/sensor/SensorData.h"

#include <gmock/gmock.h>

#include <iterator>

#include "virtual/device/DeviceData.h"

namespace orq {
namespace {

const SensorData& K1C() {
  return *FindSensor("k1c");
}
const SensorData& X26M() {
  return *FindSensor("x26m");
}

TEST(SensorData, StatesGeometryAndDepthOfEachModel) {
  const struct {
    const char* key;
    int width, height, adcBits, bayerPattern;
    bool binsTwoApart;
  } rows[] = {
      {"k1c", 1936, 1096, 12, 0, false},  {"k1m", 1936, 1096, 12, -1, false}, {"k2m", 2560, 1920, 12, -1, false},
      {"x26m", 6248, 4176, 16, -1, true}, {"t46c", 4080, 3000, 14, 2, false}, {"h53m", 3200, 2160, 12, -1, false},
      {"b29m", 4192, 2816, 16, -1, true}, {"l3m", 800, 600, 12, -1, false},   {"d6m", 960, 640, 14, -1, false}};
  EXPECT_EQ(std::size(rows) + 1, AllDevices().size()) << "each model has a sensor, but for the one that replays";
  for (const auto& row : rows) {
    const SensorData* sensor = FindSensor(row.key);
    ASSERT_NE(sensor, nullptr) << row.key;
    EXPECT_NE(FindDevice(row.key), nullptr) << row.key;
    EXPECT_EQ(sensor->width, row.width) << row.key;
    EXPECT_EQ(sensor->height, row.height) << row.key;
    EXPECT_EQ(sensor->adcBits, row.adcBits) << row.key;
    EXPECT_EQ(sensor->bayerPattern, row.bayerPattern) << row.key;
    EXPECT_EQ(sensor->binsTwoApart, row.binsTwoApart) << row.key;
  }
}

TEST(SensorData, KnowsNoOtherModel) {
  EXPECT_EQ(FindSensor("replay"), nullptr);
  EXPECT_EQ(FindSensor(""), nullptr);
}

TEST(GainFactor, FollowsTheSteppedTable) {
  const struct {
    int gain;
    double factor;
  } rows[] = {{0, 1.0},  {1, 1.0625}, {15, 1.9375}, {16, 2.0},  {20, 2.5},  {31, 3.875}, {32, 4.0},  {47, 7.75},
              {48, 8.0}, {63, 15.5},  {64, 16.0},   {70, 22.0}, {79, 31.0}, {80, 32.0},  {100, 64.0}};
  for (const auto& row : rows)
    EXPECT_DOUBLE_EQ(GainFactor(SensorGainLaw::Stepped, row.gain), row.factor) << "gain " << row.gain;
}

TEST(GainFactor, IsTenfoldPerTwoHundredTenthsOfADecibel) {
  EXPECT_DOUBLE_EQ(GainFactor(SensorGainLaw::TenthDecibel, 0), 1.0);
  EXPECT_DOUBLE_EQ(GainFactor(SensorGainLaw::TenthDecibel, 200), 10.0);
  EXPECT_DOUBLE_EQ(GainFactor(SensorGainLaw::TenthDecibel, 400), 100.0);
  EXPECT_NEAR(GainFactor(SensorGainLaw::TenthDecibel, 100), 3.16227766, 1e-8);
}

TEST(GainFactor, HoldsSettingsBelowZeroAtUnity) {
  EXPECT_DOUBLE_EQ(GainFactor(SensorGainLaw::Stepped, -5), 1.0);
  EXPECT_DOUBLE_EQ(GainFactor(SensorGainLaw::TenthDecibel, -5), 1.0);
}

TEST(ElectronsPerAdu, IsTheBaseValueOverTheGainFactor) {
  EXPECT_NEAR(ElectronsPerAdu(K1C(), 0), 3.6, 1e-6);
  EXPECT_NEAR(ElectronsPerAdu(K1C(), 64), 0.225, 1e-7);
  EXPECT_NEAR(ElectronsPerAdu(X26M(), 0), 0.78, 1e-7);
  EXPECT_NEAR(ElectronsPerAdu(X26M(), 200), 0.078, 1e-8);
}

TEST(ReadNoise, FallsFromTheAdcsShareToThePixels) {
  EXPECT_NEAR(ReadNoiseElectrons(K1C(), 0), 3.3, 0.01);
  EXPECT_NEAR(ReadNoiseElectrons(K1C(), 100), 0.9, 0.01);
  EXPECT_NEAR(ReadNoiseElectrons(X26M(), 0), 3.3, 0.01);
  EXPECT_NEAR(ReadNoiseElectrons(X26M(), 300), 1.4, 0.01);
}

TEST(DarkScale, DoublesEverySixPointThreeDegrees) {
  EXPECT_DOUBLE_EQ(DarkScale(20.0), 1.0);
  EXPECT_NEAR(DarkScale(26.3), 2.0, 1e-9);
  EXPECT_NEAR(DarkScale(20.0 - 3 * 6.3), 0.125, 1e-9);
}

TEST(DarkScale, HoldsTemperaturesNoSensorHas) {
  EXPECT_DOUBLE_EQ(DarkScale(1e9), DarkScale(100.0));
  EXPECT_DOUBLE_EQ(DarkScale(-273.0), DarkScale(-100.0));
}

TEST(BlackLevel, IsOneCountPerStepAtTwelveBitsAndTenAtSixteen) {
  EXPECT_EQ(BlackLevelCounts(K1C(), 0), 0);
  EXPECT_EQ(BlackLevelCounts(K1C(), 50), 50);
  EXPECT_EQ(BlackLevelCounts(X26M(), 50), 500);
}

TEST(BlackLevel, StaysInsideTheAdcsRange) {
  EXPECT_EQ(BlackLevelCounts(K1C(), -1), 0);
  EXPECT_EQ(BlackLevelCounts(K1C(), 5000), 4095);
  EXPECT_EQ(BlackLevelCounts(X26M(), 2'000'000'000), 65535);
}

}  // namespace
}  // namespace orq
