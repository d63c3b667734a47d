#include "session/controls/ControlValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "session/Failure.h"
#include "session/controls/FreshValues.h"
#include "support/VirtualRig.h"

namespace orq::session {
namespace {

using test::VirtualRig;
using testing::HasSubstr;

struct Refusal {
  Status status = Status::Ok;
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

Control Made(ORQ_CONTROL_TYPE id, int minimum, int maximum) {
  Control control;
  control.id = id;
  control.caps.minValue = minimum;
  control.caps.maxValue = maximum;
  return control;
}

TEST(ControlText, IsWhatAUserWrites) {
  EXPECT_EQ(ValueText(Made(ORQ_EXPOSURE, 0, 1), 200'000), "200ms");
  EXPECT_EQ(ValueText(Made(ORQ_TEMPERATURE, 0, 1), -55), "-5.5");
  EXPECT_EQ(ValueText(Made(ORQ_TEMPERATURE, 0, 1), 120), "12.0");
  EXPECT_EQ(ValueText(Made(ORQ_GAIN, 0, 1), -3), "-3");
}

TEST(Controls, AreFoundByNameInAnyCase) {
  const VirtualRig rig;
  EXPECT_EQ(FindControl(*rig.camera, "gAiN").id, ORQ_GAIN);
  const Refusal unknown = RefusalOf([&] { FindControl(*rig.camera, "Sharpness"); });
  EXPECT_EQ(unknown.status, Status::Invalid);
  EXPECT_THAT(unknown.text, HasSubstr("unknown control 'Sharpness'; this camera has "));
  EXPECT_THAT(unknown.text, HasSubstr("Gain"));
  EXPECT_EQ(RefusalOf([&] { FindControl(*rig.camera, ORQ_TARGET_TEMP); }).status, Status::Unsupported);
}

TEST(Controls, BeyondALimitAreRefused) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const Control gain = FindControl(*rig.camera, ORQ_GAIN);
  WriteControl(*rig.camera, gain, {gain.caps.minValue, false});
  const Refusal above = RefusalOf([&] { WriteControl(*rig.camera, gain, {1'000'000, false}); });
  EXPECT_EQ(above.status, Status::Range);
  EXPECT_EQ(above.text, gain.Name() + " 1000000 is above the maximum " + std::to_string(gain.caps.maxValue));
  const Refusal below = RefusalOf([&] { WriteControl(*rig.camera, gain, {-7, false}); });
  EXPECT_EQ(below.text, gain.Name() + " -7 is below the minimum " + std::to_string(gain.caps.minValue));
  EXPECT_EQ(ReadControl(*rig.camera, gain).raw, gain.caps.minValue) << "nothing was set";
}

TEST(Controls, SayWhatTheyCannot) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const auto write = [&](ORQ_CONTROL_TYPE id, const ControlSetting& setting) {
    return RefusalOf([&] { WriteControl(*rig.camera, FindControl(*rig.camera, id), setting); });
  };
  EXPECT_THAT(write(ORQ_TEMPERATURE, {0, false}).text, HasSubstr("read-only"));
  EXPECT_THAT(write(ORQ_OFFSET, {0, true}).text, HasSubstr("cannot be automatic"));
  rig.bus->Unplug(rig.device);
  const Refusal lost = write(ORQ_GAIN, {5, false});
  EXPECT_EQ(lost.status, Status::Lost);
  EXPECT_THAT(lost.text, HasSubstr("check its cable"));
}

TEST(FreshValues, AreNotTheCamerasPresentOnes) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const Control gain = FindControl(*rig.camera, ORQ_GAIN);
  const auto before = FreshValues(*rig.camera).Of(gain);
  ASSERT_TRUE(before);
  WriteControl(*rig.camera, gain, {*before + 7, false});
  EXPECT_EQ(FreshValues(*rig.camera).Of(gain), before);
  EXPECT_EQ(FreshValues(*rig.camera).Of(FindControl(*rig.camera, ORQ_TEMPERATURE)), std::nullopt);
}

}  // namespace
}  // namespace orq::session
