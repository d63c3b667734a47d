// GPS times from the virtual receiver to the records that callers get.
#include <gmock/gmock.h>

#include <cmath>
#include <string>

#include "gps/GpsTypes.h"
#include "link/WireProtocol.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

constexpr double kTruncatedUs = 0.4;  ///< ticks and offset are cut, never rounded: up to this much too early

VirtualRig GpsRig(const std::function<void(VirtualOptions&)>& change = {}) {
  return VirtualRig(
      "t46c",
      [&](VirtualOptions& options) {
        options.timeScale = 0;
        options.gps.emplace().start = ParseUtc("2031-12-31T23:59:50").value();
        if (change) change(options);
      });
}

std::uint32_t LatchCount(const VirtualRig& rig) {
  std::uint32_t count = 0;
  for (unsigned i = 0; i < 4; ++i) {
    unsigned char byte = 0;
    EXPECT_TRUE(rig.camera->ReadFPGAREG(static_cast<unsigned short>(wire::kFpgaGpsLatchCount + i), &byte));
    count |= std::uint32_t{byte} << (8 * i);
  }
  return count;
}

double SecondOfMinute(const _ORQ_DATE_TIME& time) {
  return time.Second + time.MSecond * 1e-3 + time.USecond * 1e-7;
}
double Microseconds(const _ORQ_GPS_DATA& from, const _ORQ_GPS_DATA& to) {
  return (SecondOfMinute(to.Datetime) - SecondOfMinute(from.Datetime)) * 1e6;
}

TEST(GpsTime, TheRecordsAreTheStartsOfExposureOfTheChosenLines) {
  const VirtualRig rig = GpsRig();
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetExp(100'000, false));
  ASSERT_EQ(rig.camera->SetControlValue(ORQ_GPS_START_LINE, 0, false), CTRL_OK);
  ASSERT_EQ(rig.camera->SetControlValue(ORQ_GPS_END_LINE, 127, false), CTRL_OK);
  rig.device->AdvanceTime(3);
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  ASSERT_EQ(rig.camera->GPSGetData(&start, &end), CTRL_OK);
  // The exposure begins 3 s after 23:59:50; each line 16.4 us after the one before.
  EXPECT_NEAR(SecondOfMinute(start.Datetime), 53.0, kTruncatedUs * 1e-6);
  EXPECT_LE(SecondOfMinute(start.Datetime), 53.0);
  EXPECT_EQ(start.Datetime.Minute, 59);
  int interval = 0;
  ASSERT_EQ(rig.camera->GetRollingInterval(interval), 1);
  EXPECT_NEAR(Microseconds(start, end), 127 * interval * 0.1, kTruncatedUs);
  EXPECT_STREQ(start.PositionText, "11.380000E,47.259998N");  // single precision next to 11.38 and 47.26
  EXPECT_EQ(start.Altitude, 5743);
  EXPECT_EQ(start.SatelliteNum, 11);
}

TEST(GpsTime, TheOffsetCarriesIntoTheNewYear) {
  const VirtualRig rig = GpsRig();
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetExp(1000, false));
  rig.device->AdvanceTime(10);  // the latch lies before midnight, the exposure begins with the year
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  ASSERT_EQ(rig.camera->GPSGetData(&start, &end), CTRL_OK);
  EXPECT_EQ(start.Datetime.Year, 2031) << "cut to 131 us: 0.2 us before midnight";
  rig.device->AdvanceTime(0.000'05);
  ASSERT_FALSE(rig.Snap(info).empty());
  ASSERT_EQ(rig.camera->GPSGetData(&start, &end), CTRL_OK);
  EXPECT_EQ(start.Datetime.Year, 2032);
  EXPECT_EQ(start.Datetime.Month, 1);
  EXPECT_EQ(start.Datetime.Day, 1);
  EXPECT_EQ(start.Datetime.Hour, 0);
}

TEST(GpsTime, EachFrameHasItsOwnLatch) {
  const VirtualRig rig = GpsRig();
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(LatchCount(rig), 0U);
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  const std::uint32_t first = LatchCount(rig);
  ASSERT_FALSE(rig.Snap(info).empty());
  EXPECT_EQ(LatchCount(rig), first + 1);
}

TEST(GpsTime, WithoutAFixTheDataAreInvalid) {
  const VirtualRig rig = GpsRig([](VirtualOptions& options) { options.gps->source = "nofix"; });
  ASSERT_TRUE(rig.Open());
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  EXPECT_EQ(rig.camera->GPSGetData(&start, &end), CTRL_GPS_DATA_INVALID);
}

TEST(GpsTime, OlderBlocksComeByRequestAndAreDecodedAsTheyAre) {
  const VirtualRig rig = GpsRig([](VirtualOptions& options) { options.gps->version = 0; });
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetExp(100'000, false));
  rig.device->AdvanceTime(3);
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  EXPECT_EQ(rig.camera->GPSGetData(&start, &end), CTRL_GPS_VER_TOO_LOW);
  std::array<unsigned char, 60> answer{};
  ASSERT_TRUE(rig.camera->SendCMD(wire::kReqGpsBlock, 0, 0, true, answer.data(), answer.size()));
  EXPECT_EQ(rig.camera->ParseGPSData(answer.data() + 4, &start), 1);
  // No offset is added: the latch is 131.2 us before the exposure at 53 s.
  EXPECT_NEAR(SecondOfMinute(start.Datetime), 53.0 - 131.2e-6, 0.2e-6);
  // 47 degrees 15.60000', 11 degrees 22.80000', decimals taken for ten times what they are.
  EXPECT_EQ(start.Latitude, static_cast<double>(static_cast<float>(47 + 15.0 / 60 + 60000.0 / 600000)));
  EXPECT_EQ(start.Longitude, static_cast<double>(static_cast<float>(11 + 22.0 / 60 + 80000.0 / 600000)));
}

TEST(GpsTime, OtherModelsHaveNone) {
  const VirtualRig rig("k1c");
  ASSERT_TRUE(rig.Open());
  EXPECT_FALSE(rig.camera->GPSCheck());
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  EXPECT_EQ(rig.camera->GPSGetData(&start, &end), CTRL_GET_FAILED);
}

}  // namespace
}  // namespace orq::test
