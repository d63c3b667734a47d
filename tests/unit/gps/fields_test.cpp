#include "gps/GpsFields.h"

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "GpsCamera.h"
#include "gps/GpsRecordV1.h"

namespace {

using orq::FieldAt;

TEST(GpsFields, IntegersEndAtTheFirstOtherCharacter) {
  const struct {
    std::string_view text;
    int value;
  } cases[] = {{"42", 42},
               {"07", 7},
               {"7x", 7},
               {"x7", 0},
               {"", 0},
               {" 5", 5},
               {"\t5", 5},
               {"\v5", 5},
               {"\x08"
                "5",
                0},
               {"-5", -5},
               {"+5", 5},
               {"+-5", 0},
               {"-+5", 0},
               {"--5", 0},
               {" -5", -5},
               {"- 5", 0},
               {"+", 0},
               {"-", 0},
               {"  ", 0},
               {"0x1F", 0},
               {"1e5", 1},
               {"1.9", 1},
               {"999999", 999999},
               {"-99999", -99999},
               {"\xB2"
                "1",
                0},
               {std::string_view("1\0002", 3), 1},
               {std::string_view("\00012", 3), 0}};
  for (const auto& c : cases) EXPECT_EQ(orq::LeadingInteger(c.text), c.value) << c.text;
}

TEST(GpsFields, DecimalsAreReadWithoutNamesAndHexadecimals) {
  const struct {
    std::string_view text;
    double value;
  } cases[] = {{"48", 48.0},  {"07", 7.0},    {"03812", 3812.0},
               {"1.5", 1.5},  {".5", 0.5},    {"5.", 5.0},
               {".", 0.0},    {"", 0.0},      {" 5", 5.0},
               {"+5", 5.0},   {"-5", -5.0},   {"+-5", 0.0},
               {"-", 0.0},    {"x", 0.0},     {"4x", 4.0},
               {"4,5", 4.0},  {"1e2", 100.0}, {"1e", 1.0},
               {"1e+", 1.0},  {"1E2", 100.0}, {"nan", 0.0},
               {"inf", 0.0},  {"-inf", 0.0},  {"0x1F", 0.0},
               {"-.5", -0.5}, {"e5", 0.0},    {std::string_view("1\0002", 3), 1.0}};
  for (const auto& c : cases) EXPECT_EQ(orq::LeadingDecimal(c.text), c.value) << c.text;
}

TEST(GpsFields, CharactersAreTakenInReadingOrder) {
  const std::array<std::uint8_t, 4> block{'1', '2', '3', '4'};
  EXPECT_EQ(orq::IntegerField(block, FieldAt(3, 0)), 41);
  EXPECT_EQ(orq::IntegerField(block, FieldAt(2)), 3);
  EXPECT_EQ(orq::IntegerField(block, FieldAt(3, 2, 1, 0, 3, 2)), 432143);
}

int Tenths(std::string_view five) {
  std::array<std::uint8_t, 5> block{};
  std::copy(five.begin(), five.end(), block.begin());
  return orq::TenthsField(block, FieldAt(0, 1, 2, 3, 4));
}

TEST(GpsFields, TenthsKeepOneCharacterBehindThePoint) {
  EXPECT_EQ(Tenths("012.5"), 125);
  EXPECT_EQ(Tenths("123.4"), 1234);
  EXPECT_EQ(Tenths("1.234"), 12);
  EXPECT_EQ(Tenths(".5678"), 5);
  EXPECT_EQ(Tenths("-12.3"), -123);
  EXPECT_EQ(Tenths("1..23"), 1);  // the second point is the character behind the first
  EXPECT_EQ(Tenths("12.x3"), 12);
}

TEST(GpsFields, TenthsStayWithinTheField) {
  EXPECT_EQ(Tenths("12345"), 12345);
  EXPECT_EQ(Tenths("1234."), 1234);
  EXPECT_EQ(Tenths("....."), 0);
  EXPECT_EQ(Tenths(std::string_view("12\0.4", 5)), 12);
  const std::array<std::uint8_t, 8> block{'1', '2', '3', '4', '5', '6', '.', '7'};
  EXPECT_EQ(orq::TenthsField(block, FieldAt(0, 1, 2, 3, 4, 5)), 123456);
}

TEST(GpsFields, AnglesAreSummedInDoubleAndRoundedOnce) {
  const std::array<std::uint8_t, 9> block{'4', '8', '0', '7', '0', '3', '8', '1', '2'};
  const orq::GpsAngleFields five{FieldAt(0, 1), FieldAt(2, 3), FieldAt(4, 5, 6, 7, 8)};
  EXPECT_EQ(orq::AngleField(block, five),
            static_cast<double>(static_cast<float>(48 + 7 / 60.0 + 3812 / 600000.0)));
  const orq::GpsAngleFields four{FieldAt(0, 1), FieldAt(2, 3), FieldAt(4, 5, 6, 7)};
  EXPECT_EQ(orq::AngleField(block, four), static_cast<double>(static_cast<float>(48 + 7 / 60.0 + 381 / 600000.0)));
  // Neighbours of 179.983341667 are ...337402 and ...352661; a sum in single precision ends at the farther one.
  const std::array<std::uint8_t, 9> east{'1', '7', '9', '5', '9', '0', '0', '0', '5'};
  const orq::GpsAngleFields fields{FieldAt(0, 1, 2), FieldAt(3, 4), FieldAt(5, 6, 7, 8)};
  EXPECT_NEAR(orq::AngleField(east, fields), 179.983337402, 1e-9);
}

TEST(GpsFields, AnglesStaySinglePrecisionNumbers) {
  const std::array<std::uint8_t, 4> block{'9', 'e', '9', '9'};
  const orq::GpsAngleFields fields{FieldAt(0, 1, 2, 3), FieldAt(0), FieldAt(0)};
  EXPECT_EQ(orq::AngleField(block, fields), static_cast<double>(FLT_MAX));
}

/// A locale with a decimal comma, compiled into the tests' temporary folder.
class DecimalComma : public testing::Test {
 protected:
  void SetUp() override {
    const std::string folder = testing::TempDir() + "/orq_locale";
    std::filesystem::create_directories(folder);
    const std::string make = "localedef -i de_DE -f UTF-8 '" + folder + "/de_DE.UTF-8' >/dev/null 2>&1";
    [[maybe_unused]] const int made = std::system(make.c_str());
    setenv("LOCPATH", folder.c_str(), 1);
    const char* set = std::setlocale(LC_ALL, "de_DE.UTF-8");
    if (set == nullptr) GTEST_SKIP() << "no locale with a decimal comma can be made here";
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  }
  void TearDown() override {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
  }
};

TEST_F(DecimalComma, DoesNotChangeHowDecimalsAreRead) {
  EXPECT_EQ(orq::LeadingDecimal("1.5"), 1.5);
  EXPECT_EQ(orq::LeadingDecimal("1,5"), 1.0);
}

TEST_F(DecimalComma, DoesNotChangeThePositionText) {
  _ORQ_GPS_DATA data{};
  EXPECT_EQ(orq::DecodeGpsV1Position(orq::test::GoodBlock(), data), orq::GpsV1Fault::None);
  EXPECT_STREQ(data.PositionText, "11.525000E,48.117302N");
}

}  // namespace
