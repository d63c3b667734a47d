// The virtual receiver's fixes, packed into either block and decoded again.
#include "virtual/gps/GpsReceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>

#include "GpsCamera.h"
#include "gps/GpsRecordV0.h"
#include "gps/GpsRecordV1.h"
#include "virtual/gps/GpsBlocks.h"

namespace {

using namespace std::chrono_literals;
using orq::GpsFix;
using orq::GpsReceiver;
using orq::VirtualGps;
using orq::test::Numbers;
using testing::ElementsAre;

constexpr std::uint32_t kRate = 10'000'000;  // a tick is 0.1 us

orq::UtcTime Utc(const char* text) {
  const auto time = orq::ParseUtc(text);
  EXPECT_TRUE(time.has_value()) << text;
  return time.value_or(orq::UtcTime());
}
VirtualGps StartingAt(const char* utc) {
  VirtualGps gps;
  gps.start = Utc(utc);
  return gps;
}
_ORQ_GPS_DATA DecodedV1(const GpsFix& fix, std::uint32_t rate = kRate) {
  const orq::GpsBlockV1 block = orq::PackGpsV1(fix, rate);
  _ORQ_GPS_DATA data{};
  EXPECT_EQ(orq::DecodeGpsV1Time(block, data.Datetime), orq::GpsV1Fault::None);
  EXPECT_EQ(orq::DecodeGpsV1Position(block, data), orq::GpsV1Fault::None);
  return data;
}
_ORQ_GPS_DATA DecodedV0(const GpsFix& fix) {
  const orq::GpsBlockV0 block = orq::PackGpsV0(fix);
  _ORQ_GPS_DATA data{};
  EXPECT_TRUE(orq::DecodeGpsV0(block, data));
  return data;
}

TEST(UtcText, IsReadInOneForm) {
  EXPECT_EQ(Utc("2030-01-01T00:00:00").time_since_epoch(), 1893456000s);
  EXPECT_EQ(Utc("2024-02-29T23:59:59.5Z").time_since_epoch(), 1709251199s + 500ms);
  EXPECT_EQ(Utc("2254-12-31T23:59:59.999999999") - Utc("2254-12-31T00:00:00"), 24h - 1ns);
  for (const char* wrong :
       {"", "2030", "2030-01-01", "2030-01-01 00:00:00", "2030-1-1T00:00:00", "2023-02-29T00:00:00",
        "2022-12-31T23:59:59", "2255-01-01T00:00:00", "2030-13-01T00:00:00", "2030-00-01T00:00:00",
        "2030-01-01T24:00:00", "2030-01-01T00:60:00", "2030-01-01T00:00:60", "2030-01-01T00:00:00,5",
        "2030-01-01T00:00:00ZZ", "+030-01-01T00:00:00", "2030-01-01T00:00:00.1x", "9999-01-01T00:00:00"})
    EXPECT_FALSE(orq::ParseUtc(wrong).has_value()) << wrong;
}

TEST(GpsReceiver, WithoutFixKnowsNothing) {
  VirtualGps gps;
  gps.source = "nofix";
  const GpsReceiver receiver(gps);
  EXPECT_FALSE(receiver.At(0).valid);
  EXPECT_FALSE(receiver.At(1e6).valid);
}

TEST(GpsReceiver, SimulatedTimeRunsFromItsStart) {
  const GpsReceiver receiver(StartingAt("2030-06-15T21:59:58.25"));
  EXPECT_THAT(Numbers(DecodedV1(receiver.At(0)).Datetime), ElementsAre(2030, 6, 15, 21, 59, 58, 250, 0));
  EXPECT_THAT(Numbers(DecodedV1(receiver.At(1.5625)).Datetime), ElementsAre(2030, 6, 15, 21, 59, 59, 812, 5000));
  EXPECT_THAT(Numbers(DecodedV1(receiver.At(1.75)).Datetime), ElementsAre(2030, 6, 15, 22, 0, 0, 0, 0));
  EXPECT_THAT(Numbers(DecodedV1(receiver.At(-0.2500001)).Datetime),
              ElementsAre(2030, 6, 15, 21, 59, 57, 999, 9999));
}

TEST(GpsReceiver, TimeRollsOverAtEveryField) {
  const struct {
    const char* start;
    std::vector<int> next;
  } cases[] = {
      {"2030-06-15T21:58:59.5", {2030, 6, 15, 21, 59, 0, 0, 0}},
      {"2030-06-15T21:59:59.5", {2030, 6, 15, 22, 0, 0, 0, 0}},
      {"2030-06-15T23:59:59.5", {2030, 6, 16, 0, 0, 0, 0, 0}},
      {"2030-06-30T23:59:59.5", {2030, 7, 1, 0, 0, 0, 0, 0}},
      {"2030-02-28T23:59:59.5", {2030, 3, 1, 0, 0, 0, 0, 0}},
      {"2028-02-28T23:59:59.5", {2028, 2, 29, 0, 0, 0, 0, 0}},
      {"2028-02-29T23:59:59.5", {2028, 3, 1, 0, 0, 0, 0, 0}},
      {"2027-12-31T23:59:59.5", {2028, 1, 1, 0, 0, 0, 0, 0}},
      {"2099-12-31T23:59:59.5", {2100, 1, 1, 0, 0, 0, 0, 0}},
      {"2100-02-28T23:59:59.5", {2100, 3, 1, 0, 0, 0, 0, 0}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Numbers(DecodedV1(GpsReceiver(StartingAt(c.start)).At(0.5)).Datetime), c.next) << c.start;
}

TEST(GpsReceiver, PositionsKeepTheirSigns) {
  const struct {
    double latitude, longitude;
    const char* text;
  } cases[] = {{48.5, 11.25, "11.250000E,48.500000N"},
               {-48.5, 11.25, "11.250000E,-48.500000S"},
               {48.5, -11.25, "-11.250000W,48.500000N"},
               {-48.5, -171.25, "-171.250000W,-48.500000S"},
               {90, 180, "180.000000E,90.000000N"},
               {-90, -180, "-180.000000W,-90.000000S"},
               {0, 0, "0.000000E,0.000000N"}};
  for (const auto& c : cases) {
    VirtualGps gps;
    gps.latitude = c.latitude;
    gps.longitude = c.longitude;
    const _ORQ_GPS_DATA data = DecodedV1(GpsReceiver(gps).At(3));
    EXPECT_STREQ(data.PositionText, c.text);
    EXPECT_EQ(data.Latitude, c.latitude);
    EXPECT_EQ(data.Longitude, c.longitude);
  }
}

TEST(GpsReceiver, ARouteMovesThePosition) {
  VirtualGps gps;
  gps.latitude = 60;  // here a degree of longitude is half as long
  gps.longitude = 10;
  gps.metresPerSecond = 111.195;
  gps.courseDegrees = 0;
  const auto latitude = [](const VirtualGps& g, double s) { return DecodedV1(GpsReceiver(g).At(s)).Latitude; };
  const auto longitude = [](const VirtualGps& g, double s) { return DecodedV1(GpsReceiver(g).At(s)).Longitude; };
  EXPECT_NEAR(latitude(gps, 1000), 61.0, 1e-5);
  EXPECT_NEAR(longitude(gps, 1000), 10.0, 1e-5);
  gps.courseDegrees = 90;
  EXPECT_NEAR(latitude(gps, 1000), 60.0, 1e-5);
  EXPECT_NEAR(longitude(gps, 1000), 12.0, 1e-4);
  gps.courseDegrees = 270;
  EXPECT_NEAR(longitude(gps, 6000), -2.0, 1e-4) << "west of Greenwich";
  gps.longitude = 179;
  gps.courseDegrees = 90;
  EXPECT_NEAR(longitude(gps, 1000), -179.0, 1e-4) << "across the date line";
  gps.courseDegrees = 180;
  EXPECT_NEAR(latitude(gps, 70'000), -10.0, 1e-5) << "across the equator";
  EXPECT_EQ(latitude(gps, 1e9), -90.0) << "no farther than the pole";
}

TEST(AngleText, RoundsAndCarries) {
  const auto text = [](double degrees) {
    const auto digits = orq::AngleText<11>(degrees);
    return std::string(digits.begin(), digits.end());
  };
  EXPECT_EQ(text(0), "00000.00000");
  EXPECT_EQ(text(-122.123456), "12207.40736");
  EXPECT_EQ(text(9.99999999), "01000.00000");
  EXPECT_EQ(text(9.9999998), "00959.99999");
  EXPECT_EQ(text(180), "18000.00000");
}

GpsFix SomeFix() {
  return GpsReceiver(StartingAt("2030-06-15T21:59:58.2501234")).At(0);
}

TEST(GpsBlocks, TicksCountFromTheLastSecondCutToWholeOnes) {
  const orq::GpsBlockV1 block = orq::PackGpsV1(SomeFix(), 20'000'173);
  const auto wide = [&](std::size_t at) {
    return block[at] + 256U * block[at + 1] + 65536U * block[at + 2] + 16777216U * block[at + 3];
  };
  EXPECT_EQ(wide(20), 20'000'173U);
  EXPECT_EQ(wide(16), 5'002'511U);  // 0.2501234 s * 20000173/s = 5002511.27
}

TEST(GpsBlocks, ATimeJustBelowTheSecondStaysBelowIt) {
  const GpsFix fix = GpsReceiver(StartingAt("2030-06-15T21:59:58.999999999")).At(0);
  for (const std::uint32_t rate : {1U, 1000U, 20'000'173U, 0xFFFFFFFFU}) {
    const _ORQ_GPS_DATA data = DecodedV1(fix, rate);
    EXPECT_EQ(data.Datetime.Second, 58) << rate;
    EXPECT_LE(data.Datetime.MSecond, 999) << rate;
  }
}

TEST(GpsBlocks, AltitudesThatDoNotFitAreLeftOut) {
  const struct {
    std::optional<int> altitude;
    int v1, v0;
  } cases[] = {{1234, 1234, 1234}, {5, 5, 5},      {0, 0, 0},           {9999, 9999, 9999}, {10000, 0, 10000},
               {99999, 0, 99999},  {100000, 0, 0}, {-5, -5, -5},        {-999, -999, -999}, {-1000, 0, -1000},
               {-9999, 0, -9999},  {-10000, 0, 0}, {std::nullopt, 0, 0}};
  for (const auto& c : cases) {
    GpsFix fix = SomeFix();
    fix.altitude = c.altitude;
    EXPECT_EQ(DecodedV1(fix).Altitude, c.v1) << c.altitude.value_or(-1);
    EXPECT_EQ(DecodedV0(fix).Altitude, c.v0) << c.altitude.value_or(-1);
  }
}

TEST(GpsBlocks, SatellitesAreTwoDigits) {
  for (const auto& [satellites, read] : {std::pair{0, 0}, {7, 7}, {42, 42}, {99, 99}, {100, 99}, {-1, 0}}) {
    GpsFix fix = SomeFix();
    fix.satellites = satellites;
    EXPECT_EQ(DecodedV1(fix).SatelliteNum, read);
    EXPECT_EQ(DecodedV0(fix).SatelliteNum, read);
  }
}

TEST(GpsBlocks, VersionZeroHoldsTheSameTimeAndADeliberatelyScaledPosition) {
  GpsFix fix = SomeFix();
  const std::string_view latitude = "4807.03812";
  const std::string_view longitude = "01131.50009";
  std::copy(latitude.begin(), latitude.end(), fix.latitude.begin());
  std::copy(longitude.begin(), longitude.end(), fix.longitude.begin());
  fix.latitudeSide = 'S';
  fix.longitudeSide = 'W';
  const _ORQ_GPS_DATA data = DecodedV0(fix);
  EXPECT_THAT(Numbers(data.Datetime), ElementsAre(2030, 6, 15, 21, 59, 58, 250, 1234));
  EXPECT_EQ(data.Latitude, -static_cast<double>(static_cast<float>(48 + 7.0 / 60 + 3812.0 / 600000)));
  EXPECT_EQ(data.Longitude, -static_cast<double>(static_cast<float>(11 + 31.0 / 60 + 50009.0 / 600000)));
}

TEST(GpsBlocks, NoFixIsMarkedInvalidAndEmpty) {
  const orq::GpsBlockV1 v1 = orq::PackGpsV1(GpsFix(), kRate);
  EXPECT_EQ(v1[0], 'V');
  EXPECT_THAT(std::vector<int>(v1.begin() + 1, v1.end()), testing::Each(0));
  const orq::GpsBlockV0 v0 = orq::PackGpsV0(GpsFix());
  EXPECT_EQ(v0[7], 'V');
  _ORQ_GPS_DATA data{};
  EXPECT_FALSE(orq::DecodeGpsV0(v0, data));
}

orq::NmeaEpoch Epoch(std::chrono::nanoseconds at, const char* utc, int satellites) {
  orq::NmeaEpoch epoch;
  epoch.at = at;
  epoch.fix = GpsReceiver(StartingAt(utc)).At(0);
  epoch.fix.satellites = satellites;
  return epoch;
}

TEST(RecordedReceiver, TheLastMomentHoldsUntilTheNext) {
  orq::NmeaEpoch noFix;
  noFix.at = 2s;
  const GpsReceiver receiver({Epoch(0s, "2030-06-15T21:59:57.8", 1), Epoch(1s, "2030-06-15T21:59:58.8", 2), noFix,
                              Epoch(3s, "2030-06-15T22:00:00.8", 4)});
  EXPECT_EQ(receiver.At(-1).satellites, 1) << "before the first";
  EXPECT_EQ(receiver.At(0).satellites, 1);
  EXPECT_EQ(receiver.At(0.999).satellites, 1);
  EXPECT_EQ(receiver.At(1).satellites, 2);
  EXPECT_EQ(receiver.At(1.25).time, Utc("2030-06-15T21:59:59.05"));
  EXPECT_FALSE(receiver.At(2).valid);
  EXPECT_FALSE(receiver.At(2.999).valid);
  EXPECT_EQ(receiver.At(3).satellites, 4);
  EXPECT_EQ(receiver.At(103.5).time, Utc("2030-06-15T22:01:41.3")) << "after the last it goes on";
}

TEST(RecordedReceiver, OldDatesMoveByWholeLeapCycles) {
  const auto first = [](int year, unsigned month, unsigned day) {
    orq::NmeaEpoch epoch = Epoch(0s, "2030-01-01T10:00:00", 5);
    epoch.fix.time =
        std::chrono::sys_days(std::chrono::year(year) / static_cast<int>(month) / static_cast<int>(day)) + 10h;
    return Numbers(DecodedV1(GpsReceiver({epoch}).At(0)).Datetime);
  };
  EXPECT_THAT(first(2007, 4, 8), ElementsAre(2023, 4, 8, 10, 0, 0, 0, 0));
  EXPECT_THAT(first(2020, 2, 29), ElementsAre(2024, 2, 29, 10, 0, 0, 0, 0));
  EXPECT_THAT(first(2022, 12, 31), ElementsAre(2026, 12, 31, 10, 0, 0, 0, 0));
  EXPECT_THAT(first(2023, 1, 1), ElementsAre(2023, 1, 1, 10, 0, 0, 0, 0));
  EXPECT_THAT(first(2050, 1, 1), ElementsAre(2050, 1, 1, 10, 0, 0, 0, 0));
}

TEST(RecordedReceiver, ALogThatCannotBeUsedSaysWhy) {
  std::string error;
  VirtualGps gps;
  gps.source = "/nonexistent/gps.log";
  EXPECT_FALSE(GpsReceiver::Make(gps, error).has_value());
  EXPECT_EQ(error, "GPS log '/nonexistent/gps.log': cannot be read");
  gps.source = testing::TempDir();
  EXPECT_FALSE(GpsReceiver::Make(gps, error).has_value());
  gps.source = testing::TempDir() + "/orq_no_sentences.log";
  std::ofstream(gps.source) << "# nothing\n$GPGSV,1*00\n";
  EXPECT_FALSE(GpsReceiver::Make(gps, error).has_value());
  EXPECT_EQ(error, "GPS log '" + gps.source + "': holds no RMC or GGA sentence");
}

}  // namespace
