#include <map>

#include "unit/devices/DeviceTest.h"

namespace orq::test {
namespace {

using testing::ElementsAre;

constexpr unsigned char kRequest = 0xBA;

/// A port whose answers to the motor's request depend on the register.
class MotorPort : public FakePort {
 public:
  std::map<std::uint16_t, std::uint8_t> motor;

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    const int result = FakePort::ControlTransfer(setup, data, timeoutMs);
    if (result > 0 && setup.In() && setup.request == kRequest) data[0] = motor[setup.value];
    return result;
  }
};

class FocusMotor : public testing::Test {
 protected:
  void SetUp() override {
    camera.UsePort(port);
    ASSERT_EQ(camera.OpenCamera(0), 1);
    port->TakeEvents();
  }
  void Refuse(std::uint16_t reg) { port->refusedRegisters.insert({kRequest, reg}); }

  std::shared_ptr<MotorPort> port = std::make_shared<MotorPort>();
  BareCamera camera;
};

struct PairCase {
  const char* name;
  int (CCameraBase::*read)(unsigned char, int*);
  std::uint16_t high;
  const char* first;
  const char* second;
};

// 5063 is 0x13C7.
const PairCase kPairs[] = {
    {"GetDW9800POS", &CCameraBase::GetDW9800POS, 3, "C0 BA 03 00 00 00 01 00", "C0 BA 04 00 00 00 01 00"},
    {"GetDW9800AFH", &CCameraBase::GetDW9800AFH, 5063, "C0 BA C7 13 00 00 01 00", "C0 BA C8 13 00 00 01 00"},
    {"GetDW9800AFL", &CCameraBase::GetDW9800AFL, 5065, "C0 BA C9 13 00 00 01 00", "C0 BA CA 13 00 00 01 00"},
};

TEST_F(FocusMotor, NumbersAreReadHighByteFirst) {
  for (const PairCase& c : kPairs) {
    port->motor[c.high] = 0x01;
    port->motor[static_cast<std::uint16_t>(c.high + 1)] = 0x2C;
    int value = -1;
    EXPECT_EQ((camera.*c.read)(kRequest, &value), 1) << c.name;
    EXPECT_EQ(value, 300) << c.name;
    EXPECT_THAT(port->TakeEvents(), ElementsAre(c.first, c.second)) << c.name;
    port->motor[c.high] = 0xFF;
    EXPECT_EQ((camera.*c.read)(kRequest, &value), 1);
    EXPECT_EQ(value, 0xFF2C) << "bytes are unsigned";
    port->TakeEvents();
  }
}

TEST_F(FocusMotor, OnlyTheSecondReadDecides) {
  for (const PairCase& c : kPairs) {
    port->motor[c.high] = 0x01;
    port->motor[static_cast<std::uint16_t>(c.high + 1)] = 0x2C;
    port->refusedRegisters.clear();
    Refuse(c.high);
    int value = -1;
    EXPECT_EQ((camera.*c.read)(kRequest, &value), 1) << c.name;
    EXPECT_EQ(value, 0x2C) << "the high byte stays zero";
    port->refusedRegisters.clear();
    Refuse(static_cast<std::uint16_t>(c.high + 1));
    value = -1;
    port->TakeEvents();
    LogText log;
    EXPECT_EQ((camera.*c.read)(kRequest, &value), 0) << c.name;
    EXPECT_EQ(log.Text(), "");
    EXPECT_EQ(value, -1);
    EXPECT_THAT(port->TakeEvents(), ElementsAre(c.first, c.second));
  }
}

TEST_F(FocusMotor, ReadNumbersAreLogged) {
  for (const PairCase& c : kPairs) {
    port->motor[c.high] = 0x01;
    port->motor[static_cast<std::uint16_t>(c.high + 1)] = 0x2C;
    LogText log;
    int value = 0;
    (camera.*c.read)(kRequest, &value);
    EXPECT_EQ(log.Text(), Line(c.name, "high 0x01, low 0x2c: 300\n"));
  }
}

TEST_F(FocusMotor, TheIdIsRegisterZero) {
  port->motor[0] = 0xEB;
  unsigned char id = 0x11;
  LogText log;
  EXPECT_EQ(camera.GetDW9800ID(kRequest, &id), 1);
  EXPECT_EQ(log.Text(), Line("GetDW9800ID", "id 0xeb\n"));
  EXPECT_EQ(id, 0xEB);
  EXPECT_THAT(port->TakeEvents(), ElementsAre("C0 BA 00 00 00 00 01 00"));
}

TEST_F(FocusMotor, AnIdThatCannotBeReadIsNotStored) {
  Refuse(0);
  unsigned char id = 0x11;
  EXPECT_EQ(camera.GetDW9800ID(kRequest, &id), 0);
  EXPECT_EQ(id, 0x11);
}

TEST_F(FocusMotor, APositionIsWrittenAsTwoRegisters) {
  LogText log;
  camera.SetDW9800POS(kRequest, 300);
  EXPECT_EQ(log.Text(), Line("SetDW9800POS", "position 0x12c\n"));
  EXPECT_THAT(port->TakeEvents(), ElementsAre("40 BA 03 00 01 00 00 00", "40 BA 04 00 2C 00 00 00"));
}

TEST_F(FocusMotor, OnlySixteenBitsOfAPositionAreWritten) {
  camera.SetDW9800POS(kRequest, 0x12345);
  EXPECT_THAT(port->TakeEvents(), ElementsAre("40 BA 03 00 23 00 00 00", "40 BA 04 00 45 00 00 00"));
  camera.SetDW9800POS(kRequest, -1);
  EXPECT_THAT(port->TakeEvents(), ElementsAre("40 BA 03 00 FF 00 00 00", "40 BA 04 00 FF 00 00 00"));
}

TEST_F(FocusMotor, BothBytesOfAPositionAreSentWhateverTheAnswer) {
  Refuse(3);
  Refuse(4);
  LogText log;
  camera.SetDW9800POS(kRequest, 300);
  EXPECT_EQ(log.Text(), "") << "a position that was not taken is not logged";
  EXPECT_THAT(port->TakeEvents(), ElementsAre("40 BA 03 00 01 00 00 00", "40 BA 04 00 2C 00 00 00"));
}

TEST_F(FocusMotor, TheRequestCodeIsTheModels) {
  int value = 0;
  unsigned char id = 0;
  camera.GetDW9800ID(0x5E, &id);
  camera.GetDW9800POS(0x5E, &value);
  camera.SetDW9800POS(0x5E, 1);
  EXPECT_THAT(port->TakeEvents(),
              ElementsAre("C0 5E 00 00 00 00 01 00", "C0 5E 03 00 00 00 01 00", "C0 5E 04 00 00 00 01 00",
                          "40 5E 03 00 00 00 00 00", "40 5E 04 00 01 00 00 00"));
}

TEST_F(FocusMotor, ResultsThatNobodyWantsAreNotDelivered) {
  EXPECT_EQ(camera.GetDW9800ID(kRequest, nullptr), 1);
  for (const PairCase& c : kPairs) EXPECT_EQ((camera.*c.read)(kRequest, nullptr), 1) << c.name;
}

}  // namespace
}  // namespace orq::test
