// The trigger outputs' pulses, in device time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "virtual/device/FpgaRegisters.h"
#include "virtual/stream/SyncOutputs.h"

namespace orq {

void PrintTo(const SyncEdge& edge, std::ostream* out) {
  *out << edge.timeUs << (edge.high ? " high" : " low");
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kLater = 1'000'000;
constexpr SyncSetting kPulse{.on = true, .activeHigh = true, .delayUs = 100, .keepUs = 50};

SyncEdge Up(std::uint64_t us) {
  return {us, true};
}
SyncEdge Down(std::uint64_t us) {
  return {us, false};
}

TEST(SyncOutputTest, TheRegistersSetBothOutputs) {
  FpgaRegisters fpga;
  fpga.Set(0x03, 0x01 | 0x08);
  fpga.SetWide(0x04, 4, 0x04030201);
  fpga.SetWide(0x08, 4, 0xFFFFFFFF);
  fpga.SetWide(0x0C, 4, 7);
  fpga.SetWide(0x10, 4, 9);
  auto outputs = SyncSettingsOf(fpga);
  EXPECT_TRUE(outputs[0].on);
  EXPECT_FALSE(outputs[0].activeHigh);
  EXPECT_EQ(outputs[0].delayUs, 0x04030201U);
  EXPECT_EQ(outputs[0].keepUs, 0xFFFFFFFFU);
  EXPECT_FALSE(outputs[1].on);
  EXPECT_TRUE(outputs[1].activeHigh);
  EXPECT_EQ(outputs[1].delayUs, 7U);
  EXPECT_EQ(outputs[1].keepUs, 9U);
  fpga.Set(0x03, 0x02 | 0x04);
  outputs = SyncSettingsOf(fpga);
  EXPECT_FALSE(outputs[0].on);
  EXPECT_TRUE(outputs[0].activeHigh);
  EXPECT_TRUE(outputs[1].on);
  EXPECT_FALSE(outputs[1].activeHigh);
}

TEST(SyncOutputTest, APulseFollowsEachExposureAfterItsDelay) {
  SyncOutput output;
  output.Set(kPulse, 0);
  output.ExposureBegins(1000);
  EXPECT_THAT(output.Edges(1099), IsEmpty());
  EXPECT_THAT(output.Edges(1100), ElementsAre(Up(1100)));
  EXPECT_THAT(output.Edges(1149), ElementsAre(Up(1100)));
  output.ExposureBegins(5000);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(1100), Down(1150), Up(5100), Down(5150)));
}

TEST(SyncOutputTest, AnActiveLowOutputRestsHigh) {
  SyncOutput output;
  output.Set({.on = true, .activeHigh = false, .delayUs = 0, .keepUs = 10}, 5);
  output.ExposureBegins(20);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(5), Down(20), Up(30)));
  output.Set({}, kLater + 1);
  EXPECT_THAT(output.Edges(2 * kLater), ElementsAre(Up(5), Down(20), Up(30), Down(kLater + 1))) << "off is low";
}

TEST(SyncOutputTest, OffOrWithoutLengthThereIsNoPulse) {
  SyncOutput output;
  output.Set({.on = false, .activeHigh = true, .delayUs = 0, .keepUs = 10}, 0);
  output.ExposureBegins(20);
  EXPECT_THAT(output.Edges(kLater), IsEmpty());
  output.Set({.on = true, .activeHigh = true, .delayUs = 10, .keepUs = 0}, kLater);
  output.ExposureBegins(kLater + 1);
  EXPECT_THAT(output.Edges(2 * kLater), IsEmpty());
}

TEST(SyncOutputTest, AnExposureDuringThePulseBeginsItAnew) {
  SyncOutput output;
  output.Set(kPulse, 0);
  output.ExposureBegins(1000);  // 1100 to 1150
  output.ExposureBegins(1120);  // 1220 to 1270
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(1100), Down(1120), Up(1220), Down(1270)));
}

TEST(SyncOutputTest, WithoutDelayAPulseThatIsBegunAnewGoesOn) {
  SyncOutput output;
  output.Set({.on = true, .activeHigh = true, .delayUs = 0, .keepUs = 50}, 0);
  output.ExposureBegins(1000);
  output.ExposureBegins(1030);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(1000), Down(1080)));
}

TEST(SyncOutputTest, AnExposureBeforeThePulseReplacesIt) {
  SyncOutput output;
  output.Set(kPulse, 0);
  output.ExposureBegins(1000);
  output.ExposureBegins(1090);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(1190), Down(1240)));
}

TEST(SyncOutputTest, SwitchingOffAndStoppingEndThePulse) {
  SyncOutput output;
  output.Set(kPulse, 0);
  output.ExposureBegins(1000);
  output.Set({}, 1120);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(1100), Down(1120)));
  output.Set(kPulse, kLater);
  output.ExposureBegins(kLater);
  output.Stop(kLater + 130);
  EXPECT_THAT(output.Edges(2 * kLater), ElementsAre(Up(1100), Down(1120), Up(kLater + 100), Down(kLater + 130)));
  output.ExposureBegins(2 * kLater);
  output.Stop(2 * kLater + 1);
  EXPECT_EQ(output.Edges(3 * kLater).size(), 4U) << "a pulse that has not begun never does";
}

TEST(SyncOutputTest, AnotherLevelTurnsTheLineAtOnceAndNewTimesHoldFromTheNextExposureOn) {
  SyncOutput output;
  output.Set(kPulse, 0);
  output.ExposureBegins(1000);
  output.Set({.on = true, .activeHigh = false, .delayUs = 1, .keepUs = 1}, 1120);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(1100), Down(1120), Up(1150)));
}

TEST(SyncOutputTest, EdgesNeverGoBackInTime) {
  SyncOutput output;
  output.Set({.on = true, .activeHigh = false, .delayUs = 0, .keepUs = 10}, 500);
  output.ExposureBegins(400);
  EXPECT_THAT(output.Edges(kLater), ElementsAre(Up(500), Down(500), Up(500)));
}

TEST(SyncOutputTest, OldEdgesAreForgotten) {
  SyncOutput output;
  output.Set({.on = true, .activeHigh = true, .delayUs = 0, .keepUs = 1}, 0);
  for (std::uint64_t i = 0; i < 3000; ++i) output.ExposureBegins(10 * i);
  const auto& edges = output.Edges(kLater);
  ASSERT_EQ(edges.size(), 4096U);
  EXPECT_EQ(edges.back(), Down(29991));
  EXPECT_EQ(edges.front(), Up(9520)) << "6000 edges, 1904 forgotten: pulse 952 is the first that is left";
}

TEST(SyncOutputTest, APowerCycleForgetsEverything) {
  SyncOutput output;
  output.Set(kPulse, 0);
  output.ExposureBegins(0);
  output.Reset();
  EXPECT_THAT(output.Edges(kLater), IsEmpty());
}

}  // namespace
}  // namespace orq
