#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>
#include <vector>

#include "controls/ControlCatalogue.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::RecordingCamera;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kReadType = "C0 D0 1C 00 00 00 01 00";
constexpr const char* kReadGpsStatus = "C0 D0 46 00 00 00 01 00";

void SetAllFlags(orq::CapabilityFlags& flags, std::uint8_t on) {
  flags.hasGain = flags.hasExposure = flags.hasGamma = flags.hasOffset = flags.hasBandwidth = on;
  flags.hasWB_R = flags.hasWB_B = flags.bIsColor = flags.hasOverCLK = flags.hasTemperature = on;
  flags.hasHardwareBin = flags.isCooled = flags.hasPatternAdjust = flags.hasAntiDewHeater = on;
  flags.hasHighSpeed = on;
}

class ControlList : public testing::Test {
 protected:
  std::vector<int> Build() {
    camera.GetNumOfControls();
    std::vector<int> ids;
    for (int i = 0; i < camera.controlCount; ++i) ids.push_back(camera.controlList[static_cast<std::size_t>(i)]);
    return ids;
  }
  void Open() {
    ASSERT_EQ(camera.OpenCamera(0), 1);
    camera.TakeCalls();
    camera.port->TakeEvents();
  }

  RecordingCamera camera;
};

TEST_F(ControlList, HoldsFourControlsWithoutAnyFlag) {
  EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12));
}

TEST_F(ControlList, KeepsTheOrderOfEnumerationWithEveryFlag) {
  SetAllFlags(camera, 1);
  camera.fanAdjustable = true;
  EXPECT_THAT(Build(),
              ElementsAre(0, 1, 2, 3, 4, 5, 6, 9, 7, 10, 11, 12, 13, 14, 18, 20, 8, 15, 16, 17, 21, 22, 23, 24));
}

TEST_F(ControlList, LeavesColourOutOnAMonoCamera) {
  SetAllFlags(camera, 1);
  camera.bIsColor = 0;
  camera.fanAdjustable = true;
  EXPECT_THAT(Build(), ElementsAre(0, 1, 2, 5, 6, 9, 7, 10, 11, 12, 13, 14, 20, 8, 15, 16, 17, 21, 22, 23, 24));
}

TEST_F(ControlList, ListsEachControlForItsFlagAlone) {
  using F = orq::CapabilityFlags;
  const struct {
    std::uint8_t F::*flag;
    std::vector<int> expected;
  } cases[] = {
      {&F::hasGain, {0, 9, 10, 11, 12}},
      {&F::hasExposure, {1, 9, 10, 11, 12}},
      {&F::hasGamma, {2, 9, 10, 11, 12}},
      {&F::hasOffset, {5, 9, 10, 11, 12}},
      {&F::hasBandwidth, {6, 9, 10, 11, 12}},
      {&F::hasWB_R, {9, 10, 11, 12}},  // not without colour
      {&F::hasWB_B, {9, 10, 11, 12}},
      {&F::bIsColor, {9, 10, 11, 12, 18}},
      {&F::hasOverCLK, {9, 7, 10, 11, 12}},
      {&F::hasHardwareBin, {9, 10, 11, 12, 13}},
      {&F::hasPatternAdjust, {9, 10, 11, 12, 20}},
      {&F::hasTemperature, {9, 10, 11, 12, 8}},
      {&F::isCooled, {9, 10, 11, 12, 15, 16, 17}},
      {&F::hasAntiDewHeater, {9, 10, 11, 12, 21}},
  };
  for (const auto& c : cases) {
    SetAllFlags(camera, 0);
    camera.*c.flag = 1;
    EXPECT_EQ(Build(), c.expected);
  }
  SetAllFlags(camera, 0);
  camera.hasHighSpeed = 1;
  EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12, 14));
}

