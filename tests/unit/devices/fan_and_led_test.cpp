#include <climits>

#include "unit/devices/DeviceTest.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kReadGpsBoard = "C0 D0 1C 00 00 00 01 00";
constexpr const char* kReadCapability = "C0 D0 FE 00 00 00 01 00";
constexpr const char* kReadBoardType = "C0 D5 00 00 00 00 01 00";
constexpr const char* kReadFanControl = "C0 D0 19 00 00 00 01 00";
constexpr const char* kReadFan = "C0 D0 FA 00 00 00 01 00";
constexpr const char* kReadLed = "C0 D0 FB 00 00 00 01 00";
constexpr const char* kReadHub = "C0 D0 FC 00 00 00 01 00";
constexpr const char* kResetHub = "40 D1 FD 00 02 00 00 00";

constexpr std::uint8_t kReadFpga = 0xD0;
constexpr std::uint8_t kWriteFpga = 0xD1;

class FanAndLed : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    camera.port->fpga[0xFE] = 1;
    Board(5);
  }
  void Board(std::uint8_t type) { camera.port->answers[0xD5] = {type}; }
  void Refuse(std::uint8_t request, std::uint16_t reg) { camera.port->refusedRegisters.insert({request, reg}); }
};

TEST_F(FanAndLed, TheBoardOrTheProductDecides) {
  const struct {
    std::int32_t product;
    std::uint8_t board;
    bool adjustable;
  } cases[] = {{0x2601, 0, true},  {0x2602, 0, true},  {0x2603, 6, true},  {0x2603, 5, true},
               {0x2603, 4, false}, {0x2603, 7, false}, {0x2600, 0, false}, {0x2601, 5, true},
               {0x5678, 6, true},  {0x5678, 0, false}, {0x12601, 0, true}};  // only 16 bits of a product id count
  for (const auto& c : cases) {
    camera.iPID = c.product;
    Board(c.board);
    EXPECT_EQ(camera.FanAdjustCheck(), c.adjustable) << std::hex << c.product << " board " << int{c.board};
    EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType));
  }
}

TEST_F(FanAndLed, WithoutTheCapabilityNothingElseIsAsked) {
  camera.iPID = 0x2601;
  for (const int capability : {0, 2, 3, 255}) {
    camera.port->fpga[0xFE] = static_cast<std::uint8_t>(capability);
    LogText log;
    EXPECT_FALSE(camera.FanAdjustCheck()) << capability;
    EXPECT_EQ(log.Text(), "");
    EXPECT_THAT(Sent(), ElementsAre(kReadCapability));
  }
  camera.port->fpga[0xFE] = 1;
  Refuse(kReadFpga, 0xFE);
  EXPECT_FALSE(camera.FanAdjustCheck());
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability));
}

TEST_F(FanAndLed, AnUnreadableBoardTypeIsLoggedAndCountsAsZero) {
  camera.port->refusedRequests.insert(0xD5);
  camera.iPID = 0x2602;
  {
    LogText log;
    EXPECT_TRUE(camera.FanAdjustCheck());
    EXPECT_EQ(log.Text(), Line("FanAdjustCheck", "Failed to read main board type"));
  }
  camera.iPID = 0x2603;
  LogText log;
  EXPECT_FALSE(camera.FanAdjustCheck());
  EXPECT_EQ(log.Text(), Line("FanAdjustCheck", "Failed to read main board type"));
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, kReadCapability, kReadBoardType));
}

TEST_F(FanAndLed, TheFanSpeedIsWrittenAfterReleasingTheFan) {
  camera.port->fpga[0x19] = 0xFF;
  EXPECT_TRUE(camera.SetFanSpeed(200));
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, kReadFanControl, "40 D1 19 00 7F 00 00 00",
                                  "40 D1 FA 00 C8 00 00 00"));
  camera.port->fpga[0x19] = 0x05;
  EXPECT_TRUE(camera.SetFanSpeed(0));
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, kReadFanControl, "40 D1 19 00 05 00 00 00",
                                  "40 D1 FA 00 00 00 00 00"));
}

TEST_F(FanAndLed, SpeedsAndLevelsAreNotChecked) {
  // The link sends the low eight bits of what it is given.
  const struct {
    int value;
    const char* fan;
    const char* led;
  } cases[] = {{300, "40 D1 FA 00 2C 00 00 00", "40 D1 FB 00 2C 00 00 00"},
               {-1, "40 D1 FA 00 FF 00 00 00", "40 D1 FB 00 FF 00 00 00"},
               {INT_MIN, "40 D1 FA 00 00 00 00 00", "40 D1 FB 00 00 00 00 00"}};
  for (const auto& c : cases) {
    EXPECT_TRUE(camera.SetFanSpeed(c.value));
    EXPECT_EQ(Sent().back(), c.fan);
    EXPECT_TRUE(camera.SetPowerLedBrightness(c.value));
    EXPECT_EQ(Sent().back(), c.led);
  }
}

