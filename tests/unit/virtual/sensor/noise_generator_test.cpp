#include "virtual/sensor/NoiseGenerator.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <set>

namespace orq {
namespace {

struct Moments {
  double mean = 0.0, variance = 0.0, skewness = 0.0, kurtosis = 0.0;
};

template <class Draw>
Moments MomentsOf(int n, Draw draw) {
  double s1 = 0.0, s2 = 0.0, s3 = 0.0, s4 = 0.0;
  std::vector<double> values(static_cast<std::size_t>(n));
  for (double& v : values) s1 += v = draw();
  const double mean = s1 / n;
  for (const double v : values) {
    const double d = v - mean;
    s2 += d * d;
    s3 += d * d * d;
    s4 += d * d * d * d;
  }
  const double variance = s2 / n;
  return {mean, variance, s3 / n / std::pow(variance, 1.5), s4 / n / (variance * variance)};
}

TEST(GaussianTable, HasTheMomentsOfTheNormalDistribution) {
  SplitMix64 bits(1);
  const auto& table = GaussianTable::Get();
  constexpr int kDraws = 1'000'000;
  const Moments m = MomentsOf(kDraws, [&] { return static_cast<double>(table.Sample(bits.Next())); });
  // Four standard errors: 1/sqrt(n), sqrt(2/n), sqrt(6/n), sqrt(24/n).
  EXPECT_NEAR(m.mean, 0.0, 0.004);
  EXPECT_NEAR(m.variance, 1.0, 0.0057);
  EXPECT_NEAR(m.skewness, 0.0, 0.0098);
  EXPECT_NEAR(m.kurtosis, 3.0, 0.0196);
}

TEST(GaussianTable, FillsEveryPartOfTheBellInProportion) {
  SplitMix64 bits(2);
  const auto& table = GaussianTable::Get();
  constexpr int kDraws = 2'000'000;
  const std::array<double, 8> edges{0.1, 0.25, 0.7, 1.2, 2.0, 3.0, 3.6541528853610088, 4.2};
  std::array<int, 8> beyond{};
  int negative = 0;
  for (int i = 0; i < kDraws; ++i) {
    const double z = static_cast<double>(table.Sample(bits.Next()));
    negative += z < 0.0;
    for (std::size_t k = 0; k < edges.size(); ++k) beyond[k] += std::fabs(z) > edges[k];
  }
  EXPECT_NEAR(negative, kDraws / 2, 4 * std::sqrt(kDraws / 4.0));
  for (std::size_t k = 0; k < edges.size(); ++k) {
    const double expected = std::erfc(edges[k] / std::sqrt(2.0)) * kDraws;
    EXPECT_NEAR(beyond[k], expected, 4 * std::sqrt(expected)) << "beyond " << edges[k];
  }
}

class PoissonAtMean : public testing::TestWithParam<double> {};

TEST_P(PoissonAtMean, HasTheMomentsOfThePoissonDistribution) {
  const double mean = GetParam();
  SplitMix64 bits(3);
  const auto& table = PoissonTable::Get();
  constexpr int kDraws = 400'000;
  const Moments m =
      MomentsOf(kDraws, [&] { return static_cast<double>(table.Sample(bits.Next(), static_cast<float>(mean))); });
  EXPECT_NEAR(m.mean, mean, 4 * std::sqrt(mean / kDraws));
  EXPECT_NEAR(m.variance / mean, 1.0, 4 * std::sqrt((2.0 + 1.0 / mean) / kDraws));
  EXPECT_NEAR(m.skewness, 1.0 / std::sqrt(mean), 0.02 + 0.05 / std::sqrt(mean));
}

INSTANTIATE_TEST_SUITE_P(Means, PoissonAtMean,
                         testing::Values(0.01, 0.11, 0.5, 1.0, 3.3, 9.99, 24.0, 49.9, 50.0, 120.0, 2000.0,
                                         14000.0));

TEST(PoissonTable, GivesEachCountItsProbabilityBelowFifty) {
  for (const double mean : {0.06, 0.95, 4.4, 30.07, 49.97}) {
    SplitMix64 bits(4);
    const auto& table = PoissonTable::Get();
    constexpr int kDraws = 400'000;
    std::array<int, 200> seen{};
    for (int i = 0; i < kDraws; ++i) {
      const float value = table.Sample(bits.Next(), static_cast<float>(mean));
      ASSERT_EQ(value, std::floor(value));
      ASSERT_GE(value, 0.0F);
      ++seen.at(static_cast<std::size_t>(value));
    }
    double chi2 = 0.0;
    int cells = 0;
    for (std::size_t k = 0; k < seen.size(); ++k) {
      const double n = static_cast<double>(k);
      const double expected = std::exp(-mean + n * std::log(mean) - std::lgamma(n + 1.0)) * kDraws;
      if (expected < 10.0) continue;
      chi2 += (seen[k] - expected) * (seen[k] - expected) / expected;
      ++cells;
    }
    EXPECT_LT(chi2, cells + 4.5 * std::sqrt(2.0 * cells)) << "mean " << mean;
  }
}

TEST(PoissonTable, GivesNothingForNoLight) {
  SplitMix64 bits(5);
  for (int i = 0; i < 10'000; ++i) ASSERT_EQ(PoissonTable::Get().Sample(bits.Next(), 0.0F), 0.0F);
}

TEST(RowNoise, RepeatsForTheSamePlaceAndDiffersForEveryOther) {
  const RowNoise noise(7, 3, 5);
  EXPECT_EQ(noise.Shot(11), RowNoise(7, 3, 5).Shot(11));
  EXPECT_EQ(noise.Read(11), RowNoise(7, 3, 5).Read(11));
  const std::set<std::uint64_t> different{noise.Shot(11),
                                          noise.Read(11),
                                          noise.Shot(12),
                                          noise.Read(10),
                                          RowNoise(8, 3, 5).Shot(11),
                                          RowNoise(7, 4, 5).Shot(11),
                                          RowNoise(7, 3, 6).Shot(11),
                                          RowNoise(7, 5, 3).Shot(11)};
  EXPECT_EQ(different.size(), 8U);
}

TEST(RowNoise, IsUncorrelatedBetweenNeighboursRowsAndFrames) {
  const auto& table = GaussianTable::Get();
  const auto z = [&](std::uint64_t frame, int row, int x, bool read) {
    const RowNoise noise(1, frame, row);
    return static_cast<double>(table.Sample(read ? noise.Read(x) : noise.Shot(x)));
  };
  double alongRow = 0.0, acrossRows = 0.0, acrossFrames = 0.0, shotAndRead = 0.0;
  constexpr int kRows = 100, kColumns = 500;
  for (int row = 0; row < kRows; ++row) {
    for (int x = 0; x < kColumns; ++x) {
      const double here = z(0, row, x, true);
      alongRow += here * z(0, row, x + 1, true);
      acrossRows += here * z(0, row + 1, x, true);
      acrossFrames += here * z(1, row, x, true);
      shotAndRead += here * z(0, row, x, false);
    }
  }
  const double limit = 4.0 * std::sqrt(static_cast<double>(kRows) * kColumns);
  EXPECT_LT(std::fabs(alongRow), limit);
  EXPECT_LT(std::fabs(acrossRows), limit);
  EXPECT_LT(std::fabs(acrossFrames), limit);
  EXPECT_LT(std::fabs(shotAndRead), limit);
}

}  // namespace
}  // namespace orq
