#include "gps/GpsRecordV0.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

#include "GpsCamera.h"
#include "support/LogText.h"

namespace {

using orq::test::BareCamera;
using orq::test::Filled;
using orq::test::Line;
using orq::test::LogText;
using orq::test::Numbers;
using orq::test::SameBytes;
using testing::ElementsAre;

using BlockV0 = std::array<std::uint8_t, 56>;

class GpsRecordV0 : public testing::Test {
 protected:
  GpsRecordV0() {
    // Each field at its place; what is not decoded holds question marks.
    block.fill('?');
    Put({7}, "A");
    Put({6, 5}, "12");
    Put({4, 11}, "34");
    Put({10, 9}, "56");
    block[15] = 0x01;
    block[14] = 0x02;  // 258 ms
    Put({13, 12}, "07");
    Put({19, 18}, "05");
    Put({17, 16}, "24");
    Put({23}, "N");
    Put({22, 21}, "48");
    Put({20, 27}, "07");
    Put({25, 24, 31, 30, 29}, "03812");
    Put({35}, "E");
    Put({34, 33, 32}, "011");
    Put({39, 38}, "31");
    Put({36, 43, 42, 41, 40}, "50009");
    block[45] = 0x12;
    block[44] = 0x34;  // 4660
    Put({51, 50, 49, 48, 55, 54}, "0123.4");
    Put({53, 52}, "09");
  }
  void Put(std::initializer_list<std::size_t> positions, std::string_view text) {
    std::size_t i = 0;
    for (const std::size_t at : positions) block[at] = static_cast<std::uint8_t>(text[i++]);
  }
  int Parse() { return camera.ParseGPSData_Ver0(block.data(), &out); }

  BareCamera camera;
  BlockV0 block{};
  _ORQ_GPS_DATA out = Filled(0x5A);
};

TEST_F(GpsRecordV0, EveryFieldIsTakenFromItsBytes) {
  EXPECT_EQ(Parse(), 1);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2024, 5, 7, 12, 34, 56, 258, 4660));
  EXPECT_EQ(out.Latitude, static_cast<double>(static_cast<float>(48 + 7.0 / 60 + 3812.0 / 600000)));
  EXPECT_NEAR(out.Latitude, 48.123020, 2e-6);
  EXPECT_EQ(out.Longitude, static_cast<double>(static_cast<float>(11 + 31.0 / 60 + 50009.0 / 600000)));
  EXPECT_EQ(out.Altitude, 1234);
  EXPECT_EQ(out.SatelliteNum, 9);
}

TEST_F(GpsRecordV0, TextsStayAsTheyWere) {
  Parse();
  _ORQ_GPS_DATA expected = Filled(0x5A);
  EXPECT_EQ(std::memcmp(out.Datetime.TimeText, expected.Datetime.TimeText, 64), 0);
  EXPECT_EQ(std::memcmp(out.PositionText, expected.PositionText, 64), 0);
}

TEST_F(GpsRecordV0, ABlockThatIsNotMarkedValidIsNotDecoded) {
  for (const int flag : {0x56, 0x61, 0x00, 0xC1}) {
    block[7] = static_cast<std::uint8_t>(flag);
    EXPECT_EQ(Parse(), 1);
    EXPECT_TRUE(SameBytes(out, Filled(0x5A)));
  }
}

TEST_F(GpsRecordV0, OnlyTheTimeFlagIsChecked) {
  block.fill(0);
  block[7] = 'A';
  EXPECT_EQ(Parse(), 1);
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2000, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(out.Latitude, 0.0);
  EXPECT_EQ(out.Longitude, 0.0);
  EXPECT_EQ(out.Altitude, 0);
  EXPECT_EQ(out.SatelliteNum, 0);
}

TEST_F(GpsRecordV0, BinaryCountsAreTakenAsTheyStand) {
  block[14] = 0xE8;
  block[15] = 0x03;
  block[44] = block[45] = 0xFF;
  Parse();
  EXPECT_EQ(out.Datetime.MSecond, 1000);
  EXPECT_EQ(out.Datetime.USecond, 65535);
  EXPECT_EQ(out.Datetime.Second, 56);
}

TEST_F(GpsRecordV0, SouthAndWestAreNegative) {
  block[23] = 'S';
  block[35] = 'W';
  Parse();
  EXPECT_EQ(out.Latitude, -static_cast<double>(static_cast<float>(48 + 7.0 / 60 + 3812.0 / 600000)));
  EXPECT_EQ(out.Longitude, -static_cast<double>(static_cast<float>(11 + 31.0 / 60 + 50009.0 / 600000)));
  block[23] = 's';
  block[35] = 'X';
  Parse();
  EXPECT_GT(out.Latitude, 0);
  EXPECT_GT(out.Longitude, 0);
}