TEST_F(FanAndLed, OnlyTheLastWriteTellsWhetherTheFanSpeedWasSet) {
  camera.port->fpga[0x19] = 0x8F;
  Refuse(kReadFpga, 0x19);
  EXPECT_TRUE(camera.SetFanSpeed(9)) << "an unreadable control register counts as zero";
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, kReadFanControl, "40 D1 19 00 00 00 00 00",
                                  "40 D1 FA 00 09 00 00 00"));
  Refuse(kWriteFpga, 0x19);
  EXPECT_TRUE(camera.SetFanSpeed(9));
  EXPECT_EQ(Sent().size(), 5U);
  Refuse(kWriteFpga, 0xFA);
  EXPECT_FALSE(camera.SetFanSpeed(9));
  EXPECT_EQ(Sent().size(), 5U);
}

TEST_F(FanAndLed, TheFanSpeedIsReadBack) {
  camera.port->fpga[0xFA] = 0xC8;
  EXPECT_EQ(camera.GetFanSpeed(), 200);
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, kReadFan));
  Refuse(kReadFpga, 0xFA);
  EXPECT_EQ(camera.GetFanSpeed(), 0);
}

TEST_F(FanAndLed, TheLedIsSetAndReadBack) {
  EXPECT_TRUE(camera.SetPowerLedBrightness(129));
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, "40 D1 FB 00 81 00 00 00"));
  EXPECT_EQ(camera.GetPowerLedBrightness(), 129);
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadBoardType, kReadLed));
  Refuse(kWriteFpga, 0xFB);
  EXPECT_FALSE(camera.SetPowerLedBrightness(5));
  Refuse(kReadFpga, 0xFB);
  EXPECT_EQ(camera.GetPowerLedBrightness(), 0);
}

TEST_F(FanAndLed, BoardsWithoutAdjustmentRefuseAndSaySo) {
  camera.port->fpga[0xFE] = 2;
  camera.port->fpga[0xFA] = camera.port->fpga[0xFB] = 77;
  LogText log;
  EXPECT_FALSE(camera.SetFanSpeed(1));
  EXPECT_EQ(camera.GetFanSpeed(), 0);
  EXPECT_FALSE(camera.SetPowerLedBrightness(1));
  EXPECT_EQ(camera.GetPowerLedBrightness(), 0);
  EXPECT_EQ(log.Text(), Line("SetFanSpeed", "not support") + Line("GetFanSpeed", "not support") +
                            Line("SetPowerLedBrightness", "not support") +
                            Line("GetPowerLedBrightness", "not support"));
  EXPECT_THAT(Sent(), ElementsAre(kReadCapability, kReadCapability, kReadCapability, kReadCapability));
}

TEST_F(FanAndLed, TheHubIsOnByItsBitWithoutACapabilityCheck) {
  camera.port->fpga[0xFE] = 0;
  for (int state = 0; state < 256; ++state) {
    camera.port->fpga[0xFC] = static_cast<std::uint8_t>(state);
    EXPECT_EQ(camera.GetUSBHubOn(), state / 4 % 2 == 1) << state;
    EXPECT_THAT(Sent(), ElementsAre(kReadHub));
  }
  camera.port->fpga[0xFC] = 4;
  Refuse(kReadFpga, 0xFC);
  EXPECT_FALSE(camera.GetUSBHubOn());
}

TEST_F(FanAndLed, AHubResetClearsTheOnBitWithoutACapabilityCheck) {
  camera.port->fpga[0xFE] = 0;
  camera.port->fpga[0xFC] = 0x07;
  EXPECT_TRUE(camera.ResetUSBHub());
  EXPECT_THAT(Sent(), ElementsAre(kResetHub, kReadHub, "40 D1 FC 00 03 00 00 00"));
}

TEST_F(FanAndLed, AnUnreadableHubStateCountsAsTwo) {
  camera.port->fpga[0xFC] = 0x07;
  Refuse(kReadFpga, 0xFC);
  EXPECT_TRUE(camera.ResetUSBHub());
  EXPECT_THAT(Sent(), ElementsAre(kResetHub, kReadHub, "40 D1 FC 00 02 00 00 00"));
}

