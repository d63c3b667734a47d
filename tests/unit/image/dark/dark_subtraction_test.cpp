#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "image/dark/DarkSubtraction.h"
#include "image/frame/Algorithm.h"

namespace {

std::uint8_t* Bytes(std::vector<std::uint16_t>& samples) {
  return reinterpret_cast<std::uint8_t*>(samples.data());
}

TEST(DarkSubtraction, KeepsTheLevelOfAFrame) {
  std::vector<std::uint8_t> frame{100, 100, 100};
  const std::vector<std::uint8_t> dark{20, 25, 10};
  CAlgorithm().SubtractDark(frame.data(), 3, 1, 20, dark.data(), false);
  EXPECT_EQ(frame, (std::vector<std::uint8_t>{100, 95, 110}));
}

TEST(DarkSubtraction, IsRightForEvery8BitSampleAndDark) {
  std::vector<std::uint8_t> dark(65536);
  std::vector<std::uint8_t> samples(65536);
  for (std::size_t i = 0; i < 65536; ++i) {
    samples[i] = static_cast<std::uint8_t>(i);
    dark[i] = static_cast<std::uint8_t>(i >> 8U);
  }
  for (const unsigned average : {0U, 1U, 20U, 127U, 128U, 254U, 255U}) {
    auto frame = samples;
    CAlgorithm().SubtractDark(frame.data(), 256, 256, average, dark.data(), false);
    for (std::size_t i = 0; i < 65536; ++i) {
      const int wanted = static_cast<int>(i & 255U) - static_cast<int>(i >> 8U) + static_cast<int>(average);
      ASSERT_EQ(frame[i], std::clamp(wanted, 0, 255)) << i << " average " << average;
    }
  }
}

TEST(DarkSubtraction, CountsDarkAndAverage256TimesIn16BitFrames) {
  std::vector<std::uint16_t> samples(65536);
  for (std::size_t i = 0; i < 65536; ++i) samples[i] = static_cast<std::uint16_t>(i);
  for (const int darkValue : {0, 1, 20, 128, 255}) {
    const std::vector<std::uint8_t> dark(65536, static_cast<std::uint8_t>(darkValue));
    for (const int average : {0, 1, 20, 128, 255}) {
      auto frame = samples;
      CAlgorithm().SubtractDark(Bytes(frame), 256, 256, static_cast<unsigned>(average), dark.data(), true);
      for (int i = 0; i < 65536; ++i) {
        ASSERT_EQ(frame[static_cast<std::size_t>(i)], std::clamp(i + (average - darkValue) * 256, 0, 65535))
            << i << " dark " << darkValue << " average " << average;
      }
    }
  }
}

TEST(DarkSubtraction, WorksOnExactlyTheFramesSamples) {
  for (int count = 1; count < 80; ++count) {
    const std::vector<std::uint8_t> dark(100, 30);
    std::vector<std::uint8_t> narrow(100, 50);
    CAlgorithm().SubtractDark(narrow.data(), count, 1, 20, dark.data(), false);
    std::vector<std::uint16_t> wide(100, 50 * 256 + 3);
    CAlgorithm().SubtractDark(Bytes(wide), 1, count, 20, dark.data(), true);
    for (int i = 0; i < 100; ++i) {
      ASSERT_EQ(narrow[static_cast<std::size_t>(i)], i < count ? 40 : 50) << count;
      ASSERT_EQ(wide[static_cast<std::size_t>(i)], (i < count ? 40 : 50) * 256 + 3) << count;
    }
  }
}

TEST(DarkSubtraction, AnAverageAboveTheRangeCountsAs255) {
  const std::vector<std::uint8_t> dark{200};
  for (const unsigned average : {255U, 256U, 0xFFFFFFFFU}) {
    std::vector<std::uint8_t> frame{100};
    CAlgorithm().SubtractDark(frame.data(), 1, 1, average, dark.data(), false);
    EXPECT_EQ(frame[0], 155) << average;
  }
}

TEST(DarkSubtraction, DoesNothingWithoutAFrameOrADark) {
  const std::vector<std::uint8_t> dark{200};
  std::vector<std::uint8_t> frame{100};
  CAlgorithm().SubtractDark(frame.data(), 1, 1, 10, nullptr, false);
  CAlgorithm().SubtractDark(nullptr, 1, 1, 10, dark.data(), true);
  CAlgorithm().SubtractDark(frame.data(), 0, 1, 10, dark.data(), false);
  CAlgorithm().SubtractDark(frame.data(), 1, 0, 10, dark.data(), false);
  CAlgorithm().SubtractDark(frame.data(), -1, -1, 10, dark.data(), true);
  EXPECT_EQ(frame[0], 100);
}

template <class Sample>
void CompareTargets() {
  constexpr std::size_t kRoom = 500;
  constexpr int kLargest = static_cast<Sample>(~Sample{0});
  constexpr int kStep = sizeof(Sample) == 1 ? 1 : 256;
  std::mt19937 random(7);
  for (const orq::VectorTarget target : orq::VectorTargets()) {
    for (const std::size_t first : {0U, 1U, 3U, 31U}) {
      for (std::size_t count = 0; first + count < kRoom; count += count < 140 ? 1 : 31) {
        const auto average = static_cast<std::uint8_t>(random());
        std::vector<Sample> before(kRoom);
        std::vector<std::uint8_t> dark(kRoom);
        for (Sample& sample : before) sample = static_cast<Sample>(random());
        for (std::uint8_t& level : dark) level = static_cast<std::uint8_t>(random());
        auto after = before;
        orq::SubtractDark(std::span(after).subspan(first, count), average, std::span(dark).subspan(first, count),
                          target);
        for (std::size_t i = 0; i < kRoom; ++i) {
          const bool inside = i >= first && i < first + count;
          const int wanted = std::clamp(int{before[i]} + (average - dark[i]) * kStep, 0, kLargest);
          ASSERT_EQ(after[i], inside ? wanted : before[i])
              << "target " << static_cast<int>(target) << " first " << first << " count " << count << " at " << i;
        }
      }
    }
  }
}

TEST(DarkSubtraction, IsTheSameOnEveryTargetAndAtEveryPlace) {
  CompareTargets<std::uint8_t>();
  CompareTargets<std::uint16_t>();
}

}  // namespace
