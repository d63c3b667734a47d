#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "GpsCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::BlockV1;
using orq::test::Filled;
using orq::test::GoodBlock;
using orq::test::GpsCamera;
using orq::test::Line;
using orq::test::LogText;
using orq::test::ReadRequest;
using orq::test::SameBytes;
using orq::test::WriteRequest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint8_t kRead = 0xD0;
constexpr std::uint8_t kWrite = 0xD1;

class GpsControl : public testing::Test {
 protected:
  void Refuse(std::uint8_t request, std::uint16_t reg) { camera.port->refusedRegisters.insert({request, reg}); }

  GpsCamera camera;
};

TEST_F(GpsControl, AGpsNeedsABoardAboveTwoAndItsBit) {
  for (const int board : {0, 1, 2, 3, 4, 0x80, 0xFF}) {
    for (const int status : {0x00, 0x01, 0x02, 0x03, 0xFE, 0xFF}) {
      camera.port->fpga[0x1C] = static_cast<std::uint8_t>(board);
      camera.port->fpga[0x46] = static_cast<std::uint8_t>(status);
      EXPECT_EQ(camera.GPSCheck(), board > 2 && status % 2 == 1) << board << " " << status;
    }
  }
}

TEST_F(GpsControl, TheStatusIsReadOnlyOnBoardsThatCanHaveAGps) {
  LogText log;
  camera.GPSCheck();
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x1C), ReadRequest(0x46)));
  camera.port->fpga[0x1C] = 2;
  camera.GPSCheck();
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x1C)));
  EXPECT_EQ(log.Text(), "");
}

TEST_F(GpsControl, AnUnreadableBoardTypeIsLoggedAndMeansNoGps) {
  Refuse(kRead, 0x1C);
  LogText log;
  EXPECT_FALSE(camera.GPSCheck());
  EXPECT_EQ(log.Text(), Line("GPSCheck", "Failed to get main board type\n"));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x1C)));
}

TEST_F(GpsControl, AnUnreadableStatusMeansNoGpsAndIsNotLogged) {
  Refuse(kRead, 0x46);
  LogText log;
  EXPECT_FALSE(camera.GPSCheck());
  EXPECT_EQ(camera.GPSVer(), -1);
  EXPECT_EQ(log.Text(), "");
}

TEST_F(GpsControl, TheVersionStandsAboveThePresenceBit) {
  for (int status = 0; status < 256; ++status) {
    camera.port->fpga[0x46] = static_cast<std::uint8_t>(status);
    EXPECT_EQ(camera.GPSVer(), status % 2 == 1 ? status / 2 : -1) << status;
  }
  camera.port->TakeEvents();
  camera.port->fpga[0x1C] = 0;
  camera.port->fpga[0x46] = 0xFF;
  EXPECT_EQ(camera.GPSVer(), 127) << "whatever the board";
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x46)));
}

TEST_F(GpsControl, AWrongSelectorOrLineTouchesNothing) {
  for (const int which : {2, 3, -1, INT_MAX, INT_MIN}) EXPECT_EQ(camera.GPSSetLine(which, 10), 21) << which;
  for (const int line : {-1, INT_MIN, 1096, 1097, INT_MAX}) {
    EXPECT_EQ(camera.GPSSetLine(0, line), 21) << line;
    EXPECT_EQ(camera.GPSSetLine(1, line), 21) << line;
  }
  camera.iMaxHeight = 0;
  EXPECT_EQ(camera.GPSSetLine(0, 0), 21);
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(GpsControl, ALineIsWrittenInTwoBytesUnderTheUpdateHold) {
  EXPECT_EQ(camera.GPSSetLine(0, 1095), 0);  // 0x447
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(WriteRequest(0x01, 1), WriteRequest(0x47, 0x47),
                                                     WriteRequest(0x48, 0x04), WriteRequest(0x01, 0)));
  EXPECT_EQ(camera.GPSSetLine(1, 0), 0);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(WriteRequest(0x01, 1), WriteRequest(0x49, 0),
                                                     WriteRequest(0x4A, 0), WriteRequest(0x01, 0)));
}

TEST_F(GpsControl, LineBitsAboveSixteenAreNotWritten) {
  camera.iMaxHeight = INT_MAX;
  EXPECT_EQ(camera.GPSSetLine(0, 0x7FABCDEF & ~1), 0);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(WriteRequest(0x01, 1), WriteRequest(0x47, 0xEE),
                                                     WriteRequest(0x48, 0xCD), WriteRequest(0x01, 0)));
}

