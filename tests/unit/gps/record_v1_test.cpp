#include "gps/GpsRecordV1.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "GpsCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::BlockV1;
using orq::test::Filled;
using orq::test::GoodBlock;
using orq::test::GpsCamera;
using orq::test::Line;
using orq::test::LogText;
using orq::test::Numbers;
using orq::test::PutReversed;
using orq::test::PutTicks;
using orq::test::SameBytes;
using testing::ElementsAre;

const std::string kTag = "ParseGPSData_Ver1_SingleLine";

class GpsRecordV1 : public testing::Test {
 protected:
  int Decode(const BlockV1& block, bool isStart = true) {
    BlockV1 copy = block;
    LogText text;
    const int result = camera.ParseGPSData_Ver1_SingleLine(copy.data(), &out, isStart);
    log = text.Text();
    EXPECT_EQ(copy, block) << "the block is only read";
    return result;
  }
  /// The lines up to the time text when the offset is 0.
  static std::string TimeLines(int ms, int us, const std::string& text) {
    const std::string numbers = std::to_string(ms) + ", USecond: " + std::to_string(us) + "\n";
    return Line(kTag, "Before, MSecond: " + numbers) + Line(kTag, "After add SHR0, MSecond: " + numbers) +
           Line(kTag, "GPS Sta time: " + text + "\n");
  }

  GpsCamera camera;
  _ORQ_GPS_DATA out = Filled(0x5A);
  std::string log;
};

TEST_F(GpsRecordV1, AGoodBlockGivesTimeAndPosition) {
  EXPECT_EQ(Decode(GoodBlock()), 0);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 7, 8, 9, 10, 123, 4567));
  EXPECT_STREQ(out.Datetime.TimeText, "2024-05-07UTC08:09:10.123456");
  EXPECT_EQ(out.Latitude, static_cast<double>(static_cast<float>(48 + 7.0 / 60 + 381.0 / 600000)));
  EXPECT_EQ(out.Longitude, static_cast<double>(static_cast<float>(11 + 31.0 / 60 + 5000.0 / 600000)));
  EXPECT_NEAR(out.Latitude, 48.117302, 2e-6);
  EXPECT_EQ(out.Altitude, 1234);
  EXPECT_EQ(out.SatelliteNum, 9);
  EXPECT_STREQ(out.PositionText, "11.525000E,48.117302N");
  EXPECT_EQ(log, TimeLines(123, 4567, "2024-05-07UTC08:09:10.123456") +
                     Line(kTag, "GPS, Lon: 11.525000, Lat: 48.117302, Alt: 123.4, SatNum: 9\n"));
}

TEST_F(GpsRecordV1, TextsAreClearedToTheirEnds) {
  Decode(GoodBlock());
  EXPECT_THAT(std::vector<char>(out.Datetime.TimeText + 28, out.Datetime.TimeText + 64), testing::Each('\0'));
  EXPECT_THAT(std::vector<char>(out.PositionText + 21, out.PositionText + 64), testing::Each('\0'));
}

TEST_F(GpsRecordV1, TheEndLineIsWordedApart) {
  EXPECT_EQ(Decode(GoodBlock(), false), 0);
  EXPECT_THAT(log, testing::HasSubstr(Line(kTag, "GPS End time: 2024-05-07UTC08:09:10.123456\n")));
  EXPECT_THAT(log, testing::Not(testing::HasSubstr("GPS Sta time")));
}

TEST_F(GpsRecordV1, ATimeThatIsNotMarkedValidStoresNothing) {
  for (const int flag : {0x56, 0x61, 0x80, 0xFF, 0x00}) {
    BlockV1 block = GoodBlock();
    block[0] = static_cast<std::uint8_t>(flag);
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 22);
    std::string message = "FPGA GPS time flag register wanted 'A' but get 'X'\n";
    message[message.find('X')] = static_cast<char>(flag);
    EXPECT_EQ(log, Line(kTag, message));
    EXPECT_TRUE(SameBytes(out, Filled(0x5A)));
    EXPECT_EQ(camera.shr0Reads, 0);
  }
}

