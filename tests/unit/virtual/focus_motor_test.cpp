#include "virtual/board/FocusMotorChip.h"

#include <gtest/gtest.h>

#include <cmath>

#include "TestCamera.h"

namespace orq::test {
namespace {

constexpr std::array<std::uint8_t, 8> kSerial{0, 0, 0, 0, 0, 0, 0x45, 0xFF};

void MoveTo(FocusMotorChip& motor, int position, double now) {
  motor.Write(3, static_cast<std::uint8_t>(position >> 8), now);
  motor.Write(4, static_cast<std::uint8_t>(position), now);
}

TEST(FocusMotorTest, TellsItsId) {
  EXPECT_EQ(0xF2, FocusMotorChip(kSerial).Read(0, 0));
}

TEST(FocusMotorTest, TheFactorysMarksDifferFromCameraToCamera) {
  const FocusMotorChip motor(kSerial);
  // 768 + 0xFF % 64 = 831 = 0x033F; 128 + 0x45 % 64 = 133 = 0x0085.
  EXPECT_EQ(0x03, motor.Read(5063, 0));
  EXPECT_EQ(0x3F, motor.Read(5064, 0));
  EXPECT_EQ(0x00, motor.Read(5065, 0));
  EXPECT_EQ(0x85, motor.Read(5066, 0));
  EXPECT_EQ(0, motor.Read(5062, 0));
  EXPECT_EQ(0, motor.Read(5067, 0));
  const FocusMotorChip other(std::array<std::uint8_t, 8>{});
  EXPECT_EQ(0x00, other.Read(5064, 0));
  EXPECT_EQ(0x80, other.Read(5066, 0));
}

TEST(FocusMotorTest, TheLowByteStartsTheMove) {
  FocusMotorChip motor(kSerial);
  motor.Write(3, 1, 0);
  EXPECT_FALSE(motor.Moving(0));
  EXPECT_EQ(0, motor.Read(3, 0));
  motor.Write(4, 0x2C, 0);
  EXPECT_EQ(1, motor.Read(3, 0));
  EXPECT_EQ(0x2C, motor.Read(4, 0));
  EXPECT_TRUE(motor.Moving(0));
  EXPECT_EQ(1, motor.Read(5, 0));
}

TEST(FocusMotorTest, TheLensNearsItsPlaceExponentially) {
  FocusMotorChip motor(kSerial);
  MoveTo(motor, 300, 10);
  EXPECT_EQ(0, motor.Position(10));
  EXPECT_NEAR(300 * (1 - std::exp(-1.0)), motor.Position(10.008), 1e-9);
  EXPECT_TRUE(motor.Moving(10.05));  // 300 exp(-6.25) = 0.58
  EXPECT_FALSE(motor.Moving(10.06));
  EXPECT_EQ(0, motor.Read(5, 10.06));
  EXPECT_NEAR(300, motor.Position(11), 1e-9);
}

TEST(FocusMotorTest, ANewMoveBeginsWhereTheLensIs) {
  FocusMotorChip motor(kSerial);
  MoveTo(motor, 1000, 0);
  const double there = motor.Position(0.004);
  MoveTo(motor, 0, 0.004);
  EXPECT_NEAR(there, motor.Position(0.004), 1e-9);
  EXPECT_NEAR(there * std::exp(-2.0), motor.Position(0.020), 1e-9);
}

TEST(FocusMotorTest, PositionsHaveTenBits) {
  FocusMotorChip motor(kSerial);
  MoveTo(motor, 0xFFFF, 0);
  EXPECT_NEAR(1023, motor.Position(1), 1e-9);
}

TEST(FocusMotorTest, OtherRegistersIgnoreWrites) {
  FocusMotorChip motor(kSerial);
  static constexpr std::uint16_t kOthers[] = {0, 5, 9, 5063};
  for (const std::uint16_t reg : kOthers) {
    const std::uint8_t before = motor.Read(reg, 0);
    motor.Write(reg, 0x77, 0);
    EXPECT_EQ(before, motor.Read(reg, 0)) << reg;
  }
}

class VirtualFocusMotor : public testing::Test {
 protected:
  void SetUp() override {
    VirtualOptions options = Untimed();
    options.model = "h53m";
    options.serial = "00000000000045ff";
    camera = MakeCamera(options);
  }
  int Read(std::uint16_t reg) {
    std::uint8_t byte = 0;
    const int result = camera->Control({kVendorIn, 0xBA, reg, 0, 1}, std::span(&byte, 1));
    return result == 1 ? byte : result;
  }
  std::shared_ptr<Firmware> camera;
};

TEST_F(VirtualFocusMotor, AHostMovesIt) {
  EXPECT_EQ(0xF2, Read(0));
  EXPECT_EQ(0x3F, Read(5064));
  EXPECT_EQ(0, Out(*camera, 0xBA, 3, 1));
  EXPECT_EQ(0, Out(*camera, 0xBA, 4, 0x2C));
  EXPECT_EQ(300, Read(3) * 256 + Read(4));
  EXPECT_TRUE(camera->Readings().focusMoving);
  EXPECT_EQ(0, camera->Readings().focusPosition);
  camera->AdvanceTime(0.1);
  EXPECT_FALSE(camera->Readings().focusMoving);
  EXPECT_NEAR(300, camera->Readings().focusPosition, 0.01);
  camera->PowerCycle();
  EXPECT_EQ(0, camera->Readings().focusPosition);
  EXPECT_EQ(0, Read(4));
}

TEST_F(VirtualFocusMotor, RefusesWhatIsNoByte) {
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xBA, 4, 0x100));
  std::uint8_t bytes[2] = {};
  EXPECT_EQ(kUsbPipe, camera->Control({kVendorIn, 0xBA, 0, 0, 2}, bytes));
  EXPECT_EQ(kUsbPipe, camera->Control({kVendorOut, 0xBA, 4, 0, 1}, std::span(bytes, 1)));
}

TEST_F(VirtualFocusMotor, IsNotOnEveryCamera) {
  camera = MakeCamera(Untimed());
  EXPECT_EQ(kUsbPipe, Read(0));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xBA, 4, 1));
}

}  // namespace
}  // namespace orq::test
