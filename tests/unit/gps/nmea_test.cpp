#include "virtual/gps/NmeaReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using namespace std::chrono_literals;
using orq::NmeaEpoch;
using orq::ReadNmea;
using testing::IsEmpty;
using testing::SizeIs;

/// The sentence with its checksum and a line end.
std::string Sentence(const std::string& body) {
  unsigned sum = 0;
  for (const char c : body) sum ^= static_cast<std::uint8_t>(c);
  char tail[8];
  std::snprintf(tail, sizeof tail, "*%02X\r\n", sum);
  return "$" + body + tail;
}
std::string Rmc(const std::string& time, const std::string& status = "A", const std::string& date = "070524",
                const std::string& position = "4807.03812,N,01131.50009,E") {
  return Sentence("GPRMC," + time + "," + status + "," + position + ",0.0,0.0," + date + ",,,A");
}
std::string Gga(const std::string& time, const std::string& quality = "1", const std::string& satellites = "09",
                const std::string& altitude = "123.4") {
  return Sentence("GPGGA," + time + ",4807.03812,N,01131.50009,E," + quality + "," + satellites + ",0.9," +
                  altitude + ",M,-21.3,M,,");
}
std::string Text(const std::array<char, 10>& text) {
  return {text.begin(), text.end()};
}
std::string Text(const std::array<char, 11>& text) {
  return {text.begin(), text.end()};
}
orq::UtcTime Utc(int year, unsigned month, unsigned day, std::chrono::nanoseconds time) {
  return std::chrono::sys_days(std::chrono::year(year) / static_cast<int>(month) / static_cast<int>(day)) + time;
}

TEST(NmeaChecksum, IsTheExclusiveOrBetweenDollarAndStar) {
  EXPECT_TRUE(orq::ChecksumHolds("$GPRMC,,V,,,,,,,,,,N*53"));
  EXPECT_TRUE(orq::ChecksumHolds("$GPGGA,,,,,,0,00,99.99,,,,,,*48"));
  EXPECT_TRUE(orq::ChecksumHolds("$A*41"));
  EXPECT_TRUE(orq::ChecksumHolds("$*00"));
  EXPECT_TRUE(orq::ChecksumHolds("$j*6a"));
  for (const std::string_view wrong : {"$GPRMC,,V,,,,,,,,,,N*52", "GPRMC,,V,,,,,,,,,,N*53", "$A*4", "$A41",
                                       "$A*4G", "$A*-1", "", "$", "*41", "$A *41", "$A*41 "})
    EXPECT_FALSE(orq::ChecksumHolds(wrong)) << wrong;
}

TEST(NmeaLog, RmcAndGgaOfOneTimeMakeOneFix) {
  for (const std::string& log : {Rmc("080910.25") + Gga("080910.25"), Gga("080910.25") + Rmc("080910.25")}) {
    const std::vector<NmeaEpoch> epochs = ReadNmea(log);
    ASSERT_THAT(epochs, SizeIs(1));
    const orq::GpsFix& fix = epochs[0].fix;
    EXPECT_EQ(epochs[0].at, 0ns);
    EXPECT_TRUE(fix.valid);
    EXPECT_EQ(fix.time, Utc(2024, 5, 7, 8h + 9min + 10s + 250ms));
    EXPECT_EQ(Text(fix.latitude), "4807.03812");
    EXPECT_EQ(fix.latitudeSide, 'N');
    EXPECT_EQ(Text(fix.longitude), "01131.50009");
    EXPECT_EQ(fix.longitudeSide, 'E');
    EXPECT_EQ(fix.altitude, 1234);
    EXPECT_EQ(fix.satellites, 9);
  }
}

TEST(NmeaLog, WithoutGgaAltitudeAndSatellitesAreUnknown) {
  const auto epochs = ReadNmea(Rmc("080910"));
  ASSERT_THAT(epochs, SizeIs(1));
  EXPECT_TRUE(epochs[0].fix.valid);
  EXPECT_FALSE(epochs[0].fix.altitude.has_value());
  EXPECT_EQ(epochs[0].fix.satellites, 0);
}

TEST(NmeaLog, WhatIsNotValidGivesNoFix) {
  const std::string cases[] = {
      Rmc("080910", "V"),
      Rmc("080910", "A", ""),
      Rmc("080910", "A", "310224"),
      Rmc("080910", "A", "0705"),
      Rmc(""),
      Rmc("240000"),
      Rmc("086010"),
      Rmc("080960"),
      Rmc("08091"),
      Rmc("080910,5"),
      Rmc("080910.x"),
      Rmc("080910", "A", "070524", ",,,"),
      Rmc("080910", "A", "070524", "4807.0,X,01131.5,E"),
      Rmc("080910", "A", "070524", "4807.0,N,01131.5,N"),
      Rmc("080910", "A", "070524", "807.0,N,01131.5,E"),
      Rmc("080910", "A", "070524", "4860.0,N,01131.5,E"),
      Rmc("080910", "A", "070524", "9000.1,N,01131.5,E"),
      Rmc("080910", "A", "070524", "9100.0,N,01131.5,E"),
      Rmc("080910", "A", "070524", "4807.0,N,18000.01,E"),
      Rmc("080910", "A", "070524", "48-7.0,N,01131.5,E"),
      Rmc("080910", "A", "070524", "4807.0,N,01131.5e1,E"),
      Rmc("080910", "A", "070524", "4807,N,01131,E"),
      Rmc("080910") + Gga("080910", "0"),
      Rmc("080910") + Gga("080910", ""),
      Gga("080910"),
  };
  for (const std::string& log : cases) {
    const auto epochs = ReadNmea(log);
    ASSERT_THAT(epochs, SizeIs(1)) << log;
    EXPECT_FALSE(epochs[0].fix.valid) << log;
    EXPECT_EQ(epochs[0].fix.time, orq::UtcTime()) << log;
  }
}

