#include "image/frame/Flip.h"

#include <gtest/gtest.h>

#include <vector>

namespace orq {
namespace {

using Frame8 = std::vector<std::uint8_t>;

Frame8 Flipped(const Frame8& in, int width, int height, bool horizontal, bool vertical) {
  Frame8 out(in.size());
  FlipCopy(std::span<const std::uint8_t>(in), width, height, horizontal, vertical, std::span<std::uint8_t>(out));
  return out;
}

const Frame8 kFrame{1, 2, 3,   //
                    4, 5, 6};  // 3x2

TEST(FlipCopy, CopiesWithoutFlips) {
  EXPECT_EQ(Flipped(kFrame, 3, 2, false, false), kFrame);
}

TEST(FlipCopy, MirrorsLeftAndRight) {
  EXPECT_EQ(Flipped(kFrame, 3, 2, true, false), (Frame8{3, 2, 1, 6, 5, 4}));
}

TEST(FlipCopy, MirrorsTopAndBottom) {
  EXPECT_EQ(Flipped(kFrame, 3, 2, false, true), (Frame8{4, 5, 6, 1, 2, 3}));
}

TEST(FlipCopy, MirrorsBothWays) {
  EXPECT_EQ(Flipped(kFrame, 3, 2, true, true), (Frame8{6, 5, 4, 3, 2, 1}));
}

template <class Sample>
void ExpectEveryWidthMirrored() {
  constexpr std::size_t kBehind = 70;
  for (int width = 1; width < 200; ++width) {
    const auto samples = static_cast<std::size_t>(width) * 3;
    std::vector<Sample> in(samples);
    for (std::size_t i = 0; i < samples; ++i) in[i] = static_cast<Sample>(1000 + i);
    std::vector<Sample> reversed(in.rbegin(), in.rend());
    reversed.resize(samples + kBehind, 9);
    for (const VectorTarget target : VectorTargets()) {
      std::vector<Sample> out(samples + kBehind, 9);
      FlipCopy(std::span<const Sample>(in), width, 3, true, true, std::span<Sample>(out), target);
      ASSERT_EQ(out, reversed) << width << " target " << static_cast<int>(target);
    }
  }
}

TEST(FlipCopy, MirrorsEveryWidth) {
  ExpectEveryWidthMirrored<std::uint8_t>();
  ExpectEveryWidthMirrored<std::uint16_t>();
}

TEST(FlipCopy, IgnoresEmptyFrames) {
  Frame8 out{9};
  FlipCopy(std::span<const std::uint8_t>(kFrame), 0, 2, true, false, std::span<std::uint8_t>(out));
  EXPECT_EQ(out[0], 9);
}

}  // namespace
}  // namespace orq