TEST_F(GpsControl, AFailedLowByteSkipsTheHighOneButReleasesTheHold) {
  Refuse(kWrite, 0x47);
  EXPECT_EQ(camera.GPSSetLine(0, 0x123), 20);
  EXPECT_THAT(camera.port->TakeEvents(),
              ElementsAre(WriteRequest(0x01, 1), WriteRequest(0x47, 0x23), WriteRequest(0x01, 0)));
}

TEST_F(GpsControl, AFailedHighByteLeavesTheLowOneAndReleasesTheHold) {
  Refuse(kWrite, 0x4A);
  EXPECT_EQ(camera.GPSSetLine(1, 0x123), 20);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(WriteRequest(0x01, 1), WriteRequest(0x49, 0x23),
                                                     WriteRequest(0x4A, 0x01), WriteRequest(0x01, 0)));
  EXPECT_EQ(camera.port->fpga[0x49], 0x23);
}

TEST_F(GpsControl, AFailedHoldDoesNotMatter) {
  Refuse(kWrite, 0x01);
  EXPECT_EQ(camera.GPSSetLine(0, 0x123), 0);
  EXPECT_THAT(camera.port->TakeEvents(), testing::SizeIs(4));
}

TEST_F(GpsControl, AnySelectorButZeroReadsTheEndLine) {
  camera.port->fpga[0x47] = 0x34;
  camera.port->fpga[0x48] = 0x12;
  camera.port->fpga[0x49] = 0xFE;
  camera.port->fpga[0x4A] = 0xFF;
  int line = -5;
  EXPECT_EQ(camera.GPSGetLine(0, line), 0);
  EXPECT_EQ(line, 0x1234);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x47), ReadRequest(0x48)));
  for (const int which : {1, 5, -1, INT_MAX, INT_MIN}) {
    line = -5;
    EXPECT_EQ(camera.GPSGetLine(which, line), 0);
    EXPECT_EQ(line, 0xFFFE) << which;
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x49), ReadRequest(0x4A)));
  }
}

TEST_F(GpsControl, AnUnreadableLineIsLeftAsItWas) {
  for (const std::uint16_t reg : {std::uint16_t{0x47}, std::uint16_t{0x48}}) {
    camera.port->refusedRegisters.clear();
    Refuse(kRead, reg);
    int line = -5;
    EXPECT_EQ(camera.GPSGetLine(0, line), 20);
    EXPECT_EQ(line, -5);
    EXPECT_EQ(camera.GPSGetLine(1, line), 0);
    line = -5;
    camera.port->refusedRegisters.clear();
    Refuse(kRead, static_cast<std::uint16_t>(reg + 2));
    EXPECT_EQ(camera.GPSGetLine(1, line), 20);
    EXPECT_EQ(line, -5);
  }
}

TEST_F(GpsControl, NoGpsGivesNoData) {
  camera.port->fpga[0x1C] = 2;
  _ORQ_GPS_DATA start = Filled(0x5A), end = Filled(0x5A);
  LogText log;
  EXPECT_EQ(camera.GPSGetData(&start, &end), 18);
  EXPECT_EQ(log.Text(), Line("GPSGetData", "the camera do not support GPS\n"));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x1C)));
  EXPECT_TRUE(SameBytes(start, Filled(0x5A)));
  EXPECT_TRUE(SameBytes(end, Filled(0x5A)));
}

TEST_F(GpsControl, VersionZeroIsTooLowForLatchedBlocks) {
  camera.port->fpga[0x46] = 0x01;
  _ORQ_GPS_DATA start = Filled(0x5A), end = Filled(0x5A);
  LogText log;
  EXPECT_EQ(camera.GPSGetData(&start, &end), 19);
  EXPECT_EQ(log.Text(), Line("GPSGetData", "the current GPS ver is 0 but wanted >= 1"));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x1C), ReadRequest(0x46), ReadRequest(0x46)));
  EXPECT_TRUE(SameBytes(start, Filled(0x5A)));
}

/// Loses its GPS after the check.
class ForgetfulPort : public orq::test::FakePort {
 public:
  int ControlTransfer(const orq::SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    const int result = FakePort::ControlTransfer(setup, data, timeoutMs);
    if (setup.value == 0x46) fpga[0x46] = 0;
    return result;
  }
};

TEST_F(GpsControl, AVersionThatCannotBeHadIsTooLow) {
  const auto port = std::make_shared<ForgetfulPort>();
  port->fpga = camera.port->fpga;
  camera.UsePort(port);
  _ORQ_GPS_DATA start{}, end{};
  LogText log;
  EXPECT_EQ(camera.GPSGetData(&start, &end), 19);
  EXPECT_EQ(log.Text(), Line("GPSGetData", "the current GPS ver is -1 but wanted >= 1"));
}

