#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
using testing::HasSubstr;
using testing::StartsWith;

constexpr unsigned kStart = 0x50;
constexpr unsigned kEnd = 0x90;

class GpsReading : public testing::Test {
 protected:
  GpsReading() {
    BlockV1 later = GoodBlock();
    later[7] = 11;
    camera.Latch(kStart, GoodBlock());
    camera.Latch(kEnd, later);
  }
  static std::vector<std::string> BlockRequests(unsigned base, unsigned count = 55) {
    std::vector<std::string> requests;
    for (unsigned n = 0; n < count; ++n) requests.push_back(ReadRequest(base + n));
    return requests;
  }
  void Refuse(unsigned reg) { camera.port->refusedRegisters = {{0xD0, static_cast<std::uint16_t>(reg)}}; }

  GpsCamera camera;
  _ORQ_GPS_DATA start = Filled(0x5A);
  _ORQ_GPS_DATA end = Filled(0x5A);
};

TEST_F(GpsReading, TheBlockIsReadRegisterByRegister) {
  EXPECT_EQ(camera.ReadGPSDataFromFPGA_Ver1(0, &start), 0);
  EXPECT_EQ(camera.port->TakeEvents(), BlockRequests(kStart));
  EXPECT_EQ(start.Datetime.Second, 10);
  for (const int line : {1, 2, -1}) {
    EXPECT_EQ(camera.ReadGPSDataFromFPGA_Ver1(line, &end), 0);
    EXPECT_EQ(camera.port->TakeEvents(), BlockRequests(kEnd));
    EXPECT_EQ(end.Datetime.Second, 11);
  }
}

TEST_F(GpsReading, TheStartBlockIsReadAndDecodedBeforeTheEndBlock) {
  LogText log;
  EXPECT_EQ(camera.ParseGPSData_Ver1(&start, &end), 0);
  const std::string text = log.Text();
  EXPECT_LT(text.find("GPS Sta time"), text.find("GPS End time"));
  std::vector<std::string> expected = BlockRequests(kStart);
  const std::vector<std::string> endRequests = BlockRequests(kEnd);
  expected.insert(expected.end(), endRequests.begin(), endRequests.end());
  EXPECT_EQ(camera.port->TakeEvents(), expected);
}

TEST_F(GpsReading, EveryRegisterOfTheStartBlockCanFail) {
  for (unsigned n = 0; n < 55; ++n) {
    Refuse(kStart + n);
    start = end = Filled(0x5A);
    char reg[16];
    std::snprintf(reg, sizeof reg, "0x%x\n", kStart + n);
    LogText log;
    EXPECT_EQ(camera.ParseGPSData_Ver1(&start, &end), 20) << n;
    EXPECT_EQ(log.Text(), Line("ReadGPSDataFromFPGA_Ver1", std::string("Failed to Read FPGA Reg: ") + reg) +
                              Line("ParseGPSData_Ver1", "Failed to get start line GPS data\n"));
    EXPECT_EQ(camera.port->TakeEvents(), BlockRequests(kStart, n + 1));
    EXPECT_TRUE(SameBytes(start, Filled(0x5A)));
    EXPECT_TRUE(SameBytes(end, Filled(0x5A)));
  }
}

TEST_F(GpsReading, EveryRegisterOfTheEndBlockCanFail) {
  for (unsigned n = 0; n < 55; ++n) {
    Refuse(kEnd + n);
    start = end = Filled(0x5A);
    char reg[16];
    std::snprintf(reg, sizeof reg, "0x%x\n", kEnd + n);
    LogText log;
    EXPECT_EQ(camera.ParseGPSData_Ver1(&start, &end), 20) << n;
    EXPECT_THAT(log.Text(), testing::EndsWith(
                                Line("ReadGPSDataFromFPGA_Ver1", std::string("Failed to Read FPGA Reg: ") + reg) +
                                Line("ParseGPSData_Ver1", "Failed to get end line GPS data\n")));
    EXPECT_EQ(camera.port->TakeEvents().size(), 55 + n + 1);
    EXPECT_EQ(start.Datetime.Second, 10) << "the start record stands";
    EXPECT_TRUE(SameBytes(end, Filled(0x5A)));
  }
}

TEST_F(GpsReading, AnInvalidStartBlockLeavesTheEndUnread) {
  camera.port->fpga[kStart] = 'V';
  LogText log;
  EXPECT_EQ(camera.ParseGPSData_Ver1(&start, &end), 22);
  EXPECT_THAT(log.Text(), testing::EndsWith(Line("ParseGPSData_Ver1", "Failed to get start line GPS data\n")));
  EXPECT_EQ(camera.port->TakeEvents(), BlockRequests(kStart));
  EXPECT_TRUE(SameBytes(end, Filled(0x5A)));
}

TEST_F(GpsReading, AnInvalidEndBlockIsTold) {
  camera.port->fpga[kEnd + 24] = 'X';
  LogText log;
  EXPECT_EQ(camera.ParseGPSData_Ver1(&start, &end), 22);
  EXPECT_THAT(log.Text(), testing::EndsWith(Line("ParseGPSData_Ver1", "Failed to get end line GPS data\n")));
  EXPECT_EQ(end.Datetime.Second, 11) << "the time was stored before the side was judged";
}

TEST_F(GpsReading, TheBlockIsDumpedInGroups) {
  for (unsigned n = 0; n < 55; ++n)
    camera.port->fpga[static_cast<std::uint16_t>(kStart + n)] = static_cast<std::uint8_t>(n);
  LogText log;
  EXPECT_EQ(camera.ReadGPSDataFromFPGA_Ver1(0, &start), 22);
  const std::string tag = "ReadGPSDataFromFPGA_Ver1";
  EXPECT_THAT(
      log.Text(),
      StartsWith(
          Line(tag, "GPS Time: 00 | 01 02 03 04 05 06 | 07 08 09 0a 0b 0c 0d 0e 0f | 10 11 12 13 14 15 16 17\n") +
          Line(tag,
               "GPS Location: 18 | 19 1a 1b 1c 1d 1e 1f 20 21 22 | 23 | 24 25 26 27 28 29 2a 2b 2c 2d 2e | "
               "2f 30 31 32 33 34 | 35 36\n") +
          Line("ParseGPSData_Ver1_SingleLine",
               std::string("FPGA GPS time flag register wanted 'A' but get '") + '\0' + "'\n")));
}

TEST_F(GpsReading, NothingIsWrittenWhileTheLogIsOff) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(camera.ParseGPSData_Ver1(&start, &end), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
