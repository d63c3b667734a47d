#include "support/vectors/VectorTarget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <string>

namespace orq {
namespace {

TEST(VectorTarget, BaselineIsFirstAndTheBestIsLast) {
  const auto targets = VectorTargets();
  ASSERT_FALSE(targets.empty());
  EXPECT_EQ(targets.front(), VectorTarget::Baseline);
  EXPECT_TRUE(std::ranges::is_sorted(targets));
  EXPECT_EQ(BestVectorTarget(), targets.back());
}

#if defined(__x86_64__)
TEST(VectorTarget, AreThoseThatTheSystemTellsOf) {
  std::ifstream file("/proc/cpuinfo");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (text.empty()) GTEST_SKIP() << "the system does not describe its processor";
  const auto has = [&](const char* flag) { return text.find(std::string(" ") + flag) != std::string::npos; };
  const auto targets = VectorTargets();
  const auto offers = [&](VectorTarget target) { return std::ranges::find(targets, target) != targets.end(); };
  EXPECT_EQ(offers(VectorTarget::Avx2), has("avx2"));
  const bool bytes = has("avx2") && has("avx512bw") && has("avx512vl");
  EXPECT_EQ(offers(VectorTarget::Avx512), bytes);
  EXPECT_EQ(offers(VectorTarget::Avx512Vbmi), bytes && has("avx512vbmi"));
}
#endif

struct CountUp {
  ORQ_KERNEL int Run(const int* numbers, int count) {
    int sum = 0;
    for (int i = 0; i < count; ++i) sum += numbers[i];
    return sum;
  }
};

TEST(VectorTarget, EveryVersionOfAKernelGetsItsArgumentsAndGivesItsResult) {
  const std::array numbers{1, 20, 300, 4000, 50'000};
  for (const VectorTarget target : VectorTargets())
    EXPECT_EQ(RunOn<CountUp>(target, numbers.data(), 5), 54'321) << static_cast<int>(target);
}

}  // namespace
}  // namespace orq
