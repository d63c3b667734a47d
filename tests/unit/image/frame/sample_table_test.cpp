#include "image/frame/SampleTable.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <vector>

namespace orq {
namespace {

TEST(SampleTable, EverySampleBecomesItsEntryOnEveryTargetAndAtEveryPlace) {
  std::mt19937 random(5);
  std::array<std::uint8_t, 256> table{};
  for (std::uint8_t& entry : table) entry = static_cast<std::uint8_t>(random());
  constexpr std::size_t kRoom = 700;
  for (const VectorTarget target : VectorTargets()) {
    for (const std::size_t first : {0U, 1U, 2U, 7U, 63U}) {
      for (std::size_t count = 0; first + count < kRoom; count += count < 140 ? 1 : 37) {
        std::vector<std::uint8_t> before(kRoom);
        for (std::size_t i = 0; i < kRoom; ++i) before[i] = static_cast<std::uint8_t>(i * 97 + random() % 2);
        auto after = before;
        ApplyTable(std::span(after).subspan(first, count), table, target);
        for (std::size_t i = 0; i < kRoom; ++i) {
          const bool inside = i >= first && i < first + count;
          ASSERT_EQ(after[i], inside ? table.at(before[i]) : before[i])
              << "target " << static_cast<int>(target) << " first " << first << " count " << count << " at " << i;
        }
      }
    }
  }
}

TEST(SampleTable, AllValuesAreLookedUp) {
  std::array<std::uint8_t, 256> table{};
  std::vector<std::uint8_t> all(256);
  for (std::size_t i = 0; i < 256; ++i) {
    all[i] = static_cast<std::uint8_t>(i);
    table.at(i) = static_cast<std::uint8_t>(255 - i);
  }
  for (const VectorTarget target : VectorTargets()) {
    auto samples = all;
    ApplyTable(samples, table, target);
    for (std::size_t i = 0; i < 256; ++i) ASSERT_EQ(samples[i], 255 - i) << static_cast<int>(target);
  }
}

}  // namespace
}  // namespace orq