TEST_F(GpsRecordV1, YearsBefore2023AreInvalidButStored) {
  for (const int year : {0, 1, 22}) {
    BlockV1 block = GoodBlock();
    block[3] = static_cast<std::uint8_t>(year);
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 22);
    EXPECT_EQ(log, Line(kTag, "Invalid year: " + std::to_string(2000 + year) + "\n"));
    _ORQ_GPS_DATA expected = Filled(0x5A);
    expected.Datetime.Year = 2000 + year;
    EXPECT_TRUE(SameBytes(out, expected));
  }
  for (const int year : {23, 99, 100, 255}) {
    BlockV1 block = GoodBlock();
    block[3] = static_cast<std::uint8_t>(year);
    EXPECT_EQ(Decode(block), 0);
    EXPECT_EQ(out.Datetime.Year, 2000 + year);
  }
}

TEST_F(GpsRecordV1, AMonthThatIsNoneIsInvalidButStored) {
  for (const int month : {0, 13, 255}) {
    BlockV1 block = GoodBlock();
    block[2] = static_cast<std::uint8_t>(month);
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 22);
    EXPECT_EQ(log, Line(kTag, "Invalid month: " + std::to_string(month) + "\n"));
    _ORQ_GPS_DATA expected = Filled(0x5A);
    expected.Datetime.Year = 2024;
    expected.Datetime.Month = month;
    EXPECT_TRUE(SameBytes(out, expected));
  }
  for (const int month : {1, 12}) {
    BlockV1 block = GoodBlock();
    block[2] = static_cast<std::uint8_t>(month);
    EXPECT_EQ(Decode(block), 0);
  }
}

TEST_F(GpsRecordV1, DayHourMinuteAndSecondAreNotChecked) {
  BlockV1 block = GoodBlock();
  block[1] = 250;
  block[9] = 251;
  block[8] = 252;
  block[7] = 253;
  EXPECT_EQ(Decode(block), 0);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 250, 251, 252, 253, 123, 4567));
  EXPECT_STREQ(out.Datetime.TimeText, "2024-05-250UTC251:252:253.123456");
}

TEST_F(GpsRecordV1, TicksGiveTheFractionCutToTenthsOfMicroseconds) {
  const struct {
    std::uint32_t ticks, perSecond;
    int ms, us;
  } cases[] = {{1, 2, 500, 0},
               {12345678, 100000000, 123, 4567},
               {0, 100000000, 0, 0},
               {1, 3, 333, 3333},
               {2, 3, 666, 6666},
               {99999999, 100000000, 999, 9999},
               {9, 100000000, 0, 0},
               {10, 100000000, 0, 1},
               {0x01020304, 0x10203040, 62, 5000},
               {0x7FFFFFFF, 0x80000000, 999, 9999}};
  for (const auto& c : cases) {
    BlockV1 block = GoodBlock();
    PutTicks(block, c.ticks, c.perSecond);
    EXPECT_EQ(Decode(block), 0) << c.ticks;
    EXPECT_EQ(out.Datetime.MSecond, c.ms) << c.ticks;
    EXPECT_EQ(out.Datetime.USecond, c.us) << c.ticks;
    EXPECT_EQ(out.Datetime.Second, 10);
  }
}

TEST_F(GpsRecordV1, AWholeSecondOfTicksIsCarried) {
  BlockV1 block = GoodBlock();
  PutTicks(block, 0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_EQ(Decode(block), 0);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 7, 8, 9, 11, 0, 0));
  EXPECT_THAT(log, testing::StartsWith(Line(kTag, "Before, MSecond: 1000, USecond: 0\n") +
                                       Line(kTag, "After add SHR0, MSecond: 0, USecond: 0\n")));
}

