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

TEST(ControlText, IsUnderstood) {
  const Control gain = Made(ORQ_GAIN, 0, 500);
  EXPECT_EQ(ParseSetting(gain, "300").raw, 300);
  EXPECT_TRUE(ParseSetting(gain, "Auto").automatic);
  EXPECT_EQ(ParseSetting(Made(ORQ_HARDWARE_BIN, 0, 1), "ON").raw, 1);
  EXPECT_EQ(ParseSetting(Made(ORQ_HARDWARE_BIN, 0, 1), "off").raw, 0);
  EXPECT_EQ(ParseSetting(Made(ORQ_EXPOSURE, 0, 1), "200ms").raw, 200'000);
  EXPECT_EQ(ParseSetting(Made(ORQ_TEMPERATURE, -500, 500), "-5.5").raw, -55);
  for (const char* wrong : {"", "on", "12x", "1.5"}) {
    EXPECT_EQ(RefusalOf([&] { ParseSetting(gain, wrong); }).status, Status::Invalid) << wrong;
  }
  EXPECT_EQ(RefusalOf([] { ParseSetting(Made(ORQ_TEMPERATURE, 0, 1), "cold"); }).status, Status::Invalid);
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

TEST(Controls, BeyondALimitAreClampedAndToldOrRefused) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const Control gain = FindControl(*rig.camera, ORQ_GAIN);
  const std::string most = std::to_string(gain.caps.maxValue);
  EXPECT_EQ(WriteControl(*rig.camera, gain, {gain.caps.minValue, false}, Limits::Demand), "");
  const Refusal refusal = RefusalOf([&] { WriteControl(*rig.camera, gain, {1'000'000, false}, Limits::Demand); });
  EXPECT_EQ(refusal.status, Status::Range);
  EXPECT_EQ(ReadControl(*rig.camera, gain).raw, gain.caps.minValue) << "nothing was set";
  EXPECT_EQ(WriteControl(*rig.camera, gain, {1'000'000, false}, Limits::Clamp),
            gain.Name() + " 1000000 is above the maximum " + most + ": set to " + most);
  EXPECT_EQ(ReadControl(*rig.camera, gain).raw, gain.caps.maxValue);
}

TEST(Controls, SayWhatTheyCannot) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  const auto write = [&](ORQ_CONTROL_TYPE id, const ControlSetting& setting) {
    return RefusalOf([&] { WriteControl(*rig.camera, FindControl(*rig.camera, id), setting, Limits::Clamp); });
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
  WriteControl(*rig.camera, gain, {*before + 7, false}, Limits::Demand);
  EXPECT_EQ(FreshValues(*rig.camera).Of(gain), before);
  EXPECT_EQ(FreshValues(*rig.camera).Of(FindControl(*rig.camera, ORQ_TEMPERATURE)), std::nullopt);
}

}  // namespace
}  // namespace orq::session
