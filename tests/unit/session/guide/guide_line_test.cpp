#include "session/guide/GuideLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "link/WireProtocol.h"
#include "support/VirtualRig.h"

namespace orq::session {
namespace {

using test::VirtualRig;
using testing::HasSubstr;
using testing::IsEmpty;

std::string g_warning;
void Keep(const std::string& text) {
  g_warning = text;
}

TEST(GuideLineOfAService, WarnsWhenItStaysOn) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqGuideOff, kUsbPipe);
  { const GuideLine line(*rig.camera, GUIDE_WEST, Keep); }
  EXPECT_THAT(g_warning, HasSubstr("guide line west could not be switched off and may still be on"));
}

TEST(GuidePulseOfAService, IsNotBegunWhenNobodyWantsItAnyMore) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const auto stop = [](std::chrono::milliseconds) { return true; };
  EXPECT_TRUE(SendGuidePulse(*rig.camera, GUIDE_EAST, 10'000, stop, Keep).interrupted);
  EXPECT_THAT(rig.device->Readings().guidePulses, IsEmpty());
}

TEST(GuidePulseOfAService, EndsEarlyWhenAsked) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  int calls = 0;
  const auto stopSecond = [&calls](std::chrono::milliseconds) { return ++calls == 2; };
  const GuideOutcome outcome = SendGuidePulse(*rig.camera, GUIDE_EAST, 600'000, stopSecond, Keep);
  EXPECT_TRUE(outcome.interrupted);
  EXPECT_LT(outcome.ms, 600'000.0);
  EXPECT_EQ(rig.device->Readings().guidePulses.size(), 1u);
}

}  // namespace
}  // namespace orq::session