/// In double precision 0.172 * 1000 is 172, and 0.172 * 10000000 a little less than 1720000.
TEST_F(GpsRecordV1, MillisecondsThatRoundUpLeaveOneTenthLessThanNone) {
  BlockV1 block = GoodBlock();
  PutTicks(block, 43, 250);
  EXPECT_EQ(Decode(block), 0);
  EXPECT_THAT(log, testing::StartsWith(Line(kTag, "Before, MSecond: 172, USecond: -1\n") +
                                       Line(kTag, "After add SHR0, MSecond: 171, USecond: 9999\n")));
}

TEST_F(GpsRecordV1, NoTicksAtAllCountAsTheWholeSecondsBeginning) {
  BlockV1 block = GoodBlock();
  PutTicks(block, 0, 0);
  EXPECT_EQ(Decode(block), 0);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 7, 8, 9, 10, 0, 0));
}

TEST_F(GpsRecordV1, MoreTicksThanASecondHasAreInvalidAfterTheSecondIsStored) {
  const struct {
    std::uint32_t ticks, perSecond;
    const char* text;
  } cases[] = {
      {100000001, 100000000, "1.000000"}, {3, 2, "1.500000"}, {1, 0, "inf"}, {0xFFFFFFFF, 1, "4294967295.000000"}};
  for (const auto& c : cases) {
    BlockV1 block = GoodBlock();
    PutTicks(block, c.ticks, c.perSecond);
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 22);
    EXPECT_EQ(log, Line(kTag, std::string("Invalid microsecond data:") + c.text + "\n"));
    _ORQ_GPS_DATA expected = Filled(0x5A);
    expected.Datetime.Year = 2024;
    expected.Datetime.Month = 5;
    expected.Datetime.Day = 7;
    expected.Datetime.Hour = 8;
    expected.Datetime.Minute = 9;
    expected.Datetime.Second = 10;
    EXPECT_TRUE(SameBytes(out, expected));
    EXPECT_EQ(camera.shr0Reads, 0);
  }
}

TEST_F(GpsRecordV1, TheOffsetIsAddedCutToWholeMicroseconds) {
  camera.shr0 = 1234.99F;
  EXPECT_EQ(Decode(GoodBlock()), 0);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 7, 8, 9, 10, 124, 6907));
  EXPECT_STREQ(out.Datetime.TimeText, "2024-05-07UTC08:09:10.124690");
  EXPECT_THAT(log, testing::StartsWith(Line(kTag, "Before, MSecond: 123, USecond: 4567\n") +
                                       Line(kTag, "After add SHR0, MSecond: 124, USecond: 6907\n")));
  EXPECT_EQ(camera.seenShr0, 0.0F) << "0 before the model writes it";
  EXPECT_EQ(camera.shr0Reads, 1);
}

TEST_F(GpsRecordV1, TheOffsetCarriesWithItsLines) {
  BlockV1 block = GoodBlock();
  block[7] = 59;
  camera.shr0 = 900000.0F;
  EXPECT_EQ(Decode(block), 0);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 7, 8, 10, 0, 23, 4567));
  EXPECT_THAT(log, testing::StartsWith(Line(kTag, "Before, MSecond: 123, USecond: 4567\n") +
                                       Line("DateTimeAdd", "Minute Increase\n") +
                                       Line(kTag, "After add SHR0, MSecond: 23, USecond: 4567\n")));
}

TEST_F(GpsRecordV1, AMissingOffsetIsLoggedAndWhatItWroteCounts) {
  camera.shr0Known = false;
  camera.writesShr0 = false;
  EXPECT_EQ(Decode(GoodBlock()), 0);
  EXPECT_EQ(out.Datetime.USecond, 4567);
  EXPECT_THAT(log, testing::StartsWith(Line(kTag, "Before, MSecond: 123, USecond: 4567\n") +
                                       Line(kTag, "Failed to get SHR0 time\n") +
                                       Line(kTag, "After add SHR0, MSecond: 123, USecond: 4567\n")));
  camera.writesShr0 = true;
  camera.shr0 = 2.0F;
  EXPECT_EQ(Decode(GoodBlock()), 0);
  EXPECT_EQ(out.Datetime.USecond, 4587);
}

