#include "session/flash/FlashFailure.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/VirtualRig.h"

namespace orq::session {
namespace {

using test::VirtualRig;

TEST(FlashFailure, HasTheStatusOfTheOutcome) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  for (const auto& [result, status] : {std::pair(FlashResult::Cancelled, Status::Cancelled),
                                       {FlashResult::FileFailed, Status::File},
                                       {FlashResult::Refused, Status::State},
                                       {FlashResult::CameraFailed, Status::Refused}}) {
    const Failure failure = FlashFailure(*rig.camera, {result, "why"});
    EXPECT_EQ(failure.Code(), status);
    EXPECT_TRUE(std::string(failure.what()).starts_with("why"));
    EXPECT_THROW(DemandDone(*rig.camera, {result, "why"}), Failure);
  }
  EXPECT_NO_THROW(DemandDone(*rig.camera, {}));
}

TEST(FlashFailure, OfACameraThatIsGoneIsALoss) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.bus->Unplug(rig.device);
  rig.camera->SetGain(1, false);  // notices it
  EXPECT_EQ(FlashFailure(*rig.camera, {FlashResult::CameraFailed, "why"}).Code(), Status::Lost);
}

}  // namespace
}  // namespace orq::session
