#include "output/Chart.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace orq::cli {
namespace {

using Lines = std::vector<std::string>;

TEST(DrawChart, ShowsTheExtremesAndFillsTheRange) {
  constexpr std::array kValues = {0.0, 15.0};
  // 16 steps: the smallest value fills one, the largest all.
  EXPECT_EQ(DrawChart(kValues, 10, 2), (Lines{"   15.00 | █", "    0.00 |▁█"}));
}

TEST(DrawChart, CountsInEighthsOfARow) {
  constexpr std::array kValues = {0.0, 7.0, 8.0, 15.0};
  EXPECT_EQ(DrawChart(kValues, 10, 2), (Lines{"   15.00 |  ▁█", "    0.00 |▁███"}));
}

TEST(DrawChart, KeepsTheLastColumns) {
  constexpr std::array kValues = {100.0, 0.0, 15.0};
  EXPECT_EQ(DrawChart(kValues, 2, 2), (Lines{"   15.00 | █", "    0.00 |▁█"}));
}

TEST(DrawChart, ASteadyValueStandsInTheMiddle) {
  constexpr std::array kValues = {20.0, 20.0};
  // Half a unit around it; half of 15 steps is rounded up, and one more is always full.
  EXPECT_EQ(DrawChart(kValues, 10, 2), (Lines{"   20.25 |▁▁", "   19.75 |██"}));
}

TEST(DrawChart, LeavesAGapWhereThereIsNoValue) {
  const std::array values = {0.0, std::nan(""), 15.0};
  EXPECT_EQ(DrawChart(values, 10, 3), (Lines{"   15.00 |  █", "         |  █", "    0.00 |▁ █"}));
  const std::array none = {std::nan("")};
  EXPECT_EQ(DrawChart(none, 10, 2), (Lines{"    0.50 | ", "    0.00 | "}));
}

}  // namespace
}  // namespace orq::cli
