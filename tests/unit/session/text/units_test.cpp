#include "session/text/Units.h"

#include <gtest/gtest.h>

#include "support/Text.h"

namespace orq::session {
namespace {

TEST(ExposureText, TakesTheLargestUnitThatIsWhole) {
  EXPECT_EQ(ExposureText(5'000'000), "5s");
  EXPECT_EQ(ExposureText(200'000), "200ms");
  EXPECT_EQ(ExposureText(1'500), "1500us");
  EXPECT_EQ(ExposureText(1'000), "1ms");
  EXPECT_EQ(ExposureText(0), "0us");
}

TEST(IsoUtc, ShowsMicroseconds) {
  EXPECT_EQ(IsoUtc(0), "1970-01-01T00:00:00.000000");
  // 2026-11-21 is 20,778 days after 1970-01-01, and 16,951 s are 4 h 42 min 31 s.
  EXPECT_EQ(IsoUtc((std::int64_t{20'778} * 86'400 + 16'951) * 1'000'000 + 7), "2026-11-21T04:42:31.000007");
}

TEST(IsoUtc, GoesBelowTheEpoch) {
  EXPECT_EQ(IsoUtc(-1), "1969-12-31T23:59:59.999999");
}

TEST(IsoUtc, ShowsTenthsOfMicrosecondsOnDemand) {
  // 2032-01-01 is 22,645 days after 1970-01-01.
  const std::int64_t newYear = std::int64_t{22'645} * 86'400 * 10'000'000;
  EXPECT_EQ(IsoUtcTenths(newYear), "2032-01-01T00:00:00.0000000");
  EXPECT_EQ(IsoUtcTenths(newYear - 1), "2031-12-31T23:59:59.9999999");
  EXPECT_EQ(IsoUtcTenths(newYear + 12'345'678), "2032-01-01T00:00:01.2345678");
  EXPECT_EQ(IsoUtcTenths(-1), "1969-12-31T23:59:59.9999999");
}

TEST(IsoUtc, IsReadWhenItIsWrittenInJustThisWay) {
  const std::int64_t newYear = std::int64_t{22'645} * 86'400 * 10'000'000;
  EXPECT_EQ(ParseIsoUtcTenths("2032-01-01T00:00:01.2345678"), newYear + 12'345'678);
  EXPECT_EQ(ParseIsoUtcTenths("2031-12-31T23:59:59.9999999"), newYear - 1);
  EXPECT_EQ(ParseIsoUtcTenths("2032-02-29T00:00:00.0000000"), newYear + std::int64_t{59} * 86'400 * 10'000'000);
  for (const char* const other :
       {"", "2032-01-01", "2032-01-01T00:00:01.234567", "2032-01-01T00:00:01.23456789",
        "2032-01-01 00:00:01.2345678", "2031-02-29T00:00:00.0000000", "2032-13-01T00:00:00.0000000",
        "2032-01-01T00:00:60.0000000", "2032-01-01T00:00:01,2345678", "20x2-01-01T00:00:01.2345678",
        "2032-01-01T-1:00:01.2345678"})
    EXPECT_FALSE(ParseIsoUtcTenths(other)) << other;
}

TEST(Text, SplitKeepsEmptyParts) {
  EXPECT_EQ(Split("a,,b,", ','), (std::vector<std::string>{"a", "", "b", ""}));
  EXPECT_EQ(Split("", ','), (std::vector<std::string>{""}));
}

TEST(Text, JoinSeparates) {
  EXPECT_EQ(Join({}), "");
  EXPECT_EQ(Join({"a"}), "a");
  EXPECT_EQ(Join({"a", "b", "c"}), "a, b, c");
}

TEST(Text, FormatTakesAnyLength) {
  const std::string longText(10'000, 'x');
  EXPECT_EQ(Format("<%s>", longText.c_str()), "<" + longText + ">");
  EXPECT_EQ(Format("%s", ""), "");
}

}  // namespace
}  // namespace orq::session