TEST_F(GpsRecordV1, ANegativeOffsetIsRefusedAndTheTimeStays) {
  camera.shr0 = -3.0F;
  EXPECT_EQ(Decode(GoodBlock()), 0);
  EXPECT_EQ(out.Datetime.USecond, 4567);
  EXPECT_THAT(log, testing::HasSubstr("Calculations for negative numbers"));
  camera.shr0 = -0.9F;  // cut to 0
  EXPECT_EQ(Decode(GoodBlock()), 0);
  EXPECT_EQ(log.find("Calculations"), std::string::npos);
}

TEST(GpsOffset, IsCutAndBounded) {
  using Float = std::numeric_limits<float>;
  EXPECT_EQ(orq::WholeMicroseconds(1.99F), 1);
  EXPECT_EQ(orq::WholeMicroseconds(-1.99F), -1);
  EXPECT_EQ(orq::WholeMicroseconds(16777216.0F), 16777216);
  EXPECT_EQ(orq::WholeMicroseconds(Float::quiet_NaN()), 0);
  EXPECT_EQ(orq::WholeMicroseconds(Float::infinity()), LLONG_MAX);
  EXPECT_EQ(orq::WholeMicroseconds(-Float::infinity()), LLONG_MIN);
  EXPECT_EQ(orq::WholeMicroseconds(0x1p63F), LLONG_MAX);
  EXPECT_EQ(orq::WholeMicroseconds(0x1.fffffep62F), 0x7FFFFF8000000000);
  EXPECT_EQ(orq::WholeMicroseconds(-0x1p63F), LLONG_MIN);
}

TEST_F(GpsRecordV1, ABadLatitudeSideKeepsTheTime) {
  for (const int side : {0x45, 0x6E, 0x00, 0xFF}) {
    BlockV1 block = GoodBlock();
    block[24] = static_cast<std::uint8_t>(side);
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 22);
    std::string message = "FPGA GPS latitude flag register wanted 'N' or 'S' but get 'X'\n";
    message[message.find('X')] = static_cast<char>(side);
    EXPECT_EQ(log, TimeLines(123, 4567, "2024-05-07UTC08:09:10.123456") + Line(kTag, message));
    EXPECT_STREQ(out.Datetime.TimeText, "2024-05-07UTC08:09:10.123456");
    _ORQ_GPS_DATA expected = Filled(0x5A);
    expected.Datetime = out.Datetime;
    EXPECT_TRUE(SameBytes(out, expected));
  }
}

TEST_F(GpsRecordV1, ABadLongitudeSideKeepsTheLatitude) {
  for (const int side : {0x4E, 0x77, 0x00, 0xFF}) {
    BlockV1 block = GoodBlock();
    block[35] = static_cast<std::uint8_t>(side);
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 22);
    std::string message = "FPGA GPS longitude flag register wanted 'E' or 'W' but get 'X'\n";
    message[message.find('X')] = static_cast<char>(side);
    EXPECT_EQ(log, TimeLines(123, 4567, "2024-05-07UTC08:09:10.123456") + Line(kTag, message));
    EXPECT_NEAR(out.Latitude, 48.117302, 2e-6);
    _ORQ_GPS_DATA expected = Filled(0x5A);
    expected.Datetime = out.Datetime;
    expected.Latitude = out.Latitude;
    EXPECT_TRUE(SameBytes(out, expected));
  }
}

