#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "support/RecordingCamera.h"

namespace {

using orq::test::BareCamera;
using testing::ElementsAre;

class HostRegisters : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(camera.OpenCamera(0), 1);
    camera.port->TakeEvents();
  }

  BareCamera camera;
};

struct BitCase {
  std::uint8_t before;
  bool on;
  const char* write;  ///< the transfer that writes register 69 (0x45)
};

TEST_F(HostRegisters, TheHostTypeSetsBit0OrKeepsBit1Only) {
  const BitCase cases[] = {
      {0x00, true, "40 D1 45 00 01 00 00 00"},  {0x02, true, "40 D1 45 00 03 00 00 00"},
      {0xF0, true, "40 D1 45 00 F1 00 00 00"},  {0xFF, false, "40 D1 45 00 02 00 00 00"},
      {0xFD, false, "40 D1 45 00 00 00 00 00"}, {0x02, false, "40 D1 45 00 02 00 00 00"},
  };
  for (const BitCase& c : cases) {
    camera.port->fpga[69] = c.before;
    camera.TellFpgaUsbHostType(c.on);
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 45 00 00 00 01 00", c.write));
  }
}

TEST_F(HostRegisters, TheCaptureModeSetsBit1OrKeepsBit0Only) {
  const BitCase cases[] = {
      {0x00, true, "40 D1 45 00 02 00 00 00"},  {0x01, true, "40 D1 45 00 03 00 00 00"},
      {0xF0, true, "40 D1 45 00 F2 00 00 00"},  {0xFF, false, "40 D1 45 00 01 00 00 00"},
      {0xFE, false, "40 D1 45 00 00 00 00 00"}, {0x01, false, "40 D1 45 00 01 00 00 00"},
  };
  for (const BitCase& c : cases) {
    camera.port->fpga[69] = c.before;
    camera.TellFpgaCaptureMode(c.on);
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 45 00 00 00 01 00", c.write));
  }
}

TEST_F(HostRegisters, AnUnreadableModeCountsAsZeroAndIsWritten) {
  camera.port->fpga[69] = 0xFF;
  camera.port->refusedRequests.insert(0xD0);
  camera.TellFpgaUsbHostType(true);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 45 00 00 00 01 00", "40 D1 45 00 01 00 00 00"));
  camera.TellFpgaCaptureMode(true);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 45 00 00 00 01 00", "40 D1 45 00 02 00 00 00"));
}

TEST_F(HostRegisters, TheSensorClockStopsAndStarts) {
  EXPECT_EQ(camera.StopSensorCLK(), 1);
  EXPECT_EQ(camera.sensorClockStopped, 1);
  EXPECT_EQ(camera.StartSensorCLK(), 1);
  EXPECT_EQ(camera.sensorClockStopped, 0);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("40 AE 00 00 00 00 00 00", "40 AF 00 00 00 00 00 00"));
}

TEST_F(HostRegisters, ARefusedClockRequestChangesNoFlag) {
  camera.port->refusedRequests = {0xAE, 0xAF};
  EXPECT_EQ(camera.StopSensorCLK(), 0);
  EXPECT_EQ(camera.sensorClockStopped, 0);
  camera.sensorClockStopped = 1;
  EXPECT_EQ(camera.StartSensorCLK(), 0);
  EXPECT_EQ(camera.sensorClockStopped, 1);
}

TEST_F(HostRegisters, TheTransferCountIsTheCeilingInBlocks) {
  const struct {
    int bytes;
    const char* request;
  } cases[] = {
      {0, "40 B5 00 00 00 00 00 00"},
      {1, "40 B5 00 00 01 00 00 00"},
      {49151, "40 B5 00 00 01 00 00 00"},
      {49152, "40 B5 00 00 01 00 00 00"},
      {49153, "40 B5 00 00 02 00 00 00"},
      {52183296, "40 B5 00 00 26 04 00 00"},  // 6248 x 4176 x 2 bytes: 1061.67, 1062 = 0x426
      {INT_MAX, "40 B5 00 00 AB AA 00 00"},   // 43690.67 blocks: 43691 = 0xAAAB
      {-1, "40 B5 00 00 00 00 00 00"},        // ceiling of a small negative fraction
      {-49152, "40 B5 FF FF FF FF 00 00"},    // -1
      {INT_MIN, "40 B5 FF FF 56 55 00 00"},   // -43690 = 0xFFFF5556
  };
  for (const auto& c : cases) {
    camera.SetTransferCount(c.bytes);
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(c.request)) << c.bytes;
  }
}

}  // namespace