TEST(NmeaLog, PolesAndDateLineAreReached) {
  EXPECT_TRUE(ReadNmea(Rmc("080910", "A", "070524", "9000.0000,S,18000.0000,W"))[0].fix.valid);
}

TEST(NmeaLog, SentencesWithAWrongChecksumDoNotCount) {
  std::string bad = Rmc("080911");
  bad[20] = bad[20] == '1' ? '2' : '1';
  const auto epochs = ReadNmea(Rmc("080910") + bad + Rmc("080912"));
  ASSERT_THAT(epochs, SizeIs(2));
  EXPECT_EQ(epochs[1].at, 2s);
}

TEST(NmeaLog, OtherLinesArePassedOver) {
  EXPECT_THAT(ReadNmea(""), IsEmpty());
  EXPECT_THAT(
      ReadNmea("# $GPRMC\n\n" + Sentence("GPGSA,A,3") + Sentence("PRMC,1") + Sentence("GPRMCX,1") + "$\n*\n"),
      IsEmpty());
  EXPECT_THAT(ReadNmea(Sentence("GPGSA,A,3") + Rmc("080910") + "garbage"), SizeIs(1));
}

TEST(NmeaLog, EveryTalkerAndLineEndIsTaken) {
  std::string unixEnds = Sentence("GNRMC,080910,A,4807.03812,N,01131.50009,E,0.0,0.0,070524,,,A");
  unixEnds.erase(unixEnds.size() - 2, 1);
  EXPECT_TRUE(ReadNmea(unixEnds)[0].fix.valid);
  unixEnds.pop_back();
  EXPECT_TRUE(ReadNmea(unixEnds)[0].fix.valid) << "at the end of the file";
}

TEST(NmeaLog, DecimalsOfMinutesAreCutOrFilled) {
  EXPECT_EQ(Text(ReadNmea(Rmc("080910", "A", "070524", "3644.759368,S,17444.1,W"))[0].fix.latitude), "3644.75936");
  EXPECT_EQ(Text(ReadNmea(Rmc("080910", "A", "070524", "3644.759368,S,17444.1,W"))[0].fix.longitude),
            "17444.10000");
  EXPECT_EQ(Text(ReadNmea(Rmc("080910", "A", "070524", "3644.,S,17444.1,W"))[0].fix.latitude), "3644.00000");
}

TEST(NmeaLog, TheFirstGgaOfATimeCounts) {
  const auto epochs = ReadNmea(Gga("080910", "1", "08") + Gga("080910", "0", "02") + Rmc("080910"));
  ASSERT_THAT(epochs, SizeIs(1));
  EXPECT_TRUE(epochs[0].fix.valid);
  EXPECT_EQ(epochs[0].fix.satellites, 8);
}

TEST(NmeaLog, AltitudesAreRoundedToTenths) {
  EXPECT_EQ(ReadNmea(Rmc("080910") + Gga("080910", "1", "09", "1147.26"))[0].fix.altitude, 11473);
  EXPECT_EQ(ReadNmea(Rmc("080910") + Gga("080910", "1", "09", "-12.5"))[0].fix.altitude, -125);
  for (const char* none : {"", "x", "nan", "inf", "1e9", "12.5m"})
    EXPECT_FALSE(ReadNmea(Rmc("080910") + Gga("080910", "1", "09", none))[0].fix.altitude.has_value()) << none;
}

TEST(NmeaLog, MomentsFollowTheirTimes) {
  const auto epochs =
      ReadNmea(Rmc("235958") + Rmc("235958.2") + Rmc("000001", "V", "080524") + Rmc("000001.5", "A", "080524"));
  ASSERT_THAT(epochs, SizeIs(4));
  EXPECT_EQ(epochs[1].at, 200ms);
  EXPECT_EQ(epochs[2].at, 3s) << "across midnight, whether there is a fix or not";
  EXPECT_EQ(epochs[3].at, 3500ms);
}

TEST(NmeaLog, MomentsWithoutAUsableTimeAreASecondApart) {
  const auto epochs = ReadNmea(Rmc("", "V", "") + Rmc("", "V", "") + Rmc("080910") + Rmc("080909") +
                               Rmc("080909.5") + Rmc("081009.5") + Rmc("081009.6"));
  ASSERT_THAT(epochs, SizeIs(7));
  EXPECT_EQ(epochs[1].at, 1s);
  EXPECT_EQ(epochs[2].at, 2s);
  EXPECT_EQ(epochs[3].at, 3s) << "time fell";
  EXPECT_EQ(epochs[4].at, 3500ms);
  EXPECT_EQ(epochs[5].at, 63500ms) << "just a minute";
  EXPECT_EQ(epochs[6].at, 63600ms);
  EXPECT_EQ(ReadNmea(Rmc("080910") + Rmc("081010.1"))[1].at, 1s) << "more than a minute";
}

TEST(NmeaLog, SentencesWithoutATimePairUp) {
  const std::string gga = Sentence("GPGGA,,,,,,0,00,99.99,,,,,,");
  const std::string rmc = Sentence("GPRMC,,V,,,,,,,,,,N");
  EXPECT_THAT(ReadNmea(gga + rmc + gga + rmc + gga + rmc), SizeIs(3));
}

TEST(NmeaLog, TwoDigitYearsBeginIn1980) {
  EXPECT_EQ(ReadNmea(Rmc("000000", "A", "010180"))[0].fix.time, Utc(1980, 1, 1, 0s));
  EXPECT_EQ(ReadNmea(Rmc("000000", "A", "010179"))[0].fix.time, Utc(2079, 1, 1, 0s));
}

}  // namespace
