#include "session/guide/GuideLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "link/WireProtocol.h"
#include "output/Output.h"
#include "output/Signals.h"
#include "session/Failure.h"
#include "support/VirtualRig.h"

namespace orq::cli {
namespace {

using session::Failure;
using session::GuideLine;
using session::GuideOutcome;
using session::Status;
using test::VirtualRig;

constexpr int kTries = 5;

// As the tool sends it.
GuideOutcome SendGuidePulse(CCameraBase& camera, GuideD direction, int ms) {
  const StopShield shield;
  return session::SendGuidePulse(camera, direction, ms, WaitForStop, Complain);
}

bool AnyLineOn(const VirtualRig& rig) {
  const auto lines = rig.device->Readings().guideLines;
  return std::find(lines.begin(), lines.end(), true) != lines.end();
}

// Status and message of what `action` throws.
struct Refusal {
  Status code = Status::Ok;
  std::string text;
};
Refusal RefusalOf(const auto& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return {failure.Code(), failure.what()};
  }
  return {};
}

TEST(GuidePulse, LastsAsLongAsAsked) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const GuideOutcome outcome = SendGuidePulse(*rig.camera, GUIDE_EAST, 40);
  EXPECT_FALSE(outcome.interrupted);
  const std::vector<GuidePulse> pulses = rig.device->Readings().guidePulses;
  ASSERT_EQ(pulses.size(), 1U);
  EXPECT_EQ(pulses.front().line, GUIDE_EAST);
  EXPECT_GE(pulses.front().length, std::chrono::milliseconds(40));
  EXPECT_GE(outcome.ms, std::chrono::duration<double>(pulses.front().length).count() * 1000.0);
  EXPECT_FALSE(AnyLineOn(rig));
}

TEST(GuideLine, IsOffAfterAnException) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  try {
    const GuideLine line(*rig.camera, GUIDE_WEST, Complain);
    EXPECT_TRUE(AnyLineOn(rig));
    throw std::runtime_error("anything");
  } catch (const std::runtime_error&) {
  }
  EXPECT_FALSE(AnyLineOn(rig));
}

TEST(GuideLine, SwitchingOffIsTriedAgain) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqGuideOff, kUsbPipe, 0, kTries - 1);
  GuideLine line(*rig.camera, GUIDE_NORTH, Complain);
  EXPECT_NO_THROW(line.SwitchOff());
  EXPECT_FALSE(AnyLineOn(rig));
}

TEST(GuideLine, ThatStaysOnIsAnError) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqGuideOff, kUsbPipe);
  const Refusal refusal = RefusalOf([&] { SendGuidePulse(*rig.camera, GUIDE_SOUTH, 1); });
  EXPECT_EQ(refusal.code, Status::Refused);
  EXPECT_NE(refusal.text.find("guide line south could not be switched off and may still be on"), std::string::npos)
      << refusal.text;
  EXPECT_TRUE(AnyLineOn(rig));
}

TEST(GuideLine, ThatWasRefusedIsSwitchedOff) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.device->FailRequests(wire::kReqGuideOn, kUsbTimeout);
  rig.device->ClearRequests();
  const Refusal refusal = RefusalOf([&] { const GuideLine line(*rig.camera, GUIDE_SOUTH, Complain); });
  EXPECT_EQ(refusal.code, Status::Refused);
  EXPECT_EQ(refusal.text.find("may still be on"), std::string::npos) << refusal.text;
  const auto requests = rig.device->Requests();
  EXPECT_TRUE(std::any_of(requests.begin(), requests.end(), [](const LoggedRequest& request) {
    return request.setup.request == wire::kReqGuideOff && request.setup.value == GUIDE_SOUTH;
  }));
}

TEST(GuideLine, OfALostCameraSaysSo) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  GuideLine line(*rig.camera, GUIDE_NORTH, Complain);
  rig.bus->Unplug(rig.device);
  const Refusal refusal = RefusalOf([&] { line.SwitchOff(); });
  EXPECT_EQ(refusal.code, Status::Lost);
  EXPECT_NE(refusal.text.find("the camera was lost"), std::string::npos) << refusal.text;
}

// Each signal in a process of its own: a wish to stop is never taken back.
class GuidePulseDeathTest : public testing::TestWithParam<int> {
 protected:
  GuidePulseDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_P(GuidePulseDeathTest, SignalsEndAPulseAndSwitchTheLineOff) {
  const auto story = [] {
    InstallSignals();
    const VirtualRig rig;
    if (!rig.Open()) std::exit(2);
    std::thread user([&rig] {
      if (!test::Eventually([&rig] { return AnyLineOn(rig); })) std::exit(3);
      raise(GetParam());
    });
    const GuideOutcome outcome = SendGuidePulse(*rig.camera, GUIDE_NORTH, 60'000);
    user.join();
    std::exit(outcome.interrupted && !AnyLineOn(rig) ? 0 : 4);
  };
  EXPECT_EXIT(story(), testing::ExitedWithCode(0), "");
}

TEST_P(GuidePulseDeathTest, NoNumberOfSignalsKillsUnderTheShield) {
  const auto story = [] {
    InstallSignals();
    const VirtualRig rig;
    if (!rig.Open()) std::exit(2);
    {
      const StopShield shield;
      const GuideLine line(*rig.camera, GUIDE_NORTH, Complain);
      for (int i = 0; i < 10; ++i) raise(GetParam());
    }
    std::exit(StopRequested() && !AnyLineOn(rig) ? 0 : 4);
  };
  EXPECT_EXIT(story(), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(AllSignals, GuidePulseDeathTest,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP));

}  // namespace
}  // namespace orq::cli