TEST_F(ControlList, WhiteBalanceNeedsColourAndItsOwnFlag) {
  camera.bIsColor = 1;
  camera.hasWB_R = 1;
  EXPECT_THAT(Build(), ElementsAre(3, 9, 10, 11, 12, 18));
  camera.hasWB_R = 0;
  camera.hasWB_B = 1;
  EXPECT_THAT(Build(), ElementsAre(4, 9, 10, 11, 12, 18));
}

TEST_F(ControlList, PlacesAUsableGpsBetweenHeaterAndFan) {
  orq::CapabilityFlags flags;
  orq::ControlAvailability available{flags};
  flags.hasAntiDewHeater = 1;
  available.gps = true;
  available.fanAdjustable = true;
  const orq::ControlOrder order = orq::ListControls(available);
  const std::vector<int> ids(order.ids.begin(), order.ids.begin() + static_cast<std::ptrdiff_t>(order.count));
  EXPECT_THAT(ids, ElementsAre(9, 10, 11, 12, 21, 25, 26, 27, 28, 22, 23, 24));
}

TEST_F(ControlList, ListsTheGpsControlsWhenTheCameraHasAGps) {
  Open();
  camera.port->fpga[0x1C] = 3;
  camera.port->fpga[0x46] = 0x03;
  camera.hasAntiDewHeater = 1;
  camera.fanAdjustable = true;
  EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12, 21, 25, 26, 27, 28, 22, 23, 24));
  EXPECT_TRUE(camera.IsAvailable(CT_GPS_SUPPORT));
  camera.port->fpga[0x46] = 0x02;
  EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12, 21, 22, 23, 24));
  EXPECT_FALSE(camera.IsAvailable(CT_GPS_SUPPORT));
}

/// Notes in the port's record of requests when the model is asked for its fan.
class FanOrderCamera : public orq::test::BareCamera {
 public:
  bool FanAdjustCheck() override {
    unsigned char ignored = 0;
    ReadFPGAREG(0xFE, &ignored);
    return false;
  }
};

TEST(ControlListOrder, AsksForHighSpeedThenGpsThenFan) {
  FanOrderCamera camera;
  camera.port->fpga[0x1C] = 6;
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.iPID = 0x533E;
  camera.port->TakeEvents();
  camera.GetNumOfControls();
  EXPECT_THAT(camera.port->TakeEvents(),
              ElementsAre(kReadType, kReadType, kReadGpsStatus, "C0 D0 FE 00 00 00 01 00"));
}

TEST_F(ControlList, ACameraThatDoesNotAnswerHasNoGpsAndIsAskedOnce) {
  camera.port->refusedRequests.insert(0xD0);
  EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kReadType));
}

TEST_F(ControlList, NeverListsTheFanSwitch) {
  SetAllFlags(camera, 1);
  camera.fanAdjustable = true;
  EXPECT_THAT(Build(), Not(Contains(ORQ_FAN_ON)));
}

TEST_F(ControlList, AsksTheModelForItsFanOnceThroughTheTable) {
  Build();
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("FanAdjustCheck"));
}

TEST_F(ControlList, FindsHighSpeedByProbeOnTwoProductsOnce) {
  Open();
  camera.port->fpga[28] = 6;
  for (const std::int32_t product : {0x533E, 0x533F}) {
    camera.iPID = product;
    camera.hasHighSpeed = 0;
    EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12, 14));
    EXPECT_EQ(camera.hasHighSpeed, 1);
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kReadType, kReadType, kReadGpsStatus));
    EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12, 14));
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kReadType, kReadGpsStatus)) << "probed again";
  }
}

TEST_F(ControlList, ProbesNoOtherProduct) {
  Open();
  camera.port->fpga[28] = 6;
  for (const std::int32_t product : {0x533D, 0x5340, 0x1101}) {
    camera.iPID = product;
    EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12));
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kReadType, kReadGpsStatus)) << "only the GPS check";
  }
}

