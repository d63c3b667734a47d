// Guide pulses as the mount sees them: measured at the port of the virtual camera.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "support/VirtualRig.h"

namespace orq::test {
namespace {

using std::chrono::milliseconds;

// A busy machine may be late with switching off; a line that is not switched off at all would be later.
constexpr milliseconds kLate{2000};

TEST(Guide, PulsesLastAsLongAsAsked) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  constexpr int kLengthsMs[] = {1, 2, 7, 30, 150, 500, 2000};
  std::size_t sent = 0;
  for (const int ms : kLengthsMs) {
    const auto line = static_cast<GuideD>(sent % 4);
    EXPECT_TRUE(rig.camera->pulseGuide(line, ms));
    const DeviceReadings readings = rig.device->Readings();
    ASSERT_EQ(readings.guidePulses.size(), ++sent);
    const GuidePulse& pulse = readings.guidePulses.back();
    EXPECT_EQ(pulse.line, line);
    EXPECT_GE(pulse.length, milliseconds(ms));
    EXPECT_LT(pulse.length, milliseconds(ms) + kLate);
    EXPECT_FALSE(pulse.cut);
    EXPECT_EQ(readings.guideLines, (std::array<bool, 4>{}));
  }
}

TEST(Guide, LinesOfBothAxesRunAtTheSameTime) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  std::thread north([&rig] { rig.camera->pulseGuide(GUIDE_NORTH, 200); });
  std::thread west([&rig] { rig.camera->pulseGuide(GUIDE_WEST, 400); });
  north.join();
  west.join();
  const std::vector<GuidePulse> pulses = rig.device->Readings().guidePulses;
  ASSERT_EQ(pulses.size(), 2U);
  for (const GuidePulse& pulse : pulses)
    EXPECT_GE(pulse.length, milliseconds(pulse.line == GUIDE_NORTH ? 200 : 400));
  EXPECT_EQ(rig.device->Readings().guideLines, (std::array<bool, 4>{}));
}

TEST(Guide, ALineStaysOnUntilItIsSwitchedOff) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  EXPECT_TRUE(rig.camera->PulseGuideOn(GUIDE_EAST));
  EXPECT_EQ(rig.device->Readings().guideLines, (std::array<bool, 4>{false, false, true, false}));
  EXPECT_TRUE(rig.camera->PulseGuideOn(GUIDE_EAST));  // goes on with the same pulse
  EXPECT_TRUE(rig.camera->PulseGuideOff(GUIDE_WEST));
  EXPECT_EQ(rig.device->Readings().guideLines, (std::array<bool, 4>{false, false, true, false}));
  EXPECT_TRUE(rig.camera->PulseGuideOff(GUIDE_EAST));
  EXPECT_EQ(rig.device->Readings().guideLines, (std::array<bool, 4>{}));
  EXPECT_EQ(rig.device->Readings().guidePulses.size(), 1U);
}

TEST(Guide, UnpluggingEndsAPulse) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera->PulseGuideOn(GUIDE_SOUTH);
  rig.bus->Unplug(rig.device);
  const DeviceReadings readings = rig.device->Readings();
  EXPECT_EQ(readings.guideLines, (std::array<bool, 4>{}));
  ASSERT_EQ(readings.guidePulses.size(), 1U);
  EXPECT_TRUE(readings.guidePulses.front().cut);
}

}  // namespace
}  // namespace orq::test
