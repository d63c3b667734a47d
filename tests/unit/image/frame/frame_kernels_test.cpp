#include "image/frame/FrameKernels.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace orq {
namespace {

TEST(HostToMsbFirst, PutsTheHighByteFirstInMemoryWhateverTheCount) {
  for (const VectorTarget target : VectorTargets()) {
    for (std::size_t count = 0; count < 150; ++count) {
      std::vector<std::uint16_t> samples(count);
      for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<std::uint16_t>(i * 256 + 200 - i);
      HostToMsbFirst(samples, target);
      std::vector<std::uint8_t> bytes(2 * count);
      if (count != 0) std::memcpy(bytes.data(), samples.data(), bytes.size());
      for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(bytes[2 * i], i) << count << " target " << static_cast<int>(target);
        ASSERT_EQ(bytes[2 * i + 1], 200 - i) << count << " target " << static_cast<int>(target);
      }
    }
  }
}

TEST(WhiteBalance, ScalesRedAndBlueAndLeavesGreen) {
  std::vector<std::uint8_t> frame{100, 100, 100, 100,   // R G R G
                                  100, 100, 100, 100};  // G B G B
  WhiteBalance(frame, 4, BayerPattern::RG, 75, 25);
  EXPECT_EQ(frame, (std::vector<std::uint8_t>{150, 100, 150, 100, 100, 50, 100, 50}));
}

TEST(WhiteBalance, FollowsEachPattern) {
  const auto run = [](BayerPattern pattern) {
    std::vector<std::uint16_t> frame(4, 1000);
    WhiteBalance(frame, 2, pattern, 60, 40);
    return frame;
  };
  using Frame = std::vector<std::uint16_t>;
  EXPECT_EQ(run(BayerPattern::RG), (Frame{1200, 1000, 1000, 800}));
  EXPECT_EQ(run(BayerPattern::BG), (Frame{800, 1000, 1000, 1200}));
  EXPECT_EQ(run(BayerPattern::GR), (Frame{1000, 1200, 800, 1000}));
  EXPECT_EQ(run(BayerPattern::GB), (Frame{1000, 800, 1200, 1000}));
}

TEST(WhiteBalance, SaturatesAtTheSampleLimit) {
  std::vector<std::uint8_t> narrow{200, 0, 0, 0};
  WhiteBalance(narrow, 2, BayerPattern::RG, 99, 50);
  EXPECT_EQ(narrow[0], 255);
  std::vector<std::uint16_t> wide{65535, 0, 0, 65535};
  WhiteBalance(wide, 2, BayerPattern::RG, 99, 99);
  EXPECT_EQ(wide[0], 65535);
  EXPECT_EQ(wide[3], 65535);
}

TEST(WhiteBalance, RoundsToNearest) {
  std::vector<std::uint16_t> frame{1, 0, 0, 3};
  WhiteBalance(frame, 2, BayerPattern::RG, 25, 74);  // 0.5 and 4.44
  EXPECT_EQ(frame[0], 1);
  EXPECT_EQ(frame[3], 4);
}

TEST(WhiteBalance, NeutralChangesNothingAtAnyValue) {
  std::vector<std::uint16_t> frame(65536);
  for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<std::uint16_t>(i);
  const auto before = frame;
  WhiteBalance(frame, 256, BayerPattern::RG, 50, 50);
  EXPECT_EQ(frame, before);
}

template <class Sample>
void ExpectEveryValueScaledAsDivided(long largest, int settingStep, VectorTarget target) {
  std::vector<Sample> frame(2 * (static_cast<std::size_t>(largest) + 1));
  const int width = static_cast<int>(largest) + 1;
  for (int setting = 1; setting <= 99; setting += settingStep) {
    // A red and a blue row: every value stands in an odd or even column, so that two patterns reach all of them.
    for (const BayerPattern pattern : {BayerPattern::RG, BayerPattern::GR}) {
      for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<Sample>(i);
      WhiteBalance(std::span<Sample>(frame), width, pattern, setting, setting, target);
      for (long value = 0; value <= largest; ++value) {
        const bool green = (value % 2 == 0) == (pattern == BayerPattern::GR);
        const long scaled = (value * setting + 25) / 50;
        const long expected = green ? value : scaled > largest ? largest : scaled;
        ASSERT_EQ(frame[static_cast<std::size_t>(value)], expected) << value << " at " << setting;
      }
    }
  }
}

TEST(WhiteBalance, IsExactForEveryValueAndSetting) {
  for (const VectorTarget target : VectorTargets()) {
    SCOPED_TRACE(static_cast<int>(target));
    ASSERT_NO_FATAL_FAILURE(ExpectEveryValueScaledAsDivided<std::uint8_t>(255, 1, target));
    // The arithmetic is the same on all; it takes long where every access is watched.
    const int settingStep = target == BestVectorTarget() ? 1 : 14;
    ASSERT_NO_FATAL_FAILURE(ExpectEveryValueScaledAsDivided<std::uint16_t>(65535, settingStep, target));
  }
}

TEST(WhiteBalance, HandlesWidthsBeyondAndBesideItsBlocks) {
  for (const VectorTarget target : VectorTargets()) {
    for (const int width : {63, 64, 65, 127, 130}) {
      const auto columns = static_cast<std::size_t>(width);
      std::vector<std::uint16_t> frame(3 * columns, 1000);
      WhiteBalance(frame, width, BayerPattern::GB, 60, 40, target);
      for (std::size_t i = 0; i < frame.size(); ++i) {
        const bool blue = i / columns % 2 == 0 && i % columns % 2 == 1;
        const bool red = i / columns % 2 == 1 && i % columns % 2 == 0;
        ASSERT_EQ(frame[i], blue ? 800 : red ? 1200 : 1000) << width << " at " << i;
      }
    }
  }
}

TEST(WhiteBalance, HandlesOddWidthsRowByRow) {
  std::vector<std::uint8_t> frame(9, 100);  // 3x3: R G R / G B G / R G R
  WhiteBalance(frame, 3, BayerPattern::RG, 60, 40);
  EXPECT_EQ(frame, (std::vector<std::uint8_t>{120, 100, 120, 100, 80, 100, 120, 100, 120}));
}

TEST(WhiteBalance, IgnoresAWidthOfZero) {
  std::vector<std::uint8_t> frame{7};
  WhiteBalance(frame, 0, BayerPattern::RG, 99, 99);
  EXPECT_EQ(frame[0], 7);
}

}  // namespace
}  // namespace orq