TEST_F(ControlList, AnotherTypeCodeOrNoAnswerMeansNoHighSpeed) {
  Open();
  camera.iPID = 0x533E;
  for (const int type : {0, 5, 7, 255}) {
    camera.port->fpga[28] = static_cast<std::uint8_t>(type);
    EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12)) << type;
  }
  camera.port->fpga[28] = 6;
  camera.port->refusedRequests.insert(0xD0);
  EXPECT_THAT(Build(), ElementsAre(9, 10, 11, 12));
  EXPECT_EQ(camera.hasHighSpeed, 0);
}

TEST_F(ControlList, DescribesControlsByIndex) {
  camera.hasGain = 1;
  camera.limits.gainMax = 300;
  Build();
  _ORQ_CONTROL_CAPS caps{};
  EXPECT_EQ(camera.GetControlCaps(0, &caps), 1);
  EXPECT_EQ(caps.controlType, ORQ_GAIN);
  EXPECT_STREQ(caps.name, "Gain");
  EXPECT_EQ(caps.maxValue, 300);
  EXPECT_EQ(camera.GetControlCaps(4, &caps), 1);
  EXPECT_EQ(caps.controlType, ORQ_AUTO_EXP_TARGET_BRIGHTNESS);
  EXPECT_STREQ(caps.name, "AutoExpTargetBrightness");
}

TEST_F(ControlList, AnIndexOutsideTheListOnlyWritesTheType) {
  Build();
  camera.controlList[5] = ORQ_FLIP;  // left over behind the list's end
  for (const int index : {4, 5, 63, 64, 65, INT_MAX, -1, INT_MIN}) {
    _ORQ_CONTROL_CAPS caps{};
    caps.controlType = ORQ_ROLLING_INTERVAL;
    caps.maxValue = 77;
    caps.name[0] = 'x';
    EXPECT_EQ(camera.GetControlCaps(index, &caps), 0) << index;
    EXPECT_EQ(caps.controlType, index == 5 ? ORQ_FLIP : ORQ_GAIN) << index;
    EXPECT_EQ(caps.maxValue, 77);
    EXPECT_EQ(caps.name[0], 'x');
  }
}

TEST_F(ControlList, AvailabilityRebuildsTheListEachTime) {
  EXPECT_FALSE(camera.IsAvailable(CT_GAIN));
  camera.hasGain = 1;
  EXPECT_TRUE(camera.IsAvailable(CT_GAIN));
  EXPECT_EQ(camera.controlCount, 5);
  EXPECT_FALSE(camera.IsAvailable(CT_FAN_SPEED_ADJUST));
  camera.fanAdjustable = true;
  EXPECT_TRUE(camera.IsAvailable(CT_FAN_SPEED_ADJUST));
  EXPECT_FALSE(camera.IsAvailable(CT_GPS_SUPPORT));
  EXPECT_FALSE(camera.IsAvailable(CT_FAN_ON));
  camera.hasGain = 0;
  EXPECT_FALSE(camera.IsAvailable(CT_GAIN));
  EXPECT_THAT(camera.TakeCalls(), testing::SizeIs(7)) << "one fan check each";
}

/// Safe to use from several threads: records nothing.
class QuietCamera : public orq::test::BareCamera {
 public:
  bool FanAdjustCheck() override { return true; }
};

TEST(ControlListThreads, SeveralThreadsMayAskAtOnce) {
  QuietCamera camera;
  SetAllFlags(camera, 1);
  camera.GetNumOfControls();
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        _ORQ_CONTROL_CAPS caps;
        const bool right = camera.IsAvailable(CT_MONO_BIN) && !camera.IsAvailable(CT_FAN_ON) &&
                           camera.GetControlCaps(23, &caps) == 1 && caps.controlType == ORQ_USB_HUB_RESET;
        if (!right) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(ControlList, DescribesNothingIntoNothing) {
  Build();
  EXPECT_EQ(camera.GetControlCaps(0, nullptr), 0);
  EXPECT_EQ(camera.GetCtrllCaps(ORQ_FLIP, nullptr), 0);
}

}  // namespace