TEST_F(GpsRecordV1, SouthAndWestAreNegativeInNumberAndText) {
  BlockV1 block = GoodBlock();
  block[24] = 'S';
  block[35] = 'W';
  PutReversed(block, 36, "12207.40739");
  EXPECT_EQ(Decode(block), 0);
  EXPECT_EQ(out.Latitude, -static_cast<double>(static_cast<float>(48 + 7.0 / 60 + 381.0 / 600000)));
  EXPECT_EQ(out.Longitude, -static_cast<double>(static_cast<float>(122 + 7.0 / 60 + 4073.0 / 600000)));
  EXPECT_STREQ(out.PositionText, "-122.123451W,-48.117302S");  // the single-precision number next to 122.123455
}

TEST_F(GpsRecordV1, TheOriginHasSignedZeros) {
  BlockV1 block = GoodBlock();
  block[24] = 'S';
  PutReversed(block, 25, "0000.00009");
  PutReversed(block, 36, "00000.00009");
  EXPECT_EQ(Decode(block), 0);
  EXPECT_EQ(out.Latitude, 0.0);
  EXPECT_TRUE(std::signbit(out.Latitude));
  EXPECT_STREQ(out.PositionText, "0.000000E,-0.000000S");
}

TEST_F(GpsRecordV1, UndecodedBytesDoNotMatter) {
  Decode(GoodBlock());
  const _ORQ_GPS_DATA expected = out;
  for (const std::size_t at : {4U, 5U, 6U, 10U, 11U, 12U, 13U, 14U, 15U, 25U, 30U, 36U, 41U, 47U}) {
    BlockV1 block = GoodBlock();
    block[at] = 0xEE;
    out = Filled(0x5A);
    EXPECT_EQ(Decode(block), 0);
    EXPECT_TRUE(SameBytes(out, expected)) << at;
  }
}

TEST_F(GpsRecordV1, AltitudesAreTenthsOfMetresWithinTheirField) {
  const struct {
    const char* text;
    int tenths;
  } cases[] = {{"012.5", 125},   {"123.4", 1234}, {"-12.5", -125}, {"  3.5", 35},
               {"12345", 12345}, {"1234.", 1234}, {".1234", 1},    {"xxxxx", 0}};
  for (const auto& c : cases) {
    BlockV1 block = GoodBlock();
    PutReversed(block, 48, c.text);
    EXPECT_EQ(Decode(block), 0);
    EXPECT_EQ(out.Altitude, c.tenths) << c.text;
    EXPECT_EQ(out.SatelliteNum, 9) << "nothing of the altitude reaches the satellites";
  }
}

TEST_F(GpsRecordV1, GroupsThatAreNoDigitsCountAsNothing) {
  BlockV1 block = GoodBlock();
  PutReversed(block, 25, "..........");
  PutReversed(block, 36, "nanxx.!!!!!");
  PutReversed(block, 48, "?????");
  PutReversed(block, 53, "x1");
  EXPECT_EQ(Decode(block), 0);
  EXPECT_EQ(out.Latitude, 0.0);
  EXPECT_EQ(out.Longitude, 0.0);
  EXPECT_EQ(out.Altitude, 0);
  EXPECT_EQ(out.SatelliteNum, 0);
}

TEST_F(GpsRecordV1, APositionTooLongForItsTextIsCut) {
  BlockV1 block = GoodBlock();
  PutReversed(block, 25, "0000.9e309");
  PutReversed(block, 36, "000009e39.9");
  PutReversed(block, 37, "9e39");
  PutReversed(block, 26, "9e39");
  EXPECT_EQ(Decode(block), 0);
  EXPECT_EQ(std::strlen(out.PositionText), 63U);
  EXPECT_THAT(out.PositionText, testing::StartsWith("15000000613777181394446297906282496.000000E,1500000"));
}

// Random blocks against a decoder written with the C library -----------------------------------------------------

