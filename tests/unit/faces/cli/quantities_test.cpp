#include "options/Quantities.h"

#include <gtest/gtest.h>

#include <limits>

#include "output/ExitCodes.h"

namespace orq::cli {
namespace {

ExitCode CodeOf(const auto& action) {
  try {
    action();
  } catch (const CliError& failure) {
    return failure.Exit();
  }
  return kExitOk;
}

TEST(ParseExposure, KnowsSecondsMilliAndMicroseconds) {
  EXPECT_EQ(ParseExposure("5s"), 5'000'000U);
  EXPECT_EQ(ParseExposure("200ms"), 200'000U);
  EXPECT_EQ(ParseExposure("1000us"), 1'000U);
  EXPECT_EQ(ParseExposure("7µs"), 7U);
  EXPECT_EQ(ParseExposure("0.25s"), 250'000U);
  EXPECT_EQ(ParseExposure("1e3ms"), 1'000'000U);
  EXPECT_EQ(ParseExposure("0s"), 0U);
}

TEST(ParseExposure, RoundsToTheNearestMicrosecond) {
  EXPECT_EQ(ParseExposure("1.4us"), 1U);
  EXPECT_EQ(ParseExposure("1.6us"), 2U);
  EXPECT_EQ(ParseExposure("0.0000019s"), 2U);
}

TEST(ParseExposure, RefusesWhatIsNoTimeWithAUsageError) {
  for (const char* text : {"", "5", "s", "-1s", "5 s", "5min", "5S", "nans", "infs", "1e99s", "5ss", "0x5s"})
    EXPECT_EQ(CodeOf([&] { ParseExposure(text); }), kExitUsage) << text;
}

TEST(ParseExposure, AsksForAUnitByExample) {
  try {
    ParseExposure("5");
    FAIL();
  } catch (const CliError& error) {
    EXPECT_STREQ(error.what(), "exposure 5 needs a unit: write 5s, 5ms or 5us");
  }
}

TEST(ParseTime, AnotherTimeIsReadLikeAnExposureAndNamedInItsErrors) {
  EXPECT_EQ(ParseTime("1.5ms", "--timeout"), 1'500U);
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"5", "--timeout 5 needs a unit: write 5s, 5ms or 5us"},
      {"soon", "--timeout 'soon' is not a time: write 5s, 200ms or 1000us"},
      {"-1s", "--timeout '-1s' is not a time: write 5s, 200ms or 1000us"},
      {"5min", "--timeout 5min has the unknown unit 'min': the units are s, ms and us"},
      {"1e10s", "--timeout 1e10s is too long"},
  };
  for (const auto& c : cases) {
    try {
      ParseTime(c.text, "--timeout");
      ADD_FAILURE() << c.text;
    } catch (const CliError& error) {
      EXPECT_EQ(error.Exit(), kExitUsage);
      EXPECT_STREQ(error.what(), c.error);
    }
  }
}

TEST(ParseSeconds, TakesPositiveNumbersOnly) {
  EXPECT_EQ(ParseSeconds("2.5", "--seconds"), 2.5);
  EXPECT_EQ(ParseSeconds("1e9", "--seconds"), 1e9);
  for (const char* wrong : {"0", "-1", "1.1e9", "nan", "inf", "", "5s", " 5"})
    EXPECT_EQ(CodeOf([&] { ParseSeconds(wrong, "--seconds"); }), kExitUsage) << wrong;
}

TEST(ParseInteger, ReadsDecimalAndHexWithSigns) {
  EXPECT_EQ(ParseInteger("42", "x"), 42);
  EXPECT_EQ(ParseInteger("+7", "x"), 7);
  EXPECT_EQ(ParseInteger("-7", "x"), -7);
  EXPECT_EQ(ParseInteger("0x1c", "x"), 28);
  EXPECT_EQ(ParseInteger("-0XFF", "x"), -255);
}

TEST(ParseInteger, SaturatesBeyond64Bits) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(ParseInteger("9223372036854775807", "x"), kMax);
  EXPECT_EQ(ParseInteger("9223372036854775808", "x"), kMax);
  EXPECT_EQ(ParseInteger("-99999999999999999999999", "x"), -kMax);
}

TEST(ParseInteger, RefusesWhatIsNoWholeNumberAndNamesIt) {
  for (const char* text : {"", "-", "+", "0x", "1.5", "ten", "1 ", " 1", "0xG", "--1"})
    EXPECT_EQ(CodeOf([&] { ParseInteger(text, "x"); }), kExitUsage) << text;
  try {
    ParseInteger("ten", "--count");
    FAIL();
  } catch (const CliError& error) {
    EXPECT_STREQ(error.what(), "--count 'ten' is not a whole number");
  }
}

TEST(ParseIntegers, WantsExactlyAsManyAsAsked) {
  EXPECT_EQ(ParseIntegers("1,-2,0x3,4", 4, "x"), (std::vector<int>{1, -2, 3, 4}));
  for (const char* text : {"", "1,2,3", "1,2,3,4,5", "1,2,,4", "1;2;3;4"})
    EXPECT_EQ(CodeOf([&] { ParseIntegers(text, 4, "x"); }), kExitUsage) << text;
}

TEST(ParseIntegers, KeepsSumsOfTwoInRange) {
  const std::vector<int> values = ParseIntegers("99999999999,-99999999999", 2, "x");
  EXPECT_EQ(values, (std::vector<int>{1'000'000, -1'000'000}));
}

}  // namespace
}  // namespace orq::cli
