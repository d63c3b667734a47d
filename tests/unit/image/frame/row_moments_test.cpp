#include "image/frame/RowMoments.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace orq {
namespace {

TEST(RowMoments, AreThoseOfBothParitiesOnEveryTargetAndAtEveryPlace) {
  std::mt19937 random(6);
  std::vector<unsigned char> bytes(900);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  for (const VectorTarget target : VectorTargets()) {
    for (const std::size_t stride : {1U, 2U}) {
      for (const std::size_t first : {0U, 1U, 2U, 5U}) {
        for (std::size_t count = 0; first + stride * count < bytes.size(); count += count < 140 ? 1 : 23) {
          std::array<RowMoments, 2> wanted;
          for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t value = bytes[first + stride * i];
            wanted.at(i % 2).sum += value;
            wanted.at(i % 2).squares += value * value;
          }
          const auto found = MomentsOf(bytes.data() + first, count, stride, target);
          for (std::size_t parity = 0; parity < 2; ++parity) {
            ASSERT_EQ(found.at(parity).sum, wanted.at(parity).sum)
                << static_cast<int>(target) << " stride " << stride << " first " << first << " count " << count;
            ASSERT_EQ(found.at(parity).squares, wanted.at(parity).squares)
                << static_cast<int>(target) << " stride " << stride << " first " << first << " count " << count;
          }
        }
      }
    }
  }
}

// The brightest row that is longer than 32 bits hold the squares of.
TEST(RowMoments, DoNotOverflow) {
  constexpr std::size_t kCount = 300'001;
  const std::vector<unsigned char> bytes(2 * kCount, 255);
  for (const VectorTarget target : VectorTargets()) {
    for (const std::size_t stride : {1U, 2U}) {
      const auto moments = MomentsOf(bytes.data(), kCount, stride, target);
      EXPECT_EQ(moments[0].sum, 150'001U * 255U);
      EXPECT_EQ(moments[1].sum, 150'000U * 255U);
      EXPECT_EQ(moments[0].squares, std::uint64_t{150'001} * 65'025);
      EXPECT_EQ(moments[1].squares, std::uint64_t{150'000} * 65'025);
    }
  }
}

}  // namespace
}  // namespace orq
