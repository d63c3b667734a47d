#include "devices/Thermistor.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "devices/ThermistorTable.h"

namespace orq {
namespace {

/// The curve from -50 to 113 degrees Celsius in kOhm, as the thermistor's data sheet has it.
constexpr const char* kCurve =
    "505.7038 480.707 457.8162 435.186 410.5533 391.0031 373.808 355.3308 335.218 319.255 "
    "304.7 290.9 277.2 263.6 250.1 236.8 224.0 211.5 199.6 188.1 "
    "175.2876 165.0387 155.433 146.4552 138.0481 130.2341 122.8624 115.9736 109.5123 103.3623 "
    "97.6037 92.0947 86.9305 82.0877 77.5442 73.2798 69.2759 65.5149 61.9809 58.6587 "
    "55.5345 52.5954 49.8294 47.2253 44.7727 42.462 40.2841 38.2307 36.294 34.4668 "
    "32.7421 31.1138 29.5759 28.1229 26.7496 25.4513 24.2234 23.0618 21.9625 20.9218 "
    "19.9364 19.0029 18.1184 17.28 16.4852 15.7313 15.0161 14.3375 13.6932 13.0815 "
    "12.5005 11.9485 11.4239 10.9252 10.451 10.0 9.5709 9.1626 8.7738 8.4037 "
    "8.0512 7.7154 7.3954 7.0904 6.7996 6.5223 6.2577 6.0053 5.7645 5.5345 "
    "5.315 5.1053 4.905 4.7136 4.5307 4.3558 4.1887 4.0287 3.8758 3.7294 "
    "3.5893 3.4553 3.3269 3.2039 3.0862 2.9733 2.8652 2.7616 2.6622 2.5669 "
    "2.4755 2.3879 2.3038 2.2231 2.1456 2.0712 1.9998 1.9312 1.8653 1.8019 "
    "1.7411 1.6826 1.6264 1.5723 1.5203 1.4703 1.4222 1.3759 1.3313 1.2884 "
    "1.2471 1.2073 1.169 1.1321 1.0965 1.0623 1.0293 0.9974 0.9667 0.9372 "
    "0.9086 0.8811 0.8545 0.8289 0.8042 0.7803 0.7572 0.735 0.7135 0.6927 "
    "0.6727 0.6533 0.6346 0.6165 0.599 0.5821 0.5658 0.55 0.5347 0.5199 "
    "0.5056 0.4918 0.4784 0.4654 "
    "";
constexpr int kColdest = -50;

std::vector<long double> Curve() {
  std::istringstream in(kCurve);
  std::vector<long double> curve;
  std::string item;
  while (std::getline(in >> std::ws, item, ' ')) curve.push_back(std::stold(item));
  return curve;
}

/// By the resistance itself, in extended precision and without middles of pairs.
std::optional<long double> Expected(int count, int fullScale, int rref) {
  static const std::vector<long double> curve = Curve();
  if (count >= fullScale) return std::nullopt;
  const long double kiloOhm = static_cast<long double>(count) * rref / (fullScale - count);
  if (kiloOhm > curve.front() || kiloOhm < curve.back()) return std::nullopt;
  std::size_t i = 1;
  while (kiloOhm < curve[i]) ++i;
  const long double part = (curve[i - 1] - kiloOhm) / (curve[i - 1] - curve[i]);
  return kColdest + static_cast<long double>(i - 1) + part;
}

/// Single precision of the resistance is worth this many degrees at most.
constexpr double kRounding = 1e-5;

void CompareAllCounts(int fullScale, int expectedInside) {
  int inside = 0;
  for (int count = 0; count < fullScale; ++count) {
    const auto expected = Expected(count, fullScale, 10);
    const auto celsius = ThermistorCelsius(count, fullScale, 10);
    ASSERT_EQ(celsius.has_value(), expected.has_value()) << count;
    if (!expected) continue;
    ++inside;
    ASSERT_NEAR(static_cast<double>(*celsius), static_cast<double>(*expected), kRounding) << count;
  }
  EXPECT_EQ(inside, expectedInside);
}

TEST(ThermistorTable, HoldsTheDataSheetDigitForDigit) {
  const std::vector<long double> curve = Curve();
  ASSERT_EQ(curve.size(), RTlist.size());
  for (std::size_t i = 0; i < curve.size(); ++i) {
    EXPECT_EQ(RTlist[i].celsius, kColdest + static_cast<int>(i));
    EXPECT_EQ(RTlist[i].kiloOhm, static_cast<double>(curve[i])) << RTlist[i].celsius;
  }
}

// 0.4654 kOhm below 10 is reached at 182.2 of 4096 counts (11.4 of 256), 505.7038 kOhm at 4016.6 (251.04).
TEST(Thermistor, All4096CountsOfTheWideConverterFollowTheCurve) {
  CompareAllCounts(kThermistorCounts12, 4016 - 183 + 1);
}

TEST(Thermistor, All256CountsOfTheNarrowConverterFollowTheCurve) {
  CompareAllCounts(kThermistorCounts8, 251 - 12 + 1);
}

TEST(Thermistor, OtherReferenceResistorsFollowTheCurve) {
  for (const int rref : {1, 2, 33, 100, 470}) {
    for (int count = 0; count < 4096; ++count) {
      const auto expected = Expected(count, 4096, rref);
      const auto celsius = ThermistorCelsius(count, 4096, rref);
      ASSERT_EQ(celsius.has_value(), expected.has_value()) << count << " of " << rref;
      if (expected) ASSERT_NEAR(static_cast<double>(*celsius), static_cast<double>(*expected), kRounding) << count;
    }
  }
}

TEST(Thermistor, APointOfTheCurveIsMetExactly) {
  // At half scale the thermistor equals the reference resistor.
  EXPECT_EQ(ThermistorCelsius(2048, 4096, 10), 25.0F);
  EXPECT_EQ(ThermistorCelsius(128, 256, 10), 25.0F);
  EXPECT_EQ(ThermistorCelsius(2048, 4096, 224), -34.0F);
}

TEST(Thermistor, EveryPointOfTheCurveIsMetAndNothingBeyondItsEnds) {
  // One count of 10001 makes the resistance a ten-thousandth of the reference.
  const auto at = [](long tenThousandths) {
    return ThermistorCelsius(1, 10001, static_cast<int>(tenThousandths));
  };
  const std::vector<long double> curve = Curve();
  int celsius = kColdest;
  for (const long double kiloOhm : curve) {
    const auto read = at(std::lround(kiloOhm * 10000));
    ASSERT_TRUE(read.has_value()) << celsius;
    EXPECT_NEAR(static_cast<double>(*read), celsius++, kRounding);
  }
  EXPECT_EQ(at(5057039), std::nullopt);
  EXPECT_EQ(at(4653), std::nullopt);
}

TEST(Thermistor, RoundsTheResistanceToSinglePrecisionAndTheResultOnce) {
  // Here a computation in double precision to the end gives the neighbouring float (worked out step by step).
  EXPECT_EQ(ThermistorCelsius(188, 4096, 10), 0x1.bf3464p+6F);
  EXPECT_EQ(ThermistorCelsius(197, 4096, 10), 0x1.b81964p+6F);
  EXPECT_EQ(ThermistorCelsius(206, 4096, 10), 0x1.b1636cp+6F);
  EXPECT_EQ(ThermistorCelsius(242, 4096, 10), 0x1.9979fap+6F);
  EXPECT_EQ(ThermistorCelsius(40, 256, 10), 0x1.10d936p+6F);
  EXPECT_EQ(ThermistorCelsius(107, 256, 10), 0x1.059e3ep+5F);
}

TEST(Thermistor, KnownReadings) {
  EXPECT_NEAR(ThermistorCelsius(4000, 4096, 10).value_or(0), -46.248, 0.001);  // 416.67 kOhm
  EXPECT_NEAR(ThermistorCelsius(200, 256, 10).value_or(0), -1.683, 0.001);     // 35.71 kOhm
}

TEST(Thermistor, NothingOutsideTheCurve) {
  EXPECT_EQ(ThermistorCelsius(0, 4096, 10), std::nullopt) << "shorted";
  EXPECT_EQ(ThermistorCelsius(100, 4096, 10), std::nullopt);
  EXPECT_EQ(ThermistorCelsius(4095, 4096, 10), std::nullopt);
  EXPECT_EQ(ThermistorCelsius(4096, 4096, 10), std::nullopt) << "open";
  EXPECT_EQ(ThermistorCelsius(256, 256, 10), std::nullopt);
}

TEST(Thermistor, SenselessArgumentsGiveNothing) {
  EXPECT_EQ(ThermistorCelsius(5000, 4096, 10), std::nullopt) << "a negative resistance";
  EXPECT_EQ(ThermistorCelsius(-1, 4096, 10), std::nullopt);
  EXPECT_EQ(ThermistorCelsius(2048, 4096, 0), std::nullopt);
  EXPECT_EQ(ThermistorCelsius(4096, 4096, 0), std::nullopt);
  EXPECT_EQ(ThermistorCelsius(2048, 4096, -10), std::nullopt);
  for (const int count : {INT_MIN, INT_MAX})
    for (const int rref : {INT_MIN, INT_MAX})
      EXPECT_EQ(ThermistorCelsius(count, 4096, rref), std::nullopt) << count << " " << rref;
}

}  // namespace
}  // namespace orq