TEST_F(FanAndLed, OnlyTheLastWriteTellsWhetherTheHubWasReset) {
  Refuse(kWriteFpga, 0xFD);
  EXPECT_TRUE(camera.ResetUSBHub());
  EXPECT_EQ(Sent().size(), 3U);
  Refuse(kWriteFpga, 0xFC);
  EXPECT_FALSE(camera.ResetUSBHub());
  EXPECT_EQ(Sent().size(), 3U);
}

TEST_F(FanAndLed, TheControlsReachTheRegisters) {
  EXPECT_EQ(camera.SetControlValue(ORQ_FAN_SPEED_ADJUST, 300, false), 0);
  EXPECT_EQ(camera.port->fpga[0xFA], 255) << "clamped to the catalogue's limits";
  EXPECT_EQ(camera.SetControlValue(ORQ_POWER_LED_BRIGHT, 17, false), 0);
  camera.port->fpga[0xFC] = 0x07;
  EXPECT_EQ(camera.SetControlValue(ORQ_USB_HUB_RESET, 0, false), 0) << "any value resets";
  EXPECT_EQ(camera.port->fpga[0xFC], 0x03);
  const struct {
    ORQ_CONTROL_TYPE id;
    long value;
  } cases[] = {{ORQ_FAN_SPEED_ADJUST, 255}, {ORQ_POWER_LED_BRIGHT, 17}, {ORQ_USB_HUB_RESET, 0}};
  for (const auto& c : cases) {
    long value = -1;
    ORQ_BOOL automatic = 9;
    EXPECT_EQ(camera.GetControlValue(c.id, &value, &automatic), 0);
    EXPECT_EQ(value, c.value) << c.id;
    EXPECT_EQ(automatic, 0);
  }
  camera.port->fpga[0xFE] = 0;
  EXPECT_EQ(camera.SetControlValue(ORQ_FAN_SPEED_ADJUST, 1, false), 16);
  EXPECT_EQ(camera.SetControlValue(ORQ_POWER_LED_BRIGHT, 1, false), 16);
  EXPECT_EQ(camera.SetControlValue(ORQ_USB_HUB_RESET, 1, false), 0);
}

TEST_F(FanAndLed, AdjustableBoardsListTheThreeControls) {
  camera.GetNumOfControls();
  EXPECT_THAT(Sent(), ElementsAre(kReadGpsBoard, kReadCapability, kReadBoardType));
  std::vector<int> listed;
  for (int i = 0; i < camera.controlCount; ++i) listed.push_back(camera.controlList[static_cast<std::size_t>(i)]);
  EXPECT_THAT(listed, ElementsAre(9, 10, 11, 12, 22, 23, 24));
  EXPECT_TRUE(camera.IsAvailable(CT_FAN_SPEED_ADJUST));
  EXPECT_TRUE(camera.IsAvailable(CT_POWER_LED_BRIGHT));
  EXPECT_TRUE(camera.IsAvailable(CT_USB_HUB_RESET));
  Board(4);
  EXPECT_FALSE(camera.IsAvailable(CT_FAN_SPEED_ADJUST));
  EXPECT_EQ(camera.controlCount, 4);
}

class FanAndLedTable : public DeviceTableTest {};

TEST_F(FanAndLedTable, FanAndLedAskTheModelOnceAndFirst) {
  for (const bool adjustable : {true, false}) {
    camera.fanAdjustable = adjustable;
    const std::size_t setFan = adjustable ? 3 : 0;
    const std::size_t others = adjustable ? 1 : 0;
    EXPECT_EQ(camera.CCameraBase::SetFanSpeed(5), adjustable);
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("FanAdjustCheck"));
    EXPECT_EQ(Sent().size(), setFan);
    EXPECT_EQ(camera.CCameraBase::GetFanSpeed(), adjustable ? 5 : 0);
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("FanAdjustCheck"));
    EXPECT_EQ(Sent().size(), others);
    EXPECT_EQ(camera.CCameraBase::SetPowerLedBrightness(6), adjustable);
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("FanAdjustCheck"));
    EXPECT_EQ(Sent().size(), others);
    EXPECT_EQ(camera.CCameraBase::GetPowerLedBrightness(), adjustable ? 6 : 0);
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("FanAdjustCheck"));
    EXPECT_EQ(Sent().size(), others);
  }
}

TEST_F(FanAndLedTable, TheHubAndTheCheckItselfAskNobody) {
  camera.CCameraBase::ResetUSBHub();
  camera.CCameraBase::GetUSBHubOn();
  camera.CCameraBase::FanAdjustCheck();
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

}  // namespace
}  // namespace orq::test
