#include "session/autocontrol/AutomaticControl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "session/Failure.h"
#include "support/VirtualRig.h"

namespace orq::session {
namespace {

using test::VirtualRig;
using testing::HasSubstr;

TEST(AutoText, TellsWhatIsKnown) {
  AutoReading reading{.mean = 98, .target = 100, .exposureUs = 20'000, .gain = 12, .whiteBalance = std::nullopt};
  EXPECT_EQ(AutoText(reading), "mean 98 of 100, exposure 20ms, gain 12");
  reading.mean = 0;
  reading.whiteBalance.emplace(52, 95);
  EXPECT_EQ(AutoText(reading), "exposure 20ms, gain 12, white balance 52 and 95");
}

TEST(AutomaticControl, SettlingEndsWhenItIsNotWantedAnyMoreAndInTime) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const AutomaticControl control(*rig.camera);
  int frames = 0;
  const auto settle = [&](double seconds, bool goOn) {
    try {
      control.Settle(seconds,
                     {.takeFrame = [&] { ++frames; }, .mayGoOn = [goOn](const AutoReading&) { return goOn; }});
    } catch (const Failure& failure) {
      return failure;
    }
    return Failure(Status::Ok, "");
  };
  // No frame comes, so nothing can be at rest.
  EXPECT_EQ(settle(1000, false).Code(), Status::Cancelled);
  EXPECT_EQ(frames, 0);
  const Failure late = settle(0, true);
  EXPECT_EQ(late.Code(), Status::Timeout);
  EXPECT_THAT(late.what(), HasSubstr("automatic control has not settled after 0 s: "));
}

}  // namespace
}  // namespace orq::session