TEST_F(GpsRecordV0, AltitudesStayWithinTheirField) {
  const struct {
    std::string_view text;
    int tenths;
  } cases[] = {{"0123.4", 1234}, {"123456", 123456}, {"12345.", 12345}, {"-012.5", -125},
               {"1.2345", 12},   {"......", 0},      {"xyz.12", 0}};
  for (const auto& c : cases) {
    Put({51, 50, 49, 48, 55, 54}, c.text);
    Parse();
    EXPECT_EQ(out.Altitude, c.tenths) << c.text;
    EXPECT_EQ(out.SatelliteNum, 9);
  }
}

TEST_F(GpsRecordV0, GroupsThatAreNoDigitsCountAsNothing) {
  for (std::uint8_t& byte : block) byte = 'z';
  block[7] = 'A';
  Parse();
  EXPECT_THAT(Numbers(out.Datetime), ElementsAre(2000, 0, 0, 0, 0, 0, 'z' * 257, 'z' * 257));
  EXPECT_EQ(out.Latitude, 0.0);
  EXPECT_EQ(out.Altitude, 0);
}

TEST_F(GpsRecordV0, UndecodedBytesDoNotMatter) {
  Parse();
  const _ORQ_GPS_DATA expected = out;
  for (const std::size_t at : {0U, 1U, 2U, 3U, 8U, 26U, 28U, 37U, 46U, 47U}) {
    block[at] = '7';
    Parse();
    EXPECT_TRUE(SameBytes(out, expected)) << at;
  }
}

TEST_F(GpsRecordV0, TheBlockIsDumpedBeforeItIsJudged) {
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint8_t>(i);
  LogText log;
  EXPECT_EQ(Parse(), 1);
  const std::string tag = "ParseGPSData_Ver0";
  std::string first = "ParseGPSData,";
  for (int i = 0; i < 47; ++i) {
    char pair[8];
    std::snprintf(pair, sizeof pair, " %02x", i);
    first += pair;
  }
  EXPECT_EQ(log.Text(), Line(tag, "Cambase start ParseGPSData") + Line(tag, first + "\n") +
                            Line(tag, "ParseGPSData altitude, 30 31 32 33 34 35 36 37\n"));
}

TEST_F(GpsRecordV0, AltitudeAndSatellitesAreLogged) {
  LogText log;
  Parse();
  EXPECT_THAT(log.Text(), testing::EndsWith(Line("ParseGPSData_Ver0", "ParseGPS At, 1234, SaNum, 9\n")));
}

TEST_F(GpsRecordV0, RandomBlocksDecodeAsTheCLibraryReadsThem) {
  std::mt19937 random(3);
  constexpr std::string_view kCharacters = "01234567890123456789012345678901234567890.-+ AZ";
  const auto text = [this](std::initializer_list<std::size_t> positions) {
    std::string characters;
    for (const std::size_t at : positions) characters += static_cast<char>(block[at]);
    return characters;
  };
  const auto whole = [](const std::string& s) { return static_cast<int>(std::strtol(s.c_str(), nullptr, 10)); };
  const auto real = [](const std::string& s) { return std::strtod(s.c_str(), nullptr); };
  for (int round = 0; round < 20000; ++round) {
    for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(kCharacters[random() % kCharacters.size()]);
    block[7] = 'A';
    Parse();
    ASSERT_THAT(Numbers(out.Datetime),
                ElementsAre(2000 + whole(text({17, 16})), whole(text({19, 18})), whole(text({13, 12})),
                            whole(text({6, 5})), whole(text({4, 11})), whole(text({10, 9})),
                            block[14] + 256 * block[15], block[44] + 256 * block[45]));
    ASSERT_EQ(out.Latitude,
              static_cast<double>(static_cast<float>(real(text({22, 21})) + real(text({20, 27})) / 60 +
                                                     real(text({25, 24, 31, 30, 29})) / 600000)));
    ASSERT_EQ(out.Longitude,
              static_cast<double>(static_cast<float>(real(text({34, 33, 32})) + real(text({39, 38})) / 60 +
                                                     real(text({36, 43, 42, 41, 40})) / 600000)));
    ASSERT_EQ(out.SatelliteNum, whole(text({53, 52})));
  }
}

}  // namespace
