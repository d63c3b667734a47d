#include "session/cooling/CoolerWork.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "session/Failure.h"
#include "support/VirtualRig.h"

namespace orq::session {
namespace {

using test::VirtualRig;
using testing::HasSubstr;

constexpr int kTargetC = -10;

class CoolerWork : public testing::Test {
 protected:
  CoolerWork() {
    EXPECT_TRUE(rig.Open());
    EXPECT_EQ(rig.camera->SetControlValue(ORQ_TARGET_TEMP, kTargetC, false), CTRL_OK);
  }
  /// What `work` fails with when its first wait is ended.
  Failure Cancelled(const auto& work) {
    const CoolingWatch watch{.tell = [this](const CoolingProgress& at) { told.push_back(at); },
                             .pause = [](std::chrono::milliseconds) { return true; }};
    try {
      work(watch);
    } catch (const Failure& failure) {
      return failure;
    }
    return {Status::Ok, ""};
  }

  const VirtualRig rig{"x26m"};
  std::vector<CoolingProgress> told;
};

TEST_F(CoolerWork, WaitingForTheTargetCanBeEnded) {
  SwitchCooler(*rig.camera, true, false);
  const Failure failure = Cancelled([&](const CoolingWatch& watch) { AwaitTarget(*rig.camera, 1000, watch); });
  EXPECT_EQ(failure.Code(), Status::Cancelled);
  EXPECT_STREQ(failure.what(), "interrupted before the sensor reached -10 C");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told.front().targetC, kTargetC);
  EXPECT_TRUE(told.front().sensorC.has_value());
  EXPECT_TRUE(IsCoolerOn(*rig.camera)) << "that is for whoever ended the wait to decide";
}

TEST_F(CoolerWork, WaitingEndsInTime) {
  SwitchCooler(*rig.camera, true, false);
  try {
    AwaitTarget(*rig.camera, 0, {});
    ADD_FAILURE() << "it was reached";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Code(), Status::Timeout);
    EXPECT_THAT(failure.what(), HasSubstr("after 0 s the sensor is at "));
    EXPECT_THAT(failure.what(), HasSubstr("its target is -10 C"));
  }
}

TEST_F(CoolerWork, ACoolerThatIsOffIsNotWaitedFor) {
  const Failure failure = Cancelled([&](const CoolingWatch& watch) { AwaitTarget(*rig.camera, 1000, watch); });
  EXPECT_EQ(failure.Code(), Status::Refused);
  EXPECT_THAT(failure.what(), HasSubstr("the cooler has stopped"));
}

TEST_F(CoolerWork, WarmingUpCanBeEndedAndIsNothingWhenItIsOff) {
  EXPECT_EQ(Cancelled([&](const CoolingWatch& watch) { WarmUp(*rig.camera, 1000, watch); }).Code(), Status::Ok);
  EXPECT_TRUE(told.empty());
  SwitchCooler(*rig.camera, true, false);
  const Failure failure = Cancelled([&](const CoolingWatch& watch) { WarmUp(*rig.camera, 1000, watch); });
  EXPECT_EQ(failure.Code(), Status::Cancelled);
  ASSERT_EQ(told.size(), 1u);
  EXPECT_GT(told.front().targetC, kTargetC);
  EXPECT_THAT(failure.what(), HasSubstr("the cooler goes off at once"));
  EXPECT_FALSE(IsCoolerOn(*rig.camera));
  EXPECT_EQ(rig.camera->TargetTemp.Load(), kTargetC) << "for whoever cools again";
}

TEST(Cooler, IsDemanded) {
  const VirtualRig rig("k1c");
  try {
    DemandCooler(*rig.camera);
    ADD_FAILURE() << "this model has none";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Code(), Status::Unsupported);
  }
  EXPECT_NO_THROW(DemandCooler(*VirtualRig("x26m").camera));
}

}  // namespace
}  // namespace orq::session
