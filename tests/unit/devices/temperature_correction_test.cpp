#include "devices/TemperatureCorrection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace orq {
namespace {

/// reported:corrected, as measured.
constexpr const char* kMeasured =
    "16.94:13.1 16.59:12.8 16.24:11.4 15.89:9.9 15.54:8.6 15.18:6.9 "
    "14.83:5.8 14.48:5.0 14.12:4.1 13.77:3.4 13.42:2.6 13.10:1.8 "
    "12.71:1.2 12.35:0.8 11.98:0.5 11.63:-0.2 11.27:-0.6 10.91:-1.1 "
    "10.55:-1.4 10.18:-1.9 9.82:-2.2 9.45:-2.5 9.08:-2.7 8.71:-3.2 "
    "8.34:-3.4 7.97:-3.9 7.60:-4.2 7.22:-4.6 6.84:-4.9 6.46:-5.3 "
    "6.08:-5.6 5.70:-6.1 5.31:-6.3 4.92:-6.7 4.53:-7.1 4.14:-7.4 "
    "3.74:-7.7 3.35:-8.0 2.94:-8.4 2.54:-8.9 2.13:-9.1 1.72:-9.5 "
    "1.31:-9.9 0.89:-10.3 0.48:-10.7 0.05:-11.1 -0.38:-11.2 -0.81:-11.5 "
    "-1.24:-11.9 -1.68:-12.2 -2.13:-12.4 -2.57:-12.9 -3.03:-13.0 -3.49:-13.4 "
    "-3.96:-13.7 -4.42:-14.1 -4.90:-14.2 -5.38:-14.8 -5.87:-15.1 -6.36:-15.7 "
    "-6.86:-15.9 -7.37:-16.4 -7.89:-16.6 -8.41:-17.2 -8.94:-17.6 -9.48:-18.2 "
    "-10.03:-18.6 -10.59:-19.3 -11.16:-19.4 -11.74:-20.0 -12.33:-20.7 -12.94:-21.4 "
    "-13.55:-21.9 "
    "";

std::vector<CorrectionPoint> Measured() {
  std::vector<CorrectionPoint> points;
  std::istringstream in(kMeasured);
  for (std::string item; in >> item;) {
    const auto colon = item.find(':');
    points.push_back({std::stof(item.substr(0, colon)), std::stof(item.substr(colon + 1))});
  }
  return points;
}

TEST(CorrectionTable, HoldsTheMeasuredPairsDigitForDigit) {
  const auto measured = Measured();
  ASSERT_EQ(measured.size(), tempTable.size());
  for (std::size_t i = 0; i < measured.size(); ++i) {
    EXPECT_EQ(tempTable[i].reported, measured[i].reported) << i;
    EXPECT_EQ(tempTable[i].corrected, measured[i].corrected) << i;
  }
  static_assert(sizeof(CorrectionPoint) == 8);
}

TEST(CorrectedTemperature, BeyondTheTableAFixedOffsetHolds) {
  EXPECT_EQ(CorrectedTemperature(20.0F), 16.16F);
  EXPECT_EQ(CorrectedTemperature(-20.0F), -28.35F);
  EXPECT_EQ(CorrectedTemperature(std::nextafter(16.94F, 99.0F)), std::nextafter(16.94F, 99.0F) - 3.84F);
  EXPECT_EQ(CorrectedTemperature(std::nextafter(-12.94F, -99.0F)), std::nextafter(-12.94F, -99.0F) - 8.35F);
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(CorrectedTemperature(infinity), infinity);
  EXPECT_EQ(CorrectedTemperature(-infinity), -infinity);
}

TEST(CorrectedTemperature, TheEndsOfTheTableBelongToIt) {
  EXPECT_EQ(CorrectedTemperature(16.94F), 13.1F);
  // Less than a degree above -12.94 comes -12.33 first.
  EXPECT_EQ(CorrectedTemperature(-12.94F), -20.7F);
}

TEST(CorrectedTemperature, TheFirstPointLessThanADegreeAwayWinsNotTheNearest) {
  EXPECT_EQ(CorrectedTemperature(15.0F), 9.9F);    // 15.89, though 14.83 is nearer
  EXPECT_EQ(CorrectedTemperature(14.9F), 9.9F);    // 15.89 is 0.99 away
  EXPECT_EQ(CorrectedTemperature(14.88F), 8.6F);   // 15.89 is 1.01 away: 15.54
  EXPECT_EQ(CorrectedTemperature(0.0F), -10.3F);   // 0.89; 1.31 is too far
  EXPECT_EQ(CorrectedTemperature(-5.0F), -14.1F);  // -4.42, though -4.90 is nearer; -3.96 is too far
}

TEST(CorrectedTemperature, EveryHundredthInsideTheTableFindsTheFirstPointBelowOneDegreeMore) {
  const auto measured = Measured();
  for (int hundredths = -1294; hundredths <= 1694; ++hundredths) {
    const float t = static_cast<float>(hundredths) / 100.0F;
    std::size_t i = 0;
    // In hundredths and so without rounding, but at exactly one degree, which single precision decides.
    const auto reported = [&](std::size_t at) { return std::lround(measured[at].reported * 100.0); };
    while (reported(i) > hundredths + 100) ++i;
    if (reported(i) == hundredths + 100) {
      const bool near = std::trunc(t - measured[i].reported) == 0.0F;
      if (!near) ++i;
    }
    ASSERT_EQ(CorrectedTemperature(t), measured[i].corrected) << t;
  }
}

TEST(CorrectedByTable, BetweenPointsFarApartTheMeanHolds) {
  const CorrectionPoint table[] = {{10.0F, 100.0F}, {5.0F, 50.0F}, {1.0F, 20.0F}};
  EXPECT_EQ(CorrectedByTable(7.0F, table), 75.0F);
  EXPECT_EQ(CorrectedByTable(9.5F, table), 100.0F) << "less than a degree below the first point";
  EXPECT_EQ(CorrectedByTable(10.5F, table), 100.0F) << "less than a degree above it";
  EXPECT_EQ(CorrectedByTable(3.0F, table), 35.0F);
  EXPECT_EQ(CorrectedByTable(5.05F, table), 50.0F) << "too near to the second point for a mean";
  EXPECT_EQ(CorrectedByTable(5.2F, table), 75.0F) << "the pair before comes first";
}

TEST(CorrectedByTable, WithoutAMatchTheReportedTemperatureStands) {
  const CorrectionPoint table[] = {{10.0F, 100.0F}, {5.0F, 50.0F}};
  EXPECT_EQ(CorrectedByTable(3.0F, table), 3.0F);
  EXPECT_EQ(CorrectedByTable(5.0F, table), 5.0F) << "the last point is only a neighbour";
  EXPECT_EQ(CorrectedByTable(20.0F, table), 20.0F);
  EXPECT_EQ(CorrectedByTable(7.0F, {}), 7.0F);
  EXPECT_EQ(CorrectedByTable(10.0F, std::span(table).first(1)), 10.0F);
}

TEST(CorrectedTemperature, WhatIsNoNumberStaysNone) {
  EXPECT_TRUE(std::isnan(CorrectedTemperature(std::numeric_limits<float>::quiet_NaN())));
}

}  // namespace
}  // namespace orq
