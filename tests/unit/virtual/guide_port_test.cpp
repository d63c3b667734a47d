#include "virtual/board/GuideLines.h"

#include <gtest/gtest.h>

#include "TestCamera.h"

namespace orq::test {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

const GuideLines::Time kStart{std::chrono::hours(1)};
constexpr std::array<bool, 4> kAllOpen{};

TEST(GuidePortTest, LogsEachPulseWithItsLength) {
  GuideLines port;
  GuideLines::Time now = kStart;
  int line = 0;
  for (const int ms : {0, 1, 2, 5, 20, 333, 1000, 1999, 2000}) {
    EXPECT_TRUE(port.Switch(line, true, now));
    EXPECT_TRUE(port.Closed()[static_cast<std::size_t>(line)]);
    EXPECT_TRUE(port.Switch(line, false, now + milliseconds(ms)));
    EXPECT_EQ(kAllOpen, port.Closed());
    const GuidePulse& pulse = port.Pulses().back();
    EXPECT_EQ(line, pulse.line);
    EXPECT_EQ(now, pulse.start);
    EXPECT_EQ(milliseconds(ms), pulse.length);
    EXPECT_FALSE(pulse.cut);
    now += milliseconds(ms + 7);
    line = (line + 1) % 4;
  }
  EXPECT_EQ(9U, port.Pulses().size());
}

TEST(GuidePortTest, LinesAreIndependent) {
  GuideLines port;
  port.Switch(3, true, kStart);
  port.Switch(1, true, kStart + milliseconds(10));
  EXPECT_EQ((std::array<bool, 4>{false, true, false, true}), port.Closed());
  port.Switch(3, false, kStart + milliseconds(30));
  port.Switch(1, false, kStart + milliseconds(50));
  EXPECT_EQ(milliseconds(30), port.Pulses()[0].length);
  EXPECT_EQ(milliseconds(40), port.Pulses()[1].length);
}

TEST(GuidePortTest, ClosingAClosedLineGoesOnWithItsPulse) {
  GuideLines port;
  port.Switch(2, true, kStart);
  port.Switch(2, true, kStart + milliseconds(100));
  port.Switch(2, false, kStart + milliseconds(150));
  ASSERT_EQ(1U, port.Pulses().size());
  EXPECT_EQ(kStart, port.Pulses()[0].start);
  EXPECT_EQ(milliseconds(150), port.Pulses()[0].length);
}

TEST(GuidePortTest, OpeningAnOpenLineIsNoPulse) {
  GuideLines port;
  EXPECT_TRUE(port.Switch(0, false, kStart));
  EXPECT_TRUE(port.Pulses().empty());
}

TEST(GuidePortTest, ThereAreFourLines) {
  GuideLines port;
  EXPECT_FALSE(port.Switch(4, true, kStart));
  EXPECT_FALSE(port.Switch(-1, true, kStart));
  EXPECT_EQ(kAllOpen, port.Closed());
}

TEST(GuidePortTest, LosingThePowerOpensAllLines) {
  GuideLines port;
  port.Switch(0, true, kStart);
  port.Switch(2, true, kStart + microseconds(500));
  port.PowerOff(kStart + milliseconds(2));
  EXPECT_EQ(kAllOpen, port.Closed());
  ASSERT_EQ(2U, port.Pulses().size());
  EXPECT_TRUE(port.Pulses()[0].cut);
  EXPECT_EQ(milliseconds(2), port.Pulses()[0].length);
  EXPECT_EQ(microseconds(1500), port.Pulses()[1].length);
}

TEST(GuidePortTest, ForgetsTheOldestOfManyPulses) {
  GuideLines port;
  for (std::size_t i = 0; i < GuideLines::kLoggedPulses + 5; ++i) {
    const auto at = kStart + milliseconds(i);
    port.Switch(0, true, at);
    port.Switch(0, false, at);
  }
  EXPECT_EQ(1024U, port.Pulses().size());
  EXPECT_EQ(kStart + milliseconds(5), port.Pulses().front().start);
}

TEST(VirtualGuidePort, AHostSwitchesTheLines) {
  auto camera = MakeCamera(Untimed());
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(0, Out(*camera, 0xB0, 3));
  EXPECT_EQ((std::array<bool, 4>{false, false, false, true}), camera->Readings().guideLines);
  const auto on = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() < on + milliseconds(5)) {
  }
  camera->AdvanceTime(100);  // a mount knows real time only
  EXPECT_EQ(0, Out(*camera, 0xB1, 3));
  const auto after = std::chrono::steady_clock::now();
  const DeviceReadings readings = camera->Readings();
  EXPECT_EQ(kAllOpen, readings.guideLines);
  ASSERT_EQ(1U, readings.guidePulses.size());
  const GuidePulse& pulse = readings.guidePulses[0];
  EXPECT_EQ(3, pulse.line);
  EXPECT_GE(pulse.start, before);
  EXPECT_GE(pulse.length, milliseconds(5));
  EXPECT_LE(pulse.length, after - before);
}

TEST(VirtualGuidePort, HasFourLines) {
  auto camera = MakeCamera(Untimed());
  EXPECT_EQ(0, Out(*camera, 0xB0, 3));
  EXPECT_EQ(0, Out(*camera, 0xB1, 3));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xB0, 4));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xB1, 0xFFFF));
}

TEST(VirtualGuidePort, IsNotOnEveryCamera) {
  VirtualOptions options = Untimed();
  options.model = "x26m";
  EXPECT_EQ(kUsbPipe, Out(*MakeCamera(options), 0xB0, 0));
}

TEST(VirtualGuidePort, PullingTheCameraOutOpensTheLines) {
  auto camera = MakeCamera(Untimed());
  Out(*camera, 0xB0, 1);
  camera->Disconnect();
  const DeviceReadings readings = camera->Readings();
  EXPECT_EQ(kAllOpen, readings.guideLines);
  ASSERT_EQ(1U, readings.guidePulses.size());
  EXPECT_TRUE(readings.guidePulses[0].cut);
}

TEST(VirtualGuidePort, APowerCycleOpensTheLines) {
  auto camera = MakeCamera(Untimed());
  Out(*camera, 0xB0, 1);
  camera->PowerCycle();
  EXPECT_EQ(kAllOpen, camera->Readings().guideLines);
  EXPECT_TRUE(camera->Readings().guidePulses.at(0).cut);
}

}  // namespace
}  // namespace orq::test
