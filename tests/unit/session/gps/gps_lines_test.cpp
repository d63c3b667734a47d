#include "session/gps/GpsLines.h"

#include <gtest/gtest.h>

#include <set>

#include "unit/gps/GpsCamera.h"

namespace orq::session {
namespace {

/// Refuses the writes with these numbers, counted from 0.
class PickyPort : public test::FakePort {
 public:
  std::set<int> refusedWrites;
  bool refusesReads = false;
  int writes = 0;

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    if (setup.request == 0xD1 && setup.value != 0x01 && refusedWrites.contains(writes++)) return kUsbPipe;
    if (setup.request == 0xD0 && refusesReads) return kUsbPipe;
    return FakePort::ControlTransfer(setup, data, timeoutMs);
  }
};

class GpsLinesTest : public testing::Test {
 protected:
  GpsLinesTest() {
    camera.UsePort(port);
    camera.iMaxHeight = 3000;
    EXPECT_EQ(SetGpsLines(camera, kBefore, left), CTRL_OK);
    port->writes = 0;
  }
  GpsLines Now() { return ReadGpsLines(camera).value(); }

  static constexpr GpsLines kBefore{300, 700};
  static constexpr GpsLines kWanted{1000, 2000};
  std::shared_ptr<PickyPort> port = std::make_shared<PickyPort>();
  test::BareCamera camera;
  std::string left;
};

TEST_F(GpsLinesTest, BothAreSet) {
  EXPECT_EQ(SetGpsLines(camera, kWanted, left), CTRL_OK);
  EXPECT_EQ(Now(), kWanted);
  EXPECT_EQ(left, "");
}

TEST_F(GpsLinesTest, WhicheverWriteFailsBothArePutBack) {
  for (int failing = 0; failing < 4; ++failing) {  // low and high byte of each
    port->writes = 0;
    port->refusedWrites = {failing};
    EXPECT_EQ(SetGpsLines(camera, kWanted, left), CTRL_REG_FAILED) << failing;
    EXPECT_EQ(Now(), kBefore) << failing;
    EXPECT_EQ(left, "they are 300 and 700 as before") << failing;
  }
}

TEST_F(GpsLinesTest, WhenPuttingBackFailsTooWhatHoldsIsTold) {
  port->refusedWrites = {2, 3};  // the end line's low byte, then the start line's
  EXPECT_EQ(SetGpsLines(camera, kWanted, left), CTRL_REG_FAILED);
  EXPECT_EQ(Now().start, 1000);
  EXPECT_EQ(left, "they are 1000 and 700 now");
}

TEST_F(GpsLinesTest, LinesOutsideTheSensorTouchNothing) {
  port->TakeEvents();
  for (const GpsLines& wrong : {GpsLines{-1, 5}, GpsLines{5, -1}, GpsLines{3000, 5}, GpsLines{5, 3000}})
    EXPECT_EQ(SetGpsLines(camera, wrong, left), CTRL_BAD_LINE);
  EXPECT_TRUE(port->TakeEvents().empty());
}

TEST_F(GpsLinesTest, LinesThatCannotBeReadAreNotChanged) {
  port->refusesReads = true;
  EXPECT_EQ(ReadGpsLines(camera), std::nullopt);
  EXPECT_EQ(SetGpsLines(camera, kWanted, left), CTRL_REG_FAILED);
  EXPECT_EQ(left, "they are as they were, but cannot be read");
  EXPECT_EQ(port->writes, 0);
}

}  // namespace
}  // namespace orq::session
