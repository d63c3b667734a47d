// The trigger unit's decisions, without a camera and without time passing.
#include <gtest/gtest.h>

#include "virtual/device/FpgaRegisters.h"
#include "virtual/stream/TriggerUnit.h"

namespace orq {
namespace {

using Sensor = TriggerUnit::Sensor;
using Time = TriggerUnit::Time;

Time At(int ms) {
  return Time{} + std::chrono::hours(1) + std::chrono::milliseconds(ms);
}

constexpr TriggerSetting kSoftware{.listens = true, .external = false, .edge = true, .activeHigh = true};
constexpr TriggerSetting kSoftwareLevel{.listens = true, .external = false, .edge = false, .activeHigh = true};
constexpr TriggerSetting kRising{.listens = true, .external = true, .edge = true, .activeHigh = true};
constexpr TriggerSetting kFalling{.listens = true, .external = true, .edge = true, .activeHigh = false};
constexpr TriggerSetting kHigh{.listens = true, .external = true, .edge = false, .activeHigh = true};
constexpr TriggerSetting kLow{.listens = true, .external = true, .edge = false, .activeHigh = false};

TriggerUnit Unit(const TriggerSetting& setting) {
  TriggerUnit unit;
  unit.Set(setting);
  return unit;
}

TEST(TriggerUnitTest, TheRegistersBitsSetIt) {
  const struct {
    std::uint8_t bits;
    TriggerSetting setting;
  } cases[] = {
      {0x00, {}},
      {0x01, {.listens = true}},
      {0x11, {}},  // ignores its input: free running
      {0x0D, kSoftware},
      {0x0F, kRising},
      {0x07, kFalling},
      {0x09, kSoftwareLevel},
      {0x0B, kHigh},
      {0x03, kLow},
      {0x0E, {.listens = false, .external = true, .edge = true, .activeHigh = true}},
  };
  for (const auto& c : cases) {
    FpgaRegisters fpga;
    fpga.Set(0x02, c.bits);
    EXPECT_EQ(TriggerSettingOf(fpga), c.setting) << int{c.bits};
  }
}

TEST(TriggerUnitTest, ASoftwareRequestIsServedOnceFromItsMoment) {
  for (const TriggerSetting& setting : {kSoftware, kSoftwareLevel}) {
    TriggerUnit unit = Unit(setting);
    EXPECT_FALSE(unit.Due(At(0), At(9)));
    unit.SoftwareRequest(Sensor::Ready, At(10));
    ASSERT_TRUE(unit.Due(At(0), At(10)));
    EXPECT_EQ(unit.Serve(At(0)), At(10));
    EXPECT_FALSE(unit.Due(At(0), At(11)));
    EXPECT_EQ(unit.Missed(), 0U);
  }
}

TEST(TriggerUnitTest, ATriggerOnABusySensorIsMissedAndCounted) {
  for (const TriggerSetting& setting : {kSoftware, kSoftwareLevel}) {
    TriggerUnit unit = Unit(setting);
    unit.SoftwareRequest(Sensor::Ready, At(1));
    unit.SoftwareRequest(Sensor::Ready, At(2));  // the first one is not served yet
    unit.Serve(At(0));
    unit.SoftwareRequest(Sensor::Busy, At(3));
    EXPECT_FALSE(unit.Due(At(0), At(4)));
    EXPECT_EQ(unit.Missed(), 2U);
  }
}

TEST(TriggerUnitTest, NothingCountsWhileTheSensorIsOff) {
  for (const TriggerSetting& setting : {kSoftware, kRising, kHigh}) {
    TriggerUnit unit = Unit(setting);
    unit.SoftwareRequest(Sensor::Off, At(1));
    unit.SetLine(true, Sensor::Off, At(1));
    unit.SetLine(false, Sensor::Off, At(2));
    EXPECT_FALSE(unit.Due(At(0), At(3)));
    EXPECT_EQ(unit.Missed(), 0U);
  }
}

TEST(TriggerUnitTest, EachSourceListensToItselfOnly) {
  TriggerUnit software = Unit(kSoftware);
  software.SetLine(true, Sensor::Ready, At(1));
  EXPECT_FALSE(software.Due(At(0), At(2)));
  TriggerUnit external = Unit(kRising);
  external.SoftwareRequest(Sensor::Ready, At(1));
  external.SoftwareRequest(Sensor::Busy, At(1));
  EXPECT_FALSE(external.Due(At(0), At(2)));
  EXPECT_EQ(external.Missed(), 0U);
  TriggerUnit idle = Unit({.listens = false, .external = true, .edge = true, .activeHigh = true});
  idle.SetLine(true, Sensor::Ready, At(1));
  EXPECT_FALSE(idle.Due(At(0), At(2)));
}

TEST(TriggerUnitTest, ARisingEdgeIsServedFromItsMomentAndAFallingOneIsNot) {
  TriggerUnit unit = Unit(kRising);
  unit.SetLine(true, Sensor::Ready, At(5));
  unit.SetLine(false, Sensor::Busy, At(6));
  ASSERT_TRUE(unit.Due(At(0), At(7)));
  EXPECT_EQ(unit.Serve(At(0)), At(5));
  unit.SetLine(false, Sensor::Ready, At(8));  // no change
  EXPECT_FALSE(unit.Due(At(0), At(8)));
  EXPECT_EQ(unit.Missed(), 0U);
}

TEST(TriggerUnitTest, AFallingEdgeIsServedFromItsMomentAndARisingOneIsNot) {
  TriggerUnit unit = Unit(kFalling);
  unit.SetLine(true, Sensor::Ready, At(5));
  EXPECT_FALSE(unit.Due(At(0), At(5)));
  unit.SetLine(false, Sensor::Ready, At(6));
  ASSERT_TRUE(unit.Due(At(0), At(6)));
  EXPECT_EQ(unit.Serve(At(0)), At(6));
}

TEST(TriggerUnitTest, AnEdgeOnABusySensorIsMissed) {
  TriggerUnit unit = Unit(kRising);
  unit.SetLine(true, Sensor::Busy, At(1));
  EXPECT_EQ(unit.Missed(), 1U);
  EXPECT_FALSE(unit.Due(At(0), At(100))) << "an edge does not wait, though the line stays high";
  EXPECT_FALSE(unit.AtLevel());
}

TEST(TriggerUnitTest, ALevelExposesAgainAndAgainWhenTheSensorIsFree) {
  for (const bool high : {true, false}) {
    TriggerUnit unit = Unit(high ? kHigh : kLow);
    if (!high) unit.SetLine(true, Sensor::Ready, At(0));
    EXPECT_FALSE(unit.AtLevel());
    EXPECT_FALSE(unit.Due(At(0), At(9)));
    unit.SetLine(high, Sensor::Ready, At(10));
    EXPECT_TRUE(unit.AtLevel());
    ASSERT_TRUE(unit.Due(At(0), At(10)));
    EXPECT_EQ(unit.Serve(At(0)), At(10));
    EXPECT_FALSE(unit.Due(At(30), At(29)));
    ASSERT_TRUE(unit.Due(At(30), At(30)));
    EXPECT_EQ(unit.Serve(At(30)), At(30));
    unit.SetLine(!high, Sensor::Busy, At(40));
    EXPECT_FALSE(unit.Due(At(50), At(60)));
    EXPECT_EQ(unit.Missed(), 0U);
  }
}

TEST(TriggerUnitTest, ALevelThatIsGoneBeforeTheSensorsThreadLooksIsStillServed) {
  TriggerUnit unit = Unit(kHigh);
  unit.SetLine(true, Sensor::Ready, At(10));
  unit.SetLine(false, Sensor::Ready, At(11));
  ASSERT_TRUE(unit.Due(At(0), At(12)));
  EXPECT_EQ(unit.Serve(At(0)), At(10));
  EXPECT_FALSE(unit.Due(At(0), At(13)));
  EXPECT_EQ(unit.Missed(), 0U);
}

TEST(TriggerUnitTest, ALevelThatComesAndGoesOnABusySensorIsMissedOnce) {
  TriggerUnit unit = Unit(kHigh);
  unit.SetLine(true, Sensor::Busy, At(10));
  EXPECT_EQ(unit.Missed(), 0U) << "it may still be there when the sensor is free";
  unit.SetLine(false, Sensor::Busy, At(11));
  EXPECT_EQ(unit.Missed(), 1U);
  unit.SetLine(true, Sensor::Busy, At(12));
  ASSERT_TRUE(unit.Due(At(20), At(20)));
  EXPECT_EQ(unit.Serve(At(20)), At(20)) << "it lasted until the sensor was free";
  unit.SetLine(false, Sensor::Busy, At(21));
  EXPECT_EQ(unit.Missed(), 1U);
}

TEST(TriggerUnitTest, ALevelThatStandsWhileAnEarlierTriggerIsServedIsMissedWhenItEnds) {
  TriggerUnit unit = Unit(kHigh);
  unit.SetLine(true, Sensor::Ready, At(10));
  unit.SetLine(false, Sensor::Ready, At(11));
  unit.SetLine(true, Sensor::Ready, At(12));  // the first still waits for the sensor's thread
  EXPECT_EQ(unit.Serve(At(0)), At(10));
  unit.SetLine(false, Sensor::Busy, At(13));
  EXPECT_EQ(unit.Missed(), 1U);
}

TEST(TriggerUnitTest, ALevelThatStandsAlreadyCountsFromWhenTheSensorIsFree) {
  TriggerUnit unit = Unit(kHigh);
  unit.SetLine(true, Sensor::Off, At(1));
  ASSERT_TRUE(unit.Due(At(50), At(50)));
  EXPECT_EQ(unit.Serve(At(50)), At(50));
}

TEST(TriggerUnitTest, AnotherSettingForgetsWhatWasTakenAndTheSameOneDoesNot) {
  TriggerUnit unit = Unit(kSoftware);
  unit.SoftwareRequest(Sensor::Ready, At(1));
  unit.Set(kSoftware);
  EXPECT_TRUE(unit.Due(At(0), At(2)));
  unit.Set(kSoftwareLevel);
  EXPECT_FALSE(unit.Due(At(0), At(2)));
  unit.SoftwareRequest(Sensor::Ready, At(3));
  unit.Forget();
  EXPECT_FALSE(unit.Due(At(0), At(4)));
}

}  // namespace
}  // namespace orq
