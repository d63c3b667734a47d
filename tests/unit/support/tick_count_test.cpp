#include "support/TickCount.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

std::uint64_t MonotonicMs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

TEST(TickCount, IsTheLow32BitsOfTheMonotonicClockInMilliseconds) {
  const std::uint64_t before = MonotonicMs();
  const std::uint32_t tick = GetTickCount();
  const std::uint64_t after = MonotonicMs();
  const std::uint32_t sinceBefore = tick - static_cast<std::uint32_t>(before);
  EXPECT_LE(sinceBefore, after - before);
}

TEST(TickCount, AdvancesWithTheClock) {
  const std::uint32_t first = GetTickCount();
  const std::uint64_t start = MonotonicMs();
  while (MonotonicMs() < start + 5) {
  }
  EXPECT_GE(GetTickCount() - first, 5U);
}

}  // namespace