TEST_F(GpsControl, DataComeFromBothBlocksForEveryVersionFromOne) {
  BlockV1 second = GoodBlock();
  second[7] = 11;
  camera.Latch(0x50, GoodBlock());
  camera.Latch(0x90, second);
  for (const int status : {0x03, 0x05, 0xFF}) {
    camera.port->fpga[0x46] = static_cast<std::uint8_t>(status);
    _ORQ_GPS_DATA start{}, end{};
    EXPECT_EQ(camera.GPSGetData(&start, &end), 0);
    EXPECT_EQ(start.Datetime.Second, 10);
    EXPECT_EQ(end.Datetime.Second, 11);
  }
}

TEST_F(GpsControl, VersionZeroDecodesTheCallersBlock) {
  camera.port->fpga[0x46] = 0x01;
  std::array<unsigned char, 56> block{};
  block[7] = 'A';
  block[53] = '1';
  block[52] = '2';
  _ORQ_GPS_DATA out{};
  LogText log;
  EXPECT_EQ(camera.ParseGPSData(block.data(), &out), 1);
  EXPECT_EQ(out.SatelliteNum, 12);
  const std::string text = log.Text();
  EXPECT_THAT(text, testing::StartsWith(Line("ParseGPSData", "GPS ver: 0\n") +
                                        Line("ParseGPSData_Ver0", "Cambase start ParseGPSData")));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x46))) << "no GPS check, no block read";
}

TEST_F(GpsControl, VersionOneReadsBothBlocksAndKeepsTheStart) {
  BlockV1 second = GoodBlock();
  second[7] = 11;
  camera.Latch(0x50, GoodBlock());
  camera.Latch(0x90, second);
  _ORQ_GPS_DATA out{};
  LogText log;
  EXPECT_EQ(camera.ParseGPSData(nullptr, &out), 0);
  EXPECT_EQ(out.Datetime.Second, 10);
  EXPECT_THAT(log.Text(), testing::StartsWith(Line("ParseGPSData", "GPS ver: 1\n")));
  EXPECT_THAT(camera.port->TakeEvents(), testing::SizeIs(1 + 2 * 55));
}

TEST_F(GpsControl, ABadEndBlockFailsVersionOneAsWell) {
  camera.Latch(0x50, GoodBlock());
  BlockV1 bad = GoodBlock();
  bad[0] = 'V';
  camera.Latch(0x90, bad);
  _ORQ_GPS_DATA out{};
  EXPECT_EQ(camera.ParseGPSData(nullptr, &out), 22);
  EXPECT_EQ(out.Datetime.Second, 10);
}

TEST_F(GpsControl, OtherVersionsAreNotRecognized) {
  const struct {
    int status;
    const char* version;
  } cases[] = {{0x05, "2"}, {0xFF, "127"}, {0x00, "-1"}, {0x02, "-1"}};
  for (const auto& c : cases) {
    camera.port->fpga[0x46] = static_cast<std::uint8_t>(c.status);
    camera.port->TakeEvents();
    _ORQ_GPS_DATA out = Filled(0x5A);
    std::array<unsigned char, 56> block{};
    block[7] = 'A';
    LogText log;
    camera.ParseGPSData(block.data(), &out);
    EXPECT_EQ(log.Text(), Line("ParseGPSData", std::string("GPS ver: ") + c.version + "\n") +
                              Line("ParseGPSData", std::string("Unrecognized GPS ver: ") + c.version + "\n"));
    EXPECT_TRUE(SameBytes(out, Filled(0x5A)));
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(ReadRequest(0x46)));
  }
}

TEST_F(GpsControl, ResultsThatNobodyWantsAreNotDelivered) {
  camera.Latch(0x50, GoodBlock());
  camera.Latch(0x90, GoodBlock());
  _ORQ_GPS_DATA end{};
  EXPECT_EQ(camera.GPSGetData(nullptr, &end), 0);
  EXPECT_EQ(end.Datetime.Second, 10);
  EXPECT_EQ(camera.GPSGetData(nullptr, nullptr), 0);
  EXPECT_EQ(camera.ParseGPSData(nullptr, nullptr), 0);
  EXPECT_EQ(camera.ParseGPSData_Ver1_SingleLine(nullptr, &end, true), 21);
  BlockV1 block = GoodBlock();
  EXPECT_EQ(camera.ParseGPSData_Ver1_SingleLine(block.data(), nullptr, true), 0);
  std::array<unsigned char, 56> old{};
  old[7] = 'A';
  EXPECT_EQ(camera.ParseGPSData_Ver0(old.data(), nullptr), 1);
  end = Filled(0x5A);
  EXPECT_EQ(camera.ParseGPSData_Ver0(nullptr, &end), 1);
  EXPECT_TRUE(SameBytes(end, Filled(0x5A)));
}

}  // namespace