std::string Characters(const BlockV1& block, std::size_t last, std::size_t first) {
  std::string text;
  for (std::size_t at = last + 1; at-- > first;) text += static_cast<char>(block[at]);
  return text;
}
double Number(const std::string& text) {
  return std::strtod(text.c_str(), nullptr);
}
double Angle(const std::string& degrees, const std::string& minutes, const std::string& decimals) {
  return static_cast<double>(
      static_cast<float>(Number(degrees) + Number(minutes) / 60 + Number(decimals) / 600000));
}
long TenthsOf(const std::string& text) {
  const std::size_t point = text.find('.');
  if (point == std::string::npos) return std::strtol(text.c_str(), nullptr, 10);
  return std::strtol((text.substr(0, point) + text.substr(point + 1, 1)).c_str(), nullptr, 10);
}

TEST_F(GpsRecordV1, RandomCharactersDecodeAsTheCLibraryReadsThem) {
  std::mt19937 random(7);
  constexpr std::string_view kCharacters = "0123456789012345678901234567890123456789.+- eE\t,x";
  for (int round = 0; round < 20000; ++round) {
    BlockV1 block = GoodBlock();
    for (std::size_t at = 25; at < block.size(); ++at)
      if (at != 35) block[at] = static_cast<std::uint8_t>(kCharacters[random() % kCharacters.size()]);
    // The C library would read hexadecimals.
    for (std::size_t at = 25; at + 1 < block.size(); ++at)
      if (block[at] == 'x' && block[at + 1] == '0') block[at] = '1';
    block[24] = random() % 2 == 0 ? 'N' : 'S';
    block[35] = random() % 2 == 0 ? 'E' : 'W';
    _ORQ_GPS_DATA data{};
    ASSERT_EQ(orq::DecodeGpsV1Position(block, data), orq::GpsV1Fault::None);
    const double latitude = Angle(Characters(block, 34, 33), Characters(block, 32, 31), Characters(block, 29, 26));
    const double longitude =
        Angle(Characters(block, 46, 44), Characters(block, 43, 42), Characters(block, 40, 37));
    if (!std::isfinite(latitude) || !std::isfinite(longitude)) continue;
    ASSERT_EQ(data.Latitude, block[24] == 'S' ? -latitude : latitude) << Characters(block, 34, 25);
    ASSERT_EQ(data.Longitude, block[35] == 'W' ? -longitude : longitude) << Characters(block, 46, 36);
    ASSERT_EQ(data.Altitude, TenthsOf(Characters(block, 52, 48))) << Characters(block, 52, 48);
    ASSERT_EQ(data.SatelliteNum, std::strtol(Characters(block, 54, 53).c_str(), nullptr, 10));
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "%.6f%c,%.6f%c", data.Longitude, block[35], data.Latitude, block[24]);
    text[63] = '\0';
    ASSERT_STREQ(data.PositionText, text.data());
  }
}

TEST_F(GpsRecordV1, RandomBlocksGiveARecordOrAFault) {
  std::mt19937 random(11);
  int good = 0;
  for (int round = 0; round < 20000; ++round) {
    BlockV1 block{};
    for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(random());
    if (round % 2 == 0) {
      block[0] = 'A';
      block[2] = static_cast<std::uint8_t>(1 + block[2] % 12);
      block[24] = 'N';
      block[35] = 'W';
    }
    const int result = camera.ParseGPSData_Ver1_SingleLine(block.data(), &out, false);
    ASSERT_TRUE(result == 0 || result == 22);
    if (result != 0) continue;
    ++good;
    ASSERT_LT(std::strlen(out.PositionText), 64U);
    ASSERT_LT(std::strlen(out.Datetime.TimeText), 64U);
    ASSERT_GE(out.Datetime.MSecond, 0);
    ASSERT_LE(out.Datetime.MSecond, 999);
    ASSERT_GE(out.Datetime.USecond, 0);
    ASSERT_LE(out.Datetime.USecond, 9999);
    ASSERT_TRUE(std::isfinite(out.Latitude) && std::isfinite(out.Longitude));
  }
  EXPECT_GT(good, 3000);
}

}  // namespace
